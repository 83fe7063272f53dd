// The cache section: entry sizes, the two slot choices of 0x21, clamps, RW_Cache_Sta and the
// accumulators by name.
#include "revisions/fold/cache.h"

#include <gtest/gtest.h>

#include <vector>

#include "areas/finfo.h"
#include "revisions/named/converters.h"
#include "revisions/named/named.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"
#include "tests/support/run_state.h"

namespace revtest {
namespace {

size_t EntrySize(int revision) {
  if (revision <= 0x1E) return 32;
  return revision <= 0x20 ? 96 : 128;
}

class Cache : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();
  size_t size = EntrySize(GetParam());
  bool has_groups = GetParam() >= 0x1F;
  bool has_second_part = GetParam() >= 0x21;
  RevisionRun run{GetParam()};

  void Configure(std::initializer_list<Key> keys) {
    run.Feed(StructureBuilder(revision).Add(kCache, keys).Build());
  }

  // An entry of this revision's size. Every field that older revisions lack is set in it as far as
  // it lies within the size.
  Bytes Entry(unsigned key, uint32_t status, uint32_t length, unsigned ratio,
              unsigned maximum) const {
    Bytes bytes(size);
    bytes.U32(0, status).U32(4, length).U8(8, key).U16(16, ratio).U16(18, maximum);
    return bytes;
  }
  void Interval(uint32_t time, const std::vector<Bytes>& entries) {
    StatisticsBuilder record(revision);
    record.time = time;
    for (const Bytes& entry : entries) record.Add(kCache, entry);
    run.Feed(record.Build());
  }
  void ExpectPeriod(const Bytes& expected) {
    EXPECT_EQ(SectionOf(run.Period(), revision, kCache, expected.size()), expected);
  }
};

INSTANTIATE_TEST_SUITE_P(Revisions, Cache, ::testing::ValuesIn(RevisionsFrom(0x19)),
                         [](const auto& test) { return RevisionName(test.param); });

TEST_P(Cache, EntrySizeByRevision) { EXPECT_EQ(CacheEntrySize(), size); }

TEST_P(Cache, RatioIsTheTimeWeightedMeanMaximumTheLargest) {
  Configure({{5}});
  Interval(1000, {Entry(5, 0x11111111, 60000, 5000, 70)});
  Interval(1060, {Entry(5, 0x22222222, 20000, 1000, 90)});
  Interval(1080, {Entry(5, 0x33333333, 20000, 4000, 80)});
  // (5000 x 60 + 1000 x 20 + 4000 x 20) / 100
  ExpectPeriod(Entry(5, 0x33333333, 100000, 4000, 90));
}

TEST_P(Cache, GroupsAreFoldedWithoutExtremes) {
  Configure({{5}});
  Bytes first = Entry(5, 1, 60000, 0, 0);
  Bytes second = Entry(5, 1, 20000, 0, 0);
  Bytes expected = Entry(5, 1, 80000, 0, 0);
  const size_t groups = has_second_part ? 6 : has_groups ? 4 : 0;
  for (size_t k = 0; k < groups; ++k) {
    first.Quad(32 + 16 * k, 10, 100 + k, 50 + k, 200 + k);
    second.Quad(32 + 16 * k, 30, 200 + k, 40, 400 + k);
    // (10 x 100 + 30 x 200) / 40, the larger maximum, (10 x 200 + 30 x 400) / 40
    expected.Quad(32 + 16 * k, 40, 175 + k, 50 + k, 350 + k);
  }
  Interval(1000, {first});
  Interval(1060, {second});
  ExpectPeriod(expected);
}

TEST_P(Cache, NotValidEntryGivesStatusAndTimeOnly) {
  Configure({{5}});
  Interval(1000, {Entry(5, 1, 60000, 5000, 70)});
  Bytes entry = Entry(5, 2, 20000, 9999, 9999).U8(9, 1);
  if (has_groups) entry.Quad(32, 10, 10, 10, 10);
  Interval(1060, {entry});
  // 5000 x 60 / 80; the not-valid interval's time counts.
  ExpectPeriod(Entry(5, 2, 80000, 3750, 70));
}

TEST_P(Cache, CacheWithoutIntervalsIsWrittenNotValidWithTheConfiguredKey) {
  Configure({{5}, {6}});
  StatisticsBuilder record(revision);
  run.Feed(record.Announce(kCache, 2).Build());  // offset 0: no entries
  Bytes expected = Entry(5, 0, 0, 0, 0).U8(9, 1);
  expected.Add(Entry(6, 0, 0, 0, 0).U8(9, 1));
  ExpectPeriod(expected);
}

TEST_P(Cache, FirstRatioIsNotClamped) {
  Configure({{5}});
  Interval(1000, {Entry(5, 1, 1000, 0xFFFF, 0xFFFF)});
  ExpectPeriod(Entry(5, 1, 1000, 0xFFFF, 0xFFFF));
}

TEST_P(Cache, SmallFirstRatioIsTruncatedTo0) {
  Configure({{5}});
  Interval(1000, {Entry(5, 1, 4, 1, 0)});
  Interval(1001, {Entry(5, 1, 6, 0, 0)});
  ExpectPeriod(Entry(5, 1, 10, 0, 0));  // 0.4
}

TEST_P(Cache, BytesThatNoRuleNamesAreWrittenAsZero) {
  Configure({{5}});
  Bytes entry = Entry(5, 1, 1000, 10, 20);
  entry.Pattern(11, 16, 0x91);
  if (!has_second_part) entry.U8(10, 0xFF).Pattern(20, 32, 0x91);
  Interval(1000, {entry});
  ExpectPeriod(Entry(5, 1, 1000, 10, 20));
}

TEST_P(Cache, EntriesAreFoundByKeyInAnyOrder) {
  Configure({{5}, {6}, {7}});
  Interval(1000, {Entry(7, 7, 1000, 700, 0), Entry(5, 5, 1000, 500, 0), Entry(6, 6, 1000, 600, 0)});
  Bytes expected = Entry(5, 5, 1000, 500, 0);
  ExpectPeriod(expected.Add(Entry(6, 6, 1000, 600, 0)).Add(Entry(7, 7, 1000, 700, 0)));
}

TEST_P(Cache, UnknownCacheNumberEndsAManualRun) {
  Configure({{5}});
  StatisticsBuilder record(revision);
  EXPECT_TRUE(run.Breaks(record.Add(kCache, Entry(9, 1, 1000, 0, 0)).Build()));
}

TEST_P(Cache, UnknownCacheNumberAbandonsTheInputOfAnAutomaticRun) {
  Configure({{5}});
  run.Automatic();
  StatisticsBuilder record(revision);
  EXPECT_TRUE(run.Breaks(record.Add(kCache, Entry(9, 1, 1000, 0, 0)).Build()));
}

TEST_P(Cache, SectionBeyondTheRecordBreaksIt) {
  Configure({{5}});
  StatisticsBuilder record(revision);
  Bytes bytes = record.Add(kCache, Entry(5, 1, 1000, 0, 0)).Build();
  bytes = bytes.Part(0, bytes.size() - 1);
  EXPECT_TRUE(run.Breaks(bytes.U32(8, bytes.size())));
}

// --- RW_Cache_Sta ---------------------------------------------------------------------------------

TEST_P(Cache, LengthOperationAddsTheSectionsBytes) {
  Configure({{5}, {6}, {7}});
  uint32_t length = 1000;
  EXPECT_EQ(RW_Cache_Sta(0x80, &length, nullptr), 0);
  EXPECT_EQ(length, 1000 + 3 * size);
}

TEST_P(Cache, OffsetOperationSetsTheStartOfTheCacheSegments) {
  Configure({{5}, {6}});
  cache_section_offset = 500;
  EXPECT_EQ(RW_Cache_Sta(0x40, nullptr, nullptr), 0);
  EXPECT_EQ(cheseg_section_offset, 500 + 2 * size);
}

TEST_P(Cache, OtherOperationsDoNothing) {
  Configure({{5}});
  uint32_t length = 1000;
  cheseg_section_offset = 77;
  Bytes buffer = Bytes(size).Pattern(0, size, 1);
  const Bytes before = buffer;
  for (const uint8_t operation : {uint8_t{0}, uint8_t{1}, uint8_t{0x30}, uint8_t{0xFF}}) {
    EXPECT_EQ(RW_Cache_Sta(operation, &length, buffer.data()), 0);
  }
  EXPECT_EQ(length, 1000U);
  EXPECT_EQ(cheseg_section_offset, 77U);
  EXPECT_EQ(buffer, before);
}

TEST_P(Cache, ReadAndWriteOperations) {
  Configure({{5}, {6}});
  Bytes section = Entry(5, 1, 1000, 100, 3);
  section.Add(Entry(6, 2, 2000, 200, 4));
  cache_section_count = 2;
  finfo.first_interval = true;
  EXPECT_EQ(RW_Cache_Sta(0x20, nullptr, section.data()), 0);
  Bytes written = Bytes(2 * size).Pattern(0, 2 * size, 9);
  EXPECT_EQ(RW_Cache_Sta(0x10, nullptr, written.data()), 0);
  EXPECT_EQ(written, section);
}

TEST_P(Cache, ReadOperationGivesMinus2WhenTheInputIsAbandoned) {
  Configure({{5}, {6}});
  run.Automatic();
  Bytes section = Entry(5, 1, 1000, 100, 3);
  section.Add(Entry(9, 2, 2000, 200, 4));
  cache_section_count = 2;
  Capture errors(2);
  EXPECT_EQ(RW_Cache_Sta(0x20, nullptr, section.data()), -2);
}

// --- what 0x21 adds -------------------------------------------------------------------------------

class Cache0x21 : public ::testing::Test {
 protected:
  RevisionRun run{0x21};

  void Configure(std::initializer_list<Key> keys) {
    run.Feed(StructureBuilder(0x21).Add(kCache, keys).Build());
  }
  // The fields of the second part only.
  static Bytes Entry(unsigned key, uint32_t length, unsigned ratio, unsigned maximum,
                     uint32_t rate1 = 0, uint32_t rate2 = 0, unsigned flag = 0) {
    return Bytes(128)
        .U32(4, length)
        .U8(8, key)
        .U8(10, flag)
        .U16(20, ratio)
        .U16(22, maximum)
        .U32(24, rate1)
        .U32(28, rate2);
  }
  void Interval(const std::vector<Bytes>& entries) {
    StatisticsBuilder record(0x21);
    for (const Bytes& entry : entries) record.Add(kCache, entry);
    run.Feed(record.Build());
  }
  void ExpectPeriod(const Bytes& expected) {
    EXPECT_EQ(SectionOf(run.Period(), 0x21, kCache, expected.size()), expected);
  }
};

TEST_F(Cache0x21, SecondRatioMaximumRatesAndFlag) {
  Configure({{5}});
  Interval({Entry(5, 60000, 5000, 70, 4000000000, 7, 0x81)});
  Interval({Entry(5, 20000, 1000, 60, 4, 11, 0x02)});
  // (5000 x 60 + 1000 x 20) / 80; (4000000000 x 60 + 4 x 20) / 80; (7 x 60 + 11 x 20) / 80
  ExpectPeriod(Entry(5, 80000, 4000, 70, 3000000001, 8, 0x83));
}

TEST_F(Cache0x21, RatesAreTruncatedAsTheirExpressionsRound) {
  Configure({{5}});
  Interval({Entry(5, 1000, 0, 0, 9)});
  // ((1000 x 9) / 1000000 / 1000) x 1000000 in double is a little below 9.
  double rate = 1000.0 * 9.0;
  rate = rate / 1000000.0;
  rate = rate / 1000.0;
  rate = rate * 1000000.0;
  ASSERT_LT(rate, 9.0);
  ExpectPeriod(Entry(5, 1000, 0, 0, 8));
}

TEST_F(Cache0x21, SecondRatioThatAveragesTo0Point4IsWrittenAs1) {
  Configure({{5}});
  Interval({Entry(5, 4, 1, 0)});
  Interval({Entry(5, 6, 0, 0)});
  ExpectPeriod(Entry(5, 10, 1, 0));
}

TEST_F(Cache0x21, SecondRatioAndMaximumAbove10000AreWrittenAs10000) {
  Configure({{5}});
  Interval({Entry(5, 1000, 10001, 0xFFFF)});
  ExpectPeriod(Entry(5, 1000, 10000, 10000));
}

TEST_F(Cache0x21, SecondRatioAndMaximumOf10000And0Stay) {
  Configure({{5}, {6}});
  Interval({Entry(5, 1000, 10000, 10000), Entry(6, 1000, 0, 0)});
  ExpectPeriod(Entry(5, 1000, 10000, 10000).Add(Entry(6, 1000, 0, 0)));
}

TEST_F(Cache0x21, NotValidEntriesSecondPartCounts) {
  Configure({{5}});
  Bytes entry = Entry(5, 1000, 500, 60, 1000000, 500000, 0x10).U8(9, 1);
  entry.U16(16, 400).U16(18, 300).Quad(32, 1, 1, 1, 1).Quad(96, 2, 3, 4, 5).Quad(112, 6, 7, 8, 9);
  Interval({entry});
  ExpectPeriod(
      Entry(5, 1000, 500, 60, 1000000, 500000, 0x10).Quad(96, 2, 3, 4, 5).Quad(112, 6, 7, 8, 9));
}

TEST_F(Cache0x21, EntriesInAnotherOrderPutTheirSecondPartIntoTheSlotOfTheirPosition) {
  Configure({{5}, {6}});
  Bytes six =
      Entry(6, 1000, 600, 66, 3000000, 1500000, 0x06).Quad(32, 6, 6, 6, 6).Quad(96, 60, 6, 6, 6);
  Bytes five =
      Entry(5, 1000, 500, 55, 1000000, 500000, 0x05).Quad(32, 5, 5, 5, 5).Quad(96, 50, 5, 5, 5);
  Interval({six, five});
  // Slot 0 is that of cache 5, but entry 0 is that of cache 6.
  Bytes expected =
      Entry(5, 1000, 600, 66, 3000000, 1500000, 0x06).Quad(32, 5, 5, 5, 5).Quad(96, 60, 6, 6, 6);
  expected.Add(
      Entry(6, 1000, 500, 55, 1000000, 500000, 0x05).Quad(32, 6, 6, 6, 6).Quad(96, 50, 5, 5, 5));
  ExpectPeriod(expected);
}

TEST_F(Cache0x21, SlotReachedByPositionOnlyHasNoTimeAndNoRatios) {
  Configure({{5}, {6}});
  // Both entries are cache 5's: slot 1 gets the second part of the second one, but no time.
  Interval({Entry(5, 1000, 500, 55, 500, 50), Entry(5, 1000, 700, 77, 700, 70, 1)});
  Bytes expected = Entry(5, 2000, 250, 55, 250, 25);
  expected.Add(Entry(6, 0, 0, 77, 0, 0, 1).U8(9, 1));
  ExpectPeriod(expected);
}

TEST_F(Cache0x21, UnknownKeyInAnAutomaticRunStillAddsToTheSlotOfItsPosition) {
  Configure({{5}});
  run.Automatic();
  Bytes entry = Entry(9, 1000, 500, 55, 500, 50, 0x10).Quad(96, 3, 1, 1, 1);
  ntoh_CacheSta_0x21(entry.data());
  finfo.no_statistics = false;
  {
    Capture errors(2);
    GetCacheSet_0x21(entry.data(), 0);
  }
  EXPECT_EQ(auto_break_flg, 1);
  ExpectPeriod(Entry(5, 0, 0, 55, 0, 0, 0x10).U8(9, 1).Quad(96, 3, 1, 1, 1));
}

TEST(CacheByName, GetCacheSet_0x19TakesNoGroups) {
  RevisionRun run(0x1F);
  run.Feed(StructureBuilder(0x1F).Add(kCache, {{5}, {6}}).Build());
  finfo.no_statistics = false;
  const auto entry = [](unsigned key) {
    Bytes bytes(96);
    bytes.U32(0, key).U32(4, 1000).U8(8, key).U16(16, 400).U16(18, 30).Quad(32, 1, 2, 3, 4);
    ntoh_CacheSta_0x1F(bytes.data());
    return bytes;
  };
  GetCacheSet_0x19(entry(5).data());
  GetCacheSet_0x1F(entry(6).data());
  Bytes expected = Bytes(96).U32(0, 5).U32(4, 1000).U8(8, 5).U16(16, 400).U16(18, 30);
  expected.Add(
      Bytes(96).U32(0, 6).U32(4, 1000).U8(8, 6).U16(16, 400).U16(18, 30).Quad(32, 1, 2, 3, 4));
  EXPECT_EQ(SectionOf(run.Period(), 0x1F, kCache, 192), expected);
}

TEST(CacheByName, RevisionsBelow0x19HaveNoCacheSection) {
  RevisionRun run(0x18);
  EXPECT_EQ(CacheEntrySize(), 0U);
  uint32_t length = 5;
  EXPECT_EQ(RW_Cache_Sta(0x80, &length, nullptr), 0);
  EXPECT_EQ(length, 5U);
}

TEST(CacheByName, UnknownRevisionsHaveNoCacheSection) {
  RevisionRun run(0x21);
  for (const int revision : {0x0F, 0x22}) {
    Rev_Kind = static_cast<uint8_t>(revision);
    EXPECT_EQ(CacheEntrySize(), 0U) << revision;
  }
}

// By its key, but no slot has its position.
TEST(CacheByName, EntryBehindTheConfiguredOnesGivesNoSecondPart) {
  RevisionRun run(0x21);
  run.Feed(StructureBuilder(0x21).Add(kCache, {{5}}).Build());
  finfo.first_interval = true;
  Bytes section = Bytes(128).U32(0, 1).U32(4, 1000).U8(8, 5).U16(20, 100);
  section.Add(Bytes(128).U32(0, 2).U32(4, 3000).U8(8, 5).U16(20, 9000));
  cache_section_count = 2;
  EXPECT_EQ(RW_Cache_Sta(0x20, nullptr, section.data()), 0);
  cache_section_count = 1;
  Bytes written(128);
  EXPECT_EQ(RW_Cache_Sta(0x10, nullptr, written.data()), 0);
  EXPECT_EQ(written, Bytes(128).U32(0, 2).U32(4, 4000).U8(8, 5).U16(20, 25));
}

}  // namespace
}  // namespace revtest
