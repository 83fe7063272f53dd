// Copy pairs of logical disks and pools: which elements are taken, which are due, and what marks
// all of them, in revisions 0x1B, 0x1C and later.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "engine/family.h"
#include "platform/QelCM.h"
#include "revisions/items.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

struct PairCase {
  int revision;
  unsigned type;   // 32: logical disks, 48: pools
  size_t element;  // bytes
};

std::vector<PairCase> PairCases(int first) {
  std::vector<PairCase> cases;
  for (const int revision : RevisionsFrom(first)) {
    cases.push_back({revision, 32, 32});
    cases.push_back({revision, 48, 48});
  }
  return cases;
}

std::string Name(const ::testing::TestParamInfo<PairCase>& test) {
  return RevisionName(test.param.revision) + (test.param.type == 32 ? "Ld" : "Pool");
}

class Pairs : public ::testing::TestWithParam<PairCase> {
 protected:
  int revision = GetParam().revision;
  unsigned type = GetParam().type;
  RevisionRun run{GetParam().revision};

  Bytes Structure(unsigned n) const {
    StructureBuilder structure(revision);
    structure.basic.U16(type == 32 ? 100 : 102, 0x8000 | n);
    return structure.Build();
  }
  void Configure(unsigned n) {
    run.Feed(Structure(n));
    run.Output();
  }
  Bytes Pair(uint32_t key, unsigned seed) const {
    return Bytes(GetParam().element).Pattern(0, GetParam().element, seed).U32(0, key);
  }
  void Take(unsigned flag, const std::vector<Bytes>& elements, unsigned carried = 0) {
    StatisticsBuilder record(revision);
    run.Feed(record.Item(Item({type, flag, 7, 1000, carried, elements})).Build());
  }
  Bytes Written() { return ItemsOf(run.Period()).at(0); }
  // The keys of the pairs that the period writes.
  std::vector<uint32_t> Keys() {
    const Bytes item = Written();
    std::vector<uint32_t> keys;
    for (size_t i = 0; i < item.Get16(18); ++i) {
      keys.push_back(item.Get32(32 + i * GetParam().element));
    }
    return keys;
  }
  using KeyList = std::vector<uint32_t>;
};

INSTANTIATE_TEST_SUITE_P(All, Pairs, ::testing::ValuesIn(PairCases(0x1B)), Name);
using PairsOf0x1B = Pairs;
INSTANTIATE_TEST_SUITE_P(Only, PairsOf0x1B,
                         ::testing::Values(PairCase{0x1B, 32, 32}, PairCase{0x1B, 48, 48}), Name);
using PairsFrom0x1C = Pairs;
INSTANTIATE_TEST_SUITE_P(Later, PairsFrom0x1C, ::testing::ValuesIn(PairCases(0x1C)), Name);

TEST_P(Pairs, ElementsAreWrittenAsReadInSlotOrder) {
  Configure(3);
  Take(0x80, {Pair(9, 1), Pair(4, 2)}, 0x55);
  EXPECT_EQ(Written(), OutputItem({type, 0x80, 7, 1000, 0x55, {Pair(9, 1), Pair(4, 2)}}));
}

// What reads archives by name asks the blocks for it.
TEST_P(Pairs, MarkOfTheStructureRecordIsClearedByTheNextItem) {
  Configure(2);
  const ItemBlock& block = type == 32 ? *sta_ld_cp_arc : *sta_pool_cp_arc;
  EXPECT_EQ(block.written, 1);
  Take(0x80, {Pair(9, 1)});
  EXPECT_EQ(block.written, 0);
}

TEST_P(Pairs, ElementGoesIntoTheSlotThatHoldsItsKey) {
  Configure(3);
  Take(0x80, {Pair(9, 1), Pair(4, 2)});
  Take(0x80, {Pair(4, 5), Pair(7, 6)});
  EXPECT_EQ(Written(), OutputItem({type, 0x80, 7, 2000, 0, {Pair(9, 1), Pair(4, 5), Pair(7, 6)}}));
}

TEST_P(Pairs, ElementWithoutASlotIsPassedOverWithATraceLine) {
  const TempDir directory;
  std::snprintf(sgmtr_dmpfile, sizeof sgmtr_dmpfile, "%s", directory.Path("trace").c_str());
  Configure(2);
  Take(0x80, {Pair(9, 1), Pair(4, 2)});
  Take(0x80, {Pair(5, 3), Pair(4, 4)});
  EXPECT_THAT(directory.Read("trace"), ::testing::HasSubstr("element without a slot"));
  EXPECT_EQ(Keys(), (KeyList{9, 4}));
}

TEST_P(Pairs, KeyIsTheFirstFourBytes) {
  Configure(2);
  Take(0x80, {Pair(0x01020304, 1), Pair(0x01020305, 1)});
  EXPECT_EQ(Keys(), (KeyList{0x01020304, 0x01020305}));
}

TEST_P(Pairs, ItemIsWrittenInEveryPeriodOnceTheBlockExists) {
  Configure(2);
  StatisticsBuilder record(revision);
  run.Feed(record.Build());
  EXPECT_EQ(Written(), OutputItem({type, 0, 0, 0, 0, {}}));
}

TEST_P(Pairs, PeriodClearsStatusTimeAndFlagButNotTheCarriedWord) {
  Configure(2);
  Take(0xFF, {}, 0x1234);
  run.Period();
  StatisticsBuilder record(revision);
  run.Feed(record.Build());
  EXPECT_EQ(Written(), OutputItem({type, 0, 0, 0, 0x1234, {}}));
}

TEST_P(Pairs, StructureRecordMakesNewBlocks) {
  Configure(2);
  Take(0x80, {Pair(9, 1)});
  run.Feed(Structure(1));
  run.Output();
  Take(0x80, {Pair(4, 1)});  // would have no slot in the old block's place
  EXPECT_EQ(Keys(), (KeyList{4}));
}

TEST_P(Pairs, AbandonedPeriodLeavesNothingDue) {
  Configure(2);
  Take(0x80, {Pair(9, 1)});
  ForgetPeriod();
  EXPECT_EQ(Written(), OutputItem({type, 0, 0, 0, 0, {}}));
}

// The archive does not tell the pairs of an abandoned input, so those that follow are all new.
TEST_P(Pairs, AbandonedPeriodLeavesNothingHeld) {
  Configure(1);
  Take(0x80, {Pair(9, 1)}, 0x1234);
  ForgetPeriod();
  Take(0x80, {Pair(9, 1)});
  EXPECT_EQ(Keys(), (KeyList{9}));
  run.Output();
  Take(0x80, {Pair(9, 2)});
  ForgetPeriod();
  Take(0x80, {Pair(4, 1)});  // would find no slot beside the other
  EXPECT_EQ(Keys(), (KeyList{4}));
}

// --- revision 0x1B: every item marks --------------------------------------------------------------

TEST_P(PairsOf0x1B, ElementsAreTakenWhateverTheFlag) {
  Configure(2);
  Take(0x00, {Pair(9, 1)});
  EXPECT_EQ(Keys(), (KeyList{9}));
}

TEST_P(PairsOf0x1B, EveryItemMarksAllHeldPairs) {
  Configure(3);
  Take(0x80, {Pair(9, 1), Pair(4, 2)});
  run.Period();
  Take(0x00, {});
  EXPECT_EQ(Keys(), (KeyList{9, 4}));
  run.Output();
  // And without an item none is due.
  StatisticsBuilder record(revision);
  run.Feed(record.Build());
  EXPECT_EQ(Keys(), (KeyList{}));
}

TEST_P(PairsOf0x1B, FlagIsTheOrOfTheItemsFlags) {
  Configure(2);
  Take(0x01, {Pair(9, 1)});
  Take(0x42, {});
  EXPECT_EQ(Written().Get8(13), 0x43U);
}

TEST_P(PairsOf0x1B, ElementsAreCheckedWhateverTheFlag) {
  Configure(1);
  StatisticsBuilder record(revision);
  EXPECT_TRUE(run.Breaks(record.Item(Item({type, 0, 0, 0, 0, {Pair(1, 1), Pair(2, 1)}})).Build()));
}

TEST_P(PairsOf0x1B, LdmChangesNothing) {
  Configure(2);
  Take(0x80, {Pair(9, 1)});
  run.Period();
  run.Feed(Bytes(64).Text(0, "LDM").U32(8, 64));
  pmonarc_stat = 2;
  StatisticsBuilder record(revision);
  run.Feed(record.Build());
  EXPECT_EQ(Keys(), (KeyList{}));
}

// --- from 0x1C on: structure records and "LDM" mark -----------------------------------------------

TEST_P(PairsFrom0x1C, ElementsAreTakenWithBit7Only) {
  Configure(2);
  Take(0x7F, {Pair(9, 1)});
  EXPECT_EQ(Written(), OutputItem({type, 0, 7, 1000, 0, {}}));
}

TEST_P(PairsFrom0x1C, ElementsAreCheckedOnlyWhenTheyAreTaken) {
  Configure(1);
  Take(0x00, {Pair(1, 1), Pair(2, 1)});
  StatisticsBuilder record(revision);
  EXPECT_TRUE(
      run.Breaks(record.Item(Item({type, 0x80, 0, 0, 0, {Pair(1, 1), Pair(2, 1)}})).Build()));
}

TEST_P(PairsFrom0x1C, NewAndChangedElementsAreDue) {
  Configure(4);
  Take(0x80, {Pair(9, 1), Pair(4, 2)});
  EXPECT_EQ(Keys(), (KeyList{9, 4}));
  Take(0x80, {Pair(9, 1), Pair(4, 3), Pair(7, 1)});  // unchanged, changed, new
  EXPECT_EQ(Keys(), (KeyList{4, 7}));
  Take(0x80, {Pair(9, 1)});
  EXPECT_EQ(Keys(), (KeyList{}));
}

TEST_P(PairsFrom0x1C, ChangeThatIsTakenBackStaysDue) {
  Configure(2);
  Take(0x80, {Pair(9, 1)});
  run.Period();
  Take(0x80, {Pair(9, 2)});
  Take(0x80, {Pair(9, 1)});
  EXPECT_EQ(Keys(), (KeyList{9}));
}

TEST_P(PairsFrom0x1C, FirstItemAfterTheStructureRecordMarksOnce) {
  Configure(2);
  Take(0x80, {});  // nothing is held yet: the mark is spent
  Take(0x80, {Pair(9, 1)});
  EXPECT_EQ(Keys(), (KeyList{9}));
  Take(0x80, {});
  EXPECT_EQ(Keys(), (KeyList{}));
}

TEST_P(PairsFrom0x1C, LdmMakesTheNextItemMarkAllHeldPairs) {
  Configure(2);
  Take(0x80, {Pair(9, 1), Pair(4, 2)});
  run.Period();
  run.Feed(Bytes(64).Text(0, "LDM").U32(8, 64));
  run.Output();
  pmonarc_stat = 2;
  Take(0x00, {});  // marks though it takes nothing
  EXPECT_EQ(Keys(), (KeyList{9, 4}));
  Take(0x00, {});  // once
  EXPECT_EQ(Keys(), (KeyList{}));
}

TEST_P(PairsFrom0x1C, LdmMarkOutlivesPeriodsWithoutAnItem) {
  Configure(2);
  Take(0x80, {Pair(9, 1)});
  run.Period();
  run.Feed(Bytes(64).Text(0, "LDM").U32(8, 64));
  run.Output();
  pmonarc_stat = 2;
  StatisticsBuilder record(revision);
  run.Feed(record.Build());
  EXPECT_EQ(Keys(), (KeyList{}));
  Take(0x00, {});
  EXPECT_EQ(Keys(), (KeyList{9}));
}

TEST_P(PairsFrom0x1C, NewOutputForgetsTheCountsThatLdmNeeds) {
  Configure(2);
  Take(0x80, {Pair(9, 1)});
  run.Period();
  ForgetItemCounts();  // as a new output does, before its structure record
  run.Feed(Bytes(64).Text(0, "LDM").U32(8, 64));
  run.Output();
  pmonarc_stat = 2;
  Take(0x00, {});
  EXPECT_EQ(Keys(), (KeyList{}));
}

TEST_P(PairsFrom0x1C, FlagIsBit7OrNothingByTheNumberOfElements) {
  Configure(2);
  Take(0xFF, {Pair(9, 1)});
  EXPECT_EQ(Written().Get8(13), 0x80U);
  Take(0xFF, {});
  EXPECT_EQ(Written().Get8(13), 0U);
}

}  // namespace
}  // namespace revtest
