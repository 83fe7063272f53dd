// Archives of revision 0x10, written through the 0x11 layout, and reading them back.
#include <gtest/gtest.h>

#include <string>

#include "areas/finfo.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

// Logical disk: 96 bytes and 20 words; physical disk: 64 bytes in the 0x11 layout and 8 words.
Bytes FlushedBy(RevisionRun& run, const char* how) {
  StructureBuilder structure(0x10);
  structure.Add(kLd, {{0, 1}, {0, 2}}).Add(kPd, {{0, 1}, {0, 2}});
  run.Feed(structure.Build());
  StatisticsBuilder record(0x10);
  record.Add(kLd, Bytes(96).U32(0, 7).U32(4, 2000).U16(8, 1).Quad(16, 4, 5, 6, 7));
  record.Add(kLd, Bytes(96).U32(4, 2000).U16(8, 2));
  record.Add(kPd,
             Bytes(48).U32(0, 8).U32(4, 2000).U8(9, 1).Quad(16, 4, 5, 6, 7).Quad(32, 1, 2, 3, 4));
  run.Feed(record.Add(kPd, Bytes(48).U32(4, 2000).U8(9, 2)).Build());
  run.Output();
  if (std::string(how) == "LDM") {
    run.Feed(Bytes(64).Text(0, "LDM").U32(8, 64));
    return run.Output()[0];
  }
  return run.Period();
}

TEST(Revision0x10, EndOfInputWritesIts0x10Layout) {
  RevisionRun run(0x10);
  const Bytes period = FlushedBy(run, "end");
  EXPECT_EQ(period.Part(48, 8), Bytes(8).Slot(0, 0, 2, 80 + 96 + 80 + 16));
  EXPECT_EQ(period.Part(56, 24), Bytes(24));
  // Full disk 48 + 32, idle disk 16.
  EXPECT_EQ(period.size(), 80U + 96 + 80 + 16 + 80 + 16);
}

TEST(Revision0x10, LdmFlushWritesThe0x11Layout) {
  RevisionRun run(0x10);
  const Bytes period = FlushedBy(run, "LDM");
  ASSERT_EQ(period.Tag(), "STA");
  // Logical disks: full 96 + 20 words, idle 16. Physical disks: full 64 + 8 words, idle 32.
  const size_t disks = 80 + 96 + 80 + 16;
  EXPECT_EQ(period.Part(40, 8), Bytes(8).Slot(0, 0, 2, 80));
  EXPECT_EQ(period.Part(48, 8), Bytes(8).Slot(0, 0, 2, disks));
  EXPECT_EQ(period.Part(56, 8), Bytes(8).Slot(0, 0, 0, disks + 96 + 32));
  EXPECT_EQ(period.size(), disks + 96 + 32);
  // 4 operations in 2 s; the older rule keeps the raw second average.
  Bytes disk = Bytes(64).U32(0, 8).U32(4, 2000).U8(9, 1).Quad(32, 4, 5, 6, 7).Quad(48, 1, 2, 3, 4);
  disk.AddU32(2000).AddU32(2000).AddU32(7).AddU32(7);
  disk.AddU32(500).AddU32(500).AddU32(4).AddU32(4);
  EXPECT_EQ(period.Part(disks, 96), disk);
  EXPECT_EQ(period.Part(disks + 96, 32), Bytes(32).U32(4, 2000).U8(9, 2).U8(10, 1));
}

// The record that an "LDM" record flushed; its run is over before another begins.
Bytes FlushedByLdm() {
  RevisionRun log(0x10);
  return FlushedBy(log, "LDM");
}

// Feeds it to a run that makes a day archive.
void FeedFlushed(RevisionRun& run, const Bytes& period) {
  run.InputMask(kLd, 0xFFFFF000);
  run.InputMask(kPd, 0xFF000000);
  run.Feed(StructureBuilder(0x10).Add(kLd, {{0, 1}, {0, 2}}).Add(kPd, {{0, 1}, {0, 2}}).Build());
  run.Feed(period);
}

TEST(Revision0x10, RecordInThe0x11LayoutIsReadBack) {
  const Bytes period = FlushedByLdm();
  RevisionRun run(0x10, 'H', 'D');
  FeedFlushed(run, period);
  const Bytes again = run.Period();  // written as 0x10
  EXPECT_EQ(again.size(), 80U + 96 + 80 + 16 + 80 + 16);
  Bytes disk = Bytes(48).U32(0, 8).U32(4, 2000).U8(9, 1).Quad(16, 4, 5, 6, 7).Quad(32, 1, 2, 3, 4);
  disk.AddU32(2000).AddU32(2000).AddU32(7).AddU32(7);
  disk.AddU32(500).AddU32(500).AddU32(4).AddU32(4);
  EXPECT_EQ(again.Part(80 + 96 + 80 + 16, 80), disk);
}

TEST(Revision0x10, BothLayoutsMixInOnePeriod) {
  const Bytes period = FlushedByLdm();
  RevisionRun run(0x10, 'H', 'D');
  FeedFlushed(run, period);
  StatisticsBuilder record(0x10);
  Bytes words(8 * 4);
  record.Add(kLd, Bytes(96).U32(4, 1000).U16(8, 1).U8(10, 1).Part(0, 16));
  record.Add(kLd, Bytes(96).U32(4, 1000).U16(8, 2).U8(10, 1).Part(0, 16));
  record.Add(kPd, Bytes(48).U32(4, 1000).U8(9, 1).Quad(16, 6, 5, 6, 7).Add(words));
  record.Add(kPd, Bytes(48).U32(4, 1000).U8(9, 2).U8(10, 1).Part(0, 16));
  run.Feed(record.Build());
  const Bytes again = run.Period();
  EXPECT_EQ(again.Get32(80 + 96 + 80 + 16 + 16), 10U);
  EXPECT_EQ(again.Get32(80 + 96 + 80 + 16 + 4), 3000U);
}

// Files of 0x10 have no ratios, flags and carried words in either layout: nothing of them is
// gathered, keeps a disk from being idle, or is written, were it to stand there.
TEST(Revision0x10, RatiosAndFlagsInThe0x11LayoutDoNotCount) {
  Bytes record(80);
  record.Text(0, "STA").Slot(40, 0, 1, 80).Slot(48, 0, 1, 80 + 96).Slot(56, 0, 0, 80 + 96 + 64);
  record.Add(Bytes(96).U32(4, 5000).U16(8, 1).U8(13, 7).U16(14, 10000).Quad(16, 1, 0, 0, 0));
  record.Add(Bytes(64).U32(4, 5000).U8(9, 1).U32(16, 0xA1A2A3A4).U16(20, 10000));
  record.U32(8, record.size());
  const Bytes structure = StructureBuilder(0x10).Add(kLd, {{0, 1}}).Add(kPd, {{0, 1}}).Build();
  {
    RevisionRun run(0x10, 'H', 'D');
    run.Feed(structure);
    run.Feed(record);
    const Bytes period = run.Period();
    ASSERT_EQ(period.size(), 80U + 96 + 80 + 16);
    EXPECT_EQ(period.Part(80, 16), Bytes(16).U32(4, 5000).U16(8, 1));
    EXPECT_EQ(period.Part(80 + 96 + 80, 16), Bytes(16).U32(4, 5000).U8(9, 1).U8(10, 1));
  }
  {
    RevisionRun run(0x10, 'H', 'D');
    run.Feed(structure);
    run.Feed(record);
    run.Output();
    run.Feed(Bytes(64).Text(0, "LDM").U32(8, 64));
    const Bytes period = run.Output()[0];
    ASSERT_EQ(period.size(), 80U + 96 + 80 + 32);
    EXPECT_EQ(period.Part(80, 16), Bytes(16).U32(4, 5000).U16(8, 1));
    EXPECT_EQ(period.Part(80 + 96 + 80, 32), Bytes(32).U32(4, 5000).U8(9, 1).U8(10, 1));
  }
}

}  // namespace
}  // namespace revtest
