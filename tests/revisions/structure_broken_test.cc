// Structure records that break a file: what leaves its record, what is too short, what is left out
// of account; in manual and automatic runs.
#include <gtest/gtest.h>

#include <vector>

#include "areas/finfo.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

class BrokenStructure : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();
  size_t head = Index(RecordHeadOf(GetParam()));

  // Two entries in each list, with variable parts; rank and pool by byte 95.
  StructureBuilder Full(bool pools = false) const {
    StructureBuilder structure(revision);
    structure.basic.U8(95, pools ? 1 : 0);
    for (const ListFacts& list : ListsOf(revision)) {
      const size_t fixed = list.entry == kFromDescriptor ? 56 : Index(list.entry);
      if (list.entry == kFromDescriptor) structure.first[list.slot] = 56;
      for (unsigned i = 0; i < 2; ++i) {
        Bytes entry(fixed + (list.length_at >= 0 ? 4 : 0));
        if (list.length_at >= 0) entry.U32(Index(list.length_at), entry.size());
        structure.AddTo(list.slot, entry);
      }
    }
    return structure;
  }
  bool Excluded(int slot, bool pools = false) const {
    return revision >= 0x19 && slot == (pools ? 112 : 120);
  }

  // Whether a record breaks the file, in both kinds of run alike.
  bool Breaks(const Bytes& record) {
    RevisionRun manual(revision);
    const bool breaks = manual.Breaks(record);
    RevisionRun automatic(revision);
    automatic.Automatic();
    EXPECT_EQ(automatic.Breaks(record), breaks);
    if (breaks) {
      EXPECT_TRUE(automatic.Output().empty());
    }
    return breaks;
  }
};

INSTANTIATE_TEST_SUITE_P(Revisions, BrokenStructure, ::testing::ValuesIn(AllRevisions()),
                         [](const auto& test) { return RevisionName(test.param); });

TEST_P(BrokenStructure, SoundRecordIsNone) {
  EXPECT_FALSE(Breaks(Full().Build()));
  EXPECT_FALSE(Breaks(Full(true).Build()));
}

TEST_P(BrokenStructure, RecordShorterThanItsHead) {
  EXPECT_TRUE(Breaks(Bytes(head - 1).Text(0, "CON").U32(8, head - 1)));
  EXPECT_TRUE(Breaks(Bytes(12).Text(0, "CON").U32(8, 12)));
}

TEST_P(BrokenStructure, BasicInformationThatLeavesTheRecord) {
  EXPECT_TRUE(Breaks(Bytes(head).Text(0, "CON").U32(8, head).Slot(16, 112, 1, head)));
  Bytes record = StructureBuilder(revision).Build();
  EXPECT_FALSE(Breaks(record));
  EXPECT_TRUE(Breaks(record.U32(20, head + 1)));
  EXPECT_TRUE(Breaks(record.U32(20, 0xFFFFFFFF)));
}

TEST_P(BrokenStructure, ListWithEntriesAndOffset0) {
  for (const ListFacts& list : ListsOf(revision)) {
    SCOPED_TRACE(list.slot);
    Bytes record = Full().Build();
    record.U32(Index(list.slot) + 4, 0);
    EXPECT_EQ(Breaks(record), !Excluded(list.slot));
  }
}

TEST_P(BrokenStructure, ListThatLeavesTheRecord) {
  for (const ListFacts& list : ListsOf(revision)) {
    for (const bool pools : {false, true}) {
      SCOPED_TRACE(list.slot);
      const Bytes record = Full(pools).Build();
      for (const uint32_t offset : {static_cast<uint32_t>(record.size()) - 1,
                                    static_cast<uint32_t>(record.size()), 0xFFFFFFFFU}) {
        EXPECT_EQ(Breaks(Bytes(record).U32(Index(list.slot) + 4, offset)),
                  !Excluded(list.slot, pools));
      }
      // A count that the record cannot hold.
      EXPECT_EQ(Breaks(Bytes(record).U16(Index(list.slot) + 2, 0xFFFF)),
                !Excluded(list.slot, pools));
    }
  }
}

TEST_P(BrokenStructure, EmptyListMayPointAnywhere) {
  for (const ListFacts& list : ListsOf(revision)) {
    SCOPED_TRACE(list.slot);
    EXPECT_FALSE(Breaks(StructureBuilder(revision).Build().U32(Index(list.slot) + 4, 0xFFFFFFFF)));
  }
}

TEST_P(BrokenStructure, VariableEntryShorterThanItsFixedPart) {
  for (const ListFacts& list : ListsOf(revision)) {
    if (list.length_at < 0) continue;
    SCOPED_TRACE(list.slot);
    for (const uint32_t length : {0U, static_cast<uint32_t>(list.entry) - 1, 0xFFFFFFFFU}) {
      StructureBuilder structure = Full();
      structure.lists[list.slot][1].U32(Index(list.length_at), length);
      EXPECT_TRUE(Breaks(structure.Build()));
    }
    StructureBuilder structure = Full();  // the fixed part alone is enough
    structure.lists[list.slot][1] = structure.lists[list.slot][1].Part(0, Index(list.entry));
    structure.lists[list.slot][1].U32(Index(list.length_at), Index(list.entry));
    EXPECT_FALSE(Breaks(structure.Build()));
  }
}

TEST_P(BrokenStructure, VariablePartThatLeavesTheRecord) {
  for (const ListFacts& list : ListsOf(revision)) {
    if (list.length_at < 0) continue;
    SCOPED_TRACE(list.slot);
    StructureBuilder structure = Full();
    structure.lists[list.slot][1].U32(Index(list.length_at), 100000);
    EXPECT_TRUE(Breaks(structure.Build()));
  }
}

TEST_P(BrokenStructure, TrailingSectionBeyondTheRecord) {
  const int at = TrailingAt(revision);
  Bytes record = Full().Build();
  const auto size = static_cast<uint32_t>(record.size());
  if (at == 0) {
    // No such section: whatever stands there is passed over.
    if (head > 108) {
      EXPECT_FALSE(Breaks(record.U32(104, size + 1)));
    }
    return;
  }
  EXPECT_FALSE(Breaks(Bytes(record).U32(Index(at), size)));  // empty
  EXPECT_TRUE(Breaks(Bytes(record).U32(Index(at), size + 1)));
  EXPECT_TRUE(Breaks(Bytes(record).U32(Index(at), 0xFFFFFFFF)));
}

// Pools whose size their descriptor gives.
using BrokenPools = BrokenStructure;
INSTANTIATE_TEST_SUITE_P(Revisions, BrokenPools, ::testing::ValuesIn(RevisionsFrom(0x1C)),
                         [](const auto& test) { return RevisionName(test.param); });

TEST_P(BrokenPools, EntriesTooSmallForTheirNumber) {
  for (const unsigned size : {0U, 1U}) {
    StructureBuilder structure(revision);
    structure.basic.U8(95, 1);
    structure.AddTo(120, Bytes(2));
    structure.first[120] = size;
    EXPECT_TRUE(Breaks(structure.Build()));
    structure.basic.U8(95, 0);  // not carried
    EXPECT_FALSE(Breaks(structure.Build()));
    structure.basic.U8(95, 1);
    structure.lists.clear();  // no entries
    EXPECT_FALSE(Breaks(structure.Build()));
  }
}

TEST_P(BrokenStructure, BrokenRecordLeavesNoResources) {
  RevisionRun run(revision);
  run.Automatic();
  run.Feed(StructureBuilder(revision).Add(kHp, {{1, 1}}).Build());
  Bytes broken = StructureBuilder(revision).Add(kHp, {{1, 1}}).Build();
  EXPECT_TRUE(run.Breaks(broken.U32(20, 0xFFFFFFFF)));
  // A statistics record of what was configured before finds nothing.
  auto_break_flg = 0;
  StatisticsBuilder statistics(revision);
  const size_t entry = revision <= 0x11 ? 64 : 112;
  EXPECT_TRUE(run.Breaks(statistics.Add(kHp, Bytes(entry).U8(8, 1).U8(9, 1)).Build()));
}

// Lists may lie anywhere in their record, even over its header.
TEST_P(BrokenStructure, ListOverTheRecordHeaderGivesTheBytesOfTheFile) {
  StructureBuilder structure(revision);
  structure.flag = 0x5A;
  structure.time = 0x01020304;
  Bytes record = structure.Build();
  const int slot = revision <= 0x18 ? 24 : 64;
  record.U16(Index(slot) + 2, 2).U32(Index(slot) + 4, 3);
  RevisionRun run(revision);
  run.Feed(record);
  const std::vector<Bytes> written = run.Output();
  ASSERT_EQ(written.size(), 1U);
  // Bytes 3 to 10: flag, time, the upper bytes of the length.
  EXPECT_EQ(written[0].Part(head + 112, 8), record.Part(3, 8));
}

}  // namespace
}  // namespace revtest
