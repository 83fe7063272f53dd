// What the revision code meets seldom: a structure record written again, sets without entries,
// slots by the megabyte.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "engine/layout/layout.h"
#include "platform/memory.h"
#include "revisions/Qelprfarc0x10.h"
#include "revisions/Qelprfarc0x11.h"
#include "revisions/Qelprfarc0x12.h"
#include "revisions/Qelprfarc0x13.h"
#include "revisions/Qelprfarc0x14.h"
#include "revisions/Qelprfarc0x19.h"
#include "revisions/Qelprfarc0x1A.h"
#include "revisions/Qelprfarc0x1B.h"
#include "revisions/record_buffer.h"
#include "revisions/sets/open_slots.h"
#include "revisions/sets/provide.h"
#include "revisions/sets/slots.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

TEST(SeldomStructure, WrittenAgainItIsTheSame) {
  struct Family {
    int revision;
    int (*write)();
  };
  for (const Family& family : {Family{0x10, WriteStrRec_0x10}, Family{0x11, WriteStrRec_0x11},
                               Family{0x12, WriteStrRec_0x12}, Family{0x13, WriteStrRec_0x13},
                               Family{0x14, WriteStrRec_0x14}, Family{0x19, WriteStrRec_0x19},
                               Family{0x1A, WriteStrRec_0x1A}, Family{0x1B, WriteStrRec_0x1B}}) {
    SCOPED_TRACE(family.revision);
    RevisionRun run(family.revision);
    run.Feed(StructureBuilder(family.revision).Build());
    EXPECT_EQ(family.write(), 0) << "no cabinets";
    const std::vector<Bytes> records = run.Output();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0], records[1]);
  }
}

// Its counts stand in other places.
TEST(SeldomStructure, RecordOfAnotherRevisionIsNotHeld) {
  RevisionRun run(0x1E, 'H', 'D');
  StructureBuilder first(0x1E);
  first.continuation = 1;
  run.Feed(first.Build());
  run.NextInput(true);
  run.Output();
  finfo.revision = 0x1F;
  finfo.layout = &LayoutOf(0x1F);
  StructureBuilder second(0x1F);
  second.continuation = 1;
  run.Feed(second.Build());
  const std::vector<Bytes> records = run.Output();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].Get8(12), 0U);
}

// What is larger than the writer's room goes by itself, in its place, whether anything waits or
// not.
TEST(SeldomRecords, LargePartsGoInTheirPlace) {
  RevisionRun run(0x1D);
  const std::string large(RecordWriter::kRoom + 1, 'L');
  const std::string small = "small";
  RecordWriter writer;
  for (const std::string& part : {large, small, large}) writer.Put(part.data(), part.size());
  writer.Flush();
  writer.Put(small.data(), small.size());
  writer.Flush();
  const std::string expected = large + small + large + small;
  EXPECT_TRUE(TempDir::ReadFile("/proc/self/fd/" + std::to_string(wfd)) == expected);
}

SetShape Shape(Kind kind, int32_t entries) {
  return {.entries = entries,
          .lookup = Lookup::kScan,
          .key_count = 2,
          .head_size = SlotHeadSize(kind),
          .quadsets = 8,
          .tracked = 0};
}

TEST(SeldomSets, SetWithoutEntriesHasNoSlots) {
  RevisionRun run(0x1D);
  ShapeSet(kPd, Shape(kPd, 3));
  StartSet(kPd);
  EXPECT_NE(sta_pd_arc, nullptr);
  ShapeSet(kPd, Shape(kPd, 0));
  StartSet(kPd);
  EXPECT_EQ(sta_pd_arc, nullptr);
}

// From a large page's size on the fields begin with a page.
TEST(SeldomSets, SlotsByTheMegabyteLieInLargePages) {
  RevisionRun run(0x1D);
  constexpr int32_t kEntries = 0xFFFF;
  uint8_t* table = ShapeSet(kLd, Shape(kLd, kEntries));
  for (int32_t i = 0; i < kEntries; ++i, table += kKeyRoom) {
    table[0] = static_cast<uint8_t>(i >> 8);
    table[1] = static_cast<uint8_t>(i);
  }
  StartSet(kLd);
  const ResourceSet& set = resource_sets[kLd];
  EXPECT_EQ(reinterpret_cast<uintptr_t>(OpenSlots::Fields(set, 0)) % kLargePage, 0U);
  EXPECT_EQ(*OpenSlots::Fields(set, 0), 0.0);
  EXPECT_EQ(*OpenSlots::Fields(set, kEntries - 1), 0.0);
}

}  // namespace
}  // namespace revtest
