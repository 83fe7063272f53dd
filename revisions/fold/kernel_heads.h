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

// The run is a copy and the tile's figures are taken out of it once: what is written to in the loop
// might be theirs.
template <bool kScattered>
void FoldHeadIntervals(HeadRun run, HeadSums& sums) {
  const TileRun& tile = *run.tile;
  const size_t intervals = tile.count;
  const size_t step = tile.step;
  const bool first = tile.first;
  const bool whole = tile.whole;
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    Wide time = {};
    Wide ratios = {};
    Wide counted = {};
    Wide sticky = {};
    Doubles busy = Load(sums.busy + lane);
    Doubles maximum = Load(sums.maximum + lane);
    Doubles minimum = Load(sums.minimum + lane);
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
      Store(sums.lengths[i] + lane, length);
      const Wide flags = FlagsOf(head);
      sticky |= flags;
      if (run.counted != 0) counted -= reinterpret_cast<Wide>(AreSet(flags, Wide{} + run.counted));
      if (run.ratio_at == 0) continue;
      const size_t beyond = run.ratio_at - kRatioAtEnd;
      Wide word = head.word[3];
      if (beyond != 0) {
        word = LoadFrom<kScattered>(entries, step, lane, beyond, &TileEntries::entry).word[3];
      }
      const Doubles ratio = ToDoubles(WordOf(word & 0xFFFF));
      const Masks present = run.always ? valid : AreSet(flags, Wide{} + run.there);
      // No sum is below 0: to add 0 leaves it as it is.
      busy += ZeroIn(~present, (ratio * length) / 10000.0);
      ratios -= reinterpret_cast<Wide>(present);
      if (!run.track) continue;
      const Masks take = run.track_always ? valid : present;
      if (first && i == 0) {
        maximum = ZeroIn(take, maximum);
        minimum = Choose(take, ratio, minimum);
      }
      maximum = Larger(maximum, ZeroIn(~take, ratio));
      minimum = Smaller(minimum, NoNumberIn(~take, ratio));
    }
    Store(sums.time + lane, time - kAbove * intervals);
    Store(sums.ratios + lane, ratios);
    Store(sums.counted + lane, counted);
    Store(sums.sticky + lane, sticky & run.sticky);
    Store(sums.busy + lane, busy);
    Store(sums.maximum + lane, maximum);
    Store(sums.minimum + lane, minimum);
  }
}

void FoldHeadsOf(HeadRun run, HeadSums& sums) {
  (run.tile->step == 0 ? FoldHeadIntervals<true> : FoldHeadIntervals<false>)(run, sums);
}

}  // namespace
