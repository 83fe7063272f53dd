// Resources that statistics records bring themselves, ranks or pools, and disk ports.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "tests/revisions/side_by_side_logs.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

Bytes Port(unsigned key0, unsigned key1, unsigned key2, uint32_t length) {
  return Bytes(112).U32(4, length).U8(8, key0).U8(9, key1).U8(13, key2);
}

constexpr size_t kPortStep = 112 + 22 * 4;

std::string Name(const ::testing::TestParamInfo<int>& test) { return RevisionName(test.param); }

// --- sections of other revisions ------------------------------------------------------------------

// Where a later revision has the header of a section, an earlier one has no meaning.
TEST(SectionsOfOtherRevisions, AreNotRead) {
  for (const int revision : RevisionsFrom(0x11)) {  // records of 0x10 may be of 0x11
    const std::vector<KindFacts> own = KindsOf(revision);
    for (const size_t at_a_time : {1, 10}) {
      SCOPED_TRACE(RevisionName(revision) + ", " + std::to_string(at_a_time));
      const Reading reading(at_a_time, kPieceBytes);
      RevisionRun run(revision);
      run.Feed(StructureBuilder(revision).Add(kLd, {{1, 1}}).Build());
      Bytes record =
          StatisticsBuilder(revision).Add(kLd, PlainEntry(revision, kLd, 1, 1000)).Build();
      run.Feed(record);
      const Bytes expected = run.Period();
      const size_t head = record.Get32(static_cast<size_t>(FindKind(own, kLd)->slot) + 4);
      for (const KindFacts& kind : KindsOf(0x21)) {
        const bool taken = std::any_of(own.begin(), own.end(), [&](const KindFacts& mine) {
          return mine.slot < kind.slot + 8 && kind.slot < mine.slot + 8;
        });
        const auto slot = static_cast<size_t>(kind.slot);
        if (!taken && slot + 8 <= head) record.Slot(slot, 0, 3, 40);
      }
      run.Feed(record);
      EXPECT_EQ(run.Period(), expected);
    }
  }
}

// --- host port nodes ------------------------------------------------------------------------------

class HostPortNodes : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();
  RevisionRun run{GetParam()};
  HostPortNodes() { run.Feed(StructureBuilder(revision).Build()); }

  Bytes Record(const std::vector<Bytes>& entries) const {
    StatisticsBuilder record(revision);
    for (const Bytes& entry : entries) record.Add(kHpNode, entry);
    return record.Build();
  }
};
INSTANTIATE_TEST_SUITE_P(Revisions, HostPortNodes, ::testing::ValuesIn(RevisionsFrom(0x1A)), Name);

TEST_P(HostPortNodes, AreBuiltFromTheFirstRecordThatHasThem) {
  run.Feed(Record({}));
  run.Feed(Record({Port(1, 2, 3, 1000), Port(1, 2, 4, 2000)}));
  run.Feed(Record({Port(1, 2, 4, 20), Port(1, 2, 3, 10)}));
  const Bytes period = run.Period();
  EXPECT_EQ(period.Get16(130), 2U);
  const Bytes section = SectionOf(period, revision, kHpNode, 2 * kPortStep);
  EXPECT_EQ(section.Get8(13), 3U);
  EXPECT_EQ(section.Get32(4), 1010U);
  EXPECT_EQ(section.Get8(kPortStep + 13), 4U);
  EXPECT_EQ(section.Get32(kPortStep + 4), 2020U);
}

TEST_P(HostPortNodes, ExtendedWordsArePassedOverWhileBuilding) {
  run.InputMask(kHpNode, 0xC0000000);
  const Bytes words = Bytes().AddU32(0x09090909).AddU32(0x08080808);
  run.Feed(Record({Port(1, 2, 3, 1000).Add(words), Port(1, 2, 4, 2000).Add(words)}));
  const Bytes section = SectionOf(run.Period(), revision, kHpNode, 2 * kPortStep);
  EXPECT_EQ(section.Get8(kPortStep + 8), 1U);
  EXPECT_EQ(section.Get8(kPortStep + 13), 4U);
  EXPECT_EQ(section.Get32(kPortStep + 112), 0x09090909U);
}

TEST_P(HostPortNodes, CountIsComparedOnceTheyAreBuilt) {
  run.Feed(Record({Port(1, 2, 3, 1000)}));
  EXPECT_TRUE(run.Breaks(Record({Port(1, 2, 3, 1000), Port(1, 2, 4, 2000)})));
}

TEST_P(HostPortNodes, NoneIsADifferingCountOnceTheyAreBuilt) {
  run.Feed(Record({Port(1, 2, 3, 1000)}));
  EXPECT_TRUE(run.Breaks(Record({})));
}

TEST_P(HostPortNodes, StructureRecordDropsThem) {
  run.Feed(Record({Port(1, 2, 3, 1000)}));
  run.Feed(StructureBuilder(revision).Build());
  run.Output();
  run.Feed(Record({Port(7, 7, 7, 1000), Port(8, 8, 8, 1000)}));
  EXPECT_EQ(run.Period().Get16(130), 2U);
}

TEST_P(HostPortNodes, CountWithoutOffsetBuildsNothing) {
  run.Feed(StatisticsBuilder(revision).Announce(kHpNode, 3).Build());
  const Bytes period = run.Period();
  EXPECT_EQ(period.Get16(130), 0U);
}

TEST_P(HostPortNodes, SectionBeyondTheRecordBreaksItBeforeAnythingIsBuilt) {
  Bytes record = Record({Port(1, 2, 3, 1000)});
  EXPECT_TRUE(run.Breaks(record.U16(130, 0xFFFF)));
}

TEST_P(HostPortNodes, UnknownNodeBreaksTheRecord) {
  run.Feed(Record({Port(1, 2, 3, 1000)}));
  EXPECT_TRUE(run.Breaks(Record({Port(1, 2, 9, 1000)})));
}

// --- host ports of archives -----------------------------------------------------------------------

class ArchiveHostPorts : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();

  Bytes Record(const std::vector<Bytes>& entries) const {
    StatisticsBuilder record(revision);
    for (const Bytes& entry : entries) record.Add(kHp, entry);
    return record.Build();
  }
};
INSTANTIATE_TEST_SUITE_P(Revisions, ArchiveHostPorts, ::testing::ValuesIn(RevisionsFrom(0x1D)),
                         Name);

TEST_P(ArchiveHostPorts, AreBuiltFromTheFirstRecordThatHasThem) {
  RevisionRun run(revision, 'H', 'D');
  run.Feed(StructureBuilder(revision).Build());
  run.Feed(Record({}));
  run.Feed(Record({Port(1, 2, 0, 1000), Port(3, 4, 0, 2000)}));
  run.Feed(Record({Port(1, 2, 0, 10), Port(3, 4, 0, 20)}));
  const Bytes period = run.Period();
  EXPECT_EQ(period.Get16(50), 2U);
  const Bytes section = SectionOf(period, revision, kHp, 2 * kPortStep);
  EXPECT_EQ(section.Get32(4), 1010U);
  EXPECT_EQ(section.Get32(kPortStep + 4), 2020U);
}

TEST_P(ArchiveHostPorts, AreFoundByPositionThen) {
  RevisionRun run(revision, 'H', 'D');
  run.Feed(StructureBuilder(revision).Build());
  run.Feed(Record({Port(1, 2, 0, 1000), Port(3, 4, 0, 2000)}));
  EXPECT_TRUE(run.Breaks(Record({Port(3, 4, 0, 1000), Port(1, 2, 0, 2000)})));
}

TEST_P(ArchiveHostPorts, CountIsComparedOnceTheyAreBuilt) {
  RevisionRun run(revision, 'H', 'D');
  run.Feed(StructureBuilder(revision).Build());
  run.Feed(Record({Port(1, 2, 0, 1000)}));
  EXPECT_TRUE(run.Breaks(Record({})));
}

TEST_P(ArchiveHostPorts, ListOfTheStructureRecordIsUsedWhereItHasEntries) {
  RevisionRun run(revision, 'H', 'D');
  run.Feed(StructureBuilder(revision).Add(kHp, {{1, 2}}).Build());
  EXPECT_TRUE(run.Breaks(Record({Port(1, 2, 0, 1000), Port(3, 4, 0, 2000)})));
}

TEST_P(ArchiveHostPorts, LogsBuildNone) {
  RevisionRun run(revision, 'L', 'H');
  run.Feed(StructureBuilder(revision).Build());
  EXPECT_TRUE(run.Breaks(Record({Port(1, 2, 0, 1000)})));
}

TEST(ArchiveHostPortsBelow0x1D, AreThoseOfTheStructureRecord) {
  RevisionRun run(0x1C, 'H', 'D');
  run.Feed(StructureBuilder(0x1C).Build());
  StatisticsBuilder record(0x1C);
  EXPECT_TRUE(run.Breaks(record.Add(kHp, Port(1, 2, 0, 1000)).Build()));
}

// --- ranks or pools -------------------------------------------------------------------------------

class RankOrPool : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();

  // Both lists and both sections have entries; byte 95 chooses.
  Bytes Period(unsigned byte95) const {
    RevisionRun run(revision);
    StructureBuilder structure(revision);
    structure.basic.U8(95, byte95);
    run.Feed(structure.Add(kRank, {{1, 1}}).Add(kPool, {{2, 2}, {3, 3}}).Build());
    StatisticsBuilder record(revision);
    record.first[kRank] = 0x1111;
    record.first[kPool] = 0x2222;
    record.Add(kRank, PlainEntry(revision, kRank, 1, 1000).U32(32, 5));
    record.Add(kPool, PlainEntry(revision, kPool, 2, 2000));
    run.Feed(record.Add(kPool, PlainEntry(revision, kPool, 3, 3000)).Build());
    return run.Period();
  }
};
INSTANTIATE_TEST_SUITE_P(Revisions, RankOrPool, ::testing::ValuesIn(RevisionsFrom(0x19)), Name);

TEST_P(RankOrPool, RanksAreCarriedWhenByte95Is0) {
  const Bytes period = Period(0);
  EXPECT_EQ(period.Part(112, 8), Bytes(8).Slot(0, 0x1111, 1, 256));
  EXPECT_EQ(period.Part(120, 8), Bytes(8).Slot(0, 0x2222, 2, 0));  // the count stays
  EXPECT_EQ(period.size(), 256U + 64 + 40);
  EXPECT_EQ(period.Get32(256 + 4), 1000U);
}

TEST_P(RankOrPool, PoolsAreCarriedOtherwise) {
  for (const unsigned byte95 : {1U, 0x80U, 0xFFU}) {
    const Bytes period = Period(byte95);
    EXPECT_EQ(period.Part(112, 8), Bytes(8).Slot(0, 0x1111, 1, 0));
    EXPECT_EQ(period.Part(120, 8), Bytes(8).Slot(0, 0x2222, 2, 256));
    EXPECT_EQ(period.size(), 256U + 2 * (64 + 40));
    EXPECT_EQ(period.Get32(256 + 104 + 4), 3000U);
  }
}

TEST_P(RankOrPool, CountOfTheOtherKindIsStillCompared) {
  for (const bool pools : {false, true}) {
    RevisionRun run(revision);
    run.Feed(OneOfEach(revision, pools).Build());
    StatisticsBuilder record = EntryOfEach(revision, 1000, pools);
    EXPECT_TRUE(run.Breaks(record.Announce(pools ? kRank : kPool, 1).Build()));
  }
}

TEST_P(RankOrPool, SectionOfTheOtherKindIsNotRead) {
  for (const bool pools : {false, true}) {
    const Kind other = pools ? kRank : kPool;
    RevisionRun run(revision);
    StructureBuilder structure = OneOfEach(revision, pools);
    run.Feed(structure.Add(other, {{1, 1}}).Build());
    StatisticsBuilder record = EntryOfEach(revision, 1000, pools);
    // An unknown key and an offset beyond the record would break it.
    Bytes bytes = record.Add(other, PlainEntry(revision, other, 99, 1000)).Build();
    run.Feed(bytes);
    run.Feed(bytes.U32((pools ? 112U : 120U) + 4, 0xFFFFFF00));
    run.Period();
  }
}

TEST(RankAndPool, RevisionsBelow0x19CarryBothRanksFirst) {
  for (const int revision : RevisionsFrom(0x14, 0x18)) {
    for (const unsigned byte95 : {0U, 1U}) {
      RevisionRun run(revision);
      StructureBuilder structure(revision);
      structure.basic.U8(95, byte95);
      run.Feed(structure.Add(kRank, {{1, 1}}).Add(kPool, {{2, 2}}).Build());
      StatisticsBuilder record(revision);
      record.Add(kRank, PlainEntry(revision, kRank, 1, 1000).U32(32, 5));
      run.Feed(record.Add(kPool, PlainEntry(revision, kPool, 2, 2000)).Build());
      const Bytes period = run.Period();
      EXPECT_EQ(period.Part(72, 8), Bytes(8).Slot(0, 0, 1, 112));
      EXPECT_EQ(period.Part(80, 8), Bytes(8).Slot(0, 0, 1, 112 + 104));
      EXPECT_EQ(period.Get32(112 + 104 + 4), 2000U);
    }
  }
}

// --- disk ports -----------------------------------------------------------------------------------

class DiskPorts : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Revisions, DiskPorts, ::testing::ValuesIn(AllRevisions()), Name);

TEST_P(DiskPorts, SectionOfAnotherCountIsPassedOverAndTheConfiguredCountWritten) {
  const int revision = GetParam();
  for (const unsigned count : {0U, 1U, 3U, 0xFFFFU}) {
    SCOPED_TRACE(count);
    RevisionRun run(revision);
    run.Feed(StructureBuilder(revision).Add(kDp, {{1, 1}, {2, 2}}).Add(kHp, {{1, 1}}).Build());
    StatisticsBuilder record(revision);
    record.Add(kHp, PlainEntry(revision, kHp, 1, 4000));
    // An unknown key that would break the record if it were read.
    if (count != 0) record.Add(kDp, PlainEntry(revision, kDp, 99, 1000)).Announce(kDp, count);
    run.Feed(record.Build());
    const Bytes period = run.Period();
    const size_t slot = revision <= 0x13 ? 32 : revision <= 0x18 ? 40 : 64;
    EXPECT_EQ(period.Get16(slot + 2), 2U);
    EXPECT_EQ(SectionOf(period, revision, kDp, 48),
              Bytes(48).U8(8, 1).U8(9, 1).U8(11, 1));  // untouched
    EXPECT_EQ(SectionOf(period, revision, kHp, 8).Get32(4), 4000U);
  }
}

}  // namespace
}  // namespace revtest
