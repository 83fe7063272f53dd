// What all optional items have in common: their order and place, items that break their record, and
// the functions that take them by name.
#include "revisions/items.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "areas/finfo.h"
#include "revisions/named/named.h"
#include "tests/revisions/items_fixture.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"
#include "tests/support/run_state.h"

namespace revtest {
namespace {

using AllItems = Items;
INSTANTIATE_TEST_SUITE_P(Revisions, AllItems, ::testing::ValuesIn(RevisionsFrom(0x14)), ItemsName);

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
