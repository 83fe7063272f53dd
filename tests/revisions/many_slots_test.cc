// Sections with more resources than are folded at a time, against a plain calculation of one slot
// after the other: mixed valid, not-valid, compact and empty intervals, entries out of order, two
// entries for one slot.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "revisions/fold/kernel.h"
#include "tests/revisions/many_slots_run.h"
#include "tests/support/form_fixture.h"

namespace revtest {
namespace {

// Calls `body` with the scalar path and with each vector kernel that this processor has.
template <typename Body>
void WithEveryKernel(Body body) {
  const FoldKernels* const before = fold_kernels;
  SetKernels(nullptr);
  body();
  for (const FoldKernels* const* kernel = AvailableKernels(); *kernel != nullptr; ++kernel) {
    SCOPED_TRACE((*kernel)->name);
    SetKernels(*kernel);
    body();
  }
  SetKernels(before);
}

class ManySlots : public ::testing::TestWithParam<Kind> {
 protected:
  // Every kernel in every revision that carries the kind, or in some of them.
  static void Compare(bool compute, Course course, const std::vector<int>& revisions) {
    std::map<std::string, int> entries;
    for (const int revision : revisions) {
      const std::vector<KindFacts> kinds = KindsOf(revision);
      if (FindKind(kinds, GetParam()) == nullptr) continue;
      SCOPED_TRACE(RevisionName(revision));
      WithEveryKernel([&] {
        ManySlotsRun(revision, GetParam(), course).RunAndCompare(compute);
        entries[fold_kernels == nullptr ? "scalar" : fold_kernels->name] +=
            kResources * RecordsOf(course);
      });
    }
    // For the report of the run (--gtest_output=xml): entries compared with the plain calculation.
    for (const auto& [path, count] : entries) RecordProperty("entries_" + path, count);
  }
};

INSTANTIATE_TEST_SUITE_P(Kinds, ManySlots,
                         ::testing::ValuesIn(FormKinds([](const KindFacts&, const EntryFacts&) {
                           return true;
                         })),
                         FormName);

TEST_P(ManySlots, RatesComputed) { Compare(true, Course::kMixed, AllRevisions()); }

TEST_P(ManySlots, WordsMerged) { Compare(false, Course::kMixed, AllRevisions()); }

// One revision for each way in which the forms differ.
const std::vector<int> kDifferentForms = {0x10, 0x11, 0x12, 0x13, 0x14, 0x1A, 0x1D, 0x21};

TEST_P(ManySlots, RatesOfManyIntervals) { Compare(true, Course::kCalm, kDifferentForms); }

TEST_P(ManySlots, WordsOfManyIntervals) { Compare(false, Course::kCalm, kDifferentForms); }

// Resources that are busy, idle or not valid for many intervals: each lacks a length, or figures,
// in intervals of one length in which others have theirs.
TEST_P(ManySlots, RatesOfSteadyResources) { Compare(true, Course::kSteady, kDifferentForms); }

TEST_P(ManySlots, WordsOfSteadyResources) { Compare(false, Course::kSteady, kDifferentForms); }

// Intervals in which nothing moves, folded together: their rates are 0, whatever the extremes were.
TEST_P(ManySlots, RatesOfRestingResources) { Compare(true, Course::kResting, {0x12, 0x21}); }

TEST_P(ManySlots, WordsOfRestingResources) { Compare(false, Course::kResting, {0x12, 0x21}); }

// The larger records are, the fewer of them are kept for their entries.
TEST_P(ManySlots, RecordsOfChangingSizes) {
  for (const int revision : {0x12, 0x21}) {
    const std::vector<KindFacts> kinds = KindsOf(revision);
    if (FindKind(kinds, GetParam()) == nullptr) continue;
    SCOPED_TRACE(RevisionName(revision));
    for (const Course course : {Course::kMixed, Course::kCalm}) {
      WithEveryKernel([&] {
        ManySlotsRun run(revision, GetParam(), course);
        run.padding = {{0, 9U << 20}, {2, 3U << 20}, {4, 8U << 20}, {19, 5U << 20}, {30, 1U << 20}};
        run.RunAndCompare(true);
      });
    }
  }
}

// One unknown key among many entries, at each place: it breaks the record of every kind but those
// that are searched from a cursor.
TEST_P(ManySlots, UnknownKeysAreNeverTakenForTheSlotOfTheirPlace) {
  const Kind kind = GetParam();
  for (const int revision : kDifferentForms) {
    const std::vector<KindFacts> kinds = KindsOf(revision);
    if (FindKind(kinds, kind) == nullptr) continue;
    const bool by_cursor = kind == kPd || (kind == kLd && revision >= 0x15);
    SCOPED_TRACE(RevisionName(revision));
    for (size_t unknown = 0; unknown <= kResources; ++unknown) {
      ManySlotsRun sound(revision, kind, Course::kCalm);
      sound.Begin();
      sound.common_length = 1000;
      RevisionRun run(revision);
      run.Feed(sound.Structure());
      if (kind == kHpNode) {
        // Host port nodes are configured by their first record.
        StatisticsBuilder first(revision);
        for (const Plain& slot : sound.slots) first.Add(kind, sound.RandomEntry(slot.key, true));
        run.Feed(first.Build());
      }
      StatisticsBuilder record(revision);
      for (size_t i = 0; i < kResources; ++i) {
        Key key = sound.slots[i].key;
        if (i == unknown) key.back() = 250;
        record.Add(kind, sound.RandomEntry(key, true));
      }
      EXPECT_EQ(run.Breaks(record.Build()), unknown < kResources && !by_cursor) << unknown;
    }
  }
}

// An entry whose key is not configured goes to the slot at the cursor, beside that slot's own.
void ShareASlot() {
  RevisionRun run(0x1D);
  StructureBuilder structure(0x1D);
  for (uint8_t i = 0; i < 12; ++i) structure.Add(kPd, {{1, i}});
  run.Feed(structure.Build());
  StatisticsBuilder record(0x1D);
  for (unsigned i = 0; i < 12; ++i) {
    // Entries 3 to 6 carry unknown keys: all of them are folded into slot 2.
    const unsigned key = i >= 3 && i <= 6 ? 100 + i : i;
    record.Add(kPd, Bytes(64).U32(4, 1000).U8(8, 1).U8(9, key).Quad(32, 1U << i, 0, 0, 0));
  }
  run.Feed(record.Build());
  const Bytes period = run.Period();
  std::vector<uint32_t> counts;
  size_t at = period.Get32(96 + 4);
  for (int i = 0; i < 12; ++i) {
    const bool compact = period.Get8(at + 10) != 0;
    counts.push_back(compact ? 0 : period.Get32(at + 32));
    at += compact ? 32 : 104;
  }
  const std::vector<uint32_t> expected = {
      1, 2, 4 + 8 + 16 + 32 + 64, 0, 0, 0, 0, 128, 256, 512, 1024, 2048};
  EXPECT_EQ(counts, expected);
}

TEST(ManySlotsAtACursor, AbsentKeysShareASlotWithTheirNeighbours) { WithEveryKernel(ShareASlot); }

// The record that begins a period has two entries of a disk: the extremes of the second, be it an
// idle one, take the place of those of the first.
void BeginTwice() {
  struct Entry {
    uint32_t length;  // milliseconds
    uint32_t count;   // 0: compact
  };
  struct Case {
    Entry entries[2];
    uint32_t rate;  // thousandths of operations a second
  };
  for (const Case& each : {Case{{{1000, 7}, {2000, 8}}, 4000}, Case{{{1000, 7}, {1000, 8}}, 8000},
                           Case{{{1000, 7}, {1000, 0}}, 0}, Case{{{1000, 0}, {1000, 7}}, 7000}}) {
    RevisionRun run(0x1D);
    run.Feed(StructureBuilder(0x1D).Add(kPd, {{1, 0}, {1, 1}}).Build());
    StatisticsBuilder record(0x1D);
    for (const Entry& entry : each.entries) {
      Bytes disk = Bytes(64).U32(4, entry.length).U8(8, 1).Quad(32, entry.count, 0, 0, 0);
      if (entry.count == 0) disk = disk.U8(10, 1).Part(0, 32);
      record.Add(kPd, disk);
    }
    run.Feed(record.Build());
    const Bytes period = run.Period();
    const size_t words = period.Get32(96 + 4) + 64;
    EXPECT_EQ(period.Get32(words), each.rate);
    EXPECT_EQ(period.Get32(words + 4), each.rate);
  }
}

TEST(ManySlotsTwiceInARecord, LaterEntriesBeginThePeriodAnew) { WithEveryKernel(BeginTwice); }

}  // namespace
}  // namespace revtest
