// What the entries of single kinds do beside their sums in a period: marks of disks, pools and host
// ports, the second ratio and key byte of cache segments, keys, the sum of times, ratios.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "areas/finfo.h"
#include "revisions/fold/kernel.h"
#include "revisions/named/converters.h"
#include "revisions/named/named.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

class KindRules : public ::testing::Test {
 protected:
  // Reads `entries` as one record each and gives the first `size` bytes of the section.
  static Bytes Period(int revision, Kind kind, const Key& key, const std::vector<Bytes>& entries,
                      size_t size, unsigned basic97 = 0) {
    RevisionRun run(revision);
    StructureBuilder structure(revision);
    structure.basic.U8(97, basic97);
    if (kind == kPool) structure.basic.U8(95, 1);
    if (kind != kHpNode) structure.Add(kind, {key});
    run.Feed(structure.Build());
    for (const Bytes& entry : entries)
      run.Feed(StatisticsBuilder(revision).Add(kind, entry).Build());
    return SectionOf(run.Period(), revision, kind, size);
  }
};

Bytes Disk(unsigned flags, uint32_t length = 1000, unsigned not_valid = 0) {
  return Bytes(96).U32(4, length).U16(8, 7).U8(11, not_valid).U8(13, flags).Quad(16, 5, 0, 0, 0);
}

TEST_F(KindRules, LogicalDisksStickyMarkStaysForThePeriod) {
  for (const int revision : RevisionsFrom(0x11)) {
    SCOPED_TRACE(RevisionName(revision));
    EXPECT_EQ(Period(revision, kLd, {0, 7}, {Disk(0), Disk(2), Disk(0)}, 96).Get8(13), 2U);
    EXPECT_EQ(Period(revision, kLd, {0, 7}, {Disk(0), Disk(0)}, 96).Get8(13), 0U);
    // A not-valid interval does not mark.
    EXPECT_EQ(Period(revision, kLd, {0, 7}, {Disk(0), Disk(2, 1000, 1)}, 96).Get8(13), 0U);
  }
}

TEST_F(KindRules, LogicalDiskOf0x10HasNoMarks) {
  EXPECT_EQ(Period(0x10, kLd, {0, 7}, {Disk(7)}, 96).Get8(13), 0U);
}

TEST_F(KindRules, LogicalDisksKeptMarkIsTheLastValidIntervalsFrom0x1FOn) {
  for (const int revision : RevisionsFrom(0x11)) {
    SCOPED_TRACE(RevisionName(revision));
    const uint32_t mark = revision >= 0x1F ? 4 : 0;
    EXPECT_EQ(Period(revision, kLd, {0, 7}, {Disk(0), Disk(4)}, 96).Get8(13), mark);
    EXPECT_EQ(Period(revision, kLd, {0, 7}, {Disk(4), Disk(0)}, 96).Get8(13), 0U);
    EXPECT_EQ(Period(revision, kLd, {0, 7}, {Disk(4), Disk(0, 1000, 1)}, 96).Get8(13), mark);
  }
}

TEST_F(KindRules, MarksEndWithTheirPeriod) {
  RevisionRun run(0x1F);
  run.Feed(StructureBuilder(0x1F).Add(kLd, {{0, 7}}).Build());
  StatisticsBuilder record(0x1F);
  run.Feed(record.Add(kLd, Disk(7)).Build());
  EXPECT_EQ(SectionOf(run.Period(), 0x1F, kLd, 96).Get8(13), 7U);
  StatisticsBuilder next(0x1F);
  next.time = 7200;
  run.Feed(next.Add(kLd, Disk(0)).Build());
  EXPECT_EQ(SectionOf(run.Period(), 0x1F, kLd, 96).Get8(13), 0U);
}

Bytes Pool(unsigned mark, unsigned not_valid = 0) {
  return Bytes(64).U32(4, 1000).U16(8, 7).U8(11, not_valid).U8(18, mark);
}

TEST_F(KindRules, PoolMarkIsThatOfTheLastEntryNotValidOnesIncludedFrom0x1FOn) {
  for (const int revision : RevisionsFrom(0x14)) {
    SCOPED_TRACE(RevisionName(revision));
    const uint32_t mark = revision >= 0x1F ? 1 : 0;
    EXPECT_EQ(Period(revision, kPool, {0, 7}, {Pool(0), Pool(0xFF)}, 64).Get8(18), mark);
    EXPECT_EQ(Period(revision, kPool, {0, 7}, {Pool(1), Pool(0xFE)}, 64).Get8(18), 0U);
    EXPECT_EQ(Period(revision, kPool, {0, 7}, {Pool(0), Pool(1, 1)}, 64).Get8(18), mark);
    EXPECT_EQ(Period(revision, kPool, {0, 7}, {Pool(1), Pool(0, 1)}, 64).Get8(18), 0U);
  }
}

TEST_F(KindRules, CountedIntervalsOfHostPortsSetTheBit) {
  const auto port = [](unsigned flags, unsigned not_valid = 0) {
    return Bytes(112).U32(4, 1000).U8(8, 1).U8(9, 2).U8(10, flags).U8(11, not_valid).U16(14, 100);
  };
  for (const int revision : RevisionsFrom(0x12)) {
    SCOPED_TRACE(RevisionName(revision));
    EXPECT_EQ(Period(revision, kHp, {1, 2}, {port(0), port(1), port(0)}, 112).Get8(10), 1U);
    EXPECT_EQ(Period(revision, kHp, {1, 2}, {port(2), port(0)}, 112).Get8(10), 2U);
    EXPECT_EQ(Period(revision, kHp, {1, 2}, {port(1, 1), port(0)}, 112).Get8(10), 0U);
    EXPECT_EQ(Period(revision, kHp, {1, 2}, {port(0xFC)}, 112).Get8(10), 0U);
  }
  for (const int revision : RevisionsFrom(0x1A)) {
    EXPECT_EQ(Period(revision, kHpNode, {}, {port(1), port(2)}, 112).Get8(10), 3U);
  }
}

// The bits of ports and logical disks, told entry by entry.
TEST_F(KindRules, BitsAreSetWithoutKernels) {
  const FoldKernels* const kernels = fold_kernels;
  SetKernels(nullptr);
  const auto port = [](unsigned flags) {
    return Bytes(112).U32(4, 1000).U8(8, 1).U8(9, 2).U8(10, flags).U16(14, 100);
  };
  for (const int revision : RevisionsFrom(0x12)) {
    SCOPED_TRACE(RevisionName(revision));
    EXPECT_EQ(Period(revision, kHp, {1, 2}, {port(0), port(1), port(0)}, 112).Get8(10), 1U);
    EXPECT_EQ(Period(revision, kHp, {1, 2}, {port(2), port(0)}, 112).Get8(10), 2U);
  }
  const auto disk = [](unsigned flags) {
    return Bytes(96).U32(4, 1000).U16(8, 7).U8(13, flags).Quad(16, 1, 0, 0, 0);
  };
  for (const int revision : RevisionsFrom(0x11)) {
    SCOPED_TRACE(RevisionName(revision));
    EXPECT_EQ(Period(revision, kLd, {0, 7}, {disk(2), disk(0)}, 96).Get8(13), 2U);
    EXPECT_EQ(Period(revision, kLd, {0, 7}, {disk(0), disk(1)}, 96).Get8(13), 1U);
  }
  SetKernels(kernels);
}

// --- cache segments -------------------------------------------------------------------------------

Bytes Segment(unsigned flags, unsigned at12, uint32_t length, unsigned not_valid = 0) {
  return Bytes(96)
      .U32(4, length)
      .U8(8, 3)
      .U8(10, not_valid)
      .U8(11, flags)
      .U16(12, at12)
      .Quad(16, 1, 0, 0, 0);
}

TEST_F(KindRules, ChesegSecondRatioIsAMeanWhileBit7OfTheFlagsIsClear) {
  for (const int revision : RevisionsFrom(0x13)) {
    SCOPED_TRACE(RevisionName(revision));
    const Bytes written =
        Period(revision, kCheseg, {3}, {Segment(0x05, 6000, 1000), Segment(0x11, 3000, 2000)}, 96);
    EXPECT_EQ(written.Get16(12), 4000U);  // (6000 x 1 + 3000 x 2) / 3
    EXPECT_EQ(written.Get8(11), 0x11U);   // flags of the last valid entry
  }
}

TEST_F(KindRules, ChesegBytes12And13AreCarriedWhileBit7IsSet) {
  for (const int revision : RevisionsFrom(0x13)) {
    SCOPED_TRACE(RevisionName(revision));
    const Bytes written = Period(
        revision, kCheseg, {3},
        {Segment(0x80, 0x1234, 1000), Segment(0x81, 0x5678, 2000), Segment(0x82, 0x9ABC, 1000, 1)},
        96);
    EXPECT_EQ(written.Get16(12), 0x5678U);
    EXPECT_EQ(written.Get8(11), 0x81U);
  }
}

TEST_F(KindRules, ChesegSecondKeyByteTakesThePlaceOfTheSecondRatio) {
  for (const int revision : RevisionsFrom(0x1A)) {
    SCOPED_TRACE(RevisionName(revision));
    // Bytes 12 and 13: key byte 5, and 0x77, which no rule names.
    Bytes written = Period(revision, kCheseg, {3, 5}, {Segment(0x01, 0x0577, 1000)}, 96, 0x80);
    EXPECT_EQ(written.Get16(12), 0x0500U);
    // While bit 7 of the flags is set, byte 13 is carried.
    written = Period(revision, kCheseg, {3, 5}, {Segment(0x81, 0x0577, 1000)}, 96, 0x80);
    EXPECT_EQ(written.Get16(12), 0x0577U);
  }
}

TEST_F(KindRules, ChesegSecondRatioIsUnsignedAndKeepsItsLow16Bits) {
  const Bytes written = Period(0x1D, kCheseg, {3}, {Segment(0, 0xFFFF, 1000)}, 96);
  EXPECT_EQ(written.Get16(12), 0xFFFFU);
}

TEST_F(KindRules, ConvertedChesegWithASecondKeyByteIsFoundByIt) {
  // The converter turns bytes 12 and 13 while bit 7 of the flags is clear; the key is the byte that
  // stands at 12 in the file.
  RevisionRun run(0x1A);
  StructureBuilder structure(0x1A);
  structure.basic.U8(97, 0x80);
  run.Feed(structure.Add(kCheseg, {{3, 4}, {3, 5}}).Build());
  finfo.no_statistics = false;
  for (const unsigned flags : {0x00U, 0x80U}) {
    Bytes entry = Segment(flags, 0x0500, 1000);
    ntoh_ChesegSta_0x13(entry.data());
    GetChesegSet_0x1A(entry.data());
  }
  const Bytes section = SectionOf(run.Period(), 0x1A, kCheseg, 16 + 96);
  EXPECT_EQ(section.Get8(16 + 8), 3U);
  EXPECT_EQ(section.Get8(16 + 12), 5U);
  EXPECT_EQ(section.Get32(16 + 16), 2U);
}

// --- keys, time, ratios ---------------------------------------------------------------------------

TEST_F(KindRules, NotValidEntryRefreshesTheKey) {
  // The physical disk's search takes a key that is not configured at its cursor.
  const auto disk = [](unsigned key, unsigned not_valid) {
    return Bytes(64).U32(0, 9).U32(4, 1000).U8(9, key).U8(11, not_valid).U16(20, 5000);
  };
  const Bytes written = Period(0x1D, kPd, {0, 1}, {disk(1, 0), disk(42, 1)}, 64);
  EXPECT_EQ(written.Get8(9), 42U);
  EXPECT_EQ(written.Get32(0), 9U);
  EXPECT_EQ(written.Get32(4), 1000U);
}

TEST_F(KindRules, KeysAreTheConfiguredOnesAfterEveryPeriod) {
  RevisionRun run(0x1D);
  run.Feed(StructureBuilder(0x1D).Add(kPd, {{0, 1}}).Build());
  run.Feed(StatisticsBuilder(0x1D).Add(kPd, Bytes(64).U32(4, 1000).U8(9, 42)).Build());
  EXPECT_EQ(SectionOf(run.Period(), 0x1D, kPd, 32).Get8(9), 42U);
  finfo.no_statistics = false;
  EXPECT_EQ(SectionOf(run.Period(), 0x1D, kPd, 32).Get8(9), 1U);
}

Bytes BusyDisk(uint32_t length) { return Bytes(64).U32(4, length).U8(9, 1).U16(20, 10000); }

TEST_F(KindRules, TimeSumWraps) {
  const Bytes written = Period(0x1D, kPd, {0, 1}, {BusyDisk(0xFFFFFFFF), BusyDisk(1001)}, 64);
  EXPECT_EQ(written.Get32(4), 1000U);
  // Busy for 4294968296 ms of a sum of 1000: (4294968296 / 1000) x 10000 does not fit 31 bits.
  EXPECT_EQ(written.Get16(20), 0xFFFFU);
}

TEST_F(KindRules, TimeSumThatWrapsTo0IsWrittenNotValid) {
  const Bytes written = Period(0x1D, kPd, {0, 1}, {BusyDisk(0xFFFFFFFF), BusyDisk(1)}, 64);
  EXPECT_EQ(written.Get32(4), 0U);
  EXPECT_EQ(written.Get8(11), 1U);
  EXPECT_EQ(written.Get16(20), 0U);
}

TEST_F(KindRules, RatioAbove100PercentIsKept) {
  const auto disk = [](uint32_t length, unsigned ratio) {
    return Bytes(64).U32(4, length).U8(9, 1).U16(20, ratio);
  };
  const Bytes written = Period(0x1D, kPd, {0, 1}, {disk(1000, 0xFFFF), disk(1000, 0xFFFD)}, 64);
  EXPECT_EQ(written.Get16(20), 0xFFFEU);
}

}  // namespace
}  // namespace revtest
