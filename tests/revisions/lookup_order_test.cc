// Searches over tables and sections that do not follow each other: every search gives what the
// plain rule gives, however many went before it, and looks at few entries.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "revisions/pmonfind.h"
#include "tests/revisions/lookup_run.h"
#include "tests/revisions/many_slots_run.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

struct OrderCase {
  const char* name;
  int revision;
  Kind kind;
  std::function<int32_t(const Key&)> find;
  uint16_t* cursor;  // null: the search begins at entry 0
};

uint16_t Number(const Key& key) { return static_cast<uint16_t>(key[0] << 8 | key[1]); }

class LookupOrder : public ::testing::TestWithParam<OrderCase> {
 protected:
  void Hold(const std::vector<Key>& keys) {
    StructureBuilder structure(GetParam().revision);
    if (GetParam().kind == kPool) structure.basic.U8(95, 1);
    for (const Key& key : keys) structure.Add(GetParam().kind, {key});
    run.Feed(structure.Build());
    table = keys;
  }

  // The rule as it is written, one entry after the other.
  int32_t Plain(const Key& key) {
    const auto count = static_cast<int32_t>(table.size());
    const auto among = [&](int32_t from, int32_t to) {
      for (int32_t i = from; i < to; ++i) {
        if (table[static_cast<size_t>(i)] == key) return i;
      }
      return -1;
    };
    if (GetParam().cursor == nullptr) return among(0, count);
    int32_t from = *GetParam().cursor;
    if (from >= count - 1) from = 0;
    int32_t found = among(from, count);
    if (found < 0) found = among(0, from);
    return found < 0 ? from : found;
  }

  void Compare(const Key& key) {
    const int32_t expected = Plain(key);
    if (expected < 0) return;  // reported as missing; nothing is found
    ASSERT_EQ(GetParam().find(key), expected);
    if (GetParam().cursor != nullptr) {
      ASSERT_EQ(*GetParam().cursor, expected);
    }
  }

  RevisionRun run{GetParam().revision};
  std::vector<Key> table;
};

INSTANTIATE_TEST_SUITE_P(
    Kinds, LookupOrder,
    ::testing::Values(OrderCase{"Ld0x10", 0x10, kLd,
                                [](const Key& k) { return FindLdSet(Number(k)); }, nullptr},
                      OrderCase{"Ld0x21", 0x21, kLd,
                                [](const Key& k) { return FindLdSet(Number(k)); }, &usLdCursor},
                      OrderCase{"Pd0x12", 0x12, kPd,
                                [](const Key& k) { return FindPdSet(k[0], k[1]); }, &usPdCursor},
                      OrderCase{"Rank0x13", 0x13, kRank,
                                [](const Key& k) { return FindRankSet(k[0], k[1]); }, nullptr},
                      OrderCase{"Pool0x1F", 0x1F, kPool,
                                [](const Key& k) { return FindPoolSet_0x1C(Number(k)); }, nullptr}),
    [](const auto& test) { return std::string(test.param.name); });

// Tables of all sizes with many and with few equal keys; keys that are there and keys that are not.
TEST_P(LookupOrder, GivesWhatThePlainRuleGivesOverRandomTables) {
  Figures random(7);
  int compared = 0;
  for (int round = 0; round < 60; ++round) {
    const uint32_t size = 1 + random.Below(round % 3 == 0 ? 9 : 160);
    const uint32_t different = 1 + random.Below(2 * size);
    const auto key = [&] {
      const uint32_t n = random.Below(different) * 157;
      return Key{static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n)};
    };
    std::vector<Key> keys(size);
    for (Key& entry : keys) entry = key();
    Hold(keys);
    for (uint32_t i = 0; i < 12 * size; ++i, ++compared) Compare(key());
    for (size_t i = keys.size(); i-- > 0; ++compared) Compare(keys[i]);
    if (HasFatalFailure()) return;
  }
  EXPECT_GT(compared, 30000);
}

// Every entry used to pass by all of the table: 2 billion steps for a record of 65,535 disks.
TEST_P(LookupOrder, LooksAtFewEntriesOfATableInReverse) {
  std::vector<Key> keys;
  for (int n = 0; n < 3000; ++n) {
    keys.push_back({static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n)});
  }
  Hold(keys);
  for (int record = 0; record < 3; ++record) {
    for (size_t i = keys.size(); i-- > 0;) Compare(keys[i]);
  }
  EXPECT_LT(resource_sets[GetParam().kind].passed, 10 * keys.size());
}

// What belongs to the table before is forgotten with it.
TEST_P(LookupOrder, AnotherTableHasAnotherOrder) {
  std::vector<Key> keys;
  for (int n = 0; n < 50; ++n) keys.push_back({0, static_cast<uint8_t>(n)});
  for (const size_t by : {0U, 13U, 31U}) {
    std::vector<Key> turned(keys.begin() + static_cast<int>(by), keys.end());
    turned.insert(turned.end(), keys.begin(), keys.begin() + static_cast<int>(by));
    Hold(turned);
    for (int times = 0; times < 20; ++times) {
      for (size_t i = keys.size(); i-- > 0;) Compare(keys[i]);
    }
  }
}

// A section in reverse gives the record that the same section in the table's order gives.
TEST(LookupOrder, SectionInReverseGivesTheSamePeriod) {
  constexpr int kDisks = 500;
  const auto period = [](bool reverse) {
    RevisionRun run(0x21);
    StructureBuilder structure(0x21);
    StatisticsBuilder record(0x21);
    for (int n = 0; n < kDisks; ++n) {
      structure.Add(kLd, {{static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n)}});
      const auto disk = static_cast<unsigned>(reverse ? kDisks - 1 - n : n);
      Bytes entry(96);
      record.Add(kLd, entry.U32(4, 1000).U16(8, disk).Quad(16, disk + 1, disk, 2 * disk, 7));
    }
    run.Feed(structure.Build());
    for (int i = 0; i < 3; ++i) run.Feed(record.Build());
    return run.Period();
  };
  const Bytes expected = period(false);
  EXPECT_GT(expected.size(), kDisks * 96U);
  EXPECT_EQ(period(true), expected);
}

}  // namespace
}  // namespace revtest
