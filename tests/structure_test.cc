// Structure records of all revisions: where lists are found, what is written and in which order,
// what is carried.
#include "revisions/structure.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "engine/finfo.h"
#include "revisions/Qelprfarc0x10.h"
#include "revisions/Qelprfarc0x1D.h"
#include "revisions/items.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

size_t At(int at) { return static_cast<size_t>(at); }

class Structure : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();
  size_t head = At(RecordHeadOf(GetParam()));
  RevisionRun run{GetParam()};

  // One record with `n` entries in the first list, n + 1 in the second and so on; bytes are a
  // pattern, variable parts have different lengths.
  StructureBuilder Full(unsigned n, bool pools) const {
    StructureBuilder structure(revision);
    structure.flag = 0x5A;
    structure.time = 0x01020304;
    structure.pair = 0xC3D4;
    structure.basic.Pattern(0, 112, 0x21).U8(95, pools ? 1 : 0).U8(97, 0);
    structure.basic.U32(98, 0).U32(102, 0);
    unsigned seed = 1;
    for (const ListFacts& list : ListsOf(revision)) {
      structure.first[list.slot] = list.entry == kFromDescriptor ? 56 : 0x0900 + seed;
      if (revision >= 0x19 && list.slot == (pools ? 112 : 120)) continue;
      for (unsigned i = 0; i < n; ++i) {
        const size_t fixed = list.entry == kFromDescriptor ? 56 : At(list.entry);
        const size_t size = fixed + (list.length_at >= 0 ? 3 * i + 2 : 0);
        Bytes entry = Bytes(size).Pattern(0, size, 16 * seed + i);
        if (list.length_at >= 0) entry.U32(At(list.length_at), size);
        structure.AddTo(list.slot, entry);
      }
      ++n;
      ++seed;
    }
    if (TrailingAt(revision) != 0) {
      structure.trailing = Bytes(37).Pattern(0, 37, 0x77);
      structure.last_word = 0xAABBCCDD;
    }
    return structure;
  }

  // The record that archives hold for `in`.
  Bytes Expected(const StructureBuilder& in) const {
    Bytes out(head);
    out.Text(0, "CON").U8(3, in.flag).U32(4, in.time);
    if (revision >= 0x1D) out.U16(14, in.pair);
    const auto basic = in.first.find(16);
    out.Slot(16, basic != in.first.end() ? basic->second : 112, 1, head).Add(in.basic);
    size_t rank_at = 0;
    for (const ListFacts& list : ListsOf(revision)) {
      if (list.output == ListFacts::kLogsOnly) continue;
      if (list.output == ListFacts::kFixed) {
        out.Slot(At(list.slot), 4, 0, 0);
        continue;
      }
      const auto entries = in.lists.find(list.slot);
      const auto first = in.first.find(list.slot);
      if (list.slot == 112) rank_at = out.size();
      const size_t offset = revision >= 0x19 && list.slot == 120 ? rank_at : out.size();
      out.Slot(At(list.slot), first != in.first.end() ? first->second : 0,
               entries != in.lists.end() ? entries->second.size() : 0, offset);
      if (entries == in.lists.end()) continue;
      for (const Bytes& entry : entries->second) out.Add(entry);
    }
    const int trailing = TrailingAt(revision);
    if (trailing != 0) out.U32(At(trailing) + 4, in.last_word);
    if (in.trailing.has_value()) {
      out.U32(At(trailing), out.size());
      out.Add(*in.trailing);
    }
    return out.U32(8, out.size());
  }

  Bytes Written(const StructureBuilder& structure) {
    run.Feed(structure.Build());
    const std::vector<Bytes> records = run.Output();
    return records.size() == 1 ? records[0] : Bytes();
  }
};

INSTANTIATE_TEST_SUITE_P(Revisions, Structure, ::testing::ValuesIn(AllRevisions()),
                         [](const auto& test) { return RevisionName(test.param); });

TEST_P(Structure, ListsAreWrittenInFileOrderWithoutGaps) {
  StructureBuilder structure = Full(2, false);
  structure.gap = 5;  // everything in the input stands elsewhere
  EXPECT_EQ(Written(structure), Expected(structure));
}

TEST_P(Structure, PoolsTakeThePlaceOfRanksWhenByte95SaysSo) {
  const StructureBuilder structure = Full(1, true);
  EXPECT_EQ(Written(structure), Expected(structure));
}

TEST_P(Structure, WrittenRecordReadsBackAsItself) {
  const Bytes first = Written(Full(3, false));
  run.Feed(first);
  ASSERT_EQ(run.Output(), std::vector<Bytes>{first});
}

TEST_P(Structure, EmptyListsCarryTheRunningOffset) {
  StructureBuilder structure(revision);
  const Bytes written = Written(structure);
  ASSERT_EQ(written.size(), head + 112);
  for (size_t slot = 24; slot + 8 <= head; slot += 8) {
    uint32_t expected = 0;
    for (const ListFacts& list : ListsOf(revision)) {
      if (At(list.slot) == slot && list.output == ListFacts::kWritten) {
        expected = static_cast<uint32_t>(head + 112);
      }
    }
    EXPECT_EQ(written.Get32(slot + 4), expected) << "slot " << slot;
    EXPECT_EQ(written.Get16(slot + 2), 0U) << "slot " << slot;
  }
}

TEST_P(Structure, LengthIsHeaderAndBasicInformationAndAllLists) {
  // Header + 112: 192 up to 0x12, 208 for 0x13, 224 up to 0x18, 368 from 0x19 on.
  size_t expected = revision <= 0x12 ? 192 : revision == 0x13 ? 208 : revision <= 0x18 ? 224 : 368;
  StructureBuilder structure(revision);
  for (const KindFacts& facts : KindsOf(revision)) {
    if (facts.list == 0 || facts.kind == kPool) continue;
    structure.Add(facts.kind, {{1, 1}, {2, 2}});
    if (facts.kind == kHp && revision >= 0x1D) continue;  // not written
    expected += 2 * At(facts.list);
  }
  const Bytes written = Written(structure);
  EXPECT_EQ(written.size(), expected);
  EXPECT_EQ(written.Get32(8), expected);
}

TEST_P(Structure, BasicInformationsDescriptorKeepsFirstFieldAndCount) {
  StructureBuilder structure(revision);
  structure.first[16] = 0x4321;
  structure.gap = 9;
  const Bytes written = Written(structure);
  EXPECT_EQ(written.Get16(16), 0x4321U);
  EXPECT_EQ(written.Get16(18), 1U);
  EXPECT_EQ(written.Get32(20), head);
}

TEST_P(Structure, Bytes14And15AreCarriedFrom0x1DOn) {
  StructureBuilder structure(revision);
  structure.pair = 0xA1B2;
  EXPECT_EQ(Written(structure).Get16(14), revision >= 0x1D ? 0xA1B2U : 0U);
}

TEST_P(Structure, WithoutATrailingSection0IsWritten) {
  StructureBuilder structure(revision);
  structure.last_word = 0x99887766;
  const Bytes written = Written(structure);
  EXPECT_EQ(written.size(), head + 112);
  const int at = TrailingAt(revision);
  if (at != 0) {
    EXPECT_EQ(written.Get32(At(at)), 0U);
    EXPECT_EQ(written.Get32(At(at) + 4), 0x99887766U);
  }
}

TEST_P(Structure, ContinuationFlagIsWrittenAs1WhenTheInputsWasSet) {
  for (const unsigned flag : {0U, 1U, 0x80U}) {
    StructureBuilder structure(revision);
    structure.continuation = flag;
    EXPECT_EQ(Written(structure).Get8(12), flag != 0 ? 1U : 0U);
  }
}

TEST_P(Structure, ContinuationFlagNeedsTheSwitch) {
  finfo.continuation_switch = 0;
  StructureBuilder structure(revision);
  structure.continuation = 1;
  EXPECT_EQ(Written(structure).Get8(12), 0U);
}

TEST_P(Structure, FlagAndTimeAreTheRecords) {
  StructureBuilder structure(revision);
  structure.flag = 0xFE;
  structure.time = 0xFFFFFFFF;
  const Bytes written = Written(structure);
  EXPECT_EQ(written.Get8(3), 0xFEU);
  EXPECT_EQ(written.Get32(4), 0xFFFFFFFFU);
}

TEST_P(Structure, PendingPeriodIsWrittenBeforeTheRecord) {
  run.Feed(StructureBuilder(revision).Add(kHp, {{1, 1}}).Build());
  const size_t entry = revision <= 0x11 ? 64 : 112;
  StatisticsBuilder statistics(revision);
  statistics.time = 100;
  run.Feed(statistics.Add(kHp, Bytes(entry).U32(4, 5000).U8(8, 1).U8(9, 1)).Build());
  run.Output();
  run.Feed(StructureBuilder(revision).Add(kHp, {{2, 2}, {3, 3}}).Build());
  const std::vector<Bytes> records = run.Output();
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].Tag(), "STA");
  EXPECT_EQ(SectionOf(records[0], revision, kHp, entry).Get32(4), 5000U);
  EXPECT_EQ(records[1].Tag(), "CON");
  EXPECT_EQ(pmonarc_stat, 2);
  // Nothing is pending any more: no second record at the end of the input.
  run.Flush();
  EXPECT_TRUE(run.Output().empty());
}

TEST_P(Structure, NewRecordStartsWithEmptySlotsAndItsOwnResources) {
  run.Feed(StructureBuilder(revision).Add(kHp, {{1, 1}}).Build());
  run.Feed(StructureBuilder(revision).Add(kHp, {{2, 2}, {1, 1}}).Build());
  run.Output();
  const size_t entry = revision <= 0x11 ? 64 : 112;
  StatisticsBuilder statistics(revision);
  statistics.Add(kHp, Bytes(entry).U32(4, 5000).U8(8, 2).U8(9, 2));
  run.Feed(statistics.Add(kHp, Bytes(entry).U32(4, 6000).U8(8, 1).U8(9, 1)).Build());
  const Bytes period = run.Period();
  EXPECT_EQ(SectionOf(period, revision, kHp, entry).Get8(8), 2U);
  EXPECT_EQ(SectionOf(period, revision, kHp, entry).Get32(4), 5000U);
}

TEST_P(Structure, HostPortListIsNotWrittenFrom0x1DOn) {
  StructureBuilder structure(revision);
  structure.first[24] = structure.first[48] = 7;
  structure.Add(kHp, {{1, 1}, {2, 2}, {3, 3}});
  const Bytes written = Written(structure);
  const size_t slot = revision <= 0x18 ? 24 : 48;
  if (revision >= 0x1D) {
    EXPECT_EQ(written.Part(slot, 8), Bytes(8).Slot(0, 4, 0, 0));
    EXPECT_EQ(written.size(), head + 112);
  } else {
    EXPECT_EQ(written.Part(slot, 8), Bytes(8).Slot(0, 7, 3, head + 112));
    EXPECT_EQ(written.size(), head + 112 + 12);
  }
}

// --- single revisions -----------------------------------------------------------------------------

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
