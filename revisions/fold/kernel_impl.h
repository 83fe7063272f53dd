// Body of the vector kernels, compiled once for each vector width (QELPRF_WIDTH: 2, 4 or 8 doubles)
// with the options of its processor. Written with the compiler's vector extensions. It includes
// nothing that holds inline functions: those would be compiled for the wrong processor and might be
// chosen for the whole program. Everything is therefore in an unnamed namespace.
#include "revisions/fold/kernel.h"
#include "revisions/fold/vectors.h"

namespace {

// Lanes in `take` keep the larger or smaller value, or just the value when it is the first one.
QELPRF_INLINE void TrackMaximum(double* field, Doubles value, Masks take, bool first) {
  const Doubles old = Load(field);
  const Masks replace = first ? take : take & ~reinterpret_cast<Masks>(value < old);
  Store(field, Choose(replace, value, old));
}
QELPRF_INLINE void TrackMinimum(double* field, Doubles value, Masks take, bool first) {
  const Doubles old = Load(field);
  const Masks replace = first ? take : take & ~reinterpret_cast<Masks>(old < value);
  Store(field, Choose(replace, value, old));
}

void FindLengths(const TileIntervals& intervals, TileLengths& lengths) {
  lengths.equal = true;
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    Masks differ = {};
    Doubles oldest = {};
    for (size_t i = 0; i < intervals.count; ++i) {
      const Doubles length = ToDoubles(LoadFrom(intervals, i, lane, 0).word[1]);
      if (i == 0) oldest = length;
      differ |= reinterpret_cast<Masks>(length != oldest);
      Store(lengths.of[i] + lane, length);
    }
    lengths.equal = lengths.equal && !AnyOf(differ);
  }
}

// What an interval says of a group.
struct Figures {
  Doubles count;
  Doubles product;  // second average x count
  Doubles q3;
};

// The four sums of a group while intervals are added to them.
struct Sums {
  Doubles count;
  Doubles first;
  Doubles second;
  Wide largest;
};

QELPRF_INLINE Sums LoadSums(const double* fields) {
  return {Load(fields), Load(fields + kTileLanes), Load(fields + 3 * kTileLanes), Wide{}};
}
QELPRF_INLINE void StoreSums(double* fields, const Sums& sums) {
  Store(fields, sums.count);
  Store(fields + kTileLanes, sums.first);
  const Doubles largest = ToDoubles(sums.largest);
  Store(fields + 2 * kTileLanes, Larger(Load(fields + 2 * kTileLanes), largest));
  Store(fields + 3 * kTileLanes, sums.second);
}

// Without kScaled counts are taken for words without their top bit.
template <bool kCurrent, bool kScaled>
QELPRF_INLINE Figures Add(Sums& sums, const Group& group, Doubles length) {
  const Doubles word = ToDoubles(group.word[0]);
  const Doubles q1 = ToDoubles(group.word[1]);
  const Doubles q3 = ToDoubles(group.word[3]);
  const Masks scaled = kScaled ? reinterpret_cast<Masks>(word >= 2147483648.0) : Masks{};
  const Doubles count = kScaled ? Choose(scaled, (word - 2147483648.0) * 256.0, word) : word;
  const Doubles product = q3 * count;
  sums.count += count;
  sums.first += word * q1;
  sums.largest = Larger(sums.largest, group.word[2]);
  sums.second += kCurrent ? product : length * q3;
  return {count, product, q3};
}

// Rates of a lane without a length are not used; it divides by 1.
struct Divisor {
  Doubles length;
  Doubles seconds;
  Masks timed;
};
QELPRF_INLINE Divisor DivisorOf(Doubles length) {
  const Masks timed = reinterpret_cast<Masks>(length != 0.0);
  const Doubles divisor = Choose(timed, length, length + 1.0);
  return {divisor, divisor / 1000.0, timed};
}
QELPRF_INLINE Doubles Rate(Doubles count, const Divisor& by) {
  return (count * 1000.0 / by.length) * 1000.0;
}
template <bool kCurrent>
QELPRF_INLINE Doubles Volume(Doubles figure, const Divisor& by) {
  return kCurrent ? figure / by.seconds / 1024.0 : figure;
}

// Intervals of one length: no rounding reverses an order, so the largest rate is the rate of the
// largest count, and likewise for volumes. The extremes stay counts (by the current rule with
// products) until something else needs them.
// Without kScaled it does nothing and returns false when a count has its top bit set, which is
// rare.
template <bool kCurrent, bool kScaled>
QELPRF_INLINE bool FoldCounts(double* fields, double* extremes, size_t offset, const FoldRun& run,
                              size_t lane, Doubles length) {
  Sums sums = LoadSums(fields);
  Group group = LoadFrom(run.intervals, 0, lane, offset);
  Wide counts = group.word[0];
  Figures now = Add<kCurrent, kScaled>(sums, group, length);
  Doubles volume = kCurrent ? now.product : now.q3;
  Doubles most = now.count;
  Doubles least = now.count;
  Doubles most_volume = volume;
  Doubles least_volume = volume;
  for (size_t i = 1; i < run.intervals.count; ++i) {
    group = LoadFrom(run.intervals, i, lane, offset);
    counts |= group.word[0];
    now = Add<kCurrent, kScaled>(sums, group, length);
    volume = kCurrent ? now.product : now.q3;
    most = Larger(most, now.count);
    least = Smaller(least, now.count);
    most_volume = Larger(most_volume, volume);
    least_volume = Smaller(least_volume, volume);
  }
  if (!kScaled && AnyOf(reinterpret_cast<Masks>(counts & 0x80000000))) return false;
  StoreSums(fields, sums);
  const Masks timed = reinterpret_cast<Masks>(length != 0.0);
  TrackMaximum(extremes, most, timed, run.first);
  TrackMinimum(extremes + kTileLanes, least, timed, run.first);
  TrackMaximum(extremes + 2 * kTileLanes, most_volume, timed, run.first);
  TrackMinimum(extremes + 3 * kTileLanes, least_volume, timed, run.first);
  return true;
}

// Turns extremes that are still counts into rates.
template <bool kCurrent>
QELPRF_INLINE void SettleRates(double* extremes, size_t tracked, double* lengths) {
  const Doubles length = Load(lengths);
  const Masks counts = reinterpret_cast<Masks>(length != 0.0);
  if (!AnyOf(counts)) return;
  const Divisor by = DivisorOf(length);
  for (size_t i = 0; i < tracked; ++i) {
    for (size_t n = 0; n < 4; ++n, extremes += kTileLanes) {
      const Doubles value = Load(extremes);
      Store(extremes, Choose(counts, n < 2 ? Rate(value, by) : Volume<kCurrent>(value, by), value));
    }
  }
  Store(lengths, Doubles{});
}

// Intervals of any lengths.
template <bool kCurrent>
QELPRF_INLINE void FoldAny(double* fields, double* extremes, size_t offset, const FoldRun& run,
                           size_t lane, const TileLengths& lengths, bool tracked) {
  Sums sums = LoadSums(fields);
  for (size_t i = 0; i < run.intervals.count; ++i) {
    const Doubles length = Load(lengths.of[i] + lane);
    const Figures now = Add<kCurrent, true>(sums, LoadFrom(run.intervals, i, lane, offset), length);
    if (!tracked) continue;
    const Divisor by = DivisorOf(length);
    const bool first = run.first && i == 0;
    const Doubles rate = Rate(now.count, by);
    const Doubles volume = Volume<kCurrent>(kCurrent ? now.product : now.q3, by);
    TrackMaximum(extremes, rate, by.timed, first);
    TrackMinimum(extremes + kTileLanes, rate, by.timed, first);
    TrackMaximum(extremes + 2 * kTileLanes, volume, by.timed, first);
    TrackMinimum(extremes + 3 * kTileLanes, volume, by.timed, first);
  }
  StoreSums(fields, sums);
}

// Has the four fields of a group on their way.
QELPRF_INLINE void Fetch(const double* fields) {
  for (size_t i = 0; i < 4; ++i) __builtin_prefetch(fields + i * kTileLanes, 1);
}

template <bool kCurrent>
void Fold(double* fields, const FoldRun& run) {
  TileLengths found;
  if (run.lengths == nullptr) FindLengths(run.intervals, found);
  const TileLengths& lengths = run.lengths != nullptr ? *run.lengths : found;
  const size_t tracked = run.compute ? run.tracked : 0;
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    double* sums = fields + lane;
    double* extremes = sums + run.quadsets * 4 * kTileLanes;
    double* const counted = extremes + run.tracked * 4 * kTileLanes;
    const Doubles length = Load(lengths.of[0] + lane);
    // A lane without a length has no extremes; one that begins a period or goes on with its length
    // keeps counts.
    const Masks goes_on = reinterpret_cast<Masks>(Load(counted) == length);
    const Masks begins = run.first ? ~Masks{} : Masks{};
    const bool counts = lengths.equal && !AnyOf(~(goes_on | begins));
    if (run.first || !counts) SettleRates<kCurrent>(extremes, run.tracked, counted);
    if (counts && tracked != 0) Store(counted, length);
    size_t offset = run.groups_at;
    for (size_t i = 0; i < run.quadsets; ++i, offset += kGroupBytes) {
      if (run.next != 0 && lane == 0) {
        Fetch(sums + run.next);
        if (i < run.tracked) Fetch(extremes + run.next);
      }
      if (!counts || i >= tracked) {
        FoldAny<kCurrent>(sums, extremes, offset, run, lane, lengths, i < tracked);
      } else if (!FoldCounts<kCurrent, false>(sums, extremes, offset, run, lane, length)) {
        FoldCounts<kCurrent, true>(sums, extremes, offset, run, lane, length);
      }
      sums += 4 * kTileLanes;
      extremes += 4 * kTileLanes;
    }
  }
}

QELPRF_INLINE Wide TakeOf(uint8_t bits, size_t lane) {
  Wide take = {};
  for (size_t i = 0; i < kWidth; ++i) take[i] = (bits >> (lane + i) & 1) != 0 ? 0xFFFFFFFF : 0;
  return take;
}

// Lanes that do not take part in an interval stand for 0 among maxima and for the largest word
// among minima, which change nothing.
struct WordExtremes {
  Wide most[2];
  Wide least[2];
};

void Merge(double* extremes, const MergeRun& run) {
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    Wide takes[kMostIntervals];
    Wide any = {};
    for (size_t n = 0; n < run.intervals.count; ++n) {
      takes[n] = TakeOf(run.take[n], lane);
      any |= takes[n];
    }
    const Masks merged = reinterpret_cast<Masks>(any != 0);
    const Masks begun = run.first ? reinterpret_cast<Masks>(takes[0] != 0) : Masks{};
    double* field = extremes + lane;
    for (size_t i = 0; i < run.tracked; ++i, field += 4 * kTileLanes) {
      WordExtremes found = {{Wide{}, Wide{}}, {Wide{} + 0xFFFFFFFF, Wide{} + 0xFFFFFFFF}};
      for (size_t n = 0; n < run.intervals.count; ++n) {
        const Group group = LoadFrom(run.intervals, n, lane, run.words_at + i * kGroupBytes);
        const Wide left_out = ~takes[n] & 0xFFFFFFFF;
        found.most[0] = Larger(found.most[0], group.word[0] & takes[n]);
        found.least[0] = Smaller(found.least[0], group.word[1] | left_out);
        found.most[1] = Larger(found.most[1], group.word[2] & takes[n]);
        found.least[1] = Smaller(found.least[1], group.word[3] | left_out);
      }
      for (size_t side = 0; side < 2; ++side) {
        double* const most = field + 2 * side * kTileLanes;
        double* const least = most + kTileLanes;
        // What was there counts unless the lane's oldest words begin a period.
        const Doubles most_found = ToDoubles(found.most[side]);
        const Doubles least_found = ToDoubles(found.least[side]);
        const Doubles most_old = Load(most);
        const Doubles least_old = Load(least);
        const Doubles most_new = Choose(begun, most_found, Larger(most_old, most_found));
        const Doubles least_new = Choose(begun, least_found, Smaller(least_old, least_found));
        Store(most, Choose(merged, most_new, most_old));
        Store(least, Choose(merged, least_new, least_old));
      }
    }
  }
}

QELPRF_INLINE void Store(uint64_t* p, Wide v) { *reinterpret_cast<LooseWide*>(p) = v; }

QELPRF_INLINE Wide BitsOf(const Group& head, const HeadBit& bit) {
  return (bit.in_third ? head.word[3] : head.word[2]) & bit.bit;
}
QELPRF_INLINE Wide OneFor(Wide bits) {
  return reinterpret_cast<Wide>(-reinterpret_cast<Masks>(bits != 0));
}

void FoldHeadsOf(HeadRun& run) {
  run.lengths.equal = true;
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    Wide time = {};
    Wide ratios = {};
    Wide counted = {};
    Wide sticky = {};
    Masks differ = {};
    Doubles oldest_length = {};
    Doubles busy = Load(run.busy + lane);
    for (size_t i = 0; i < run.intervals.count; ++i) {
      const Group head = LoadFrom(run.intervals, i, lane, 0);
      time += head.word[1];
      const Doubles length = ToDoubles(head.word[1]);
      if (i == 0) oldest_length = length;
      differ |= reinterpret_cast<Masks>(length != oldest_length);
      Store(run.lengths.of[i] + lane, length);
      sticky |= BitsOf(head, run.sticky);
      if (run.words_at != 0) {
        // With the two words in front of them, which are always there.
        const Group words = LoadFrom(run.intervals, i, lane, run.words_at - kGroupBytes / 2);
        const bool oldest = run.first && i == 0;
        TrackMaximum(run.maximum + lane, ToDoubles(words.word[2]), ~Masks{}, oldest);
        TrackMinimum(run.minimum + lane, ToDoubles(words.word[3]), ~Masks{}, oldest);
      }
      if (run.counted.bit != 0) counted += OneFor(BitsOf(head, run.counted));
      if (run.ratio == RatioPlace::kNowhere) continue;
      Wide word = head.word[3];
      if (run.ratio != RatioPlace::kAt14) {
        const Group next = LoadFrom(run.intervals, i, lane, kGroupBytes);
        word = (run.ratio == RatioPlace::kAt16 ? next.word[0] : next.word[1]) >> 16;
      }
      const Doubles ratio = ToDoubles(word & 0xFFFF);
      const Masks present =
          run.always ? ~Masks{} : reinterpret_cast<Masks>(BitsOf(head, run.there) != 0);
      busy = Choose(present, busy + (ratio * length) / 10000.0, busy);
      ratios -= reinterpret_cast<Wide>(present);
      if (!run.track) continue;
      const Masks take = run.track_always ? ~Masks{} : present;
      const bool oldest = run.first && i == 0;
      TrackMaximum(run.maximum + lane, ratio, take, oldest);
      TrackMinimum(run.minimum + lane, ratio, take, oldest);
    }
    Store(run.time + lane, time);
    Store(run.ratios + lane, ratios);
    Store(run.counted_in + lane, counted);
    Store(run.sticky_in + lane, sticky);
    Store(run.busy + lane, busy);
    run.lengths.equal = run.lengths.equal && !AnyOf(differ);
  }
}

// Truncation toward zero of what is not negative; too large values saturate.
QELPRF_INLINE Wide ToWords(Doubles v) {
  constexpr double kWhole = 4503599627370496.0;  // 2^52: sums with it have no fraction
  const Doubles most = v - v + 4294967295.0;
  const Doubles bounded = Smaller(v, most);
  const Doubles rounded = (bounded + kWhole) - kWhole;
  const Doubles whole = Choose(reinterpret_cast<Masks>(bounded < rounded), rounded - 1.0, rounded);
  return reinterpret_cast<Wide>(whole + kWhole) & 0xFFFFFFFF;
}

QELPRF_INLINE Wide EncodeCounts(Doubles count) {
  const Masks large = reinterpret_cast<Masks>(count > 2147483647.0);
  const Doubles most = count - count + 2147483647.0;
  return ToWords(Choose(large, Smaller(count / 256.0, most), count)) |
         (reinterpret_cast<Wide>(large) & 0x80000000);
}

QELPRF_INLINE Wide Quotients(Doubles sum, Doubles by, Masks there) {
  return ToWords(Choose(there, sum, sum - sum) / Choose(there, by, by - by + 1.0));
}

// Two words that follow each other in the file.
QELPRF_INLINE void PutPair(uint64_t* pair, Wide first, Wide second) {
  Wide both = first << 32 | second;
  for (size_t i = 0; i < kWidth; ++i) both[i] = __builtin_bswap64(both[i]);
  Store(pair, both);
}

template <bool kCurrent>
void Put(double* fields, PutRun& run) {
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    const double* sums = fields + lane;
    double* const extremes = fields + lane + run.quadsets * 4 * kTileLanes;
    SettleRates<kCurrent>(extremes, run.tracked, extremes + run.tracked * 4 * kTileLanes);
    const Doubles time = Load(run.time + lane);
    uint64_t pairs[kMostWords / 2][kWidth];
    size_t at = 0;
    for (size_t i = 0; i < run.quadsets; ++i, sums += 4 * kTileLanes) {
      const Doubles count = Load(sums);
      const Doubles by = kCurrent ? count : time;
      PutPair(pairs[at++], EncodeCounts(count),
              Quotients(Load(sums + kTileLanes), count, reinterpret_cast<Masks>(count >= 1.0)));
      PutPair(pairs[at++], ToWords(Load(sums + 2 * kTileLanes)),
              Quotients(Load(sums + 3 * kTileLanes), by, reinterpret_cast<Masks>(by != 0.0)));
    }
    for (size_t i = 0; i < 2 * run.tracked; ++i) {
      const double* field = extremes + 2 * i * kTileLanes;
      PutPair(pairs[at++], ToWords(Load(field)), ToWords(Load(field + kTileLanes)));
    }
    for (size_t i = 0; i < kWidth; ++i) {
      for (size_t pair = 0; pair < at; ++pair) run.words[lane + i][pair] = pairs[pair][i];
    }
  }
}

}  // namespace
