// The fixture of the entry-form tests: two resources of one kind in one revision, intervals read as
// records, and the bytes that a period must give. Positions and figures are written by hand
// (tests/support/revision_facts.h).
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "revisions/fold/kernel.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {

// Which kinds a suite is about, revision by revision.
using KindFilter = bool (*)(const KindFacts&, const EntryFacts&);

inline bool HoldsFor(KindFilter holds, int revision, Kind kind) {
  const std::vector<KindFacts> kinds = KindsOf(revision);
  const KindFacts* facts = FindKind(kinds, kind);
  return facts != nullptr && holds(*facts, EntryOf(kind, revision));
}

// The kinds that the filter lets through in some revision; caches have rules of their own.
inline std::vector<Kind> FormKinds(KindFilter holds) {
  std::vector<Kind> found;
  for (int kind = kHd; kind <= kPool; ++kind) {
    bool any = false;
    for (const int revision : AllRevisions()) {
      any = any || (kind != kCache && HoldsFor(holds, revision, static_cast<Kind>(kind)));
    }
    if (any) found.push_back(static_cast<Kind>(kind));
  }
  return found;
}

inline std::string FormName(const ::testing::TestParamInfo<Kind>& test) {
  return NameOf(test.param);
}

inline constexpr uint32_t kLarge = 1U << 21;  // second averages of the two intervals
inline constexpr uint32_t kSmall = 1U << 20;

// One kind of one revision.
class FormRun {
 public:
  FormRun(int format, Kind of) : revision(format), kind(of) {
    run.Feed(Structure().Build());
    run.Output();
  }

 protected:
  StructureBuilder Structure() const {
    StructureBuilder structure(revision);
    if (kind == kPool) structure.basic.U8(95, 1);  // pools are carried (from 0x19 on)
    if (kind != kHpNode) structure.Add(kind, {first_key, second_key});
    return structure;
  }

  size_t At(int offset) const { return static_cast<size_t>(offset); }
  bool HasRatio() const { return entry.ratio >= 0; }
  int WordCount() const { return CountOnes(kinds.mask); }
  bool HasRatioWords() const { return WordCount() == 4 * entry.tracked + 2; }

  static int CountOnes(uint32_t mask) {
    int n = 0;
    for (; mask != 0; mask <<= 1) n += (mask & 0x80000000U) != 0 ? 1 : 0;
    return n;
  }

  // Status, length, key and busy ratio, with the flag that makes the ratio count.
  Bytes Head(const Key& key, uint32_t status, uint32_t length, unsigned ratio) const {
    Bytes bytes(At(kinds.entry));
    bytes.U32(0, status).U32(4, length);
    for (size_t i = 0; i < key.size(); ++i) bytes.U8(At(entry.keys[i]), key[i]);
    if (HasRatio()) bytes.U16(At(entry.ratio), ratio);
    if (entry.flag != 0) bytes.U8(At(entry.flag_at), static_cast<uint64_t>(entry.flag));
    return bytes;
  }
  size_t Quad(int k) const { return At(entry.quads_at + 16 * k); }

  // The two intervals of the tests: 10 operations in 60 s, 30 operations in 20 s.
  Bytes LongInterval(const Key& key) const {
    Bytes bytes = Head(key, 0x11111111, 60000, 5000);
    for (int k = 0; k < entry.quads; ++k)
      bytes.Quad(Quad(k), 10, 100 + U(k), 50 + U(k), kLarge + U(k));
    return bytes;
  }
  Bytes ShortInterval(const Key& key) const {
    Bytes bytes = Head(key, 0x22222222, 20000, 1000);
    for (int k = 0; k < entry.quads; ++k) bytes.Quad(Quad(k), 30, 200 + U(k), 40, kSmall + U(k));
    return bytes;
  }
  static uint32_t U(int k) { return static_cast<uint32_t>(k); }

  // Key, not-valid mark, and other contents that must not count.
  Bytes NotValid(const Key& key) const { return LongInterval(key).U8(At(entry.not_valid), 1); }

  // What a period without intervals leaves of a resource.
  Bytes Untouched(const Key& key) const {
    Bytes bytes(At(kinds.entry));
    for (size_t i = 0; i < key.size(); ++i) bytes.U8(At(entry.keys[i]), key[i]);
    bytes.U8(At(entry.not_valid), 1);
    if (!entry.idles) return bytes.Add(Bytes(At(4 * WordCount())));
    return bytes.U8(At(entry.compact), 1).Part(0, At(kinds.head));
  }

  // Feeds one record: `first` for the first resource, the second one not valid.
  void Interval(uint32_t time, const Bytes& first) { Interval(time, first, NotValid(second_key)); }
  void Interval(uint32_t time, const Bytes& first, const Bytes& second) {
    StatisticsBuilder record(revision);
    record.time = time;
    run.Feed(record.Add(kind, first).Add(kind, second).Build());
  }
  Bytes Section(size_t size) { return SectionOf(run.Period(), revision, kind, size); }
  void ExpectPeriod(const Bytes& first) {
    const Bytes expected = Bytes(first).Add(Untouched(second_key));
    EXPECT_EQ(Section(expected.size()), expected);
  }

  // The extended words of one group and of the ratio, as far as the kind has them.
  Bytes Words(std::vector<std::vector<uint32_t>> groups, std::vector<uint32_t> ratio) const {
    Bytes words;
    for (const auto& group : groups) {
      for (const uint32_t word : group) words.AddU32(word);
    }
    if (HasRatioWords()) {
      for (const uint32_t word : ratio) words.AddU32(word);
    }
    return words;
  }
  std::vector<std::vector<uint32_t>> Groups(const std::vector<uint32_t>& current,
                                            const std::vector<uint32_t>& older) const {
    std::vector<std::vector<uint32_t>> groups;
    for (int k = 0; k < entry.tracked; ++k) {
      groups.push_back(OlderRule(revision) ? older : current);
      if (OlderRule(revision)) {
        if (groups.back()[2] >= kSmall) groups.back()[2] += U(k);
        if (groups.back()[3] >= kSmall) groups.back()[3] += U(k);
      }
    }
    return groups;
  }

  // The period of the long and the short interval.
  Bytes BothIntervals() const {
    Bytes bytes = Head(first_key, 0x22222222, 80000, 4000);  // (5000 x 60 + 1000 x 20) / 80
    for (int k = 0; k < entry.quads; ++k) {
      bytes.U32(Quad(k), 40);              // 10 + 30 operations
      bytes.U32(Quad(k) + 4, 175 + U(k));  // (10 x 100 + 30 x 200) / 40
      bytes.U32(Quad(k) + 8, 50 + U(k));   // the larger maximum
      // By operations: (10 x 2^21 + 30 x 2^20) / 40; by time: (60 x 2^21 + 20 x 2^20) / 80.
      bytes.U32(Quad(k) + 12, (OlderRule(revision) ? 1835008 : 1310720) + U(k));
    }
    return bytes;
  }

  int revision;
  Kind kind;
  std::vector<KindFacts> all = KindsOf(revision);
  KindFacts kinds = *FindKind(all, kind);
  EntryFacts entry = EntryOf(kind, revision);
  Key first_key = Prefix({0x01, 0x11, 0x21});
  Key second_key = Prefix({0x02, 0x12, 0x22});
  RevisionRun run{revision};

 private:
  Key Prefix(const Key& key) const {
    return {key.begin(), key.begin() + static_cast<std::ptrdiff_t>(entry.keys.size())};
  }
};

// The vector kernels that the processor has, and none of them.
class KernelsInTurn {
 public:
  template <typename Body>
  static void Run(Body body) {
    const KernelsInTurn put_back;
    body();
    SCOPED_TRACE("without kernels");
    SetKernels(nullptr);
    body();
  }
  ~KernelsInTurn() { SetKernels(before_); }

 private:
  const FoldKernels* const before_ = fold_kernels;
};

// FORM_SUITE(suite, filter) makes a suite of the kinds that the filter lets through, FORM_TEST one
// of its tests: the body is a member of FormRun and runs in every revision that carries the kind,
// with the vector kernels and without.
#define FORM_SUITE(suite, filter)                         \
  constexpr KindFilter suite##Holds = filter;             \
  class suite : public ::testing::TestWithParam<Kind> {}; \
  INSTANTIATE_TEST_SUITE_P(Kinds, suite, ::testing::ValuesIn(FormKinds(suite##Holds)), FormName)

#define FORM_TEST(suite, name)                                               \
  struct suite##name : FormRun {                                             \
    using FormRun::FormRun;                                                  \
    void Body();                                                             \
  };                                                                         \
  TEST_P(suite, name) {                                                      \
    for (const int revision : AllRevisions()) {                              \
      if (!HoldsFor(suite##Holds, revision, GetParam())) continue;           \
      SCOPED_TRACE(RevisionName(revision));                                  \
      KernelsInTurn::Run([&] { suite##name(revision, GetParam()).Body(); }); \
    }                                                                        \
  }                                                                          \
  void suite##name::Body()

}  // namespace revtest
