// Body of the vector kernels, compiled once for each vector width (QELPRF_WIDTH: 4 or 8 doubles)
// with the options of its processor. Written with the compiler's vector extensions. It includes
// nothing that holds inline functions: those would be compiled for the wrong processor and might be
// chosen for the whole program. Everything is therefore in an unnamed namespace.
#include "revisions/fold_kernel.h"

#define QELPRF_INLINE inline __attribute__((always_inline))

namespace {

constexpr size_t kWidth = QELPRF_WIDTH;
constexpr size_t kTileLanes = 8;
constexpr size_t kGroupBytes = 16;

typedef double Doubles __attribute__((vector_size(kWidth * 8)));
typedef int64_t Masks __attribute__((vector_size(kWidth * 8)));
typedef uint64_t Wide __attribute__((vector_size(kWidth * 8)));
typedef uint8_t Bytes16 __attribute__((vector_size(16)));
#if QELPRF_WIDTH == 4
typedef uint32_t Words __attribute__((vector_size(16)));
#else
typedef uint8_t Bytes32 __attribute__((vector_size(32)));
typedef uint8_t Bytes64 __attribute__((vector_size(64)));
typedef uint32_t Words16 __attribute__((vector_size(64)));
#endif

// Without an assumption about alignment.
typedef Doubles LooseDoubles __attribute__((aligned(8), may_alias));
typedef Wide LooseWide __attribute__((aligned(8), may_alias));
typedef Bytes16 LooseBytes __attribute__((aligned(1), may_alias));

QELPRF_INLINE Doubles Load(const double* p) { return *reinterpret_cast<const LooseDoubles*>(p); }
QELPRF_INLINE void Store(double* p, Doubles v) { *reinterpret_cast<LooseDoubles*>(p) = v; }

QELPRF_INLINE Bytes16 LoadGroup(const uint8_t* p) {
  return *reinterpret_cast<const LooseBytes*>(p);
}

// The four words of one group, lane by lane turned to word by word and into host order.
struct Group {
  Wide word[4];
};

#if QELPRF_WIDTH == 8

QELPRF_INLINE Words16 LoadFourGroups(const uint8_t* entry, size_t step) {
#define QELPRF_TURNED(n) n + 3, n + 2, n + 1, n
#define QELPRF_TURNED16(n) \
  QELPRF_TURNED(n), QELPRF_TURNED(n + 4), QELPRF_TURNED(n + 8), QELPRF_TURNED(n + 12)
#define QELPRF_NEXT16(n)                                                                    \
  n, n + 1, n + 2, n + 3, n + 4, n + 5, n + 6, n + 7, n + 8, n + 9, n + 10, n + 11, n + 12, \
      n + 13, n + 14, n + 15
  const Bytes32 low = __builtin_shufflevector(LoadGroup(entry), LoadGroup(entry + step),
                                              QELPRF_NEXT16(0), QELPRF_NEXT16(16));
  const Bytes32 high =
      __builtin_shufflevector(LoadGroup(entry + 2 * step), LoadGroup(entry + 3 * step),
                              QELPRF_NEXT16(0), QELPRF_NEXT16(16));
  const Bytes64 all = __builtin_shufflevector(low, high, QELPRF_NEXT16(0), QELPRF_NEXT16(16),
                                              QELPRF_NEXT16(32), QELPRF_NEXT16(48));
  return reinterpret_cast<Words16>(__builtin_shufflevector(
      all, all, QELPRF_TURNED16(0), QELPRF_TURNED16(16), QELPRF_TURNED16(32), QELPRF_TURNED16(48)));
#undef QELPRF_TURNED
#undef QELPRF_TURNED16
#undef QELPRF_NEXT16
}

QELPRF_INLINE Group LoadGroups(const uint8_t* entry, size_t step) {
  const Words16 a = LoadFourGroups(entry, step);
  const Words16 b = LoadFourGroups(entry + 4 * step, step);
  // Words in the low halves of 64 bits; what comes along in the high halves is cleared.
#define QELPRF_WORD(n)                                                                            \
  (reinterpret_cast<Wide>(__builtin_shufflevector(a, b, n, n, n + 4, n + 4, n + 8, n + 8, n + 12, \
                                                  n + 12, n + 16, n + 16, n + 20, n + 20, n + 24, \
                                                  n + 24, n + 28, n + 28)) &                      \
   0xFFFFFFFF)
  return {{QELPRF_WORD(0), QELPRF_WORD(1), QELPRF_WORD(2), QELPRF_WORD(3)}};
#undef QELPRF_WORD
}

QELPRF_INLINE Doubles ToDoubles(Wide w) {
  return __builtin_convertvector(reinterpret_cast<Masks>(w), Doubles);
}

#else

QELPRF_INLINE Words Turned(Bytes16 b) {
  return reinterpret_cast<Words>(
      __builtin_shufflevector(b, b, 3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
}

QELPRF_INLINE Group LoadGroups(const uint8_t* entry, size_t step) {
  const Words r0 = Turned(LoadGroup(entry));
  const Words r1 = Turned(LoadGroup(entry + step));
  const Words r2 = Turned(LoadGroup(entry + 2 * step));
  const Words r3 = Turned(LoadGroup(entry + 3 * step));
  const Words low01 = __builtin_shufflevector(r0, r1, 0, 4, 1, 5);
  const Words low23 = __builtin_shufflevector(r2, r3, 0, 4, 1, 5);
  const Words high01 = __builtin_shufflevector(r0, r1, 2, 6, 3, 7);
  const Words high23 = __builtin_shufflevector(r2, r3, 2, 6, 3, 7);
  return {{__builtin_convertvector(__builtin_shufflevector(low01, low23, 0, 1, 4, 5), Wide),
           __builtin_convertvector(__builtin_shufflevector(low01, low23, 2, 3, 6, 7), Wide),
           __builtin_convertvector(__builtin_shufflevector(high01, high23, 0, 1, 4, 5), Wide),
           __builtin_convertvector(__builtin_shufflevector(high01, high23, 2, 3, 6, 7), Wide)}};
}

// AVX2 converts no 64-bit words: as the fraction of a double of 2^52 and more they are exact, too.
QELPRF_INLINE Doubles ToDoubles(Wide w) {
  return reinterpret_cast<Doubles>(w | 0x4330000000000000) - 4503599627370496.0;
}

#endif

// The groups at `offset` of the entries of kWidth lanes from `lane` on.
QELPRF_INLINE Group LoadFrom(const TileIntervals& intervals, size_t interval, size_t lane,
                             size_t offset) {
  return LoadGroups(intervals.first[interval] + lane * intervals.step + offset, intervals.step);
}

QELPRF_INLINE Doubles Choose(Masks mask, Doubles yes, Doubles no) { return mask ? yes : no; }
QELPRF_INLINE Doubles Larger(Doubles a, Doubles b) { return a < b ? b : a; }
QELPRF_INLINE Doubles Smaller(Doubles a, Doubles b) { return b < a ? b : a; }
QELPRF_INLINE bool AnyOf(Masks mask) {
  int64_t any = 0;
  for (size_t i = 0; i < kWidth; ++i) any |= mask[i];
  return any != 0;
}

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

// Interval lengths of a run, lane by lane.
struct Lengths {
  Doubles of[kMostIntervals];
  bool equal;  // each lane's length is the same in all intervals
};

QELPRF_INLINE Lengths LengthsOf(const FoldRun& run, size_t lane) {
  Lengths lengths;
  Masks differ = {};
  for (size_t i = 0; i < run.intervals.count; ++i) {
    lengths.of[i] = ToDoubles(LoadFrom(run.intervals, i, lane, 0).word[1]);
    differ |= reinterpret_cast<Masks>(lengths.of[i] != lengths.of[0]);
  }
  lengths.equal = !AnyOf(differ);
  return lengths;
}

// What an interval says of a group.
struct Figures {
  Doubles count;
  Doubles product;  // second average x count
  Doubles q3;
};

// Adds an interval to the four sums.
template <bool kCurrent>
QELPRF_INLINE Figures Sum(Doubles* sums, const Group& group, Doubles length) {
  const Doubles word = ToDoubles(group.word[0]);
  const Doubles q1 = ToDoubles(group.word[1]);
  const Doubles q2 = ToDoubles(group.word[2]);
  const Doubles q3 = ToDoubles(group.word[3]);
  const Masks scaled = reinterpret_cast<Masks>(word >= 2147483648.0);
  const Doubles count = Choose(scaled, (word - 2147483648.0) * 256.0, word);
  const Doubles product = q3 * count;
  sums[0] += count;
  sums[1] += word * q1;
  sums[2] = Larger(sums[2], q2);
  sums[3] += kCurrent ? product : length * q3;
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
template <bool kCurrent>
QELPRF_INLINE void FoldCounts(double* fields, double* extremes, size_t offset, const FoldRun& run,
                              size_t lane, Doubles length) {
  Doubles sums[4];
  for (size_t i = 0; i < 4; ++i) sums[i] = Load(fields + i * kTileLanes);
  Figures now = Sum<kCurrent>(sums, LoadFrom(run.intervals, 0, lane, offset), length);
  Doubles volume = kCurrent ? now.product : now.q3;
  Doubles most = now.count;
  Doubles least = now.count;
  Doubles most_volume = volume;
  Doubles least_volume = volume;
  for (size_t i = 1; i < run.intervals.count; ++i) {
    now = Sum<kCurrent>(sums, LoadFrom(run.intervals, i, lane, offset), length);
    volume = kCurrent ? now.product : now.q3;
    most = Larger(most, now.count);
    least = Smaller(least, now.count);
    most_volume = Larger(most_volume, volume);
    least_volume = Smaller(least_volume, volume);
  }
  for (size_t i = 0; i < 4; ++i) Store(fields + i * kTileLanes, sums[i]);
  const Masks timed = reinterpret_cast<Masks>(length != 0.0);
  TrackMaximum(extremes, most, timed, run.first);
  TrackMinimum(extremes + kTileLanes, least, timed, run.first);
  TrackMaximum(extremes + 2 * kTileLanes, most_volume, timed, run.first);
  TrackMinimum(extremes + 3 * kTileLanes, least_volume, timed, run.first);
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
                           size_t lane, const Lengths& lengths, bool tracked) {
  Doubles sums[4];
  for (size_t i = 0; i < 4; ++i) sums[i] = Load(fields + i * kTileLanes);
  for (size_t i = 0; i < run.intervals.count; ++i) {
    const Figures now =
        Sum<kCurrent>(sums, LoadFrom(run.intervals, i, lane, offset), lengths.of[i]);
    if (!tracked) continue;
    const Divisor by = DivisorOf(lengths.of[i]);
    const bool first = run.first && i == 0;
    const Doubles rate = Rate(now.count, by);
    const Doubles volume = Volume<kCurrent>(kCurrent ? now.product : now.q3, by);
    TrackMaximum(extremes, rate, by.timed, first);
    TrackMinimum(extremes + kTileLanes, rate, by.timed, first);
    TrackMaximum(extremes + 2 * kTileLanes, volume, by.timed, first);
    TrackMinimum(extremes + 3 * kTileLanes, volume, by.timed, first);
  }
  for (size_t i = 0; i < 4; ++i) Store(fields + i * kTileLanes, sums[i]);
}

template <bool kCurrent>
void Fold(double* fields, const FoldRun& run) {
  const size_t tracked = run.compute ? run.tracked : 0;
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    double* sums = fields + lane;
    double* extremes = sums + run.quadsets * 4 * kTileLanes;
    double* const counted = extremes + run.tracked * 4 * kTileLanes;
    const Lengths lengths = LengthsOf(run, lane);
    const Doubles length = lengths.of[0];
    // A lane without a length has no extremes; one that begins a period or goes on with its length
    // keeps counts.
    const Masks goes_on = reinterpret_cast<Masks>(Load(counted) == length);
    const Masks begins = run.first ? ~Masks{} : Masks{};
    const bool counts = lengths.equal && !AnyOf(~(goes_on | begins));
    if (run.first || !counts) SettleRates<kCurrent>(extremes, run.tracked, counted);
    if (counts && tracked != 0) Store(counted, length);
    size_t offset = run.groups_at;
    for (size_t i = 0; i < run.quadsets; ++i, offset += kGroupBytes) {
      if (counts && i < tracked) {
        FoldCounts<kCurrent>(sums, extremes, offset, run, lane, length);
      } else {
        FoldAny<kCurrent>(sums, extremes, offset, run, lane, lengths, i < tracked);
      }
      sums += 4 * kTileLanes;
      extremes += 4 * kTileLanes;
    }
  }
}

QELPRF_INLINE Masks TakeOf(uint8_t bits, size_t lane) {
  Masks take = {};
  for (size_t i = 0; i < kWidth; ++i) take[i] = -((bits >> (lane + i)) & 1);
  return take;
}

void Merge(double* extremes, const MergeRun& run) {
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    double* field = extremes + lane;
    for (size_t i = 0; i < run.tracked; ++i, field += 4 * kTileLanes) {
      for (size_t n = 0; n < run.intervals.count; ++n) {
        const Masks take = TakeOf(run.take[n], lane);
        const bool first = run.first && n == 0;
        const Group group = LoadFrom(run.intervals, n, lane, run.words_at + i * kGroupBytes);
        TrackMaximum(field, ToDoubles(group.word[0]), take, first);
        TrackMinimum(field + kTileLanes, ToDoubles(group.word[1]), take, first);
        TrackMaximum(field + 2 * kTileLanes, ToDoubles(group.word[2]), take, first);
        TrackMinimum(field + 3 * kTileLanes, ToDoubles(group.word[3]), take, first);
      }
    }
  }
}

QELPRF_INLINE void Store(uint64_t* p, Wide v) { *reinterpret_cast<LooseWide*>(p) = v; }

// Lanes where a bit of a head's words is set, as 0 or 1.
QELPRF_INLINE Wide IsSet(const Wide* words, const HeadBit& bit) {
  return (words[bit.word] >> bit.shift) & 1;
}

void FoldHeadsOf(HeadRun& run) {
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    Wide time = {};
    Wide ratios = {};
    Wide counted = {};
    Wide sticky = {};
    Doubles busy = Load(run.busy + lane);
    for (size_t i = 0; i < run.intervals.count; ++i) {
      Wide words[8];
      const Group first = LoadFrom(run.intervals, i, lane, 0);
      for (size_t n = 0; n < 4; ++n) words[n] = first.word[n];
      time += words[1];
      counted += IsSet(words, run.counted);
      sticky |= IsSet(words, run.sticky);
      if (!run.has_ratio) continue;
      if (run.ratio.word >= 4) {
        const Group second = LoadFrom(run.intervals, i, lane, kGroupBytes);
        for (size_t n = 0; n < 4; ++n) words[4 + n] = second.word[n];
      }
      const Doubles ratio = ToDoubles((words[run.ratio.word] >> run.ratio.shift) & 0xFFFF);
      const Wide there = run.always ? time - time + 1 : IsSet(words, run.there);
      const Masks present = reinterpret_cast<Masks>(-there);
      busy = Choose(present, busy + (ratio * ToDoubles(words[1])) / 10000.0, busy);
      ratios += there;
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

QELPRF_INLINE void PutWord(PutRun& run, size_t lane, size_t at, Wide words) {
  for (size_t i = 0; i < kWidth; ++i) {
    const uint32_t word = __builtin_bswap32(static_cast<uint32_t>(words[i]));
    __builtin_memcpy(run.words[lane + i] + at * 4, &word, 4);
  }
}

template <bool kCurrent>
void Put(double* fields, PutRun& run) {
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    const double* sums = fields + lane;
    double* const extremes = fields + lane + run.quadsets * 4 * kTileLanes;
    SettleRates<kCurrent>(extremes, run.tracked, extremes + run.tracked * 4 * kTileLanes);
    const Doubles time = Load(run.time + lane);
    size_t at = 0;
    for (size_t i = 0; i < run.quadsets; ++i, at += 4, sums += 4 * kTileLanes) {
      const Doubles count = Load(sums);
      const Doubles by = kCurrent ? count : time;
      PutWord(run, lane, at, EncodeCounts(count));
      PutWord(run, lane, at + 1,
              Quotients(Load(sums + kTileLanes), count, reinterpret_cast<Masks>(count >= 1.0)));
      PutWord(run, lane, at + 2, ToWords(Load(sums + 2 * kTileLanes)));
      PutWord(run, lane, at + 3,
              Quotients(Load(sums + 3 * kTileLanes), by, reinterpret_cast<Masks>(by != 0.0)));
    }
    for (size_t i = 0; i < 4 * run.tracked; ++i, ++at) {
      PutWord(run, lane, at, ToWords(Load(extremes + i * kTileLanes)));
    }
  }
}

}  // namespace
