// Inputs whose structure record is broken: lists that leave it, lengths and offsets that cannot be,
// and what in it is not looked at.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

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
using spell::Records;
using spell::SetU16;
using spell::SetU32;

INSTANTIATE_TEST_SUITE_P(Revisions, BrokenInputTest, ::testing::ValuesIn(kAllRevisions),
                         RevisionParam<uint8_t>);

TEST_P(BrokenInputTest, ListThatLeavesItsRecordIsBroken) {
  const Bytes whole = spell::Structure(GetParam(), {.all_kinds = true, .slot_104 = 2});
  for (const size_t slot : SlotsOf(GetParam())) {
    const uint32_t count = GetU16(whole, slot + 2);
    if (count == 0) continue;
    const uint32_t entry = GetU16(whole, slot);
    Bytes changed = whole;
    SetU32(changed, slot + 4, static_cast<uint32_t>(whole.size()) - count * entry + 1);
    EXPECT_TRUE(IsBroken(WithStructure(changed))) << slot;
    SetU32(changed, slot + 4, 0xFFFFFFFF);
    EXPECT_TRUE(IsBroken(WithStructure(changed))) << slot;
  }
}

TEST_P(BrokenInputTest, ListWithEntriesAndNoOffsetIsBroken) {
  const Bytes whole = spell::Structure(GetParam(), {.all_kinds = true, .slot_104 = 2});
  for (const size_t slot : SlotsOf(GetParam())) {
    if (slot == 16 || GetU16(whole, slot + 2) == 0) continue;
    Bytes changed = whole;
    SetU32(changed, slot + 4, 0);
    EXPECT_TRUE(IsBroken(WithStructure(changed))) << slot;
    SetU16(changed, slot + 2, 0);
    EXPECT_TRUE(IsFine(WithStructure(changed))) << slot;
  }
}

TEST_P(BrokenInputTest, VariableEntryOfAnImpossibleLengthIsBroken) {
  const Bytes whole = FullStructure(GetParam());
  for (const revtest::ListFacts& list : revtest::ListsOf(GetParam())) {
    if (list.length_at < 0) continue;
    const size_t start = GetU32(whole, static_cast<size_t>(list.slot) + 4);
    const size_t at = start + static_cast<size_t>(list.length_at);
    const auto room = static_cast<uint32_t>(whole.size() - start);
    for (const uint32_t length :
         {0U, static_cast<uint32_t>(list.entry) - 1, room + 1, 0xFFFFFFFFU}) {
      Bytes changed = whole;
      SetU32(changed, at, length);
      EXPECT_TRUE(IsBroken(WithStructure(changed))) << list.slot << ' ' << length;
    }
    for (const uint32_t length : {static_cast<uint32_t>(list.entry), room}) {
      Bytes changed = whole;
      SetU32(changed, at, length);
      EXPECT_TRUE(IsFine(WithStructure(changed))) << list.slot << ' ' << length;
    }
  }
}

TEST_P(BrokenInputTest, TrailingSectionBehindTheRecordIsBroken) {
  if (GetParam() < 0x15) return;
  const size_t at = GetParam() < 0x19 ? 104 : 248;
  Bytes changed = FullStructure(GetParam());
  const auto size = static_cast<uint32_t>(changed.size());
  for (const uint32_t offset : {size + 1, 0xFFFFFFFFU}) {
    SetU32(changed, at, offset);
    EXPECT_TRUE(IsBroken(WithStructure(changed))) << offset;
  }
  SetU32(changed, at, size);
  EXPECT_TRUE(IsFine(WithStructure(changed)));
  // No offset: no trailing section, and 0 is written.
  SetU32(changed, at, 0);
  ASSERT_TRUE(IsFine(WithStructure(changed)));
  EXPECT_EQ(GetU32(Records(archive_).at(1).bytes, at), 0U);
}

TEST_P(BrokenInputTest, ListThatIsNotCarriedIsNotLookedAt) {
  if (GetParam() < 0x19) return;
  Bytes changed = FullStructure(GetParam());
  SetU16(changed, 120 + 2, 5);  // pools, while byte 95 says ranks
  SetU32(changed, 120 + 4, 0xFFFFFFF0);
  EXPECT_TRUE(IsFine(WithStructure(changed)));
}

TEST_P(BrokenInputTest, PoolEntriesTooSmallForTheirKeyAreBroken) {
  if (GetParam() < 0x1C) return;
  revtest::StructureBuilder record(GetParam());
  record.basic.U8(95, 1);
  record.first[120] = 1;
  record.AddTo(120, revtest::Bytes(std::vector<uint8_t>(64, 'p')));
  Bytes structure = spell::TextOf(record.Build());
  EXPECT_TRUE(IsBroken(WithStructure(structure)));
  SetU16(structure, 120, 0);
  EXPECT_TRUE(IsBroken(WithStructure(structure)));
  SetU16(structure, 120, 2);
  EXPECT_TRUE(IsFine(WithStructure(structure)));
}

// ---- copies whose sizes are told by huge counts ----

TEST_P(BrokenInputTest, CountsThatTheFileDoesNotHoldTakeNoMemory) {
  WithLittleMemory([this] {
    Bytes structure = FullStructure(GetParam());
    const size_t basic = GetU32(structure, 20);
    for (const size_t at : {98, 100, 102, 104}) SetU16(structure, basic + at, 0xFFFF);
    for (const size_t slot : SlotsOf(GetParam())) {
      if (slot != 16) SetU16(structure, slot + 2, 0xFFFF);
    }
    EXPECT_TRUE(IsBroken(WithStructure(structure)));
  });
}

}  // namespace
