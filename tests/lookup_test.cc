// Lookup of resources: every named search over tables filled from structure records, the two
// cursors, positions, and what a missing resource does.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "engine/finfo.h"
#include "revisions/Qelprfarc0x14.h"
#include "revisions/Qelprfarc0x1D.h"
#include "revisions/pmonfind.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"
#include "tests/support/run_state.h"

namespace revtest {
namespace {

using Keys = std::initializer_list<Key>;

void Configure(RevisionRun& run, int revision, Kind kind, Keys keys, unsigned basic97 = 0) {
  StructureBuilder structure(revision);
  structure.basic.U8(97, basic97);
  if (kind == kPool) structure.basic.U8(95, 1);
  run.Feed(structure.Add(kind, keys).Build());
}

// What a lookup gives in an automatic run, with the number of messages on standard error.
struct Found {
  int32_t index;
  bool reported;
  bool operator==(const Found&) const = default;
};
void PrintTo(const Found& found, std::ostream* out) {
  *out << found.index << (found.reported ? ", reported" : "");
}

Found Look(RevisionRun& run, const std::function<int32_t()>& find) {
  run.Automatic();
  auto_break_flg = 0;
  Capture errors(2);
  const int32_t index = find();
  const bool told = errors.Text() == "Qelprfarc: 112 Record broken -- 20240101array.psl\n";
  return {index, told && auto_break_flg == 1};
}

constexpr Found kMissing = {-1, true};
Found At(int32_t index) { return {index, false}; }

// --- plain lookup by name -------------------------------------------------------------------------

struct NamedLookup {
  const char* name;
  int revision;
  Kind kind;
  Key first, second;
  std::function<int32_t(const Key&)> find;
};

const NamedLookup kNamed[] = {
    {"FindHdSet_0x19", 0x19, kHd, {1}, {9}, [](const Key& k) { return FindHdSet_0x19(k[0]); }},
    {"FindRdSet_0x1A", 0x1A, kRd, {1}, {9}, [](const Key& k) { return FindRdSet_0x1A(k[0]); }},
    {"FindDdSet_0x1A", 0x1D, kDd, {1}, {9}, [](const Key& k) { return FindDdSet_0x1A(k[0]); }},
    {"FindHpSet", 0x11, kHp, {1, 2}, {1, 9}, [](const Key& k) { return FindHpSet(k[0], k[1]); }},
    {"FindHpSet", 0x1C, kHp, {1, 2}, {9, 2}, [](const Key& k) { return FindHpSet(k[0], k[1]); }},
    {"FindDpSet", 0x10, kDp, {1, 2}, {1, 9}, [](const Key& k) { return FindDpSet(k[0], k[1]); }},
    {"FindDpSet", 0x21, kDp, {1, 2}, {9, 2}, [](const Key& k) { return FindDpSet(k[0], k[1]); }},
    {"FindCacheSet_0x19",
     0x1F,
     kCache,
     {1},
     {9},
     [](const Key& k) { return FindCacheSet_0x19(k[0]); }},
    {"FindChesegSet_0x13",
     0x13,
     kCheseg,
     {1},
     {9},
     [](const Key& k) { return FindChesegSet_0x13(k[0]); }},
    {"FindLdSet",
     0x10,
     kLd,
     {1, 2},
     {1, 9},
     [](const Key& k) { return FindLdSet(static_cast<uint16_t>(k[0] * 256 + k[1])); }},
    {"FindLdSet",
     0x14,
     kLd,
     {1, 2},
     {9, 2},
     [](const Key& k) { return FindLdSet(static_cast<uint16_t>(k[0] * 256 + k[1])); }},
    // The key of a rank stands at bytes 4 and 5 of its list entry.
    {"FindRankSet",
     0x11,
     kRank,
     {1, 2},
     {1, 9},
     [](const Key& k) { return FindRankSet(k[0], k[1]); }},
    {"FindRankSet",
     0x1D,
     kRank,
     {1, 2},
     {9, 2},
     [](const Key& k) { return FindRankSet(k[0], k[1]); }},
    {"FindRpSet_0x14",
     0x14,
     kRp,
     {1, 2},
     {1, 9},
     [](const Key& k) { return FindRpSet_0x14(k[0], k[1]); }},
    {"FindPoolSet_0x14",
     0x14,
     kPool,
     {1, 2},
     {1, 9},
     [](const Key& k) { return FindPoolSet_0x14(static_cast<uint16_t>(k[0] * 256 + k[1])); }},
    // From 0x1C on the table's own entry size (here 56) is its stride.
    {"FindPoolSet_0x14",
     0x1C,
     kPool,
     {1, 2},
     {1, 9},
     [](const Key& k) { return FindPoolSet_0x14(static_cast<uint16_t>(k[0] * 256 + k[1])); }},
    {"FindPoolSet_0x1C",
     0x1F,
     kPool,
     {1, 2},
     {9, 2},
     [](const Key& k) { return FindPoolSet_0x1C(static_cast<uint16_t>(k[0] * 256 + k[1])); }},
};

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

// --- the resuming searches ------------------------------------------------------------------------

struct CursorCase {
  const char* name;
  int revision;
  Kind kind;
  std::function<int32_t(uint8_t)> find;  // key 0, n
  uint16_t* cursor;
};

class CursorLookup : public ::testing::TestWithParam<CursorCase> {
 protected:
  Found Find(uint8_t n) {
    return Look(run, [&] { return GetParam().find(n); });
  }
  uint16_t& cursor = *GetParam().cursor;
  RevisionRun run{GetParam().revision};
};

INSTANTIATE_TEST_SUITE_P(
    Disks, CursorLookup,
    ::testing::Values(
        CursorCase{"Ld0x15", 0x15, kLd, [](uint8_t n) { return FindLdSet(n); }, &usLdCursor},
        CursorCase{"Ld0x1D", 0x1D, kLd, [](uint8_t n) { return FindLdSet(n); }, &usLdCursor},
        CursorCase{"Pd0x10", 0x10, kPd, [](uint8_t n) { return FindPdSet(0, n); }, &usPdCursor},
        CursorCase{"Pd0x13", 0x13, kPd, [](uint8_t n) { return FindPdSet(0, n); }, &usPdCursor},
        CursorCase{"Pd0x21", 0x21, kPd, [](uint8_t n) { return FindPdSet(0, n); }, &usPdCursor}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_P(CursorLookup, StartsAtTheLastHit) {
  // Number 2 stands twice: after a hit at 2 the second one is the nearer.
  Configure(run, GetParam().revision, GetParam().kind, {{0, 2}, {0, 1}, {0, 3}, {0, 2}, {0, 4}});
  EXPECT_EQ(Find(2), At(0));
  EXPECT_EQ(Find(3), At(2));
  EXPECT_EQ(cursor, 2);
  EXPECT_EQ(Find(2), At(3));
  EXPECT_EQ(Find(2), At(3));  // the hit itself is looked at first
}

TEST_P(CursorLookup, WrapsAroundToEntriesBeforeTheCursor) {
  Configure(run, GetParam().revision, GetParam().kind, {{0, 1}, {0, 2}, {0, 3}, {0, 4}});
  EXPECT_EQ(Find(3), At(2));
  EXPECT_EQ(Find(1), At(0));
  EXPECT_EQ(cursor, 0);
}

TEST_P(CursorLookup, AfterAHitOnTheLastEntryTheNextSearchStartsAtEntry0) {
  Configure(run, GetParam().revision, GetParam().kind, {{0, 7}, {0, 8}, {0, 7}});
  EXPECT_EQ(Find(8), At(1));
  EXPECT_EQ(Find(7), At(2));
  EXPECT_EQ(cursor, 2);
  EXPECT_EQ(Find(7), At(0));
}

TEST_P(CursorLookup, WithCount1TheSearchAlwaysStartsAt0) {
  Configure(run, GetParam().revision, GetParam().kind, {{0, 7}});
  cursor = 9;
  EXPECT_EQ(Find(7), At(0));
  EXPECT_EQ(cursor, 0);
}

TEST_P(CursorLookup, AbsentKeyYieldsTheCursorsPositionWithoutAMessage) {
  Configure(run, GetParam().revision, GetParam().kind, {{0, 1}, {0, 2}, {0, 3}, {0, 4}});
  EXPECT_EQ(Find(3), At(2));
  EXPECT_EQ(Find(99), At(2));
  EXPECT_EQ(cursor, 2);
  EXPECT_EQ(Find(4), At(3));
  EXPECT_EQ(Find(99), At(0));  // after a wrap
  EXPECT_EQ(cursor, 0);
}

TEST_P(CursorLookup, EmptyTableIsReported) {
  run.Feed(StructureBuilder(GetParam().revision).Build());
  cursor = 3;
  EXPECT_EQ(Find(1), kMissing);
  EXPECT_EQ(cursor, 0);  // stored before the test
}

TEST_P(CursorLookup, CursorOutlivesTablesAndPeriods) {
  Configure(run, GetParam().revision, GetParam().kind, {{0, 1}, {0, 2}, {0, 3}, {0, 4}});
  EXPECT_EQ(Find(3), At(2));
  Configure(run, GetParam().revision, GetParam().kind, {{0, 5}, {0, 6}, {0, 7}, {0, 5}});
  EXPECT_EQ(Find(5), At(3));  // looked for from entry 2 on
}

TEST(Lookup, CursorsOfLogicalAndPhysicalDisksAreTheirOwn) {
  RevisionRun run(0x1D);
  run.Feed(StructureBuilder(0x1D)
               .Add(kLd, {{0, 1}, {0, 2}, {0, 3}})
               .Add(kPd, {{0, 1}, {0, 2}, {0, 3}})
               .Build());
  EXPECT_EQ(FindLdSet(2), 1);
  EXPECT_EQ(usPdCursor, 0);
  EXPECT_EQ(FindPdSet(0, 3), 2);
  EXPECT_EQ(usLdCursor, 1);
}

TEST(Lookup, LogicalDisksBelow0x15HaveNoCursor) {
  RevisionRun run(0x14);
  Configure(run, 0x14, kLd, {{0, 7}, {0, 8}, {0, 7}, {0, 9}});
  EXPECT_EQ(FindLdSet(8), 1);
  EXPECT_EQ(FindLdSet(7), 0);
  EXPECT_EQ(usLdCursor, 0);
}

// A key absent from a non-empty table: the entry goes into the slot at the cursor, and the slot is
// written with the entry's key.
TEST(Lookup, EntryOfAnAbsentDiskIsAccumulatedAtTheCursor) {
  RevisionRun run(0x10);
  Configure(run, 0x10, kPd, {{0, 1}, {0, 2}, {0, 3}});
  StatisticsBuilder record(0x10);
  const auto entry = [](unsigned key, unsigned count) {
    return Bytes(48).U32(4, 1000).U8(9, key).Quad(16, count, 0, 0, 0);
  };
  record.Add(kPd, entry(1, 10)).Add(kPd, entry(2, 20)).Add(kPd, entry(77, 40));
  run.Feed(record.Build());
  const Bytes section = SectionOf(run.Period(), 0x10, kPd, 2 * (48 + 8 * 4) + 16);
  EXPECT_EQ(section.Get8(9), 1U);
  EXPECT_EQ(section.Get32(16), 10U);
  EXPECT_EQ(section.Get8(80 + 9), 77U);
  EXPECT_EQ(section.Get32(80 + 16), 60U);
  EXPECT_EQ(section.Get8(160 + 9), 3U);  // untouched: idle
  EXPECT_EQ(section.Get8(160 + 10), 1U);
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
  Found Take(uint8_t key0, uint8_t key1, int32_t position) {
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
  EXPECT_EQ(Take(1, 2, 1), (Found{0, true}));
  EXPECT_EQ(Take(3, 9, 1), (Found{0, true}));
  EXPECT_EQ(Take(9, 4, 1), (Found{0, true}));
}

TEST_P(PositionLookup, PositionBehindTheTableIsMissing) {
  Configure(run, 0x1D, GetParam().kind, {{1, 2}});
  EXPECT_EQ(Take(1, 2, 1), (Found{0, true}));
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
