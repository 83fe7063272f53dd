// When a structure record of a day archive in progress is passed over, and what the continuation
// flag becomes when it is not.
#include <gtest/gtest.h>

#include <vector>

#include "areas/finfo.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"
#include "tests/support/run_state.h"

namespace revtest {
namespace {

constexpr bool kNextDay = true;

class Skip : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();
  RevisionRun run{GetParam(), 'H', 'D'};

  // Every list with one entry (of rank and pool the rank), flag set.
  StructureBuilder Full() const {
    StructureBuilder structure(revision);
    structure.continuation = 1;
    for (const ListFacts& list : ListsOf(revision)) AddOne(structure, list, 1);
    return structure;
  }
  void AddOne(StructureBuilder& structure, const ListFacts& list, unsigned key) const {
    const size_t size = list.entry == kFromDescriptor ? 56 : static_cast<size_t>(list.entry);
    if (list.entry == kFromDescriptor) structure.first[list.slot] = 56;
    Bytes entry(size);
    entry.U8(0, key).U8(1, key);
    if (list.length_at >= 0) entry.U32(static_cast<size_t>(list.length_at), size);
    if (list.slot == 112 || (list.length_at == 0)) entry.U8(4, key).U8(5, key);
    structure.AddTo(list.slot, entry);
  }

  enum Outcome { kPassedOver, kWrittenContinued, kWrittenAnew };

  // The first record is written; then `second` comes in the next input of the same output.
  Outcome Second(const StructureBuilder& first, const StructureBuilder& second,
                 bool next_day = kNextDay) {
    run.Feed(first.Build());
    run.NextInput(next_day);
    run.Output();
    run.Feed(second.Build());
    const std::vector<Bytes> records = run.Output();
    if (records.empty()) return kPassedOver;
    EXPECT_EQ(records.size(), 1U);
    return records[0].Get8(12) == 1 ? kWrittenContinued : kWrittenAnew;
  }
};

INSTANTIATE_TEST_SUITE_P(Revisions, Skip, ::testing::ValuesIn(AllRevisions()),
                         [](const auto& test) { return RevisionName(test.param); });

TEST_P(Skip, UnchangedCountsOnTheNextDayPassTheRecordOver) {
  EXPECT_EQ(Second(Full(), Full()), kPassedOver);
}

TEST_P(Skip, AnyNonZeroByteIsASetFlag) {
  StructureBuilder second = Full();
  second.continuation = 0x40;
  EXPECT_EQ(Second(Full(), second), kPassedOver);
}

TEST_P(Skip, NotTheNextDay) { EXPECT_EQ(Second(Full(), Full(), false), kWrittenAnew); }

TEST_P(Skip, WithoutTheFlagTheRecordIsWritten) {
  StructureBuilder second = Full();
  second.continuation = 0;
  EXPECT_EQ(Second(Full(), second), kWrittenAnew);
}

TEST_P(Skip, HourArchivesKeepTheRecordAndItsFlag) {
  finfo.level = 'H';
  EXPECT_EQ(Second(Full(), Full()), kWrittenContinued);
}

TEST_P(Skip, WithoutTheSwitchTheRecordIsWritten) {
  finfo.continuation_switch = 0;
  EXPECT_EQ(Second(Full(), Full()), kWrittenAnew);
}

TEST_P(Skip, OutputThatDoesNotContinueKeepsTheRecordAndItsFlag) {
  run.Feed(Full().Build());
  run.Output();
  pmonarc_stat = 3;  // a new output, the month after
  run.Feed(Full().Build());
  const std::vector<Bytes> records = run.Output();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].Get8(12), 1U);
}

TEST_P(Skip, OutputWithoutAStructureRecordGetsOne) {
  run.Feed(Full().Build());
  run.NextInput(kNextDay);
  run.Output();
  finfo.output_has_structure = false;
  run.Feed(Full().Build());
  EXPECT_EQ(run.Output().size(), 1U);
}

TEST_P(Skip, EachListsCountIsCompared) {
  for (const ListFacts& list : ListsOf(revision)) {
    SCOPED_TRACE(list.slot);
    StructureBuilder second = Full();
    AddOne(second, list, 2);
    EXPECT_EQ(Second(Full(), second), kWrittenAnew);
    // And from more to less.
    EXPECT_EQ(Second(second, Full()), kWrittenAnew);
  }
}

TEST_P(Skip, ContentsAreNotCompared) {
  StructureBuilder second = Full();
  second.lists[24].front().U8(0, 0x55);
  second.basic.U8(0, 0x55);
  second.time = 99;
  second.last_word = 99;
  EXPECT_EQ(Second(Full(), second), kPassedOver);
}

TEST_P(Skip, CountsOfTheBasicInformationAreComparedWhereTheRevisionHasTheKind) {
  const std::vector<std::pair<size_t, int>> kinds = {
      {98, 0x18}, {100, 0x1B}, {102, 0x1B}, {104, 0x1D}};
  for (const auto& [at, from] : kinds) {
    SCOPED_TRACE(at);
    const auto with = [this, at = at](unsigned word) {
      StructureBuilder structure = Full();
      structure.basic.U16(at, word);
      return structure;
    };
    const Outcome changed = revision >= from ? kWrittenAnew : kPassedOver;
    EXPECT_EQ(Second(with(0x8002), with(0x8002)), kPassedOver);
    EXPECT_EQ(Second(with(0x8002), with(0x8003)), changed);
    // A kind marked present matches only a kind that was marked present.
    EXPECT_EQ(Second(with(0x0002), with(0x8002)), changed);
    EXPECT_EQ(Second(with(0x0000), with(0x8000)), changed);
    // What is not marked present is not compared.
    EXPECT_EQ(Second(with(0x8002), with(0x0003)), kPassedOver);
    EXPECT_EQ(Second(with(0x0002), with(0x0003)), kPassedOver);
  }
}

TEST_P(Skip, WaitTimesKeepTheRecordAndItsFlagWhereTheRevisionHasThem) {
  StructureBuilder structure = Full();
  structure.basic.U8(97, 0x20);
  EXPECT_EQ(Second(structure, structure), revision >= 0x1C ? kWrittenContinued : kPassedOver);
}

TEST_P(Skip, ChangedCountsWithWaitTimesClearTheFlag) {
  StructureBuilder second = Full();
  second.basic.U8(97, 0x20);
  AddOne(second, ListsOf(revision).front(), 2);
  EXPECT_EQ(Second(Full(), second), kWrittenAnew);
}

TEST_P(Skip, RecordPassedOverChangesNothing) {
  StructureBuilder second = Full();
  const int slot = revision <= 0x18 ? 24 : 64;  // host ports, disk ports
  const Kind kind = revision <= 0x18 ? kHp : kDp;
  second.lists[slot].front().U8(0, 9).U8(1, 9);
  ASSERT_EQ(Second(Full(), second), kPassedOver);
  // The first record's keys are in force.
  const std::vector<KindFacts> kinds = KindsOf(revision);
  const auto size = static_cast<size_t>(FindKind(kinds, kind)->entry);
  StatisticsBuilder statistics(revision);
  for (const KindFacts& facts : kinds) {
    if (facts.list != 0) statistics.Announce(facts.kind, 1);
  }
  if (revision >= 0x1D) statistics.Announce(kHp, 1);
  const Bytes entry = Bytes(size).U32(4, 1000);
  run.Feed(statistics.Add(kind, Bytes(entry).U8(8, 1).U8(9, 1)).Build());
  const Bytes period = run.Period();
  EXPECT_EQ(SectionOf(period, revision, kind, size).Get32(4), 1000U);
  EXPECT_EQ(SectionOf(period, revision, kind, size).Get16(8), 0x0101U);
}

TEST_P(Skip, RecordThatIsReadInsteadTakesEffect) {
  StructureBuilder second = Full();
  second.lists[24].front().U8(0, 9).U8(1, 9);
  ASSERT_EQ(Second(Full(), second, false), kWrittenAnew);
  EXPECT_EQ(Second(second, second), kPassedOver);
}

TEST_P(Skip, BrokenStructureRecordLeavesNoHeldCounts) {
  run.Automatic();
  run.Feed(Full().Build());
  run.NextInput(kNextDay);
  Bytes broken = Full().Build();
  broken.U32(24 + 4, 0xFFFFFFF0);  // the list leaves the record
  broken.U8(12, 0);                // and would have been read
  EXPECT_TRUE(run.Breaks(broken));
  run.Output();
  pmonarc_stat = 9;
  auto_break_flg = 0;
  run.Feed(Full().Build());
  const std::vector<Bytes> records = run.Output();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].Get8(12), 0U);
}

TEST_P(Skip, RecordsFurtherOnInTheInputAreReadAndKeepTheirFlag) {
  ASSERT_EQ(Second(Full(), Full()), kPassedOver);
  // A statistics record has begun the period of this input.
  StatisticsBuilder statistics(revision);
  for (const KindFacts& facts : KindsOf(revision)) {
    if (facts.list != 0) statistics.Announce(facts.kind, 1);
  }
  run.Feed(statistics.Build());
  run.Feed(Full().Build());
  const std::vector<Bytes> records = run.Output();
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].Tag(), "STA");
  EXPECT_EQ(records[1].Tag(), "CON");
  EXPECT_EQ(records[1].Get8(12), 1U);
}

// --- sets that statistics records built -----------------------------------------------------------

Bytes Port(unsigned key) { return Bytes(112).U32(4, 1000).U8(8, key).U8(9, key).U8(13, key); }

// One resource of a kind; then another number with other keys, as if none had been there, behind a
// structure record that is skipped.
Bytes PeriodBehindSkipped(int revision, Kind kind) {
  RevisionRun run(revision, 'H', 'D');
  StructureBuilder structure(revision);
  structure.continuation = 1;
  run.Feed(structure.Build());
  StatisticsBuilder one(revision);
  run.Feed(one.Add(kind, Port(1)).Build());
  run.NextInput(kNextDay);
  run.Output();
  run.Feed(structure.Build());
  EXPECT_TRUE(run.Output().empty());
  StatisticsBuilder two(revision);
  run.Feed(two.Add(kind, Port(2)).Add(kind, Port(3)).Build());
  return run.Period();
}

TEST(SkipBuiltSets, HostPortNodesAreBuiltAnew) {
  for (const int revision : RevisionsFrom(0x1A)) {
    SCOPED_TRACE(RevisionName(revision));
    const Bytes period = PeriodBehindSkipped(revision, kHpNode);
    EXPECT_EQ(period.Get16(128 + 2), 2U);
    EXPECT_EQ(SectionOf(period, revision, kHpNode, 112).Get8(13), 2U);
  }
}

TEST(SkipBuiltSets, HostPortsOfArchivesAreBuiltAnew) {
  for (const int revision : RevisionsFrom(0x1D)) {
    SCOPED_TRACE(RevisionName(revision));
    EXPECT_EQ(PeriodBehindSkipped(revision, kHp).Get16(48 + 2), 2U);
  }
}

// The host port count compared is that of the two records' descriptors, not of the set.
TEST(SkipBuiltSets, HostPortCountIsThatOfTheDescriptors) {
  RevisionRun run(0x1D, 'H', 'D');
  StructureBuilder structure(0x1D);
  structure.continuation = 1;
  run.Feed(structure.Build());
  StatisticsBuilder one(0x1D);
  run.Feed(one.Add(kHp, Port(1)).Build());
  run.NextInput(kNextDay);
  run.Output();
  run.Feed(structure.Build());
  EXPECT_TRUE(run.Output().empty());
}

}  // namespace
}  // namespace revtest
