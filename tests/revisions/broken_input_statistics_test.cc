// Inputs whose statistics records are broken: sections and optional items that leave their record,
// or that the structure record does not tell of.
#include <gtest/gtest.h>

#include <cstdint>

#include "tests/revisions/broken_input_fixture.h"
#include "tests/support/record_builder.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_param.h"
#include "tests/support/sample_records.h"

namespace {

using spell::Bytes;
using spell::GetU16;
using spell::GetU32;
using spell::kNewYear;
using spell::SetU16;
using spell::SetU32;

// The sections of the sample records.
struct Place {
  size_t slot;
  size_t entry;
};
std::vector<Place> PlacesOf(uint8_t revision) {
  std::vector<Place> places;
  for (const revtest::KindFacts& facts : revtest::KindsOf(revision)) {
    if (facts.kind == kPool && revision >= 0x19) continue;
    places.push_back({static_cast<size_t>(facts.slot), static_cast<size_t>(facts.entry)});
  }
  return places;
}

// Instantiated for all revisions in broken_input_structure_test.

// ---- sections ----

TEST_P(BrokenInputTest, SectionThatLeavesItsRecordIsBroken) {
  // Zeros at the end, so that no entry there is compact.
  Bytes whole = FullStatistics(GetParam()) + Bytes(200, '\0');
  SetU32(whole, 8, static_cast<uint32_t>(whole.size()));
  for (const Place& place : PlacesOf(GetParam())) {
    for (const auto offset : {static_cast<uint32_t>(whole.size() - place.entry + 1),
                              static_cast<uint32_t>(whole.size()), 0xFFFFFFFFU}) {
      Bytes changed = whole;
      SetU32(changed, place.slot + 4, offset);
      EXPECT_TRUE(IsBroken(WithStatistics(changed))) << place.slot << ' ' << offset;
    }
    Bytes changed = whole;
    SetU32(changed, place.slot + 4, 0);  // carries no entries
    EXPECT_TRUE(IsFine(WithStatistics(changed))) << place.slot;
  }
}

TEST_P(BrokenInputTest, SectionCountsMustBeTheConfigured) {
  const Bytes whole = FullStatistics(GetParam());
  const size_t disk_ports = GetParam() < 0x14 ? 32 : GetParam() < 0x19 ? 40 : 64;
  for (const Place& place : PlacesOf(GetParam())) {
    if (GetParam() >= 0x19 && place.slot == 128) continue;  // built from the record itself
    for (const uint32_t count : {0U, 2U, 0xFFFFU}) {
      Bytes changed = whole;
      SetU16(changed, place.slot + 2, count);
      // A differing disk-port section is passed over without a word.
      EXPECT_EQ(IsFine(WithStatistics(changed)), place.slot == disk_ports) << place.slot;
      EXPECT_EQ(IsBroken(WithStatistics(changed)), place.slot != disk_ports) << place.slot;
    }
  }
}

TEST_P(BrokenInputTest, CountOfThePoolsThatAreNotCarriedIsComparedToo) {
  if (GetParam() < 0x19) return;
  Bytes changed = FullStatistics(GetParam());
  SetU16(changed, 120 + 2, 1);
  EXPECT_TRUE(IsBroken(WithStatistics(changed)));
}

// ---- optional items ----

class BrokenItemTest : public BrokenInputTest {
 protected:
  // The record with a byte string of the first item replaced.
  Bytes WithItem(size_t at, const Bytes& value) {
    Bytes changed = FullStatistics(GetParam());
    changed.replace(GetU32(changed, 20) + at, value.size(), value);
    return WithStatistics(changed);
  }
  static Bytes Word(uint32_t v) {
    Bytes b;
    spell::U32(b, v);
    return b;
  }
  static Bytes Half(uint32_t v) {
    Bytes b;
    spell::U16(b, v);
    return b;
  }
};

constexpr uint8_t kWithItems[] = {0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F, 0x20, 0x21};
INSTANTIATE_TEST_SUITE_P(Revisions, BrokenItemTest, ::testing::ValuesIn(kWithItems),
                         RevisionParam<uint8_t>);

TEST_P(BrokenItemTest, ItemShorterThanItsHeadOrLongerThanItsRecordIsBroken) {
  for (const uint32_t length : {0U, 1U, 23U, 100000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    EXPECT_TRUE(IsBroken(WithItem(8, Word(length)))) << length;
  }
}

TEST_P(BrokenItemTest, ItemsBehindTheRecordAreBroken) {
  const Bytes whole = FullStatistics(GetParam());
  const auto size = static_cast<uint32_t>(whole.size());
  Bytes changed = whole;
  SetU16(changed, 18, GetU16(whole, 18) + 1);
  EXPECT_TRUE(IsBroken(WithStatistics(changed)));
  for (const uint32_t offset : {size, size - 23, 0xFFFFFFFFU}) {
    changed = whole;
    SetU32(changed, 20, offset);
    EXPECT_TRUE(IsBroken(WithStatistics(changed))) << offset;
  }
  changed = whole;
  SetU32(changed, 20, 0);
  EXPECT_TRUE(IsFine(WithStatistics(changed)));
}

TEST_P(BrokenItemTest, ElementsOutsideTheirItemAreBroken) {
  for (const uint32_t first : {0U, 1U, 23U, 25U, 40U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_TRUE(IsBroken(WithItem(20, Word(first)))) << first;
  }
  EXPECT_TRUE(IsBroken(WithItem(18, Half(2))));
  EXPECT_TRUE(IsBroken(WithItem(18, Half(0xFFFF))));
  // Without elements the place of the first one does not matter.
  EXPECT_TRUE(IsFine(WithItem(18, Half(0) + Word(0xFFFFFFFF))));
}

TEST_P(BrokenItemTest, MoreElementsThanConfiguredAreBroken) {
  const revtest::Bytes element(std::vector<uint8_t>(16, 1));
  revtest::StatisticsBuilder builder(GetParam());
  builder.time = kNewYear;
  builder.Item(
      revtest::Item({.type = 16, .flag = 0x80, .interval = 1000, .elements = {element, element}}));
  const Bytes record = spell::TextOf(builder.Build());
  revtest::StructureBuilder structure(GetParam());
  structure.time = kNewYear;
  structure.basic.U16(98, 0x8001);
  EXPECT_TRUE(IsBroken(WithStructure(spell::TextOf(structure.Build())) + record));
  structure.basic.U16(98, 0x8002);
  EXPECT_TRUE(IsFine(WithStructure(spell::TextOf(structure.Build())) + record));
}

TEST_P(BrokenItemTest, ItemOfAKindThatIsNotConfiguredIsBroken) {
  Bytes structure = FullStructure(GetParam());
  const size_t basic = GetU32(structure, 20);
  for (const size_t at : {98, 100, 102, 104}) SetU16(structure, basic + at, 0);
  EXPECT_TRUE(IsBroken(WithStructure(structure) + FullStatistics(GetParam())));
}

TEST_P(BrokenItemTest, ItemOfAnUnknownTypeIsPassedOver) {
  EXPECT_TRUE(IsFine(WithItem(12, Bytes(1, '\x77'))));
  EXPECT_TRUE(IsFine(WithItem(12, Bytes(1, '\0'))));
}

}  // namespace
