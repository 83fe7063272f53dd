// Forms with compact entries, in every revision that carries them: read as their head only, written
// for idle resources.
#include "tests/support/form_fixture.h"

namespace revtest {
namespace {

FORM_SUITE(CompactForm, ([](const KindFacts& k, const EntryFacts&) { return k.head != 0; }));

FORM_SUITE(CompactGroupedForm,
           ([](const KindFacts& k, const EntryFacts& e) { return k.head != 0 && e.quads > 0; }));

FORM_TEST(CompactForm, CompactEntryOccupiesItsHeadAndHasNoExtendedWords) {
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
                 OlderRule(revision) ? (kSmall + U(k)) / 4 : kSmall + U(k));
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

FORM_TEST(CompactForm, CompactEntryFoldsZeroWordsWithTheirExtremes) {
  const Bytes compact = LongInterval(first_key).U8(At(entry.compact), 0x40).Part(0, At(kinds.head));
  Interval(1000, compact);
  Interval(1060, ShortInterval(first_key));
  Bytes bytes = Head(first_key, 0x22222222, 80000, 4000);
  for (int k = 0; k < entry.quads; ++k) {
    bytes.Quad(Quad(k), 30, 200 + U(k), 40,
               OlderRule(revision) ? (kSmall + U(k)) / 4 : kSmall + U(k));
  }
  ExpectPeriod(bytes.Add(Words(Groups({1500, 0, 1536, 0}, {1500, 0, kSmall, 0}), {5000, 1000})));
}

FORM_TEST(CompactForm, CompactEntryCutAtTheEndOfTheRecordIsComplete) {
  const Bytes compact =
      Bytes(NotValid(second_key)).U8(At(entry.compact), 1).Part(0, At(kinds.head));
  Interval(1000, ShortInterval(first_key), compact);  // nothing behind the head
  Bytes bytes = ShortInterval(first_key);
  ExpectPeriod(bytes.Add(
      Words(Groups({1500, 1500, 1536, 1536}, {1500, 1500, kSmall, kSmall}), {1000, 1000})));
}

FORM_TEST(CompactForm, IdleResourceIsWrittenCompactWithItsRatio) {
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

FORM_TEST(CompactForm, BusyResourceWithoutOperationsIsWrittenInFull) {
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

FORM_TEST(CompactGroupedForm, OneOperationInTheLastGroupIsWrittenInFull) {
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
