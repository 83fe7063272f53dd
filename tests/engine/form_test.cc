// Every entry form in every revision that carries it: two intervals are read as records, and the
// written section is compared byte for byte.
#include "tests/support/form_fixture.h"

namespace revtest {
namespace {

FORM_SUITE(Form, ([](const KindFacts&, const EntryFacts&) { return true; }));

FORM_SUITE(GroupedForm, ([](const KindFacts&, const EntryFacts& e) { return e.quads > 0; }));

FORM_SUITE(CarryingForm, ([](const KindFacts&, const EntryFacts& e) { return e.carried[0] >= 0; }));

FORM_TEST(Form, FoldsIntervalsAndComputesExtremesOfRates) {
  Interval(1000, LongInterval(first_key));
  Interval(1020, ShortInterval(first_key));
  // Operations: 30 x 1000 / 20000 x 1000 and 10 x 1000 / 60000 x 1000; volumes: 2^20 x 30 / 20 /
  // 1024 and 2^21 x 10 / 60 / 1024, by the older rule the raw words.
  ExpectPeriod(BothIntervals().Add(
      Words(Groups({1500, 166, 1536, 341}, {1500, 166, kLarge, kSmall}), {5000, 1000})));
}

FORM_TEST(Form, MergesExtendedWordsOfTheInput) {
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

FORM_TEST(Form, ExtendedWordsOfMissingBitsTakeNoRoomAndThoseOutsideTheMaskArePassedOver) {
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

FORM_TEST(Form, NotValidEntryDoesNotCount) {
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

FORM_TEST(Form, PeriodWithoutIntervalsIsWrittenNotValidWithTheConfiguredKeys) {
  Interval(1000, NotValid(first_key));
  const Bytes expected = Untouched(first_key).Add(Untouched(second_key));
  EXPECT_EQ(SectionOf(run.Period(), revision, kind, expected.size()), expected);
}

FORM_TEST(Form, FirstIntervalOfTheNextPeriodReplacesTheExtremes) {
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

FORM_TEST(Form, IntervalOfLengthZeroUpdatesSumsButNoExtremesOfRates) {
  Interval(1000, ShortInterval(first_key).U32(4, 0));
  Interval(1020, ShortInterval(first_key));
  Bytes expected = Head(first_key, 0x22222222, 20000, 1000);
  for (int k = 0; k < entry.quads; ++k) {
    expected.Quad(Quad(k), 60, 200 + U(k), 40, kSmall + U(k));
  }
  // The first interval brought none, so the minima start from 0.
  ExpectPeriod(expected.Add(Words(Groups({1500, 0, 1536, 0}, {1500, 0, kSmall, 0}), {1000, 1000})));
}

FORM_TEST(GroupedForm, CountWordsWithTheTopBitSet) {
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

// The resuming search of logical disks (from 0x15) and physical disks takes any key; host port
// nodes are configured by their first entries, so a later one can be unknown.
FORM_SUITE(SearchedForm, ([](const KindFacts& k, const EntryFacts&) {
             return k.kind != kPd && (k.kind != kLd || k.list != 64);
           }));

FORM_TEST(SearchedForm, UnconfiguredKeyBreaksTheRecord) {
  Interval(1000, LongInterval(first_key));
  Key unknown = first_key;
  unknown[0] = 0x77;
  StatisticsBuilder record(revision);
  record.time = 1060;
  record.Add(kind, LongInterval(unknown)).Add(kind, NotValid(second_key));
  EXPECT_TRUE(run.Breaks(record.Build()));
}

FORM_TEST(CarryingForm, CarriedWordsAreThoseOfTheLastValidEntry) {
  const auto with = [this](Bytes bytes, uint32_t a, uint32_t b) {
    if (entry.carried[0] >= 0) bytes.U32(At(entry.carried[0]), a);
    if (entry.carried[1] >= 0) bytes.U32(At(entry.carried[1]), b);
    return bytes;
  };
  Interval(1000, with(LongInterval(first_key), 0xA1A2A3A4, 0xB1B2B3B4));
  Interval(1020, with(ShortInterval(first_key), 0xC1C2C3C4, 0xD1D2D3D4));
  Interval(1040, with(NotValid(first_key), 0xE1E2E3E4, 0xF1F2F3F4));
  ExpectPeriod(
      with(BothIntervals(), 0xC1C2C3C4, 0xD1D2D3D4)
          .Add(Words(Groups({1500, 166, 1536, 341}, {1500, 166, kLarge, kSmall}), {5000, 1000})));
}

FORM_TEST(Form, BytesThatNoRuleNamesAreWrittenAsZero) {
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

FORM_SUITE(FlaggedForm, ([](const KindFacts&, const EntryFacts& e) { return e.flag != 0; }));

FORM_TEST(FlaggedForm, AbsentRatioIsNotGathered) {
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

FORM_TEST(FlaggedForm, OneIntervalWithARatioSetsTheBit) {
  Interval(1000, LongInterval(first_key));
  Interval(1020, ShortInterval(first_key).U8(At(entry.flag_at), 0));
  const std::vector<uint32_t> ratio =
      kind == kLd ? std::vector<uint32_t>{5000, 1000} : std::vector<uint32_t>{5000, 5000};
  ExpectPeriod(BothIntervals()
                   .U16(At(entry.ratio), 3750)  // 5000 x 60 / 80
                   .Add(Words(Groups({1500, 166, 1536, 341}, {1500, 166, kLarge, kSmall}), ratio)));
}

}  // namespace
}  // namespace revtest
