// The period in progress of the slow model: one slot per resource with its sums and extremes, and
// the rules that fold one statistics entry into a slot and turn a slot back into an entry.
//
// Independent of revisions/fold/: folding and writing of an entry stand here a second time.

#ifndef TESTS_MODEL_PERIOD_H_
#define TESTS_MODEL_PERIOD_H_

#include <cstdint>
#include <vector>

#include "tests/model/bytes.h"
#include "tests/model/kind_rules.h"
#include "tests/model/numbers.h"

namespace model {

/// The sums of one resource over the period (caches apart).
struct Slot {
  uint32_t status = 0;
  uint32_t time = 0;
  Bytes key;
  double busy = 0;
  double second_busy = 0;
  bool ratio_seen = false;
  bool counted_seen = false;
  bool sticky_mark = false;
  bool kept_mark = false;
  std::vector<SumQuad> quads;
  std::vector<double> extremes;  // in the order of the item mask
  uint32_t word12 = 0;           // words carried from the last valid entry
  uint32_t word16 = 0;
  uint32_t word20 = 0;
  uint8_t cheseg_flags = 0;
  uint8_t byte12 = 0;
  uint8_t byte13 = 0;
};

Slot EmptySlot(const KindRule& rule, const Bytes& key);

/// What the folding has to know besides the entry.
struct FoldContext {
  int revision = 0;
  bool first_interval = false;
  bool second_cheseg_key = false;
  uint32_t input_mask = 0;  // item bitmap of the kind in the input's header
};

/// The key bytes of a statistics entry.
Bytes EntryKey(const KindRule& rule, const Bytes& entry, bool second_cheseg_key);

/// The key bytes of an entry of the structure record's list.
Bytes ListKey(const KindRule& rule, const Bytes& entry, bool second_cheseg_key);

/// Folds one entry, padded with zeros to its full size when it was compact, into its slot. `words`
/// are its extended words, empty for a compact entry.
void FoldEntry(const KindRule& rule, const FoldContext& context, const Bytes& entry, bool compact,
               const std::vector<uint32_t>& words, Slot& slot);

/// True when the slot is written as a compact entry.
bool IsIdle(const KindRule& rule, const Slot& slot);

/// The output entry of a slot with its extended words.
Bytes EntryOut(const KindRule& rule, int revision, bool second_cheseg_key, const Slot& slot);

}  // namespace model

#endif  // TESTS_MODEL_PERIOD_H_
