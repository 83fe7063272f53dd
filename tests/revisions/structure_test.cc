// Structure records of all revisions: where lists are found, what is written and in which order,
// what is carried.
#include "revisions/structure.h"

#include <gtest/gtest.h>

#include <vector>

#include "areas/finfo.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

class Structure : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();
  size_t head = Index(RecordHeadOf(GetParam()));
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
        const size_t fixed = list.entry == kFromDescriptor ? 56 : Index(list.entry);
        const size_t size = fixed + (list.length_at >= 0 ? 3 * i + 2 : 0);
        Bytes entry = Bytes(size).Pattern(0, size, 16 * seed + i);
        if (list.length_at >= 0) entry.U32(Index(list.length_at), size);
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
        out.Slot(Index(list.slot), 4, 0, 0);
        continue;
      }
      const auto entries = in.lists.find(list.slot);
      const auto first = in.first.find(list.slot);
      if (list.slot == 112) rank_at = out.size();
      const size_t offset = revision >= 0x19 && list.slot == 120 ? rank_at : out.size();
      out.Slot(Index(list.slot), first != in.first.end() ? first->second : 0,
               entries != in.lists.end() ? entries->second.size() : 0, offset);
      if (entries == in.lists.end()) continue;
      for (const Bytes& entry : entries->second) out.Add(entry);
    }
    const int trailing = TrailingAt(revision);
    if (trailing != 0) out.U32(Index(trailing) + 4, in.last_word);
    if (in.trailing.has_value()) {
      out.U32(Index(trailing), out.size());
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
      if (Index(list.slot) == slot && list.output == ListFacts::kWritten) {
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
    expected += 2 * Index(facts.list);
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
    EXPECT_EQ(written.Get32(Index(at)), 0U);
    EXPECT_EQ(written.Get32(Index(at) + 4), 0x99887766U);
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

}  // namespace
}  // namespace revtest
