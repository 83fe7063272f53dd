// Every entry form in every revision that carries it: two resources of one kind are configured,
// intervals are read as records, and the written section is compared byte for byte. The bytes are
// put together from hand-written positions and figures (tests/support/revision_facts.h).
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

struct FormCase {
  int revision;
  Kind kind;
};

void PrintTo(const FormCase& form, std::ostream* out) {
  *out << RevisionName(form.revision) << " " << NameOf(form.kind);
}

std::vector<FormCase> AllCases() {
  std::vector<FormCase> cases;
  for (const int revision : AllRevisions()) {
    for (const KindFacts& facts : KindsOf(revision)) {
      if (facts.kind != kCache) cases.push_back({revision, facts.kind});
    }
  }
  return cases;
}

std::vector<FormCase> Cases(bool (*holds)(const KindFacts&, const EntryFacts&)) {
  std::vector<FormCase> cases;
  for (const FormCase& form : AllCases()) {
    const std::vector<KindFacts> kinds = KindsOf(form.revision);
    if (holds(*FindKind(kinds, form.kind), EntryOf(form.kind, form.revision))) {
      cases.push_back(form);
    }
  }
  return cases;
}

std::string CaseName(const ::testing::TestParamInfo<FormCase>& test) {
  return RevisionName(test.param.revision) + NameOf(test.param.kind);
}

constexpr uint32_t kLarge = 1U << 21;  // second averages of the two intervals
constexpr uint32_t kSmall = 1U << 20;

class Form : public ::testing::TestWithParam<FormCase> {
 protected:
  Form() {
    run.Feed(Structure().Build());
    run.Output();
  }

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
  Bytes Section(size_t size) {
    run.Flush();
    return SectionOf(run.OutputRecord(), revision, kind, size);
  }
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

  int revision = GetParam().revision;
  Kind kind = GetParam().kind;
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

INSTANTIATE_TEST_SUITE_P(All, Form, ::testing::ValuesIn(AllCases()), CaseName);

TEST_P(Form, FoldsIntervalsAndComputesExtremesOfRates) {
  Interval(1000, LongInterval(first_key));
  Interval(1020, ShortInterval(first_key));
  // Operations: 30 x 1000 / 20000 x 1000 and 10 x 1000 / 60000 x 1000; volumes: 2^20 x 30 / 20 /
  // 1024 and 2^21 x 10 / 60 / 1024, by the older rule the raw words.
  ExpectPeriod(BothIntervals().Add(
      Words(Groups({1500, 166, 1536, 341}, {1500, 166, kLarge, kSmall}), {5000, 1000})));
}

TEST_P(Form, MergesExtendedWordsOfTheInput) {
  run.InputMask(kind, kinds.mask);
  const int n = WordCount();
  Bytes low, high;
  std::vector<uint32_t> expected;
  for (int i = 0; i < n; ++i) {
    low.AddU32(1000 + U(i));
    high.AddU32(0x80000000U + U(i));
    expected.push_back(i % 2 == 0 ? 0x80000000U + U(i) : 1000 + U(i));  // maximum, minimum, ...
  }
  Interval(1000, LongInterval(first_key).Add(high), NotValid(second_key).Add(high));
  Interval(1020, ShortInterval(first_key).Add(low), NotValid(second_key).Add(low));
  Bytes words;
  for (const uint32_t word : expected) words.AddU32(word);
  ExpectPeriod(BothIntervals().Add(words));
}

TEST_P(Form, ExtendedWordsOfMissingBitsTakeNoRoomAndThoseOutsideTheMaskArePassedOver) {
  // Without the kind's second bit, with the lowest bit, which no kind's full mask has.
  run.InputMask(kind, (kinds.mask & ~0x40000000U) | 0x00000001U);
  const int n = WordCount();
  Bytes input;
  Bytes expected;
  for (int i = 0; i < n; ++i) {
    if (i != 1) input.AddU32(500 + U(i));
    expected.AddU32(i != 1 ? 500 + U(i) : 0);
  }
  input.AddU32(0xDEADBEEF);
  Interval(1000, LongInterval(first_key).Add(input), NotValid(second_key).Add(input));
  Interval(1020, ShortInterval(first_key).Add(input), NotValid(second_key).Add(input));
  ExpectPeriod(BothIntervals().Add(expected));
}

TEST_P(Form, NotValidEntryDoesNotCount) {
  const Bytes words =
      Words(Groups({1500, 1500, 1536, 1536}, {1500, 1500, kSmall, kSmall}), {1000, 1000});
  Interval(1000, ShortInterval(first_key));
  Interval(1060, NotValid(first_key));
  Interval(1120, LongInterval(first_key).U8(At(entry.not_valid), 0x80));
  Bytes expected = Head(first_key, 0x22222222, 20000, 1000);
  for (int k = 0; k < entry.quads; ++k) {
    expected.Quad(Quad(k), 30, 200 + U(k), 40, kSmall + U(k));
  }
  ExpectPeriod(expected.Add(words));
}

TEST_P(Form, PeriodWithoutIntervalsIsWrittenNotValidWithTheConfiguredKeys) {
  Interval(1000, NotValid(first_key));
  run.Flush();
  const Bytes expected = Untouched(first_key).Add(Untouched(second_key));
  EXPECT_EQ(SectionOf(run.OutputRecord(), revision, kind, expected.size()), expected);
}

TEST_P(Form, FirstIntervalOfTheNextPeriodReplacesTheExtremes) {
  Interval(3500, LongInterval(first_key));
  Interval(3599, ShortInterval(first_key));
  Interval(3600, LongInterval(first_key));  // the next hour
  run.Output();
  Bytes expected = LongInterval(first_key);
  // Alone in its period: maxima and minima are the interval's, though the hour before had larger
  // and smaller ones.
  expected.Add(Words(Groups({166, 166, 341, 341}, {166, 166, kLarge, kLarge}), {5000, 5000}));
  ExpectPeriod(expected);
}

TEST_P(Form, IntervalOfLengthZeroUpdatesSumsButNoExtremesOfRates) {
  Interval(1000, ShortInterval(first_key).U32(4, 0));
  Interval(1020, ShortInterval(first_key));
  Bytes expected = Head(first_key, 0x22222222, 20000, 1000);
  for (int k = 0; k < entry.quads; ++k) {
    expected.Quad(Quad(k), 60, 200 + U(k), 40, kSmall + U(k));
  }
  // The first interval brought none, so the minima start from 0.
  ExpectPeriod(expected.Add(Words(Groups({1500, 0, 1536, 0}, {1500, 0, kSmall, 0}), {1000, 1000})));
}

TEST_P(Form, CountWordsWithTheTopBitSet) {
  if (entry.quads == 0) GTEST_SKIP() << "the form has no counter groups";
  Bytes interval = Head(first_key, 7, 1000, 10000);
  for (int k = 0; k < entry.quads; ++k) interval.Quad(Quad(k), 0xFFFFFFFF, 0, 9, 0);
  Interval(1000, interval);
  Interval(1001, interval);
  Bytes expected = Head(first_key, 7, 2000, 10000);
  // 2 x 0x7FFFFFFF x 256 operations are more units of 256 than 31 bits hold.
  for (int k = 0; k < entry.quads; ++k) expected.Quad(Quad(k), 0xFFFFFFFF, 0, 9, 0);
  // 0x7FFFFFFF x 256 operations in 1 s: the rate does not fit a word.
  const std::vector<uint32_t> group = {0xFFFFFFFF, 0xFFFFFFFF, 0, 0};
  ExpectPeriod(expected.Add(Words(Groups(group, group), {10000, 10000})));
}

TEST_P(Form, UnconfiguredKeyBreaksTheRecord) {
  // The resuming search of logical disks (from 0x15) and physical disks takes any key; host port
  // nodes are configured by their entries.
  if (kind == kPd || (kind == kLd && revision >= 0x15)) GTEST_SKIP() << "never misses";
  Interval(1000, LongInterval(first_key));
  Key unknown = first_key;
  unknown[0] = 0x77;
  StatisticsBuilder record(revision);
  record.time = 1060;
  record.Add(kind, LongInterval(unknown)).Add(kind, NotValid(second_key));
  EXPECT_TRUE(run.Breaks(record.Build()));
}

TEST_P(Form, CarriedWordsAreThoseOfTheLastValidEntry) {
  const auto with = [this](Bytes bytes, uint32_t a, uint32_t b) {
    if (entry.carried[0] >= 0) bytes.U32(At(entry.carried[0]), a);
    if (entry.carried[1] >= 0) bytes.U32(At(entry.carried[1]), b);
    return bytes;
  };
  if (entry.carried[0] < 0) GTEST_SKIP() << "the form has no such words";
  Interval(1000, with(LongInterval(first_key), 0xA1A2A3A4, 0xB1B2B3B4));
  Interval(1020, with(ShortInterval(first_key), 0xC1C2C3C4, 0xD1D2D3D4));
  Interval(1040, with(NotValid(first_key), 0xE1E2E3E4, 0xF1F2F3F4));
  ExpectPeriod(
      with(BothIntervals(), 0xC1C2C3C4, 0xD1D2D3D4)
          .Add(Words(Groups({1500, 166, 1536, 341}, {1500, 166, kLarge, kSmall}), {5000, 1000})));
}

TEST_P(Form, BytesThatNoRuleNamesAreWrittenAsZero) {
  // Everything in the head that has no meaning of its own is set; none of it comes out.
  Bytes interval = LongInterval(first_key);
  Bytes named(interval.size());
  const auto name = [&named](int at, int width) {
    for (int i = 0; at >= 0 && i < width; ++i) named.U8(static_cast<size_t>(at + i), 1);
  };
  name(0, 8);
  for (const int at : entry.keys) name(at, 1);
  name(entry.compact, 1);
  name(entry.not_valid, 1);
  name(entry.ratio, 2);
  name(entry.flag_at, 1);
  name(entry.carried[0], 4);
  name(entry.carried[1], 4);
  if (kind == kHp && revision >= 0x12) name(10, 1);
  if (kind == kCheseg) name(11, 3);  // flags, second ratio
  if (kind == kLd && revision >= 0x11) name(13, 1);
  if (kind == kPool && revision >= 0x1F) name(18, 1);
  const size_t end = entry.quads > 0 ? At(entry.quads_at) : interval.size();
  for (size_t at = 8; at < end; ++at) {
    if (named.Get8(at) == 0) interval.U8(at, 0xFF);
  }
  Interval(1000, interval);
  ExpectPeriod(LongInterval(first_key).Add(
      Words(Groups({166, 166, 341, 341}, {166, 166, kLarge, kLarge}), {5000, 5000})));
}

// --- forms with a ratio flag ---------------------------------------------------------------------

using FlaggedForm = Form;
INSTANTIATE_TEST_SUITE_P(Flagged, FlaggedForm,
                         ::testing::ValuesIn(Cases([](const KindFacts&, const EntryFacts& e) {
                           return e.flag != 0;
                         })),
                         CaseName);

TEST_P(FlaggedForm, AbsentRatioIsNotGathered) {
  const auto without = [this](Bytes bytes) { return bytes.U8(At(entry.flag_at), 0); };
  Interval(1000, without(LongInterval(first_key)));
  Interval(1020, without(ShortInterval(first_key)));
  // The logical disk tracks the ratio of every valid entry all the same.
  const std::vector<uint32_t> ratio =
      kind == kLd ? std::vector<uint32_t>{5000, 1000} : std::vector<uint32_t>{0, 0};
  ExpectPeriod(without(BothIntervals())
                   .U16(At(entry.ratio), 0)
                   .Add(Words(Groups({1500, 166, 1536, 341}, {1500, 166, kLarge, kSmall}), ratio)));
}

TEST_P(FlaggedForm, OneIntervalWithARatioSetsTheBit) {
  Interval(1000, LongInterval(first_key));
  Interval(1020, ShortInterval(first_key).U8(At(entry.flag_at), 0));
  const std::vector<uint32_t> ratio =
      kind == kLd ? std::vector<uint32_t>{5000, 1000} : std::vector<uint32_t>{5000, 5000};
  ExpectPeriod(BothIntervals()
                   .U16(At(entry.ratio), 3750)  // 5000 x 60 / 80
                   .Add(Words(Groups({1500, 166, 1536, 341}, {1500, 166, kLarge, kSmall}), ratio)));
}

// --- forms with compact entries ------------------------------------------------------------------

using CompactForm = Form;
INSTANTIATE_TEST_SUITE_P(Compact, CompactForm,
                         ::testing::ValuesIn(Cases([](const KindFacts& k, const EntryFacts&) {
                           return k.head != 0;
                         })),
                         CaseName);

TEST_P(CompactForm, CompactEntryOccupiesItsHeadAndHasNoExtendedWords) {
  run.InputMask(kind, kinds.mask);
  Bytes words;
  for (int i = 0; i < WordCount(); ++i) words.AddU32(700 + U(i));
  const auto compact = [this](Bytes bytes) {
    return bytes.U8(At(entry.compact), 1).Part(0, At(kinds.head));
  };
  // The second resource's entry stands right behind the head of the first one's.
  Interval(1000, compact(LongInterval(first_key)), ShortInterval(second_key).Add(words));
  Interval(1060, ShortInterval(first_key).Add(words), compact(LongInterval(second_key)));
  // Both: 30 operations of the short interval, both lengths and ratios, and the words.
  const auto expected = [&](const Key& key, uint32_t status, uint32_t maximum, uint32_t minimum) {
    Bytes bytes = Head(key, status, 80000, 4000);
    for (int k = 0; k < entry.quads; ++k) {
      bytes.Quad(Quad(k), 30, 200 + U(k), 40,
                 OlderRule(revision) ? (20000 * (kSmall + U(k))) / 80000 : kSmall + U(k));
    }
    for (int i = 0; i < WordCount(); ++i)
      bytes.AddU32(i % 2 == 0 ? maximum + U(i) : minimum == 0 ? 0 : minimum + U(i));
    return bytes;
  };
  // The first resource's first interval brought no words, so its minima start from 0.
  Bytes both = expected(first_key, 0x22222222, 700, 0);
  both.Add(expected(second_key, 0x11111111, 700, 700));
  EXPECT_EQ(Section(both.size()), both);
}

TEST_P(CompactForm, CompactEntryFoldsZeroWordsWithTheirExtremes) {
  const Bytes compact = LongInterval(first_key).U8(At(entry.compact), 0x40).Part(0, At(kinds.head));
  Interval(1000, compact);
  Interval(1060, ShortInterval(first_key));
  Bytes bytes = Head(first_key, 0x22222222, 80000, 4000);
  for (int k = 0; k < entry.quads; ++k) {
    bytes.Quad(Quad(k), 30, 200 + U(k), 40,
               OlderRule(revision) ? (20000 * (kSmall + U(k))) / 80000 : kSmall + U(k));
  }
  ExpectPeriod(bytes.Add(Words(Groups({1500, 0, 1536, 0}, {1500, 0, kSmall, 0}), {5000, 1000})));
}

TEST_P(CompactForm, CompactEntryCutAtTheEndOfTheRecordIsComplete) {
  const Bytes compact =
      Bytes(NotValid(second_key)).U8(At(entry.compact), 1).Part(0, At(kinds.head));
  Interval(1000, ShortInterval(first_key), compact);  // nothing behind the head
  Bytes bytes = ShortInterval(first_key);
  ExpectPeriod(bytes.Add(
      Words(Groups({1500, 1500, 1536, 1536}, {1500, 1500, kSmall, kSmall}), {1000, 1000})));
}

TEST_P(CompactForm, IdleResourceIsWrittenCompactWithItsRatio) {
  // No operations, though maxima are there; busy for 0.9999 ms.
  Bytes interval = Head(first_key, 5, 1, 9999);
  for (int k = 0; k < entry.quads; ++k) interval.Quad(Quad(k), 0, 3, 77, 5);
  Interval(1000, interval);
  Bytes expected = Head(first_key, 5, 1, 9999);
  if (entry.idles) {
    expected = expected.U8(At(entry.compact), 1).Part(0, At(kinds.head));
  } else {  // pools are always written in full
    for (int k = 0; k < entry.quads; ++k)
      expected.Quad(Quad(k), 0, 0, 77, OlderRule(revision) ? 5 : 0);
    expected.Add(Words(Groups({0, 0, 0, 0}, {0, 0, 5, 5}), {9999, 9999}));
  }
  ExpectPeriod(expected);
}

TEST_P(CompactForm, BusyResourceWithoutOperationsIsWrittenInFull) {
  Interval(1000, Head(first_key, 5, 1, 10000));  // busy for exactly 1 ms
  Bytes expected = Head(first_key, 5, 1, 10000);
  // Without a ratio, and for cache segments, operations alone decide.
  if (!HasRatio() || kind == kCheseg) {
    expected = expected.U8(At(entry.compact), 1).Part(0, At(kinds.head));
  } else {
    expected.Add(Words(Groups({0, 0, 0, 0}, {0, 0, 0, 0}), {10000, 10000}));
  }
  ExpectPeriod(expected);
}

TEST_P(CompactForm, OneOperationInTheLastGroupIsWrittenInFull) {
  if (entry.quads == 0) GTEST_SKIP() << "the form has no counter groups";
  Bytes interval = Head(first_key, 5, 1000, 0);
  interval.Quad(Quad(entry.quads - 1), 1, 3, 77, 1024);
  Interval(1000, interval);
  std::vector<std::vector<uint32_t>> groups = Groups({0, 0, 0, 0}, {0, 0, 0, 0});
  // One operation in one second is 1000 by the rate's unit; 1024 of volume per second is 1.
  if (OlderRule(revision)) groups.back() = {1000, 1000, 1024, 1024};
  if (!OlderRule(revision)) groups.back() = {1000, 1000, 1, 1};
  ExpectPeriod(interval.Add(Words(groups, {0, 0})));
}

}  // namespace
}  // namespace revtest
