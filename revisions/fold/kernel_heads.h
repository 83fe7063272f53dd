// The part of the vector kernels that sums up the heads of entries; see kernel_impl.h.
#pragma once

#include "revisions/fold/kernel_impl.h"

namespace {

// The third and fourth words of heads, the latter above: flags are looked for in both at once.
QELPRF_INLINE Wide FlagsOf(const Group& head) {
  return NumberOf(head.word[2]) | head.word[3] << 32;
}
// Where the flag, which is not 0, is set.
QELPRF_INLINE Masks AreSet(Wide flags, Wide flag) {
#if QELPRF_WIDTH == 2
  // The processor cannot compare more than words.
  const Words same = reinterpret_cast<Words>(reinterpret_cast<Words>(flags & flag) ==
                                             reinterpret_cast<Words>(flag));
  return reinterpret_cast<Masks>(same & __builtin_shufflevector(same, same, 1, 0, 3, 2));
#else
  return reinterpret_cast<Masks>((flags & flag) == flag);
#endif
}

// A ratio that ends the fourth word.
constexpr size_t kRatioAtEnd = 14;

template <bool kScattered>
void FoldHeadIntervals(HeadRun& run) {
  // Taken out of the run once: it is written to in the loop, through pointers to its parts.
  const TileRun& tile = *run.tile;
  const size_t intervals = tile.count;
  const size_t step = tile.step;
  const size_t ratio_at = run.ratio_at;
  const bool always = run.always;
  const bool track = run.track;
  const bool track_always = run.track_always;
  const bool first = run.tile->first;
  const bool whole = run.tile->whole;
  const uint64_t there = run.there;
  const uint64_t counts = run.counted;
  const uint64_t sticks = run.sticky;
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    Wide time = {};
    Wide ratios = {};
    Wide counted = {};
    Wide sticky = {};
    Doubles busy = Load(run.busy + lane);
    Doubles maximum = Load(run.maximum + lane);
    Doubles minimum = Load(run.minimum + lane);
    for (size_t i = 0; i < intervals; ++i) {
      const TileEntries& entries = tile.of[i];
      Group head = LoadFrom<kScattered>(entries, step, lane, 0, &TileEntries::entry);
      Masks valid = ~Masks{};
      if (kScattered && !whole) {
        valid = LanesOf(entries.valid, lane);
        // Those that are not are as if they were 0.
        for (size_t n = 1; n < 4; ++n) head.word[n] &= WordOf(reinterpret_cast<Wide>(valid));
      }
      time += head.word[1];
      const Doubles length = ToDoubles(head.word[1]);
      Store(run.lengths[i] + lane, length);
      const Wide flags = FlagsOf(head);
      sticky |= flags;
      if (counts != 0) counted -= reinterpret_cast<Wide>(AreSet(flags, Wide{} + counts));
      if (ratio_at == 0) continue;
      Wide word = head.word[3];
      if (ratio_at != kRatioAtEnd) {
        word =
            LoadFrom<kScattered>(entries, step, lane, ratio_at - kRatioAtEnd, &TileEntries::entry)
                .word[3];
      }
      const Doubles ratio = ToDoubles(WordOf(word & 0xFFFF));
      const Masks present = always ? valid : AreSet(flags, Wide{} + there);
      // No sum is below 0: to add 0 leaves it as it is.
      busy += ZeroIn(~present, (ratio * length) / 10000.0);
      ratios -= reinterpret_cast<Wide>(present);
      if (!track) continue;
      const Masks take = track_always ? valid : present;
      if (first && i == 0) {
        maximum = ZeroIn(take, maximum);
        minimum = Choose(take, ratio, minimum);
      }
      maximum = Larger(maximum, ZeroIn(~take, ratio));
      minimum = Smaller(minimum, NoNumberIn(~take, ratio));
    }
    Store(run.time + lane, time - kAbove * intervals);
    Store(run.ratios + lane, ratios);
    Store(run.counted_in + lane, counted);
    Store(run.sticky_in + lane, sticky & sticks);
    Store(run.busy + lane, busy);
    if (track) {
      Store(run.maximum + lane, maximum);
      Store(run.minimum + lane, minimum);
    }
  }
}

void FoldHeadsOf(HeadRun& run) {
  (run.tile->step == 0 ? FoldHeadIntervals<true> : FoldHeadIntervals<false>)(run);
}

}  // namespace
