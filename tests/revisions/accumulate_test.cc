// The accumulators by name (GetLdSet_0x14, GetMpExset_0x1D, SetMpExset_0x1D and kin), called with
// entries that the named converters turned to host order.
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "engine/pmoncommon.h"
#include "revisions/named/converters.h"
#include "revisions/named/named.h"
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

}  // namespace
}  // namespace revtest
