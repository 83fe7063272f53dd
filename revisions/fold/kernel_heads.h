// The part of the vector kernels that sums up the heads of entries; see kernel_impl.h.
#pragma once

#include "revisions/fold/kernel_impl.h"

namespace {

QELPRF_INLINE Wide BitsOf(const Group& head, const HeadBit& bit) {
  return (bit.in_third ? head.word[3] : head.word[2]) & bit.bit;
}
QELPRF_INLINE Wide OneFor(Wide bits) {
  return reinterpret_cast<Wide>(-reinterpret_cast<Masks>(bits != 0));
}

template <bool kScattered>
void FoldHeadIntervals(HeadRun& run) {
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    Wide time = {};
    Wide ratios = {};
    Wide counted = {};
    Wide sticky = {};
    Doubles busy = Load(run.busy + lane);
    Doubles maximum = Load(run.maximum + lane);
    Doubles minimum = Load(run.minimum + lane);
    for (size_t i = 0; i < run.intervals.count; ++i) {
      const Group head = LoadFrom<kScattered>(run.intervals, i, lane, 0);
      time += NumberOf(head.word[1]);
      const Doubles length = ToDoubles(head.word[1]);
      Store(run.lengths[i] + lane, length);
      sticky |= BitsOf(head, run.sticky);
      if (run.counted.bit != 0) counted += OneFor(BitsOf(head, run.counted));
      if (run.ratio == RatioPlace::kNowhere) continue;
      Wide word = head.word[3];
      if (run.ratio != RatioPlace::kAt14) {
        const Group next = LoadFrom<kScattered>(run.intervals, i, lane, kGroupBytes);
        word = (run.ratio == RatioPlace::kAt16 ? next.word[0] : next.word[1]) >> 16;
      }
      const Doubles ratio = ToDoubles(WordOf(word & 0xFFFF));
      const Masks valid = kScattered ? LanesOf(run.valid[i], lane) : AllIf(true);
      const Masks present =
          run.always ? valid : reinterpret_cast<Masks>(BitsOf(head, run.there) != 0);
      // No sum is below 0: to add 0 leaves it as it is.
      busy += ZeroIn(~present, (ratio * length) / 10000.0);
      ratios -= reinterpret_cast<Wide>(present);
      if (!run.track) continue;
      const Masks take = run.track_always ? valid : present;
      if (run.first && i == 0) {
        maximum = ZeroIn(take, maximum);
        minimum = Choose(take, ratio, minimum);
      }
      maximum = Larger(maximum, ZeroIn(~take, ratio));
      minimum = Smaller(minimum, NoNumberIn(~take, ratio));
    }
    Store(run.time + lane, time);
    Store(run.ratios + lane, ratios);
    Store(run.counted_in + lane, counted);
    Store(run.sticky_in + lane, sticky);
    Store(run.busy + lane, busy);
    if (run.track) {
      Store(run.maximum + lane, maximum);
      Store(run.minimum + lane, minimum);
    }
  }
}

void FoldHeadsOf(HeadRun& run) {
  (run.intervals.scattered ? FoldHeadIntervals<true> : FoldHeadIntervals<false>)(run);
}

}  // namespace
