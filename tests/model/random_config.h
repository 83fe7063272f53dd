// A random disk array for the generator of test logs: its resources by kind, the optional kinds,
// and the structure record that describes it.

#ifndef TESTS_MODEL_RANDOM_CONFIG_H_
#define TESTS_MODEL_RANDOM_CONFIG_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "tests/model/bytes.h"
#include "tests/model/kind_rules.h"
#include "tests/model/random_source.h"

namespace model {

struct RandomConfig {
  int revision = 0;
  Bytes basic;                                      // 112 bytes
  std::map<std::size_t, std::vector<Bytes>> lists;  // by slot, 104, 128 and 144 included
  std::map<std::size_t, uint16_t> first_fields;     // of the descriptors, 16 included
  std::vector<Bytes> hp_nodes;                      // keys
  bool has_trailing = false;
  Bytes trailing;
  uint32_t last_word = 0;

  // Elements of the optional items as they stood last.
  std::vector<Bytes> conc, ld_cp, pool_cp, cab;

  bool second_cheseg_key() const { return revision >= 0x1A && (basic[97] & 0x80) != 0; }
  bool excluded(std::size_t slot) const;
  uint16_t optional_count(std::size_t at) const;  // at 98, 100, 102 or 104
  bool optional_present(std::size_t at) const;
  bool wait_time() const { return HasWaitTime(revision) && (basic[97] & 0x20) != 0; }

  /// Keys of a kind's resources in the order of its list.
  std::vector<Bytes> Keys(const KindRule& rule) const;
};

/// How many resources an array has.
enum class ArraySize {
  kSmall,
  kManyDisks,  // hundreds of logical disks
  kLarge,      // dozens of every kind
};

RandomConfig MakeConfig(Random& random, int revision, ArraySize size);

/// Changes what the archiver does not compare (names, carried words), counts and keys apart.
void RenameConfig(Random& random, RandomConfig& config);

/// The structure record; sections may stand in any order with gaps between them.
Bytes EncodeStructure(Random& random, const RandomConfig& config, uint32_t stamp,
                      bool continuation);

}  // namespace model

#endif  // TESTS_MODEL_RANDOM_CONFIG_H_
