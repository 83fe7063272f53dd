// A run over more resources than are folded at a time: random records for all of them, and what the
// period must give by a plain calculation of one slot after the other.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {

inline constexpr int kResources = 19;  // two groups of eight and a rest

// What the records of a run are like.
enum class Course : uint8_t {
  kMixed,    // every entry of its own length; not-valid and compact ones, entries out of order
  kCalm,     // mostly one length for many records, all entries full and valid; extreme figures
  kResting,  // the same, but all entries of some records are compact, or not valid
  kSteady,   // mostly one length; resources stay busy, compact or not valid for many records
};
constexpr int RecordsOf(Course course) { return course == Course::kMixed ? 14 : 45; }

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

inline uint32_t Truncated(double v) {
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
inline void Track(double& field, size_t position, double value, bool first) {
  if (first) {
    field = value;
  } else if (position % 2 == 0) {
    field = std::max(field, value);
  } else {
    field = std::min(field, value);
  }
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
    for (uint32_t& state : states) state = course == Course::kSteady ? figures.Below(4) : 0;
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
    if (resting && figures.OneIn(6)) bytes.U8(At(entry.not_valid), 1);
    if (kinds.head != 0 && (resting || (!calm && figures.OneIn(6)))) {
      bytes.U8(At(entry.compact), 1);
    }
    return bytes;
  }
  uint32_t Count() {
    // Only rest makes rates of 0 in resting and steady courses.
    if (course == Course::kResting || course == Course::kSteady) {
      const uint32_t count = 1 + figures.Below(5000);
      return course == Course::kSteady && figures.OneIn(60) ? count + 0x80000000U : count;
    }
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
    // Whole runs of records that are folded together.
    resting = course == Course::kResting && ((r >= 10 && r < 15) || r >= 36);
    // And single records among others.
    if (course == Course::kSteady) resting = r % 6 == 4;
    if (r % 17 == 0) calm_length = 1 + figures.Below(4000000000U);
    common_length = r % 22 == 21 ? 0 : calm_length;
  }
  uint32_t calm_length = 0;
  bool resting = false;
  // Marks the entry of resource `i` as those before it, but now and then: compact, not valid, both
  // or neither.
  void Mark(Bytes& bytes, size_t i) {
    if (figures.OneIn(25)) states[i] = figures.Below(4);
    if ((states[i] & 1) != 0 && kinds.head != 0) bytes.U8(At(entry.compact), 1);
    if ((states[i] & 2) != 0) bytes.U8(At(entry.not_valid), 1);
  }
  std::array<uint32_t, kResources> states = {};
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
    int most_together = 1;
    int together = 1;
    for (int r = 0; r < RecordsOf(course); ++r) {
      ChooseLength(r);
      std::vector<size_t> order(slots.size());
      for (size_t i = 0; i < order.size(); ++i) order[i] = i;
      const bool any_order = revision < 0x1D || (kind != kHp && kind != kRp && kind != kMp);
      // Late, so that records before were read side by side.
      const int disordered = course == Course::kMixed ? 12 : 22;
      if (r == disordered && any_order) std::reverse(order.begin(), order.end());
      // Two entries of one resource within a few of each other.
      if (r == disordered + 1 && any_order) order[4] = order[2];
      StatisticsBuilder record(revision);
      record.time = static_cast<uint32_t>(1000 + r);
      for (const size_t i : order) {
        Bytes bytes = RandomEntry(slots[i].key, true);
        if (course == Course::kSteady) Mark(bytes, i);
        Bytes more;
        for (size_t w = 0; w < words && !compute; ++w) more.AddU32(figures.Next() << (w % 9));
        Fold(slots[i], bytes, more, r == 0, compute);
        const bool compact = kinds.head != 0 && bytes.Get8(At(entry.compact)) != 0;
        record.Add(kind, compact ? bytes.Part(0, At(kinds.head)) : Bytes(bytes).Add(more));
      }
      Bytes built = record.Build();
      if (padding.count(r) != 0) built.Add(Bytes(padding[r]));
      run.Append(built.U32(8, built.size()));
      // One, two, three records side by side and so on.
      if (--together == 0) {
        run.ReadOn();
        together = ++most_together;
      }
    }
    run.ReadOn();
    Bytes expected;
    for (const Plain& slot : slots) expected.Add(Written(slot));
    EXPECT_EQ(SectionOf(run.Period(), revision, kind, expected.size()), expected);
  }
};

}  // namespace revtest
