// Optional items: concurrent copies, wait times, cabinets, and what all items have in common. Copy
// pairs are the subject of pair_items_test.
#include "revisions/items.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/finfo.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"
#include "tests/support/run_state.h"

namespace revtest {
namespace {

constexpr unsigned kConcType = 16;
constexpr unsigned kLdCpType = 32;
constexpr unsigned kWaitType = 33;
constexpr unsigned kPoolCpType = 48;
constexpr unsigned kCabType = 64;

// A file with room for `n` elements of each kind and n logical disks.
void Configure(RevisionRun& run, int revision, unsigned n) {
  StructureBuilder structure(revision);
  structure.basic.U16(98, 0x8000 | n).U16(100, 0x8000 | n).U16(102, 0x8000 | n);
  structure.basic.U16(104, 0x8000 | n).U8(97, 0x20);
  for (unsigned i = 0; i < n; ++i) structure.Add(kLd, {{0, static_cast<uint8_t>(i + 1)}});
  run.Feed(structure.Build());
  run.Output();
}

Bytes Record(int revision, const std::vector<Bytes>& items, unsigned disks, uint32_t time = 1000) {
  StatisticsBuilder record(revision);
  record.time = time;
  if (disks > 0) record.Announce(kLd, disks);
  for (const Bytes& item : items) record.Item(item);
  return record.Build();
}

Bytes Conc(unsigned number, unsigned present, unsigned seed = 0) {
  return Bytes(16).Pattern(0, 16, seed).U16(0, number).U8(12, present);
}
Bytes Wait(unsigned disk, uint32_t q0, uint32_t q1, uint32_t q2, uint32_t q3) {
  return Bytes(32).U16(0, disk).Quad(16, q0, q1, q2, q3);
}
Bytes Cab(unsigned key, unsigned number, uint32_t value, unsigned seed = 0) {
  return Bytes(16).Pattern(0, 16, seed).U8(0, key).U16(2, number).U32(8, value);
}

class Items : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();
  RevisionRun run{GetParam()};

  void Take(const std::vector<Bytes>& items, unsigned disks = 2) {
    run.Feed(Record(revision, items, disks));
  }
  // The period's items of one type.
  std::vector<Bytes> Written(unsigned type) {
    std::vector<Bytes> found;
    for (const Bytes& item : ItemsOf(run.Period())) {
      if (item.Get8(12) == type) found.push_back(item);
    }
    return found;
  }
};
std::string Name(const ::testing::TestParamInfo<int>& test) { return RevisionName(test.param); }

// --- concurrent copies ----------------------------------------------------------------------------

using ConcItems = Items;
INSTANTIATE_TEST_SUITE_P(Revisions, ConcItems, ::testing::ValuesIn(RevisionsFrom(0x18)), Name);

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
INSTANTIATE_TEST_SUITE_P(Revisions, WaitItems, ::testing::ValuesIn(RevisionsFrom(0x1C)), Name);

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
INSTANTIATE_TEST_SUITE_P(Revisions, CabItems, ::testing::ValuesIn(RevisionsFrom(0x1D)), Name);

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

// --- what all items have in common ----------------------------------------------------------------

using AllItems = Items;
INSTANTIATE_TEST_SUITE_P(Revisions, AllItems, ::testing::ValuesIn(RevisionsFrom(0x14)), Name);

struct KindOfItem {
  unsigned type;
  int from;
  size_t element;
};
constexpr KindOfItem kKinds[] = {{kConcType, 0x18, 16},
                                 {kLdCpType, 0x1B, 32},
                                 {kPoolCpType, 0x1B, 48},
                                 {kWaitType, 0x1C, 32},
                                 {kCabType, 0x1D, 16}};

// An item of `type` with elements; flag bit 7 makes every kind take them.
Bytes AnyItem(const KindOfItem& kind, size_t elements) {
  return Item(
      {kind.type, 0x80, 0, 1000, 0, std::vector<Bytes>(elements, Bytes(kind.element).U16(0, 1))});
}

TEST_P(AllItems, KindsOfTheRevisionAreWrittenInTheirOrder) {
  Configure(run, revision, 2);
  std::vector<Bytes> items;
  for (const KindOfItem& kind : kKinds) items.insert(items.begin(), AnyItem(kind, 1));
  Take(items);
  const Bytes period = run.Period();
  std::vector<unsigned> types, expected;
  for (const Bytes& item : ItemsOf(period)) {
    types.push_back(item.Get8(12));
    EXPECT_EQ(item.Get32(20), 32U);
    EXPECT_EQ(item.Part(24, 8), Bytes(8));
  }
  for (const KindOfItem& kind : kKinds) {
    if (revision >= kind.from) expected.push_back(kind.type);
  }
  EXPECT_EQ(types, expected);
  if (expected.empty()) {
    EXPECT_EQ(period.Part(16, 8), Bytes(8));
  }
}

TEST_P(AllItems, ItemsLieBehindTheSections) {
  StructureBuilder structure(revision);
  structure.basic.U16(98, 0x8001);
  run.Feed(structure.Add(kHp, {{1, 1}}).Build());
  StatisticsBuilder record(revision);
  record.Add(kHp, PlainEntry(revision, kHp, 1, 1000)).Item(AnyItem(kKinds[0], 1));
  Bytes bytes = record.Build();
  run.Feed(bytes.U16(16, 0x1234));
  const Bytes period = run.Period();
  if (revision < 0x18) {
    EXPECT_EQ(period.Part(16, 8), Bytes(8));
    return;
  }
  const size_t words = revision <= 0x18 ? 20 : 22;
  const auto head = static_cast<size_t>(RecordHeadOf(revision));
  EXPECT_EQ(period.Part(16, 8), Bytes(8).Slot(0, 0x1234, 1, head + 112 + 4 * words));
}

TEST_P(AllItems, ItemOfAnUnknownTypeIsPassedOver) {
  Configure(run, revision, 2);
  std::vector<Bytes> items;
  for (const unsigned type : {0U, 1U, 17U, 34U, 65U, 255U}) {
    items.push_back(Item({type, 0xFF, 1, 1, 1, {Bytes(7)}}));
  }
  items.push_back(AnyItem(kKinds[0], 1));
  Take(items);
  EXPECT_EQ(Written(kConcType).size(), revision >= 0x18 ? 1U : 0U);
}

TEST_P(AllItems, ItemWithoutItsBlockBreaksTheRecordInBothKindsOfRun) {
  for (const KindOfItem& kind : kKinds) {
    for (const bool automatic : {false, true}) {
      RevisionRun bare(revision);
      if (automatic) bare.Automatic();
      // Counts, but no presence bits.
      StructureBuilder structure(revision);
      structure.basic.U16(98, 5).U16(100, 5).U16(102, 5).U16(104, 5);
      bare.Feed(structure.Build());
      EXPECT_EQ(bare.Breaks(Record(revision, {AnyItem(kind, 0)}, 0)), revision >= kind.from);
    }
  }
}

TEST_P(AllItems, ItemShorterThanItsHeadBreaksTheRecord) {
  Configure(run, revision, 2);
  Bytes item = Bytes(24).U8(12, 200);  // of an unknown type
  EXPECT_TRUE(run.Breaks(Record(revision, {item.U32(8, 23)}, 2)));
}

TEST_P(AllItems, ItemThatLeavesItsRecordBreaksIt) {
  for (const uint32_t size : {25U, 0xFFFFFFFFU}) {
    RevisionRun fresh(revision);
    Configure(fresh, revision, 2);
    EXPECT_TRUE(fresh.Breaks(Record(revision, {Bytes(24).U8(12, 200).U32(8, size)}, 2)));
  }
  RevisionRun fresh(revision);
  Configure(fresh, revision, 2);
  Bytes record = Record(revision, {Bytes(24).U8(12, 200).U32(8, 24)}, 2);
  EXPECT_FALSE(fresh.Breaks(record));
  EXPECT_TRUE(fresh.Breaks(record.U16(18, 2)));  // a second item has no room
}

TEST_P(AllItems, ItemsOffset0CarriesNone) {
  Configure(run, revision, 2);
  Bytes record = Record(revision, {AnyItem(kKinds[0], 1)}, 2);
  run.Feed(record.U32(20, 0));
  EXPECT_TRUE(Written(kConcType).empty());
}

TEST_P(AllItems, ElementsOutsideTheirItemBreakTheRecord) {
  for (const KindOfItem& kind : kKinds) {
    if (revision < kind.from) continue;
    SCOPED_TRACE(kind.type);
    const auto breaks = [&](const Bytes& item) {
      RevisionRun fresh(revision);
      Configure(fresh, revision, 3);
      return fresh.Breaks(Record(revision, {item}, 3));
    };
    const Bytes sound = AnyItem(kind, 2);
    EXPECT_FALSE(breaks(sound));
    EXPECT_TRUE(breaks(Bytes(sound).U16(18, 3)));  // one more than the item holds
    EXPECT_TRUE(breaks(Bytes(sound).U32(20, 25)));
    EXPECT_TRUE(breaks(Bytes(sound).U32(20, 0xFFFFFFF0)));
    EXPECT_TRUE(breaks(Bytes(sound).U32(20, 23)));  // inside the head
    EXPECT_TRUE(breaks(Bytes(sound).U32(20, 0)));
    // Without elements the offset does not matter.
    EXPECT_FALSE(breaks(AnyItem(kind, 0).U32(20, 0xFFFFFFF0)));
    EXPECT_TRUE(breaks(AnyItem(kind, 4)));  // more than configured
  }
}

TEST(ItemsByName, WithoutAnItemTheInputIsAbandoned) {
  RevisionRun run(0x1D);
  Configure(run, 0x1D, 2);
  run.Automatic();
  for (int (*take)(const uint8_t*) :
       {GetConcSet_0x18, GetLD_CPSet_0x1B, GetPOOL_CPSet_0x1B, GetWaittmSet_0x1C, GetCabSet_0x1D}) {
    auto_break_flg = 0;
    EXPECT_EQ(take(nullptr), 0);
    EXPECT_EQ(auto_break_flg, 1);
  }
}

TEST(ItemsByName, WithoutABlockTheInputIsAbandoned) {
  RevisionRun run(0x1D);
  run.Feed(StructureBuilder(0x1D).Build());
  run.Automatic();
  const Bytes item = Item({0, 0x80, 0, 0, 0, {}});
  Capture errors(2);
  for (int (*take)(const uint8_t*) :
       {GetConcSet_0x18, GetLD_CPSet_0x1B, GetPOOL_CPSet_0x1B, GetWaittmSet_0x1C, GetCabSet_0x1D}) {
    auto_break_flg = 0;
    EXPECT_EQ(take(item.data()), 0);
    EXPECT_EQ(auto_break_flg, 1);
  }
}

TEST(ItemsByName, TakeTheirItem) {
  RevisionRun run(0x1D);
  Configure(run, 0x1D, 2);
  run.Feed(Record(0x1D, {}, 2));
  EXPECT_EQ(GetConcSet_0x18(Item({kConcType, 0, 0, 0, 0, {Conc(4, 1)}}).data()), 0);
  EXPECT_EQ(GetCabSet_0x1D(Item({kCabType, 0x80, 0, 0, 0, {Cab(1, 2, 3)}}).data()), 0);
  EXPECT_EQ(GetWaittmSet_0x1C(Item({kWaitType, 0, 0, 0, 0, {Wait(2, 1, 2, 3, 4)}}).data()), 0);
  std::vector<unsigned> counts;
  for (const Bytes& item : ItemsOf(run.Period())) counts.push_back(item.Get16(18));
  EXPECT_EQ(counts, (std::vector<unsigned>{1, 0, 0, 1, 1}));  // Conc, two pairs, wait time, Cab
}

}  // namespace
}  // namespace revtest
