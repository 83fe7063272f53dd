// Sections with more resources than are folded at a time, against a plain calculation of one slot
// after the other: mixed valid, not-valid, compact and empty intervals, entries out of order, two
// entries for one slot.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <vector>

#include "revisions/fold_kernel.h"
#include "tests/support/form_fixture.h"

namespace revtest {
namespace {

constexpr int kResources = 19;  // two groups of eight and a rest

// What the records of a run are like.
enum class Course : uint8_t {
  kMixed,  // every entry of its own length; not-valid and compact ones, entries out of order
  kCalm,   // mostly one length for many records, all entries full and valid; extreme figures
};
constexpr int RecordsOf(Course course) { return course == Course::kMixed ? 5 : 45; }

// Figures that look random and are the same in every run.
class Figures {
 public:
  explicit Figures(uint32_t seed) : state_(seed * 2654435761U + 12345U) {}
  uint32_t Next() {
    state_ = state_ * 1664525U + 1013904223U;
    return state_ >> 8;
  }
  uint32_t Below(uint32_t n) { return Next() % n; }
  bool OneIn(uint32_t n) { return Below(n) == 0; }

 private:
  uint32_t state_;
};

uint32_t Truncated(double v) {
  if (!(v > 0)) return 0;
  return v >= 4294967296.0 ? 0xFFFFFFFF : static_cast<uint32_t>(v);
}

// What a period knows of one resource.
struct Plain {
  Key key;
  uint32_t status = 0;
  uint32_t time = 0;
  std::array<uint32_t, 2> carried = {0, 0};
  double busy = 0;
  bool ratio_seen = false;
  std::array<std::array<double, 4>, 6> sums = {};
  std::array<double, 26> extremes = {};
};

// Keeps the larger value at even positions, the smaller one at odd ones.
void Track(double& field, size_t position, double value, bool first) {
  if (first) {
    field = value;
  } else if (position % 2 == 0) {
    field = std::max(field, value);
  } else {
    field = std::min(field, value);
  }
}

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

class ManySlotsRun {
 public:
  ManySlotsRun(int format, Kind of, Course how) : revision(format), kind(of), course(how) {}
  int revision;
  Kind kind;
  Course course;
  uint32_t common_length = 0;          // of all entries of a record; 0: each has its own
  std::map<int, size_t> padding = {};  // bytes behind the sections of a record, by its number
  std::vector<KindFacts> all = KindsOf(revision);
  KindFacts kinds = *FindKind(all, kind);
  EntryFacts entry = EntryOf(kind, revision);
  size_t words = WordCount(kinds.mask);
  Figures figures{0};
  std::vector<Plain> slots;

  // The state before the first record.
  void Begin() {
    figures = Figures(static_cast<uint32_t>(revision * 100 + kind));
    slots.assign(kResources, Plain());
    for (size_t i = 0; i < slots.size(); ++i) {
      // Keys that are not in order, and differ in their last byte only where there are several.
      const auto number = static_cast<uint8_t>((i * 7 + 3) % 200);
      slots[i].key = Key(entry.keys.size(), 4);
      slots[i].key.back() = number;
    }
  }

  static size_t WordCount(uint32_t mask) {
    size_t n = 0;
    for (; mask != 0; mask <<= 1) ++n;  // full masks have no gaps
    return n;
  }
  static size_t At(int at) { return static_cast<size_t>(at); }

  Bytes Structure() const {
    StructureBuilder structure(revision);
    if (kind == kPool) structure.basic.U8(95, 1);
    if (kind == kHpNode) return structure.Build();
    for (const Plain& slot : slots) structure.Add(kind, {slot.key});
    return structure.Build();
  }

  Bytes RandomEntry(const Key& key, bool valid) {
    Bytes bytes(At(kinds.entry));
    const bool calm = common_length != 0;
    const uint32_t own_length = figures.OneIn(8) ? 0 : 1 + figures.Below(100000);
    bytes.U32(0, figures.Next()).U32(4, calm ? common_length : own_length);
    if (entry.ratio >= 0) bytes.U16(At(entry.ratio), figures.Below(10001));
    if (entry.flag != 0 && !figures.OneIn(4)) bytes.U8(At(entry.flag_at), U(entry.flag));
    for (size_t i = 0; i < key.size(); ++i) bytes.U8(At(entry.keys[i]), key[i]);
    for (const int at : entry.carried) {
      if (at >= 0) bytes.U32(At(at), figures.Next());
    }
    for (int k = 0; k < entry.quads; ++k) {
      bytes.Quad(At(entry.quads_at + 16 * k), Count(), Word(figures.Next()),
                 Word(figures.Next() << 8), Word(figures.Below(1U << 20)));
    }
    if (!valid || (!calm && figures.OneIn(6))) bytes.U8(At(entry.not_valid), 1);
    if (kinds.head != 0 && !calm && figures.OneIn(6)) bytes.U8(At(entry.compact), 1);
    return bytes;
  }
  uint32_t Count() {
    const uint32_t count = figures.OneIn(4) ? 0 : figures.Below(5000);
    if (course == Course::kCalm && figures.OneIn(50)) {
      return std::array{0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}[figures.Below(3)];
    }
    return figures.OneIn(8) ? count + 0x80000000U : count;
  }
  uint32_t Word(uint32_t word) {
    return course == Course::kCalm && figures.OneIn(20) ? (figures.OneIn(2) ? 0 : 0xFFFFFFFF)
                                                        : word;
  }
  // The length that the entries of record `r` share. A calm course changes it now and then, and
  // some of its records are like those of a mixed one.
  void ChooseLength(int r) {
    if (course == Course::kMixed) return;
    if (r % 17 == 0) calm_length = 1 + figures.Below(4000000000U);
    common_length = r % 22 == 21 ? 0 : calm_length;
  }
  uint32_t calm_length = 0;
  static uint64_t U(int v) { return static_cast<uint64_t>(v); }

  // Folds the entry as the rules are written.
  void Fold(Plain& slot, const Bytes& bytes, const Bytes& more, bool first, bool compute) const {
    for (size_t i = 0; i < slot.key.size(); ++i) {
      slot.key[i] = static_cast<uint8_t>(bytes.Get8(At(entry.keys[i])));
    }
    if (bytes.Get8(At(entry.not_valid)) != 0) return;
    const bool compact = kinds.head != 0 && bytes.Get8(At(entry.compact)) != 0;
    const uint32_t length = bytes.Get32(4);
    const double l = length;
    slot.status = bytes.Get32(0);
    slot.time += length;
    for (size_t i = 0; i < 2; ++i) {
      if (entry.carried[i] >= 0) slot.carried[i] = bytes.Get32(At(entry.carried[i]));
    }
    const auto ratio_at = static_cast<size_t>(4 * entry.tracked);
    if (entry.ratio >= 0) {
      const double ratio = bytes.Get16(At(entry.ratio));
      const bool present = entry.flag == 0 || bytes.Get8(At(entry.flag_at)) != 0;
      if (present) {
        slot.busy += (ratio * l) / 10000.0;
        slot.ratio_seen = true;
      }
      if (compute && ratio_at < slot.extremes.size() && (present || kind == kLd)) {
        Track(slot.extremes[ratio_at], 0, ratio, first);
        Track(slot.extremes[ratio_at + 1], 1, ratio, first);
      }
    }
    for (int k = 0; k < entry.quads && !compact; ++k) {
      const size_t at = At(entry.quads_at + 16 * k);
      FoldGroup(slot, At(k), bytes.Get32(at), bytes.Get32(at + 4), bytes.Get32(at + 8),
                bytes.Get32(at + 12), l, first, compute);
    }
    for (int k = 0; k < entry.quads && compact; ++k) {
      FoldGroup(slot, At(k), 0, 0, 0, 0, l, first, compute);
    }
    if (compute || compact) return;
    for (size_t i = 0; i < words; ++i) Track(slot.extremes[i], i, more.Get32(4 * i), first);
  }

  void FoldGroup(Plain& slot, size_t k, uint32_t q0, uint32_t q1, uint32_t q2, uint32_t q3,
                 double l, bool first, bool compute) const {
    double count = q0;
    if (q0 >= 0x80000000U) count = static_cast<double>(q0 - 0x80000000U) * 256.0;
    auto& sums = slot.sums[k];
    sums[0] += count;
    sums[1] += static_cast<double>(q0) * static_cast<double>(q1);
    sums[2] = std::max(sums[2], static_cast<double>(q2));
    sums[3] += OlderRule(revision) ? l * static_cast<double>(q3) : static_cast<double>(q3) * count;
    if (!compute || static_cast<int>(k) >= entry.tracked || l == 0.0) return;
    double rate = count * 1000.0;
    rate = rate / l;
    rate = rate * 1000.0;
    double volume = q3;
    if (!OlderRule(revision)) {
      volume = static_cast<double>(q3) * count;
      volume = volume / (l / 1000.0);
      volume = volume / 1024.0;
    }
    Track(slot.extremes[4 * k], 0, rate, first);
    Track(slot.extremes[4 * k + 1], 1, rate, first);
    Track(slot.extremes[4 * k + 2], 2, volume, first);
    Track(slot.extremes[4 * k + 3], 3, volume, first);
  }

  Bytes Written(const Plain& slot) const {
    Bytes bytes(At(kinds.entry));
    bytes.U32(0, slot.status).U32(4, slot.time);
    for (size_t i = 0; i < slot.key.size(); ++i) bytes.U8(At(entry.keys[i]), slot.key[i]);
    for (size_t i = 0; i < 2; ++i) {
      if (entry.carried[i] >= 0) bytes.U32(At(entry.carried[i]), slot.carried[i]);
    }
    if (slot.time == 0) bytes.U8(At(entry.not_valid), 1);
    if (entry.ratio >= 0 && slot.time != 0) {
      bytes.U16(At(entry.ratio), Truncated((slot.busy / slot.time) * 10000.0));
    }
    if (entry.flag != 0 && slot.ratio_seen) bytes.U8(At(entry.flag_at), U(entry.flag));
    bool idle = entry.idles && (slot.busy < 1.0 || kind == kCheseg);
    for (int k = 0; k < entry.quads; ++k) idle = idle && slot.sums[At(k)][0] < 1.0;
    if (idle) return bytes.U8(At(entry.compact), 1).Part(0, At(kinds.head));
    for (int k = 0; k < entry.quads; ++k) {
      const auto& a = slot.sums[At(k)];
      uint32_t q0 = Truncated(a[0]);
      if (a[0] > 2147483647.0) q0 = std::min(Truncated(a[0] / 256.0), 0x7FFFFFFFU) + 0x80000000U;
      const uint32_t q1 = a[0] < 1.0 ? 0 : Truncated(a[1] / a[0]);
      uint32_t q3 = a[0] == 0.0 ? 0 : Truncated(a[3] / a[0]);
      if (OlderRule(revision)) q3 = slot.time == 0 ? 0 : Truncated(a[3] / slot.time);
      bytes.Quad(At(entry.quads_at + 16 * k), q0, q1, Truncated(a[2]), q3);
    }
    for (size_t i = 0; i < words; ++i) bytes.AddU32(Truncated(slot.extremes[i]));
    return bytes;
  }

  void RunAndCompare(bool compute) {
    Begin();
    RevisionRun run(revision);
    run.Feed(Structure());
    run.InputMask(kind, compute ? 0 : kinds.mask);
    for (int r = 0; r < RecordsOf(course); ++r) {
      ChooseLength(r);
      std::vector<size_t> order(slots.size());
      for (size_t i = 0; i < order.size(); ++i) order[i] = i;
      const bool any_order = revision < 0x1D || (kind != kHp && kind != kRp && kind != kMp);
      if (r % 23 == 2 && any_order) std::reverse(order.begin(), order.end());
      // Two entries of one resource within a few of each other.
      if (r % 27 == 3 && any_order) order[4] = order[2];
      StatisticsBuilder record(revision);
      record.time = static_cast<uint32_t>(1000 + r);
      for (const size_t i : order) {
        const Bytes bytes = RandomEntry(slots[i].key, true);
        Bytes more;
        for (size_t w = 0; w < words && !compute; ++w) more.AddU32(figures.Next() << (w % 9));
        Fold(slots[i], bytes, more, r == 0, compute);
        const bool compact = kinds.head != 0 && bytes.Get8(At(entry.compact)) != 0;
        record.Add(kind, compact ? bytes.Part(0, At(kinds.head)) : Bytes(bytes).Add(more));
      }
      Bytes built = record.Build();
      if (padding.count(r) != 0) built.Add(Bytes(padding[r]));
      run.Feed(built.U32(8, built.size()));
    }
    Bytes expected;
    for (const Plain& slot : slots) expected.Add(Written(slot));
    EXPECT_EQ(SectionOf(run.Period(), revision, kind, expected.size()), expected);
  }
};

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

}  // namespace
}  // namespace revtest
