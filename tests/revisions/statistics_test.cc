// Statistics records of all revisions as records: head, section headers, periods and what ends
// them. The entries themselves are the subject of form_test.
#include <gtest/gtest.h>

#include <vector>

#include "areas/finfo.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

class Statistics : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();
  size_t head = Index(RecordHeadOf(GetParam()));
  std::vector<KindFacts> kinds = KindsOf(GetParam());
  RevisionRun run{GetParam()};

  void Configure(bool pools = false) {
    run.Feed(OneOfEach(revision, pools).Build());
    run.Output();
  }
  void Interval(uint32_t time, uint32_t length = 1000) {
    run.Feed(EntryOfEach(revision, time, false, length).Build());
  }
  std::vector<Bytes> Periods() {
    std::vector<Bytes> periods;
    for (const Bytes& record : run.Output()) {
      if (record.Tag() == "STA") periods.push_back(record);
    }
    return periods;
  }
  // Interval length of the first kind's first entry: the sum over the period.
  uint32_t TimeOf(const Bytes& period) const {
    return SectionOf(period, revision, kinds[0].kind, 8).Get32(4);
  }
  int Words(const KindFacts& facts) const {
    int n = 0;
    for (uint32_t mask = facts.mask; mask != 0; mask <<= 1) ++n;
    return n;
  }
};

INSTANTIATE_TEST_SUITE_P(Revisions, Statistics, ::testing::ValuesIn(AllRevisions()),
                         [](const auto& test) { return RevisionName(test.param); });

// --- head and section headers ---------------------------------------------------------------------

TEST_P(Statistics, HeadCarriesFlagAndTimeOfTheLastRecordFolded) {
  Configure();
  StatisticsBuilder first = EntryOfEach(revision, 7000);
  first.flag = 0x11;
  first.pair = 0xABCD;
  run.Feed(first.Build());
  StatisticsBuilder second = EntryOfEach(revision, 7100);
  second.flag = 0x22;
  second.pair = 0xABCD;
  run.Feed(second.Build());
  // Records of other kinds have stamps and flags of their own.
  run.Feed(Bytes(12).Text(0, "FRE").U8(3, 0x33).U32(4, 7150).U32(8, 12));
  const Bytes period = run.Period();
  EXPECT_EQ(period.Tag(), "STA");
  EXPECT_EQ(period.Get8(3), 0x22U);
  EXPECT_EQ(period.Get32(4), 7100U);
  EXPECT_EQ(period.Get32(8), period.size());
  EXPECT_EQ(period.Part(12, 4), Bytes(4));  // bytes 14 and 15 are not carried
}

TEST_P(Statistics, HourCutByARecordKeepsFlagAndTimeOfTheOneBefore) {
  Configure();
  StatisticsBuilder first = EntryOfEach(revision, 7100);
  first.flag = 0x11;
  run.Feed(first.Build());
  StatisticsBuilder second = EntryOfEach(revision, 7300);
  second.flag = 0x22;
  run.Feed(second.Build());
  const std::vector<Bytes> periods = Periods();
  ASSERT_EQ(periods.size(), 1U);
  EXPECT_EQ(periods[0].Get8(3), 0x11U);
  EXPECT_EQ(periods[0].Get32(4), 7100U);
}

TEST_P(Statistics, SectionsFollowEachOtherWithTheirCounts) {
  for (const bool pools : {false, true}) {
    run.NextInput(false);
    Configure(pools);
    StatisticsBuilder record = EntryOfEach(revision, 1000, pools);
    record.gap = 3;
    // Counts keep all entries from being idle; cache entries never are.
    for (auto& [kind, entries] : record.sections) {
      if (kind == kCache) continue;
      const EntryFacts facts = EntryOf(kind, revision);
      if (facts.quads > 0) entries[0].U32(Index(facts.quads_at), 1);
      if (facts.quads == 0) entries[0].U16(Index(facts.ratio), 10000);
    }
    run.Feed(record.Build());
    const Bytes period = run.Period();
    size_t at = head;
    for (const KindFacts& facts : kinds) {
      SCOPED_TRACE(NameOf(facts.kind));
      const bool excluded = revision >= 0x19 && facts.kind == (pools ? kRank : kPool);
      const bool there = facts.list != 0 && !excluded;
      EXPECT_EQ(period.Part(Index(facts.slot), 8),
                Bytes(8).Slot(0, 0, there ? 1 : 0, excluded ? 0 : at));
      if (there) at += Index(facts.entry + 4 * Words(facts));
    }
    EXPECT_EQ(period.size(), at);
  }
}

TEST_P(Statistics, SlotsOfOtherKindsAreZero) {
  Configure();
  Bytes record = EntryOfEach(revision, 1000).Build();
  for (size_t slot = 24; slot + 8 <= head; slot += 8) {
    bool known = false;
    for (const KindFacts& facts : kinds) known = known || Index(facts.slot) == slot;
    // Slot 56 of 0x10 has a meaning of its own.
    if (!known && !(revision == 0x10 && slot == 56)) record.Slot(slot, 7, 7, 7);
  }
  run.Feed(record);
  const Bytes period = run.Period();
  for (size_t slot = 24; slot + 8 <= head; slot += 8) {
    bool known = false;
    for (const KindFacts& facts : kinds) known = known || Index(facts.slot) == slot;
    if (!known) {
      EXPECT_EQ(period.Part(slot, 8), Bytes(8)) << slot;
    }
  }
  EXPECT_EQ(period.Part(16, 8), Bytes(8));  // no optional items
}

TEST_P(Statistics, FirstFieldsAreThoseOfTheLastRecordRead) {
  Configure();
  const auto with = [this](uint32_t time, unsigned seed) {
    StatisticsBuilder record = EntryOfEach(revision, time);
    for (const KindFacts& facts : kinds) record.first[facts.kind] = seed + facts.kind;
    return record.Build();
  };
  run.Feed(with(1000, 0x1000));
  run.Feed(with(2000, 0x2000));
  run.Feed(with(3600, 0x3000));  // ends the hour: its own fields go into the record
  run.Feed(with(3700, 0x4000));
  run.Flush();
  const std::vector<Bytes> periods = Periods();
  ASSERT_EQ(periods.size(), 2U);
  for (const KindFacts& facts : kinds) {
    EXPECT_EQ(periods[0].Get16(Index(facts.slot)), 0x3000U + facts.kind);
    EXPECT_EQ(periods[1].Get16(Index(facts.slot)), 0x4000U + facts.kind);
  }
}

TEST_P(Statistics, WrittenRecordReadsBackAsItself) {
  Configure();
  Interval(1000, 60000);
  const Bytes first = run.Period();
  for (const KindFacts& facts : kinds) run.InputMask(facts.kind, facts.mask);
  run.Feed(first);
  EXPECT_EQ(run.Period(), first);
}

TEST_P(Statistics, SectionWithOffset0CarriesNoEntries) {
  Configure();
  StatisticsBuilder record(revision);
  for (const KindFacts& facts : kinds) {
    if (facts.list == 0 || (revision >= 0x19 && facts.kind == kPool)) continue;
    record.Announce(facts.kind, 1);
  }
  run.Feed(record.Build());
  const Bytes period = run.Period();
  EXPECT_EQ(TimeOf(period), 0U);
  EXPECT_EQ(period.Get16(Index(kinds[0].slot) + 2), 1U);
}

// --- periods --------------------------------------------------------------------------------------

TEST_P(Statistics, RecordOfALaterHourFirstWritesTheHourThenCountsInTheNext) {
  Configure();
  Interval(3600, 10);
  Interval(7199, 20);
  EXPECT_TRUE(Periods().empty());
  Interval(7200, 40);
  std::vector<Bytes> periods = Periods();
  ASSERT_EQ(periods.size(), 1U);
  EXPECT_EQ(TimeOf(periods[0]), 30U);
  Interval(7201, 80);
  run.Flush();
  periods = Periods();
  ASSERT_EQ(periods.size(), 1U);
  EXPECT_EQ(TimeOf(periods[0]), 120U);
}

TEST_P(Statistics, HoursInBetweenAreNotWritten) {
  Configure();
  Interval(3600, 10);
  Interval(36000, 20);
  EXPECT_EQ(Periods().size(), 1U);
}

TEST_P(Statistics, RecordOfAnEarlierHourDoesNotCut) {
  Configure();
  Interval(7200, 10);
  Interval(3600, 20);
  EXPECT_TRUE(Periods().empty());
  // The next one is compared with the record before it, though it lies in the first one's hour.
  Interval(7201, 40);
  ASSERT_EQ(Periods().size(), 1U);
}

TEST_P(Statistics, StampsAreUnsigned) {
  Configure();
  Interval(0x7FFFFFFF, 10);
  Interval(0x80000000, 20);  // the same hour
  EXPECT_TRUE(Periods().empty());
  Interval(0xFFFFFFFF, 20);
  EXPECT_EQ(Periods().size(), 1U);
  EXPECT_EQ(run.Period().Get32(4), 0xFFFFFFFFU);
}

TEST_P(Statistics, StampsOfOtherRecordsDoNotMatter) {
  Configure();
  Interval(7100, 10);
  run.Feed(Bytes(12).Text(0, "FRE").U32(4, 72000).U32(8, 12));
  run.Feed(Bytes(80).Text(0, "NNC").U32(4, 72000).U32(8, 80));
  Interval(7199, 20);
  run.Feed(Bytes(12).Text(0, "FRE").U32(4, 3600).U32(8, 12));
  Interval(7199, 20);
  EXPECT_TRUE(Periods().empty());
  run.Feed(Bytes(12).Text(0, "FRE").U32(4, 7200).U32(8, 12));
  Interval(7200, 20);
  EXPECT_EQ(Periods().size(), 1U);
}

TEST_P(Statistics, DayArchivesAreNotCutAtHours) {
  finfo.level = 'D';
  Configure();
  Interval(3600, 10);
  Interval(7200, 20);
  Interval(90000, 40);
  run.Flush();
  const std::vector<Bytes> periods = Periods();
  ASSERT_EQ(periods.size(), 1U);
  EXPECT_EQ(TimeOf(periods[0]), 70U);
}

TEST_P(Statistics, FirstRecordOfAFileOrPeriodStartsIt) {
  for (const int state : {2, 3, 8, 9}) {
    SCOPED_TRACE(state);
    Configure();
    pmonarc_stat = state;
    Interval(3600, 10);
    EXPECT_EQ(pmonarc_stat, 4);
    pmonarc_stat = state;
    Interval(7200, 20);  // a later hour, but the period begins with it
    EXPECT_TRUE(Periods().empty());
    EXPECT_EQ(pmonarc_stat, 4);
    Interval(10800, 40);
    EXPECT_EQ(Periods().size(), 1U);
    EXPECT_EQ(pmonarc_stat, 4);
    run.Flush();
    run.Output();
  }
}

TEST_P(Statistics, IntervalLengthByStampsIsKept) {
  Configure();
  Interval(1000);
  Interval(1060);
  EXPECT_EQ(finfo.interval_ms, 60000);
  Interval(1050);
  EXPECT_EQ(finfo.interval_ms, -10000);
}

TEST_P(Statistics, IntervalValuesAreRememberedFrom0x1DOn) {
  Configure();
  for (const unsigned pair : {0x1122U, 0x3344U}) {
    StatisticsBuilder record = EntryOfEach(revision, 1000);
    record.pair = pair;
    run.Feed(record.Build());
  }
  const auto bytes = [](const uint16_t& value) {
    const auto* p = reinterpret_cast<const uint8_t*>(&value);
    return p[0] * 256 + p[1];  // as they stand in the file
  };
  EXPECT_EQ(bytes(finfo.interval_value), revision >= 0x1D ? 0x3344 : 0);
  EXPECT_EQ(bytes(finfo.previous_interval_value), revision >= 0x1D ? 0x1122 : 0);
}

TEST_P(Statistics, PeriodWithoutARecordIsNeverWritten) {
  Configure();
  run.Flush();
  run.Feed(OneOfEach(revision).Build());
  run.Feed(Bytes(64).Text(0, "LDM").U32(8, 64));
  run.Flush();
  EXPECT_TRUE(Periods().empty());
}

TEST_P(Statistics, LdmFlushesThePeriodAndTheNextRecordStartsOne) {
  Configure();
  Interval(1000, 10);
  run.Feed(Bytes(64).Pattern(0, 64, 5).Text(0, "LDM").U32(8, 64));
  const std::vector<Bytes> records = run.Output();
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].Tag(), "STA");
  EXPECT_EQ(records[1].Tag(), "LDM");
  EXPECT_EQ(pmonarc_stat, 2);
  run.Flush();  // nothing is pending
  EXPECT_TRUE(Periods().empty());
  pmonarc_stat = 2;
  Interval(9999, 20);
  EXPECT_TRUE(Periods().empty());
  EXPECT_EQ(TimeOf(run.Period()), 20U);
}

TEST_P(Statistics, SlotsAreClearedAfterEveryPeriod) {
  Configure();
  Interval(1000, 10);
  run.Period();
  StatisticsBuilder record(revision);
  for (const KindFacts& facts : kinds) {
    if (facts.list == 0 || (revision >= 0x19 && facts.kind == kPool)) continue;
    record.Announce(facts.kind, 1);
  }
  run.Feed(record.Build());
  const Bytes period = run.Period();
  for (const KindFacts& facts : kinds) {
    if (period.Get16(Index(facts.slot) + 2) == 0) continue;
    SCOPED_TRACE(NameOf(facts.kind));
    EXPECT_EQ(SectionOf(period, revision, facts.kind, 8), Bytes(8));
    EXPECT_EQ(SectionOf(period, revision, facts.kind, 9).Get8(8), 1U);  // the configured key
  }
}

}  // namespace
}  // namespace revtest
