// What the entries of a log or archive say, read from its raw bytes by the rules of the format: the
// ground of the second calculation against which the figures of psltool are held. Slow and plain,
// and like the test model it shares nothing with the product and its tools.

#ifndef TESTS_FIGURES_ENTRIES_H_
#define TESTS_FIGURES_ENTRIES_H_

#include <array>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tests/model/bytes.h"
#include "tests/model/kind_rules.h"
#include "tests/model/numbers.h"

namespace figures {

using Json = nlohmann::json;
/// Named values as `dump` calls them; null: the entry does not say it.
using Values = std::map<std::string, Json>;

/// A counter group of an entry.
struct Group {
  model::WireQuad words;  // zeros where they are not stored
  bool stored = false;    // compact entries store none
  bool known = false;     // it was measured
  bool volume = false;    // has a volume rate: sections of 0x13 and later
  bool older = false;     // extremes of the older rule: of the second mean, not of volume
  /// Extended words: whether entries of the file have them, and what this one has.
  std::array<bool, 4> masked = {};
  std::array<bool, 4> meant = {};  // within the revision's full mask
  std::array<std::optional<uint32_t>, 4> extremes;

  double count() const { return model::DecodeCount(words.q0); }
};

struct Entry {
  std::string kind;  // "ld"
  std::string key;   // "258", "0.1"
  uint64_t offset = 0;
  uint32_t status = 0;
  uint32_t length = 0;  // milliseconds
  bool item = false;    // an element of an optional item
  bool valid = true;
  std::optional<bool> compact;    // kinds with a compact form
  std::optional<uint16_t> ratio;  // hundredths of a percent, where the entry carries one
  Values others;                  // everything that is not computed from the above
  Values raw;                     // words as they stand, for `--raw`
  std::vector<Group> groups;
};

struct StatisticsRecord {
  size_t number = 0;  // in the file, from 1
  uint32_t stamp = 0;
  std::vector<Entry> entries;
};

struct File {
  int revision = 0;
  char level = 'L';
  model::Bytes header;
  std::vector<StatisticsRecord> records;
};

/// Reads a sound file; throws model::BrokenRecord where it is not.
File ReadFile(const model::Bytes& bytes);

/// Everything that `dump` should print of an entry; `raw` with the words as they stand.
Values DumpValues(const Entry& entry, bool raw);

}  // namespace figures

#endif  // TESTS_FIGURES_ENTRIES_H_
