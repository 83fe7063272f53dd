// Body of the vector kernels, compiled once for each vector width (QELPRF_WIDTH: 2, 4 or 8 doubles)
// with the options of its processor. Written with the compiler's vector extensions. It includes
// nothing that holds inline functions: those would be compiled for the wrong processor and might be
// chosen for the whole program. Everything is therefore in an unnamed namespace.
#pragma once

#include "revisions/fold/kernel.h"
#include "revisions/fold/vectors.h"

namespace {

// Lanes in `take` keep the larger or smaller value.
QELPRF_INLINE void TrackMaximum(double* field, Doubles value, Masks take) {
  const Doubles old = Load(field);
  Store(field, Choose(take, Larger(value, old), old));
}
QELPRF_INLINE void TrackMinimum(double* field, Doubles value, Masks take) {
  const Doubles old = Load(field);
  Store(field, Choose(take, Smaller(value, old), old));
}
// Lanes in `begins` have the value before others come.
QELPRF_INLINE void Begin(double* field, Doubles value, Masks begins) {
  Store(field, Choose(begins, value, Load(field)));
}
// The same for the four extremes of a group: largest and smallest rate, largest and smallest
// volume.
QELPRF_INLINE void BeginAll(double* extremes, const Doubles* values, Masks begins) {
  for (size_t n = 0; n < 4; ++n) Begin(extremes + n * kTileLanes, values[n], begins);
}
QELPRF_INLINE void TrackAll(double* extremes, const Doubles* values, Masks take) {
  for (size_t n = 0; n < 4; n += 2) {
    TrackMaximum(extremes + n * kTileLanes, values[n], take);
    TrackMinimum(extremes + (n + 1) * kTileLanes, values[n + 1], take);
  }
}
QELPRF_INLINE Doubles ZeroIn(Masks lanes, Doubles value) {
  return reinterpret_cast<Doubles>(reinterpret_cast<Masks>(value) & ~lanes);
}
// Is never smaller than anything.
QELPRF_INLINE Doubles NoNumberIn(Masks lanes, Doubles value) {
  return reinterpret_cast<Doubles>(reinterpret_cast<Masks>(value) | lanes);
}

// The intervals in which lanes have counter groups.
template <bool kScattered>
QELPRF_INLINE size_t BusyCount(const FoldRun& run) {
  return kScattered ? run.tile->busy_count : run.tile->count;
}
template <bool kScattered>
QELPRF_INLINE const TileEntries& Busy(const FoldRun& run, size_t n) {
  return kScattered ? *run.tile->busy[n] : run.tile->of[n];
}
QELPRF_INLINE const double* LengthsIn(const FoldRun& run, const TileEntries& interval) {
  return run.lengths[&interval - run.tile->of];
}

// What the intervals' lengths say of kWidth lanes.
struct Lengths {
  Doubles length;  // the largest, when `equal` the only one
  bool equal;      // no lane has two lengths beside 0
  Masks timed;     // lanes with a length
  Masks begins;    // lanes whose period begins with the oldest interval
  Masks still;     // lanes that have a length in an interval that is not busy
  bool gaps;       // a lane that has a length has none in a busy interval
};

template <bool kScattered>
QELPRF_INLINE Lengths LengthsOf(const FoldRun& run, size_t lane) {
  const Doubles oldest = Load(run.lengths[0] + lane);
  Lengths found = {oldest, true, Masks{}, Masks{}, Masks{}, false};
  for (size_t i = 1; kScattered && i < run.tile->count; ++i) {
    found.length = Larger(found.length, Load(run.lengths[i] + lane));
  }
  found.timed = reinterpret_cast<Masks>(found.length != 0.0);
  Masks differ = {};
  Doubles least = found.length;
  for (size_t i = 0, busy = 0; i < run.tile->count; ++i) {
    const Doubles length = Load(run.lengths[i] + lane);
    const Masks other = reinterpret_cast<Masks>(length != found.length);
    if constexpr (kScattered) {
      const Masks timed = reinterpret_cast<Masks>(length != 0.0);
      differ |= other & timed;
      if (busy < run.tile->busy_count && run.tile->busy[busy] == run.tile->of + i) {
        ++busy;
        least = Smaller(least, length);
      } else {
        found.still |= timed;
      }
    } else {
      differ |= other;
    }
  }
  found.equal = !AnyOf(differ);
  found.gaps = kScattered && AnyOf(reinterpret_cast<Masks>(least != found.length));
  if (run.tile->first) found.begins = reinterpret_cast<Masks>(oldest != 0.0);
  return found;
}

// What an interval says of a group.
struct Figures {
  Doubles count;
  Doubles volume;  // second average x count; by the older rule the former
};

// The four sums of a group while intervals are added to them.
struct Sums {
  Doubles count;
  Doubles first;
  Doubles second;
  Wide largest;
};

QELPRF_INLINE Sums LoadSums(const double* fields) {
  return {Load(fields), Load(fields + kTileLanes), Load(fields + 3 * kTileLanes), kZeroWords};
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
  sums.largest = Larger(group.word[2], sums.largest);
  sums.second += kCurrent ? product : length * q3;
  return {count, kCurrent ? product : q3};
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
// rare. Without kGaps each lane has its length in every busy interval, or never.
template <bool kCurrent, bool kScaled, bool kScattered, bool kGaps>
QELPRF_INLINE bool FoldCounts(double* fields, double* extremes, size_t offset, const FoldRun& run,
                              size_t lane, const Lengths& lengths) {
  const Doubles endless = Doubles{} + __builtin_huge_val();
  const Doubles begin = ZeroIn(lengths.still, endless);
  Sums sums = LoadSums(fields);
  Wide counts = {};
  Doubles found[4] = {Doubles{}, begin, Doubles{}, begin};
  for (size_t n = 0; n < BusyCount<kScattered>(run); ++n) {
    const TileEntries& entries = Busy<kScattered>(run, n);
    const Group group =
        LoadFrom<kScattered>(entries, run.tile->step, lane, offset, &TileEntries::groups);
    counts |= group.word[0];
    const Doubles length = kGaps ? Load(LengthsIn(run, entries) + lane) : lengths.length;
    const Figures now = Add<kCurrent, kScaled>(sums, group, length);
    const Masks gap = kGaps ? reinterpret_cast<Masks>(length == 0.0) : Masks{};
    // No number is missing or below 0, so either may come first; this way none need be copied.
    found[0] = Larger(ZeroIn(gap, now.count), found[0]);
    found[1] = Smaller(Choose(gap, endless, now.count), found[1]);
    found[2] = Larger(ZeroIn(gap, now.volume), found[2]);
    found[3] = Smaller(Choose(gap, endless, now.volume), found[3]);
  }
  if (!kScaled && AnyOf(reinterpret_cast<Masks>(counts << 32))) return false;
  StoreSums(fields, sums);
  if (run.tile->first) BeginAll(extremes, found, lengths.begins);
  TrackAll(extremes, found, lengths.timed);
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
template <bool kCurrent, bool kScattered>
QELPRF_INLINE void FoldAny(double* fields, double* extremes, size_t offset, const FoldRun& run,
                           size_t lane, const Lengths& lengths, bool tracked) {
  Sums sums = LoadSums(fields);
  for (size_t n = 0; n < BusyCount<kScattered>(run); ++n) {
    const TileEntries& entries = Busy<kScattered>(run, n);
    const Doubles length = Load(LengthsIn(run, entries) + lane);
    const Group group =
        LoadFrom<kScattered>(entries, run.tile->step, lane, offset, &TileEntries::groups);
    const Figures now = Add<kCurrent, true>(sums, group, length);
    if (!tracked) continue;
    const Divisor by = DivisorOf(length);
    const Doubles rate = Rate(now.count, by);
    const Doubles volume = Volume<kCurrent>(now.volume, by);
    const Doubles values[4] = {rate, rate, volume, volume};
    if (run.tile->first && &entries == run.tile->of) {
      BeginAll(extremes, values, by.timed);
    } else {
      TrackAll(extremes, values, by.timed);
    }
  }
  StoreSums(fields, sums);
  if (kScattered && tracked) {
    TrackMinimum(extremes + kTileLanes, Doubles{}, lengths.still);
    TrackMinimum(extremes + 3 * kTileLanes, Doubles{}, lengths.still);
  }
}

// Lanes whose extremes are all 0, which is so as counts and as rates.
QELPRF_INLINE Masks Untouched(const double* extremes, size_t tracked, const double* counted) {
  Doubles most = Load(counted);
  for (size_t i = 0; i < 4 * tracked; ++i) most = Larger(most, Load(extremes + i * kTileLanes));
  return reinterpret_cast<Masks>(most == 0.0);
}

// Has the four fields of a group on their way.
QELPRF_INLINE void Fetch(const double* fields) {
  for (size_t i = 0; i < 4; ++i) __builtin_prefetch(fields + i * kTileLanes, 1);
}

template <bool kCurrent, bool kScattered>
void FoldLanes(double* fields, const FoldRun& run, size_t lane) {
  const size_t tracked = run.compute ? run.tracked : 0;
  double* sums = fields + lane;
  double* extremes = sums + run.quadsets * 4 * kTileLanes;
  double* const counted = extremes + run.tracked * 4 * kTileLanes;
  const bool plain = !kScattered || (run.tile->whole && run.tile->busy_count == run.tile->count);
  const Lengths lengths = plain ? LengthsOf<false>(run, lane) : LengthsOf<true>(run, lane);
  // A lane without a length has no extremes; one that begins a period or goes on with its length
  // keeps counts.
  const Doubles old = Load(counted);
  const Masks goes_on = reinterpret_cast<Masks>(old == lengths.length);
  const Masks agree = goes_on | lengths.begins | ~lengths.timed;
  const bool counts =
      lengths.equal &&
      (!AnyOf(~agree) || !AnyOf(~(agree | Untouched(extremes, run.tracked, counted))));
  if (!counts) SettleRates<kCurrent>(extremes, run.tracked, counted);
  if (counts && tracked != 0) Store(counted, Choose(lengths.timed, lengths.length, old));
  size_t offset = run.groups_at;
  for (size_t i = 0; i < run.quadsets; ++i, offset += kGroupBytes) {
    if (run.next != 0 && lane == 0) {
      Fetch(sums + run.next);
      if (i < run.tracked) Fetch(extremes + run.next);
    }
    if (!counts || i >= tracked) {
      FoldAny<kCurrent, kScattered>(sums, extremes, offset, run, lane, lengths, i < tracked);
    } else if (kScattered && lengths.gaps) {
      FoldCounts<kCurrent, true, kScattered, kScattered>(sums, extremes, offset, run, lane,
                                                         lengths);
    } else if (!FoldCounts<kCurrent, false, kScattered, false>(sums, extremes, offset, run, lane,
                                                               lengths)) {
      FoldCounts<kCurrent, true, kScattered, false>(sums, extremes, offset, run, lane, lengths);
    }
    sums += 4 * kTileLanes;
    extremes += 4 * kTileLanes;
  }
}

// No lane has counter groups: lanes with a length have rates of 0, which stay 0 whether extremes
// are counts or rates, so none are settled for it.
template <bool kCurrent>
void StandStill(double* fields, const FoldRun& run, size_t lane) {
  double* extremes = fields + lane + run.quadsets * 4 * kTileLanes;
  const Lengths lengths = LengthsOf<true>(run, lane);
  for (size_t i = 0; i < run.tracked; ++i, extremes += 4 * kTileLanes) {
    if (run.next != 0 && lane == 0) Fetch(extremes + run.next);
    const Doubles zeros[4] = {};
    if (run.tile->first) BeginAll(extremes, zeros, lengths.begins);
    for (size_t n = 1; n < 4; n += 2) Begin(extremes + n * kTileLanes, zeros[n], lengths.timed);
  }
}

template <bool kCurrent>
void Fold(double* fields, const FoldRun& run) {
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    if ((run.tile->busy_lanes >> lane & ((1U << kWidth) - 1)) == 0) {
      if (run.compute) StandStill<kCurrent>(fields, run, lane);
    } else if (run.tile->step != 0) {
      FoldLanes<kCurrent, false>(fields, run, lane);
    } else {
      FoldLanes<kCurrent, true>(fields, run, lane);
    }
  }
}

}  // namespace
