// Lookup of resources: every named search over tables filled from structure records, positions, and
// what a missing resource does. Searches that go on from a cursor are the subject of
// lookup_cursor_test.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

#include "revisions/named/named.h"
#include "revisions/pmonfind.h"
#include "tests/revisions/lookup_run.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"
#include "tests/support/run_state.h"

namespace revtest {
namespace {

// --- plain lookup by name -------------------------------------------------------------------------

struct NamedLookup {
  const char* name;
  int revision;
  Kind kind;
  Key first, second;
  std::function<int32_t(const Key&)> find;
};

uint16_t KeyNumber(const Key& key) { return static_cast<uint16_t>(key[0] * 256 + key[1]); }

// clang-format off
const NamedLookup kNamed[] = {
    {"FindHdSet_0x19", 0x19, kHd, {1}, {9}, [](const Key& k) { return FindHdSet_0x19(k[0]); }},
    {"FindRdSet_0x1A", 0x1A, kRd, {1}, {9}, [](const Key& k) { return FindRdSet_0x1A(k[0]); }},
    {"FindDdSet_0x1A", 0x1D, kDd, {1}, {9}, [](const Key& k) { return FindDdSet_0x1A(k[0]); }},
    {"FindHpSet", 0x11, kHp, {1, 2}, {1, 9}, [](const Key& k) { return FindHpSet(k[0], k[1]); }},
    {"FindHpSet", 0x1C, kHp, {1, 2}, {9, 2}, [](const Key& k) { return FindHpSet(k[0], k[1]); }},
    {"FindDpSet", 0x10, kDp, {1, 2}, {1, 9}, [](const Key& k) { return FindDpSet(k[0], k[1]); }},
    {"FindDpSet", 0x21, kDp, {1, 2}, {9, 2}, [](const Key& k) { return FindDpSet(k[0], k[1]); }},
    {"FindCacheSet_0x19", 0x1F, kCache, {1}, {9}, [](const Key& k) { return FindCacheSet_0x19(k[0]); }},
    {"FindChesegSet_0x13", 0x13, kCheseg, {1}, {9}, [](const Key& k) { return FindChesegSet_0x13(k[0]); }},
    {"FindLdSet", 0x10, kLd, {1, 2}, {1, 9}, [](const Key& k) { return FindLdSet(KeyNumber(k)); }},
    {"FindLdSet", 0x14, kLd, {1, 2}, {9, 2}, [](const Key& k) { return FindLdSet(KeyNumber(k)); }},
    // The key of a rank stands at bytes 4 and 5 of its list entry.
    {"FindRankSet", 0x11, kRank, {1, 2}, {1, 9}, [](const Key& k) { return FindRankSet(k[0], k[1]); }},
    {"FindRankSet", 0x1D, kRank, {1, 2}, {9, 2}, [](const Key& k) { return FindRankSet(k[0], k[1]); }},
    {"FindRpSet_0x14", 0x14, kRp, {1, 2}, {1, 9}, [](const Key& k) { return FindRpSet_0x14(k[0], k[1]); }},
    {"FindPoolSet_0x14", 0x14, kPool, {1, 2}, {1, 9}, [](const Key& k) { return FindPoolSet_0x14(KeyNumber(k)); }},
    // From 0x1C on the table's own entry size (here 56) is its stride.
    {"FindPoolSet_0x14", 0x1C, kPool, {1, 2}, {1, 9}, [](const Key& k) { return FindPoolSet_0x14(KeyNumber(k)); }},
    {"FindPoolSet_0x1C", 0x1F, kPool, {1, 2}, {9, 2}, [](const Key& k) { return FindPoolSet_0x1C(KeyNumber(k)); }},
};
// clang-format on

class PlainLookup : public ::testing::TestWithParam<NamedLookup> {
 protected:
  const NamedLookup& lookup = GetParam();
  RevisionRun run{GetParam().revision};
};

INSTANTIATE_TEST_SUITE_P(Named, PlainLookup, ::testing::ValuesIn(kNamed), [](const auto& test) {
  return std::string(test.param.name) + "_in_" + RevisionName(test.param.revision);
});

TEST_P(PlainLookup, GivesThePositionOfTheKey) {
  Configure(run, lookup.revision, lookup.kind, {lookup.first, lookup.second});
  EXPECT_EQ(Look(run, [&] { return lookup.find(lookup.first); }), At(0));
  EXPECT_EQ(Look(run, [&] { return lookup.find(lookup.second); }), At(1));
}

TEST_P(PlainLookup, GivesTheFirstOfEqualKeys) {
  Configure(run, lookup.revision, lookup.kind, {lookup.first, lookup.second, lookup.second});
  EXPECT_EQ(Look(run, [&] { return lookup.find(lookup.second); }), At(1));
}

TEST_P(PlainLookup, ReportsAKeyThatIsNotConfigured) {
  Configure(run, lookup.revision, lookup.kind, {lookup.first});
  EXPECT_EQ(Look(run, [&] { return lookup.find(lookup.second); }), kMissing);
}

TEST_P(PlainLookup, ReportsEveryKeyOfAnEmptyTable) {
  run.Feed(StructureBuilder(lookup.revision).Build());
  EXPECT_EQ(Look(run, [&] { return lookup.find(lookup.first); }), kMissing);
}

TEST_P(PlainLookup, MissingResourceEndsAManualRun) {
  Configure(run, lookup.revision, lookup.kind, {lookup.first});
  Capture errors(2);
  EXPECT_EQ(StatusOf([&] { lookup.find(lookup.second); }), 1);
  EXPECT_EQ(errors.Text(), "Qelprfarc: 112 Record broken -- 20240101array.psl\n");
  EXPECT_FALSE(run.OutputExists());
}

// --- host port nodes, cache segments --------------------------------------------------------------

TEST(Lookup, HostPortNodesCompareThreeKeyBytes) {
  RevisionRun run(0x1A);
  run.Feed(StructureBuilder(0x1A).Build());
  StatisticsBuilder record(0x1A);
  for (const unsigned last : {5U, 6U}) {
    record.Add(kHpNode, Bytes(112).U8(8, 1).U8(9, 2).U8(13, last));
  }
  run.Feed(record.Build());
  EXPECT_EQ(Look(run, [] { return FindHpNodeSet_0x1A(1, 2, 6); }), At(1));
  EXPECT_EQ(Look(run, [] { return FindHpNodeSet_0x1A(1, 2, 7); }), kMissing);
  EXPECT_EQ(Look(run, [] { return FindHpNodeSet_0x1A(1, 3, 6); }), kMissing);
}

TEST(Lookup, SecondCacheSegmentKeyByteCountsOnlyWithBit7OfByte97) {
  {
    RevisionRun run(0x1A);
    Configure(run, 0x1A, kCheseg, {{1, 1}, {1, 2}}, 0x80);
    EXPECT_EQ(Look(run, [] { return FindChesegSet_0x1A(1, 2); }), At(1));
    EXPECT_EQ(Look(run, [] { return FindChesegSet_0x1A(1, 3); }), kMissing);
  }
  {
    RevisionRun run(0x1A);
    Configure(run, 0x1A, kCheseg, {{1, 1}, {1, 2}}, 0x7F & ~0x20);
    EXPECT_EQ(Look(run, [] { return FindChesegSet_0x1A(1, 2); }), At(0));
    EXPECT_EQ(Look(run, [] { return FindChesegSet_0x1A(1, 3); }), At(0));
  }
}

TEST(Lookup, SecondCacheSegmentKeyByteBeginsWith0x1A) {
  RevisionRun run(0x19);
  Configure(run, 0x19, kCheseg, {{1, 1}, {1, 2}}, 0x80);
  EXPECT_EQ(Look(run, [] { return FindChesegSet_0x13(1); }), At(0));
  EXPECT_EQ(Look(run, [] { return FindChesegSet_0x1A(1, 2); }), At(0));
}

// --- kinds found by position ----------------------------------------------------------------------

struct PositionCase {
  const char* name;
  Kind kind;
  size_t entry;
  void (*get)(const void*, int32_t);
};

class PositionLookup : public ::testing::TestWithParam<PositionCase> {
 protected:
  // Calls the accumulator with an entry of this key at this position.
  Looked Take(uint8_t key0, uint8_t key1, int32_t position) {
    const Bytes entry = Bytes(GetParam().entry).U8(8, key0).U8(9, key1);
    return Look(run, [&] {
      GetParam().get(entry.data(), position);
      return 0;
    });
  }
  RevisionRun run{0x1D};
};

void PrintTo(const PositionCase& c, std::ostream* out) { *out << c.name; }

INSTANTIATE_TEST_SUITE_P(From0x1D, PositionLookup,
                         ::testing::Values(PositionCase{"Hp", kHp, 112, GetHpSet_0x1D},
                                           PositionCase{"Rp", kRp, 112, GetRpSet_0x1D},
                                           PositionCase{"Mp", kMp, 48, GetMpSet_0x1D}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(PositionLookup, TheEntryAtTheIndexMustCarryBothKeyBytes) {
  Configure(run, 0x1D, GetParam().kind, {{1, 2}, {3, 4}});
  EXPECT_EQ(Take(1, 2, 0), At(0));
  EXPECT_EQ(Take(3, 4, 1), At(0));
  EXPECT_EQ(Take(1, 2, 1), (Looked{0, true}));
  EXPECT_EQ(Take(3, 9, 1), (Looked{0, true}));
  EXPECT_EQ(Take(9, 4, 1), (Looked{0, true}));
}

TEST_P(PositionLookup, PositionBehindTheTableIsMissing) {
  Configure(run, 0x1D, GetParam().kind, {{1, 2}});
  EXPECT_EQ(Take(1, 2, 1), (Looked{0, true}));
}

TEST_P(PositionLookup, EqualKeysAreToldApartByPosition) {
  Configure(run, 0x1D, GetParam().kind, {{1, 2}, {1, 2}});
  StatisticsBuilder record(0x1D);
  Bytes entry(GetParam().entry);
  entry.U32(4, 1000).U8(8, 1).U8(9, 2);
  record.Add(GetParam().kind, Bytes(entry).Quad(16, 10, 0, 0, 0));
  record.Add(GetParam().kind, Bytes(entry).Quad(16, 20, 0, 0, 0));
  run.Feed(record.Build());
  const size_t step = GetParam().entry + (GetParam().kind == kMp   ? 40
                                          : GetParam().kind == kRp ? 104
                                                                   : 88);
  const Bytes section = SectionOf(run.Period(), 0x1D, GetParam().kind, 2 * step);
  EXPECT_EQ(section.Get32(16), 10U);
  EXPECT_EQ(section.Get32(step + 16), 20U);
}

TEST(Lookup, HostPortsBelow0x1DAreSearched) {
  RevisionRun run(0x1C);
  Configure(run, 0x1C, kHp, {{1, 2}, {3, 4}});
  StatisticsBuilder record(0x1C);  // in another order than configured
  record.Add(kHp, Bytes(112).U32(4, 1000).U8(8, 3).U8(9, 4).Quad(16, 30, 0, 0, 0));
  record.Add(kHp, Bytes(112).U32(4, 1000).U8(8, 1).U8(9, 2).Quad(16, 10, 0, 0, 0));
  run.Feed(record.Build());
  const size_t step = 112 + 22 * 4;
  const Bytes section = SectionOf(run.Period(), 0x1C, kHp, 2 * step);
  EXPECT_EQ(section.Get32(16), 10U);
  EXPECT_EQ(section.Get32(step + 16), 30U);
}

}  // namespace
}  // namespace revtest
