// Everything that the slow model remembers between records: the current input's header, the held
// structure record with its resource slots, the optional-item blocks and the period in progress.
//
// Independent of revisions/sets/: resources and their lookup stand here a second time.

#ifndef TESTS_MODEL_ARCHIVE_STATE_H_
#define TESTS_MODEL_ARCHIVE_STATE_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "tests/model/bytes.h"
#include "tests/model/kind_rules.h"
#include "tests/model/numbers.h"
#include "tests/model/period.h"
#include "tests/model/structure_record.h"

namespace model {

/// The sums of one cache over the period.
struct CacheSlot {
  uint32_t status = 0;
  uint32_t time = 0;
  uint8_t key = 0;
  uint8_t flag = 0;
  double ratio_sum[2] = {0, 0};
  double maximum[2] = {0, 0};
  double rate_sum[2] = {0, 0};
  SumQuad quads[6];
};

/// One slot of an optional-item block.
struct Element {
  bool held = false;     // something was stored in it
  bool present = false;  // to be written with the next period
  Bytes bytes;
  double sum = 0;  // Cab
  SumQuad quad;    // wait time
};

/// One kind of optional item.
struct ItemBlock {
  bool exists = false;
  uint32_t status = 0;
  uint32_t time = 0;
  uint8_t flag = 0;
  uint16_t word16 = 0;
  uint32_t items = 0;     // taken in this period
  bool mark_all = false;  // the next item makes every held pair present
  std::vector<Element> elements;
};

/// Bits of the period state.
enum : unsigned { kNextDay = 1, kNewOutput = 2, kInPeriod = 4, kContinues = 8 };

struct ArchiveState {
  // Input header.
  int revision = 0;
  char input_level = 0;
  char output_level = 0;  // 0 until known
  std::map<Kind, uint32_t> masks;

  // Structure.
  bool structure_held = false;
  bool structure_in_output = false;  // the output in progress holds a structure record
  bool counts_forgotten = false;  // of optional items: the output began behind the structure record
  Structure structure;
  std::map<Kind, std::vector<Bytes>> keys;  // of the configured resources, in order
  std::map<Kind, std::vector<Slot>> slots;
  std::vector<CacheSlot> caches;
  bool hp_from_statistics = false;  // host ports are listed by the statistics records only
  bool hp_built = false;
  bool hp_node_built = false;

  // Optional items; the counts are those that an "LDM" record looks at.
  ItemBlock conc, ld_cp, pool_cp, wait_time, cab;
  int ld_cp_count = 0;
  int pool_cp_count = 0;
  int cab_count = 0;

  // Period.
  unsigned period = kNewOutput;
  bool pending = false;
  bool first_interval = false;
  uint32_t previous_statistics_time = 0;
  uint32_t folded_time = 0;  // of the last statistics record in the period
  uint8_t folded_flag = 0;
  std::map<std::size_t, uint16_t> first_fields;  // section headers of the last record read

  // Where the last logical and physical disk were found; never reset within a run.
  uint16_t ld_cursor = 0;
  uint16_t pd_cursor = 0;
};

/// Index of the configured resource that an entry belongs to; throws BrokenRecord when there is
/// none. `position` is the entry's place in its section.
std::size_t FindResource(ArchiveState& state, const KindRule& rule, const Bytes& key,
                         std::size_t position);

/// Makes tables, slots and blocks anew from a structure record.
void HoldStructure(ArchiveState& state, const Structure& structure);

/// Before the files of an array in a revision: nothing that an earlier record said is held.
void HoldNothing(ArchiveState& state);

/// Drops the sets that were built from statistics records.
void DropBuiltSets(ArchiveState& state);

/// Makes the slots of one kind from its keys.
void MakeSlots(ArchiveState& state, const KindRule& rule, const std::vector<Bytes>& keys);

/// After a period has been written: empty slots with their configured keys.
void ClearSlots(ArchiveState& state);

}  // namespace model

#endif  // TESTS_MODEL_ARCHIVE_STATE_H_
