// Structure records of single revisions: sizes and lists that a revision changed, and what reader
// and writer note beside the record.
#include <gtest/gtest.h>

#include <vector>

#include "revisions/Qelprfarc0x1D.h"
#include "revisions/items.h"
#include "revisions/structure.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

Bytes Only(RevisionRun& run) {
  const std::vector<Bytes> records = run.Output();
  return records.size() == 1 ? records[0] : Bytes();
}

TEST(StructureOf0x10, LengthIs192AndFourPerPortAnd48PerDisk) {
  RevisionRun run(0x10);
  run.Feed(StructureBuilder(0x10)
               .Add(kHp, {{1}, {2}, {3}})
               .Add(kDp, {{1}, {2}})
               .Add(kLd, {{0, 1}, {0, 2}, {0, 3}, {0, 4}})
               .Add(kPd, {{0, 1}})
               .Build());
  const Bytes written = Only(run);
  EXPECT_EQ(written.Get32(8), 192U + 4 * (3 + 2) + 48 * (4 + 1));
  EXPECT_EQ(written.Part(56, 24), Bytes(24));  // no rank descriptor
}

TEST(StructureOf0x14, LogicalDisksAre48BytesAndNothingTrails) {
  RevisionRun run(0x14);
  Bytes in = StructureBuilder(0x14).Add(kLd, {{0, 1}, {0, 2}}).Build();
  in.U32(104, in.size() - 3).U32(108, 0x12345678);  // no trailing section in this revision
  run.Feed(in);
  const Bytes written = Only(run);
  EXPECT_EQ(written.size(), 224U + 2 * 48);
  EXPECT_EQ(written.Part(104, 8), Bytes(8));
}

TEST(StructureOf0x15, LogicalDisksAre64BytesWithVariablePartAndTrailingSection) {
  RevisionRun run(0x15);
  StructureBuilder structure(0x15);
  structure.AddTo(56, ListEntry(0x15, kLd, {0, 1}, 10)).AddTo(56, ListEntry(0x15, kLd, {0, 2}, 0));
  structure.trailing = Bytes(9).Pattern(0, 9, 1);
  run.Feed(structure.Build());
  const Bytes written = Only(run);
  EXPECT_EQ(written.size(), 224U + 64 + 10 + 64 + 9);
  EXPECT_EQ(written.Get32(104), 224U + 138);
  EXPECT_EQ(written.Part(224 + 138, 9), Bytes(9).Pattern(0, 9, 1));
}

TEST(StructureOf0x19, Slots32And40And128AreZeroAndTheHdListFollowsTheBasicInformation) {
  RevisionRun run(0x19);
  Bytes in = StructureBuilder(0x19).Add(kHd, {{1}, {2}}).Build();
  in.Slot(32, 1, 1, 300).Slot(40, 1, 1, 300).Slot(128, 1, 1, 300).Slot(136, 1, 1, 300);
  run.Feed(in);
  const Bytes written = Only(run);
  EXPECT_EQ(written.Part(32, 16), Bytes(16));
  EXPECT_EQ(written.Part(128, 24), Bytes(24));
  EXPECT_EQ(written.Get32(24 + 4), 256U + 112);
  EXPECT_EQ(written.size(), 368U + 8);
}

TEST(StructureOf0x1A, PoolsAre48BytesWhateverTheDescriptorSays) {
  for (const int revision : {0x19, 0x1A, 0x1B}) {
    RevisionRun run(revision);
    StructureBuilder structure(revision);
    structure.basic.U8(95, 1);
    structure.Add(kPool, {{0, 1}, {0, 2}});
    structure.first[120] = 64;
    run.Feed(structure.Build());
    const Bytes written = Only(run);
    EXPECT_EQ(written.size(), 368U + 2 * 48);
    EXPECT_EQ(written.Get16(120), 64U);
  }
}

TEST(StructureOf0x1C, PoolsHaveTheSizeOfTheirDescriptor) {
  for (const int revision : RevisionsFrom(0x1C)) {
    for (const unsigned size : {2U, 48U, 100U}) {
      RevisionRun run(revision);
      StructureBuilder structure(revision);
      structure.basic.U8(95, 1);
      structure.first[120] = size;
      for (unsigned i = 0; i < 3; ++i) {
        structure.AddTo(120, Bytes(size).Pattern(0, size, i).U16(0, 40 + i));
      }
      run.Feed(structure.Build());
      EXPECT_EQ(Only(run).size(), 368U + size_t{3} * size);
      // The statistics find the pools by their numbers at that stride.
      StatisticsBuilder record(revision);
      for (unsigned i = 0; i < 3; ++i) {
        record.Add(kPool, Bytes(64).U32(4, 1000).U16(8, 42 - i));
      }
      run.Feed(record.Build());
      EXPECT_EQ(SectionOf(run.Period(), revision, kPool, 64).Get16(8), 40U);
    }
  }
}

TEST(StructureOf0x1D, LogWithKEntriesInSlot104MovesRanksAndTrailingSection16KEarlier) {
  for (const unsigned k : {0U, 1U, 5U}) {
    RevisionRun run(0x1D);
    StructureBuilder structure(0x1D);
    for (unsigned i = 0; i < k; ++i) structure.AddTo(104, Bytes(16).Pattern(0, 16, i));
    structure.Add(kPd, {{0, 1}}).Add(kRank, {{0, 1}});
    structure.trailing = Bytes(8).Pattern(0, 8, 3);
    const Bytes in = structure.Build();
    run.Feed(in);
    const Bytes written = Only(run);
    EXPECT_EQ(written.Part(104, 8), Bytes(8));
    EXPECT_EQ(written.Get32(112 + 4), in.Get32(112 + 4) - 16 * k);
    EXPECT_EQ(written.Get32(248), in.Get32(248) - 16 * k);
    EXPECT_EQ(written.size(), in.size() - size_t{16} * k);
  }
}

TEST(StructureOf0x1E, Slot144IsCarriedFrom0x1EOn) {
  for (const int revision : RevisionsFrom(0x19)) {
    RevisionRun run(revision);
    StructureBuilder structure(revision);
    if (revision >= 0x1E) structure.AddTo(144, Bytes(16).Pattern(0, 16, 1));
    Bytes in = structure.Build();
    if (revision < 0x1E) in.Slot(144, 3, 1, 300);
    run.Feed(in);
    const Bytes written = Only(run);
    EXPECT_EQ(written.Part(144, 8), revision >= 0x1E ? Bytes(8).Slot(0, 0, 1, 368) : Bytes(8));
    EXPECT_EQ(written.size(), revision >= 0x1E ? 384U : 368U);
  }
}

TEST(StructureWriter, TellsWhetherACabinetBlockExistsAndMarksTheBlocks) {
  RevisionRun run(0x1D);
  StructureBuilder structure(0x1D);
  structure.basic.U16(100, 0x8002).U16(102, 0x8003);
  run.Feed(structure.Build());
  EXPECT_EQ(WriteStrConRec_0x1D(), 0);
  structure.basic.U16(104, 0x8000);  // present, without elements
  run.Feed(structure.Build());
  sta_ld_cp_arc->written = sta_pool_cp_arc->written = sta_cab_arc->written = 0;
  EXPECT_EQ(WriteStrConRec_0x1D(), 1);
  EXPECT_EQ(sta_ld_cp_arc->written, 1);
  EXPECT_EQ(sta_pool_cp_arc->written, 1);
  EXPECT_EQ(sta_cab_arc->written, 1);
}

TEST(StructureReader, NotesTheVariablePartsOfDisksAndRanks) {
  RevisionRun run(0x1D);
  StructureBuilder structure(0x1D);
  structure.AddTo(88, ListEntry(0x1D, kLd, {0, 1}, 10)).AddTo(88, ListEntry(0x1D, kLd, {0, 2}, 6));
  structure.AddTo(112, ListEntry(0x1D, kRank, {0, 2}, 4));
  run.Feed(structure.Build());
  EXPECT_EQ(ld_total_size, 16U);
  EXPECT_EQ(rank_total_size, 4U);
  EXPECT_NE(Top_lvdvno_ptr, nullptr);
  EXPECT_NE(Top_ldpdno_ptr, nullptr);
  run.Feed(StructureBuilder(0x1D).Build());
  EXPECT_EQ(ld_total_size, 0U);
  EXPECT_EQ(Top_ldpdno_ptr, nullptr);
}

}  // namespace
}  // namespace revtest
