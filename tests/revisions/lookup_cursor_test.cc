// The searches of disks, which go on from where the last one ended: cursors of their own for
// logical and physical disks, and what becomes of a disk that is not configured.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>

#include "revisions/pmonfind.h"
#include "tests/revisions/lookup_run.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

struct CursorCase {
  const char* name;
  int revision;
  Kind kind;
  std::function<int32_t(uint8_t)> find;  // key 0, n
  uint16_t* cursor;
};

class CursorLookup : public ::testing::TestWithParam<CursorCase> {
 protected:
  Looked Find(uint8_t n) {
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

}  // namespace
}  // namespace revtest
