// Random statistics records and their optional items for the generator of test logs.

#ifndef TESTS_MODEL_RANDOM_STATISTICS_H_
#define TESTS_MODEL_RANDOM_STATISTICS_H_

#include <cstdint>
#include <map>
#include <vector>

#include "tests/model/bytes.h"
#include "tests/model/kind_rules.h"
#include "tests/model/random_config.h"
#include "tests/model/random_source.h"

namespace model {

/// What the records of one file share.
struct StatisticsStyle {
  std::map<Kind, uint32_t> masks;  // item bitmaps of the file header
  Mood mood = Mood::kTypical;
  uint32_t interval = 60000;  // usual interval length in milliseconds
  int odd = 100;              // percent of entries that may be not valid, compact or of any length
  bool nodes_listed = false;  // a record since the structure record has listed the port nodes
};

/// Item bitmaps of every sort: none, full, partial, with bits that the revision does not define.
std::map<Kind, uint32_t> RandomMasks(Random& random, int revision);

/// One statistics record; it may change the elements that `config` remembers.
Bytes EncodeStatistics(Random& random, RandomConfig& config, StatisticsStyle& style,
                       uint32_t stamp);

/// The optional items of one record.
std::vector<Bytes> EncodeItems(Random& random, RandomConfig& config, Mood mood);

}  // namespace model

#endif  // TESTS_MODEL_RANDOM_STATISTICS_H_
