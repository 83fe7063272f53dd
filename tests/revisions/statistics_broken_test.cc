// Statistics records that break a file: counts, sections, keys; in manual and automatic runs.
#include <gtest/gtest.h>

#include <vector>

#include "areas/finfo.h"
#include "engine/layout/layout.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

class BrokenStatistics : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();
  size_t head = Index(RecordHeadOf(GetParam()));
  std::vector<KindFacts> kinds = KindsOf(GetParam());

  // Whether `record` breaks a file that configures one resource of each kind, in both kinds of run.
  bool Breaks(const Bytes& record, bool pools = false) const {
    RevisionRun manual(revision);
    manual.Feed(OneOfEach(revision, pools).Build());
    const bool breaks = manual.Breaks(record);
    RevisionRun automatic(revision);
    automatic.Automatic();
    automatic.Feed(OneOfEach(revision, pools).Build());
    EXPECT_EQ(automatic.Breaks(record), breaks);
    return breaks;
  }
  bool Excluded(Kind kind, bool pools) const {
    return revision >= 0x19 && kind == (pools ? kRank : kPool);
  }
};

INSTANTIATE_TEST_SUITE_P(Revisions, BrokenStatistics, ::testing::ValuesIn(AllRevisions()),
                         [](const auto& test) { return RevisionName(test.param); });

TEST_P(BrokenStatistics, SoundRecordIsNone) {
  EXPECT_FALSE(Breaks(EntryOfEach(revision, 1000).Build()));
  EXPECT_FALSE(Breaks(EntryOfEach(revision, 1000, true).Build(), true));
}

TEST_P(BrokenStatistics, RecordShorterThanItsHead) {
  EXPECT_TRUE(Breaks(Bytes(head - 1).Text(0, "STA").U32(8, head - 1)));
  EXPECT_TRUE(Breaks(Bytes(12).Text(0, "STA").U32(8, 12)));
}

TEST_P(BrokenStatistics, CountsThatDifferFromTheConfiguration) {
  for (const bool pools : {false, true}) {
    for (const KindFacts& facts : kinds) {
      if (facts.kind == kHpNode) continue;  // configured by its own entries
      SCOPED_TRACE(NameOf(facts.kind));
      for (const unsigned count : {0U, 2U}) {
        StatisticsBuilder record = EntryOfEach(revision, 1000, pools);
        record.Announce(facts.kind, count);
        // None is the right count of the kind that is not carried.
        const bool right = Excluded(facts.kind, pools) && count == 0;
        EXPECT_EQ(Breaks(record.Build(), pools), facts.kind != kDp && !right);
      }
    }
  }
}

TEST_P(BrokenStatistics, SectionThatLeavesTheRecord) {
  for (const KindFacts& facts : kinds) {
    if (facts.list == 0 || Excluded(facts.kind, false)) continue;
    SCOPED_TRACE(NameOf(facts.kind));
    const Bytes record = EntryOfEach(revision, 1000).Build();
    const auto size = static_cast<uint32_t>(record.size());
    // The last byte alone, the record's end, far beyond.
    for (const uint32_t offset : {size - 1, size, size + 1, 0xFFFFFFF0U}) {
      EXPECT_TRUE(Breaks(Bytes(record).U32(Index(facts.slot) + 4, offset)));
    }
  }
}

TEST_P(BrokenStatistics, EntryCutByTheEndOfTheRecord) {
  for (const KindFacts& facts : kinds) {
    if (facts.list == 0 || Excluded(facts.kind, false)) continue;
    SCOPED_TRACE(NameOf(facts.kind));
    // The entry once more at the record's very end, whole and one byte short.
    const Bytes entry = PlainEntry(revision, facts.kind, 1, 1000);
    Bytes record = EntryOfEach(revision, 1000).Build();
    record.U32(Index(facts.slot) + 4, record.size()).Add(entry);
    EXPECT_FALSE(Breaks(record.U32(8, record.size())));
    record = record.Part(0, record.size() - 1);
    EXPECT_TRUE(Breaks(record.U32(8, record.size())));
  }
}

TEST_P(BrokenStatistics, ExtendedWordsCutByTheEndOfTheRecord) {
  for (const KindFacts& facts : kinds) {
    if (facts.list == 0 || facts.kind == kCache || Excluded(facts.kind, false)) continue;
    SCOPED_TRACE(NameOf(facts.kind));
    for (const size_t missing : {size_t{0}, size_t{1}, size_t{4}}) {
      RevisionRun run(revision);
      run.Feed(OneOfEach(revision).Build());
      run.InputMask(facts.kind, 0xA0000000);  // two words
      const Bytes entry = PlainEntry(revision, facts.kind, 1, 1000).Add(Bytes(8));
      Bytes record = EntryOfEach(revision, 1000).Build();
      record.U32(Index(facts.slot) + 4, record.size()).Add(entry);
      record = record.Part(0, record.size() - missing);
      EXPECT_EQ(run.Breaks(record.U32(8, record.size())), missing != 0);
    }
  }
}

TEST_P(BrokenStatistics, RecordWithEntriesBeforeAnyStructureRecord) {
  RevisionRun run(revision);
  StatisticsBuilder record(revision);
  EXPECT_TRUE(run.Breaks(record.Add(kDp, PlainEntry(revision, kDp, 1, 1000)).Build()));
  RevisionRun automatic(revision);
  automatic.Automatic();
  StatisticsBuilder ports(revision);
  EXPECT_TRUE(automatic.Breaks(ports.Add(kHp, PlainEntry(revision, kHp, 1, 1000)).Build()));
}

TEST_P(BrokenStatistics, RecordWithoutEntriesBeforeAnyStructureRecordIsAPeriod) {
  RevisionRun run(revision);
  StatisticsBuilder record(revision);
  run.Feed(record.Build());
  EXPECT_EQ(run.Period().size(), head);
}

TEST_P(BrokenStatistics, StructureRecordOfAnotherRevisionCountsAsNone) {
  RevisionRun run(revision);
  run.Feed(OneOfEach(revision).Build());
  run.Flush();
  // The next input is of another revision and begins without a structure record.
  const int other = revision == 0x21 ? 0x20 : revision + 1;
  finfo.revision = Rev_Kind = static_cast<uint8_t>(other);
  finfo.layout = &LayoutOf(Rev_Kind);
  EXPECT_TRUE(run.Breaks(EntryOfEach(other, 1000).Build()));
}

TEST_P(BrokenStatistics, RejectedRecordNeitherCutsTheHourNorCounts) {
  RevisionRun run(revision);
  run.Automatic();
  run.Feed(OneOfEach(revision).Build());
  run.Feed(EntryOfEach(revision, 1000).Build());
  run.Output();
  StatisticsBuilder record = EntryOfEach(revision, 9000);
  EXPECT_TRUE(run.Breaks(record.Announce(kHp, 5).Build()));
  EXPECT_TRUE(run.Output().empty());
}

TEST_P(BrokenStatistics, SectionMayLieAnywhereInItsRecord) {
  // Host ports over the record's own head: the key bytes are those of the file.
  RevisionRun run(revision);
  run.Feed(StructureBuilder(revision).Add(kHp, {{0, 0}}).Build());
  Bytes record(256);
  const size_t slot = revision <= 0x18 ? 24 : 48;
  record.Text(0, "STA").U8(3, 0x44).U32(4, 0x00001000).U32(8, 256).Slot(slot, 0, 1, 3);
  run.Feed(record);
  const Bytes entry = SectionOf(run.Period(), revision, kHp, 16);
  EXPECT_EQ(entry.Get32(0), 0x44000010U);  // bytes 3 to 6
  EXPECT_EQ(entry.Get32(4), 0x00000001U);  // bytes 7 to 10
}

}  // namespace
}  // namespace revtest
