// The accumulators by name (GetLdSet_0x14, GetMpExset_0x1D, SetMpExset_0x1D and kin), called with
// entries that the named converters turned to host order.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "engine/converters.h"
#include "engine/finfo.h"
#include "engine/pmoncommon.h"
#include "revisions/Qelprfarc0x10.h"
#include "revisions/Qelprfarc0x11.h"
#include "revisions/Qelprfarc0x12.h"
#include "revisions/Qelprfarc0x13.h"
#include "revisions/Qelprfarc0x14.h"
#include "revisions/Qelprfarc0x19.h"
#include "revisions/Qelprfarc0x1A.h"
#include "revisions/Qelprfarc0x1D.h"
#include "tests/support/form_fixture.h"

namespace revtest {
namespace {

using Get = void (*)(const void*);
using GetAt = void (*)(const void*, int32_t);
using Merge = void (*)(const uint32_t*, const void*);
using MergeAt = void (*)(const uint32_t*, const void*, int32_t);
using Write = void (*)(uint32_t*, int32_t);

struct Named {
  const char* name;
  int revision;
  Kind kind;
  void (*convert)(void*);
  Get get;
  GetAt get_at = nullptr;
  Merge merge = nullptr;
  MergeAt merge_at = nullptr;
  Write write = nullptr;
};
void PrintTo(const Named& named, std::ostream* out) { *out << named.name; }

const Named kAll[] = {
    {"GetHpSet_0x11",
     0x11,
     kHp,
     ntoh_HpSta_0x11,
     GetHpSet_0x11,
     {},
     GetHpExset_0x11,
     {},
     SetHpExset_0x11},
    {"GetHpSet_0x12",
     0x12,
     kHp,
     ntoh_HpSta_0x12,
     GetHpSet_0x12,
     {},
     GetHpExset_0x12,
     {},
     SetHpExset_0x12},
    {"GetHpSet_0x13",
     0x13,
     kHp,
     ntoh_HpSta_0x12,
     GetHpSet_0x13,
     {},
     GetHpExset_0x12,
     {},
     SetHpExset_0x12},
    {"GetHpSet_0x1A",
     0x1A,
     kHp,
     ntoh_HpSta_0x1A,
     GetHpSet_0x1A,
     {},
     GetHpExset_0x1A,
     {},
     SetHpExset_0x1A},
    {"GetHpSet_0x1D",
     0x1D,
     kHp,
     ntoh_HpSta_0x1A,
     {},
     GetHpSet_0x1D,
     {},
     GetHpExset_0x1D,
     SetHpExset_0x1D},
    {"GetDpSet_0x10", 0x10, kDp, ntoh_DpSta_0x10, GetDpSet_0x10, {}, GetDpExset, {}, SetDpExset},
    {"GetDpSet_0x13", 0x1D, kDp, ntoh_DpSta_0x10, GetDpSet_0x13, {}, GetDpExset, {}, SetDpExset},
    {"GetLdSet_0x10",
     0x10,
     kLd,
     ntoh_LdSta_0x10,
     GetLdSet_0x10,
     {},
     GetLdExset_0x10,
     {},
     SetLdExset_0x10},
    {"GetLdSet_0x12", 0x12, kLd, ntoh_LdSta, GetLdSet_0x12, {}, GetLdExset, {}, SetLdExset},
    {"GetLdSet_0x13", 0x13, kLd, ntoh_LdSta, GetLdSet_0x13, {}, GetLdExset, {}, SetLdExset},
    {"GetLdSet_0x14", 0x1D, kLd, ntoh_LdSta, GetLdSet_0x14, {}, GetLdExset, {}, SetLdExset},
    {"GetPdSet_0x10",
     0x10,
     kPd,
     ntoh_PdSta_0x10,
     GetPdSet_0x10,
     {},
     GetPdExset_0x10,
     {},
     SetPdExset_0x10},
    {"GetPdSet_0x11", 0x11, kPd, ntoh_PdSta, GetPdSet_0x11, {}, GetPdExset, {}, SetPdExset},
    {"GetPdSet_0x12", 0x12, kPd, ntoh_PdSta, GetPdSet_0x12, {}, GetPdExset, {}, SetPdExset},
    {"GetPdSet_0x13", 0x13, kPd, ntoh_PdSta, GetPdSet_0x13, {}, GetPdExset, {}, SetPdExset},
    {"GetPdSet_0x14", 0x21, kPd, ntoh_PdSta, GetPdSet_0x14, {}, GetPdExset, {}, SetPdExset},
    {"GetRankSet_0x11",
     0x11,
     kRank,
     ntoh_RankSta_0x11,
     GetRankSet_0x11,
     {},
     GetRankExset_0x11,
     {},
     SetRankExset_0x11},
    {"GetRankSet_0x12",
     0x12,
     kRank,
     ntoh_RankSta_0x12,
     GetRankSet_0x12,
     {},
     GetRankExset_0x12,
     {},
     SetRankExset_0x12},
    {"GetRankSet_0x13",
     0x13,
     kRank,
     ntoh_RankSta_0x12,
     GetRankSet_0x13,
     {},
     GetRankExset_0x12,
     {},
     SetRankExset_0x12},
    {"GetRankSet_0x14",
     0x1B,
     kRank,
     ntoh_RankSta_0x12,
     GetRankSet_0x14,
     {},
     GetRankExset_0x12,
     {},
     SetRankExset_0x12},
    {"GetChesegSet_0x13",
     0x13,
     kCheseg,
     ntoh_ChesegSta_0x13,
     GetChesegSet_0x13,
     {},
     GetChesegExset_0x13,
     {},
     SetChesegExset_0x13},
    {"GetChesegSet_0x1A",
     0x1C,
     kCheseg,
     ntoh_ChesegSta_0x13,
     GetChesegSet_0x1A,
     {},
     GetChesegExset_0x13,
     {},
     SetChesegExset_0x13},
    {"GetRpSet_0x14",
     0x14,
     kRp,
     ntoh_RpSta_0x14,
     GetRpSet_0x14,
     {},
     GetRpExset_0x14,
     {},
     SetRpExset_0x14},
    {"GetRpSet_0x1D",
     0x1E,
     kRp,
     ntoh_RpSta_0x14,
     {},
     GetRpSet_0x1D,
     {},
     GetRpExset_0x1D,
     SetRpExset_0x1D},
    {"GetPoolSet_0x14",
     0x14,
     kPool,
     ntoh_PoolSta_0x14,
     GetPoolSet_0x14,
     {},
     GetPoolExset_0x14,
     {},
     SetPoolExset_0x14},
    {"GetHdSet_0x19",
     0x19,
     kHd,
     ntoh_HdSta_0x19,
     GetHdSet_0x19,
     {},
     GetHdExset_0x19,
     {},
     SetHdExset_0x19},
    {"GetRdSet_0x1A",
     0x1A,
     kRd,
     ntoh_RdSta_0x1A,
     GetRdSet_0x1A,
     {},
     GetRdExset_0x1A,
     {},
     SetRdExset_0x1A},
    {"GetDdSet_0x1A",
     0x1A,
     kDd,
     ntoh_DdSta_0x1A,
     GetDdSet_0x1A,
     {},
     GetDdExset_0x1A,
     {},
     SetDdExset_0x1A},
    {"GetMpSet_0x1D",
     0x1D,
     kMp,
     ntoh_MpSta_0x1D,
     {},
     GetMpSet_0x1D,
     {},
     GetMpExset_0x1D,
     SetMpExset_0x1D},
};

class NamedSet : public ::testing::TestWithParam<Named>, protected FormRun {
 protected:
  NamedSet() : FormRun(GetParam().revision, GetParam().kind) {
    finfo.first_interval = true;
    finfo.no_statistics = false;  // a period is there to be written
  }

  void Take(Bytes bytes) {
    GetParam().convert(bytes.data());
    if (GetParam().get != nullptr) {
      GetParam().get(bytes.data());
    } else {
      GetParam().get_at(bytes.data(), 0);
    }
  }
  void MergeWords(Bytes bytes, const std::vector<uint32_t>& words) {
    GetParam().convert(bytes.data());
    if (GetParam().merge != nullptr) {
      GetParam().merge(words.data(), bytes.data());
    } else {
      GetParam().merge_at(words.data(), bytes.data(), 0);
    }
  }
  std::vector<uint32_t> WrittenWords() {
    std::vector<uint32_t> words(At(WordCount()), 0xAAAAAAAA);
    GetParam().write(words.data(), 0);
    return words;
  }
};

INSTANTIATE_TEST_SUITE_P(All, NamedSet, ::testing::ValuesIn(kAll),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(NamedSet, FoldsConvertedEntries) {
  Take(LongInterval(first_key));
  finfo.first_interval = false;
  Take(ShortInterval(first_key));
  ExpectPeriod(BothIntervals().Add(
      Words(Groups({1500, 166, 1536, 341}, {1500, 166, kLarge, kSmall}), {5000, 1000})));
}

TEST_P(NamedSet, ComputesNoExtremesWhenTheInputHasThem) {
  run.InputMask(kind, kinds.mask);
  Take(LongInterval(first_key));
  EXPECT_EQ(WrittenWords(), std::vector<uint32_t>(At(WordCount()), 0));
}

TEST_P(NamedSet, MergesInputWordsMaximaAtEvenMinimaAtOddPositions) {
  run.InputMask(kind, kinds.mask);
  const size_t n = At(WordCount());
  std::vector<uint32_t> middle(n), spread(n), expected(n);
  for (size_t i = 0; i < n; ++i) {
    const auto step = static_cast<uint32_t>(i);
    middle[i] = 1000 + step;
    spread[i] = i % 4 < 2 ? 0xF0000000 + step : 5 + step;  // pairs above, pairs below
    const uint32_t larger = spread[i] > middle[i] ? spread[i] : middle[i];
    const uint32_t smaller = spread[i] < middle[i] ? spread[i] : middle[i];
    expected[i] = i % 2 == 0 ? larger : smaller;
  }
  MergeWords(LongInterval(first_key), middle);
  EXPECT_EQ(WrittenWords(), middle);  // the first interval takes the words as they are
  finfo.first_interval = false;
  MergeWords(LongInterval(first_key), spread);
  EXPECT_EQ(WrittenWords(), expected);
}

TEST_P(NamedSet, FirstIntervalReplacesTheWords) {
  run.InputMask(kind, kinds.mask);
  const size_t n = At(WordCount());
  std::vector<uint32_t> extreme(n), mild(n, 500);
  for (size_t i = 0; i < n; ++i) extreme[i] = i % 2 == 0 ? 0xFFFFFFFF : 0;
  MergeWords(LongInterval(first_key), extreme);
  MergeWords(LongInterval(first_key), mild);
  EXPECT_EQ(WrittenWords(), mild);
}

TEST_P(NamedSet, WritesOnlyTheWordsOfTheOutputMask) {
  run.InputMask(kind, kinds.mask);
  std::vector<uint32_t> words(At(WordCount()));
  for (size_t i = 0; i < words.size(); ++i) words[i] = static_cast<uint32_t>(100 + i);
  MergeWords(LongInterval(first_key), words);
  finfo.items[kind].out_mask = 0x40000000;
  std::vector<uint32_t> out = {0, 0xAAAAAAAA};
  GetParam().write(out.data(), 0);
  EXPECT_EQ(out, (std::vector<uint32_t>{101, 0xAAAAAAAA}));
}

TEST_P(NamedSet, WordsOfASlotThatNothingReachedAreZero) {
  EXPECT_EQ(WrittenWords(), std::vector<uint32_t>(At(WordCount()), 0));
}

// --- rules of single kinds ------------------------------------------------------------------------

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

TEST_F(KindRules, TimeSumWraps) {
  const auto disk = [](uint32_t length) {
    return Bytes(64).U32(4, length).U8(9, 1).U16(20, 10000);
  };
  const Bytes written = Period(0x1D, kPd, {0, 1}, {disk(0xFFFFFFFF), disk(1001)}, 64);
  EXPECT_EQ(written.Get32(4), 1000U);
  // Busy for 4294968296 ms of a sum of 1000: (4294968296 / 1000) x 10000 does not fit 31 bits.
  EXPECT_EQ(written.Get16(20), 0xFFFFU);
}

TEST_F(KindRules, TimeSumThatWrapsTo0IsWrittenNotValid) {
  const auto disk = [](uint32_t length) {
    return Bytes(64).U32(4, length).U8(9, 1).U16(20, 10000);
  };
  const Bytes written = Period(0x1D, kPd, {0, 1}, {disk(0xFFFFFFFF), disk(1)}, 64);
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
