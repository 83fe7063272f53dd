// Optional items whose elements stand for themselves: concurrent copies, wait times, cabinets. Copy
// pairs are the subject of pair_items_test.
#include <gtest/gtest.h>

#include <vector>

#include "tests/revisions/items_fixture.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"

namespace revtest {
namespace {

// --- concurrent copies ----------------------------------------------------------------------------

using ConcItems = Items;
INSTANTIATE_TEST_SUITE_P(Revisions, ConcItems, ::testing::ValuesIn(RevisionsFrom(0x18)), ItemsName);

TEST_P(ConcItems, PresentElementsAreWrittenAsRead) {
  Configure(run, revision, 2);
  Take({Item({kConcType, 0x05, 0x11111111, 1000, 0x77, {Conc(9, 1, 3)}})});
  Take({Item({kConcType, 0x82, 0x22222222, 2000, 0x88, {Conc(4, 0, 5), Conc(9, 1, 7)}})});
  // Number 4 has a slot but is not present.
  EXPECT_EQ(
      Written(kConcType),
      std::vector<Bytes>{OutputItem({kConcType, 0x87, 0x22222222, 3000, 0x88, {Conc(9, 1, 7)}})});
}

TEST_P(ConcItems, SlotIsTakenByTheFirstElementWhateverItsPresence) {
  Configure(run, revision, 2);
  Take({Item({kConcType, 0, 0, 0, 0, {Conc(4, 0), Conc(9, 1)}})});
  Take({Item({kConcType, 0, 0, 0, 0, {Conc(5, 1)}})});  // no slot is left for number 5
  Take({Item({kConcType, 0, 0, 0, 0, {Conc(4, 1, 2)}})});
  EXPECT_EQ(Written(kConcType),
            std::vector<Bytes>{OutputItem({kConcType, 0, 0, 0, 0, {Conc(4, 1, 2), Conc(9, 1)}})});
}

TEST_P(ConcItems, NoItemInThePeriodWritesNone) {
  Configure(run, revision, 2);
  Take({});
  EXPECT_TRUE(Written(kConcType).empty());
}

TEST_P(ConcItems, ItemWithoutElementsIsWrittenWithoutElements) {
  Configure(run, revision, 2);
  Take({Item({kConcType, 1, 2, 3, 4, {}})});
  EXPECT_EQ(Written(kConcType), std::vector<Bytes>{OutputItem({kConcType, 1, 2, 3, 4, {}})});
}

TEST_P(ConcItems, PeriodForgetsTheElements) {
  Configure(run, revision, 2);
  Take({Item({kConcType, 1, 2, 3, 4, {Conc(4, 1), Conc(9, 1)}})});
  run.Period();
  Take({Item({kConcType, 0, 0, 0, 0, {Conc(5, 1)}})});
  EXPECT_EQ(Written(kConcType),
            std::vector<Bytes>{OutputItem({kConcType, 0, 0, 0, 0, {Conc(5, 1)}})});
}

TEST_P(ConcItems, BlockWithoutRoomTakesItemsWithoutElements) {
  Configure(run, revision, 0);
  Take({Item({kConcType, 1, 0, 0, 0, {}})}, 0);
  EXPECT_EQ(Written(kConcType).size(), 1U);
  EXPECT_TRUE(run.Breaks(Record(revision, {Item({kConcType, 0, 0, 0, 0, {Conc(1, 1)}})}, 0)));
}

TEST_P(ConcItems, ElementsMayStandAnywhereBehindTheHead) {
  Configure(run, revision, 2);
  // As in archives: behind 8 more bytes.
  Take({OutputItem({kConcType, 0, 0, 0, 0, {Conc(9, 1, 3)}})});
  EXPECT_EQ(Written(kConcType)[0].Part(32, 16), Conc(9, 1, 3));
}

// --- wait times -----------------------------------------------------------------------------------

using WaitItems = Items;
INSTANTIATE_TEST_SUITE_P(Revisions, WaitItems, ::testing::ValuesIn(RevisionsFrom(0x1C)), ItemsName);

TEST_P(WaitItems, AreFoldedPerLogicalDisk) {
  Configure(run, revision, 2);
  Take({Item({kWaitType, 0x01, 5, 60000, 9, {Wait(2, 10, 100, 50, 200)}})});
  Take({Item({kWaitType, 0x80, 6, 20000, 8, {Wait(2, 30, 200, 40, 400)}})});
  // 40 operations, (10 x 100 + 30 x 200) / 40, the larger maximum, (10 x 200 + 30 x 400) / 40
  EXPECT_EQ(
      Written(kWaitType),
      std::vector<Bytes>{OutputItem({kWaitType, 0x81, 6, 80000, 8, {Wait(2, 40, 175, 50, 350)}})});
}

TEST_P(WaitItems, StandInTheOrderOfTheDisks) {
  Configure(run, revision, 3);
  Take({Item({kWaitType, 0, 0, 0, 0, {Wait(3, 3, 0, 0, 0), Wait(1, 1, 0, 0, 0)}})}, 3);
  EXPECT_EQ(Written(kWaitType),
            std::vector<Bytes>{
                OutputItem({kWaitType, 0, 0, 0, 0, {Wait(1, 1, 0, 0, 0), Wait(3, 3, 0, 0, 0)}})});
}

TEST_P(WaitItems, AreWrittenInEveryPeriodAndForgetTheOneBefore) {
  Configure(run, revision, 2);
  Take({Item({kWaitType, 1, 2, 3, 4, {Wait(1, 10, 1, 1, 1)}})});
  run.Period();
  Take({});
  EXPECT_EQ(Written(kWaitType), std::vector<Bytes>{OutputItem({kWaitType, 0, 0, 0, 0, {}})});
}

TEST_P(WaitItems, OtherBytesOfTheElementAreZero) {
  Configure(run, revision, 1);
  Bytes element = Bytes(32).Pattern(0, 32, 0x91).U16(0, 1).Quad(16, 1, 2, 3, 4);
  Take({Item({kWaitType, 0, 0, 0, 0, {element}})}, 1);
  EXPECT_EQ(Written(kWaitType)[0].Part(32, 32), Wait(1, 1, 2, 3, 4));
}

TEST_P(WaitItems, MoreElementsThanLogicalDisksBreakTheRecord) {
  Configure(run, revision, 1);
  EXPECT_TRUE(run.Breaks(Record(
      revision, {Item({kWaitType, 0, 0, 0, 0, {Wait(1, 0, 0, 0, 0), Wait(1, 0, 0, 0, 0)}})}, 1)));
}

TEST_P(WaitItems, WithoutLogicalDisksTheBlockIsThereAndEmpty) {
  Configure(run, revision, 0);
  Take({Item({kWaitType, 1, 2, 3, 4, {}})}, 0);
  EXPECT_EQ(Written(kWaitType), std::vector<Bytes>{OutputItem({kWaitType, 1, 2, 3, 4, {}})});
}

// --- cabinets -------------------------------------------------------------------------------------

using CabItems = Items;
INSTANTIATE_TEST_SUITE_P(Revisions, CabItems, ::testing::ValuesIn(RevisionsFrom(0x1D)), ItemsName);

TEST_P(CabItems, ValueIsTheMeanOverTheItemsOfThePeriod) {
  Configure(run, revision, 2);
  Take({Item({kCabType, 0x81, 1, 1000, 5, {Cab(1, 7, 100, 3), Cab(2, 7, 11, 4)}})});
  Take({Item({kCabType, 0x80, 2, 1000, 6, {Cab(1, 7, 301, 9)}})});
  // (100 + 301) / 2 and (11 + 11) / 2; other bytes as last read.
  EXPECT_EQ(Written(kCabType),
            std::vector<Bytes>{
                OutputItem({kCabType, 0x81, 2, 2000, 6, {Cab(1, 7, 200, 9), Cab(2, 7, 11, 4)}})});
}

TEST_P(CabItems, ElementsAreTakenWithBit7OnlyButEveryItemCounts) {
  Configure(run, revision, 2);
  Take({Item({kCabType, 0x80, 0, 0, 0, {Cab(1, 7, 90)}})});
  Take({Item({kCabType, 0x7F, 0, 0, 0, {Cab(1, 7, 5000), Cab(3, 3, 3)}})});
  Take({Item({kCabType, 0x00, 0, 0, 0, {}})});
  EXPECT_EQ(Written(kCabType),
            std::vector<Bytes>{OutputItem({kCabType, 0xFF, 0, 0, 0, {Cab(1, 7, 90)}})});
}

TEST_P(CabItems, LateElementIsDividedByAllItems) {
  Configure(run, revision, 2);
  Take({Item({kCabType, 0x80, 0, 0, 0, {}})});
  Take({Item({kCabType, 0x80, 0, 0, 0, {}})});
  Take({Item({kCabType, 0x80, 0, 0, 0, {Cab(1, 7, 100)}})});
  EXPECT_EQ(Written(kCabType),
            std::vector<Bytes>{OutputItem({kCabType, 0x80, 0, 0, 0, {Cab(1, 7, 33)}})});
}

TEST_P(CabItems, ElementsStayForLaterPeriodsWithTheirOwnValue) {
  Configure(run, revision, 2);
  Take({Item({kCabType, 0x80, 1, 1, 9, {Cab(1, 7, 100)}})});
  Take({Item({kCabType, 0x80, 1, 1, 9, {Cab(1, 7, 200)}})});
  EXPECT_EQ(Written(kCabType)[0].Get32(32 + 8), 150U);
  Take({Item({kCabType, 0, 0, 0, 9, {}})});
  // The value as last read, not the mean; bit 7 is set for written elements.
  EXPECT_EQ(Written(kCabType),
            std::vector<Bytes>{OutputItem({kCabType, 0x80, 0, 0, 9, {Cab(1, 7, 200)}})});
}

TEST_P(CabItems, PeriodWithoutAnItemWritesNoElementsAndFlag0) {
  Configure(run, revision, 2);
  Take({Item({kCabType, 0x80, 1, 1, 9, {Cab(1, 7, 100)}})});
  run.Period();
  Take({});
  // The 16-bit word stays from period to period.
  EXPECT_EQ(Written(kCabType), std::vector<Bytes>{OutputItem({kCabType, 0, 0, 0, 9, {}})});
}

TEST_P(CabItems, FlagOfAnItemWithoutElementsIs0) {
  Configure(run, revision, 2);
  Take({Item({kCabType, 0xFF, 1, 2, 9, {}})});
  EXPECT_EQ(Written(kCabType), std::vector<Bytes>{OutputItem({kCabType, 0, 1, 2, 9, {}})});
}

TEST_P(CabItems, KeyIsByte0AndTheNumberAt2) {
  Configure(run, revision, 4);
  Take({Item({kCabType,
              0x80,
              0,
              0,
              0,
              {Cab(1, 7, 1), Cab(1, 8, 2), Cab(2, 7, 3), Cab(1, 7, 4).U8(1, 0xFF)}})},
       4);
  const Bytes item = Written(kCabType)[0];
  EXPECT_EQ(item.Get16(18), 3U);
  EXPECT_EQ(item.Get32(32 + 8), 4U);
}

}  // namespace
}  // namespace revtest
