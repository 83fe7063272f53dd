// Merging the extended words of a tile's entries, for kernels: included after QELPRF_WIDTH is set.
#pragma once

#include "revisions/fold/kernel_impl.h"

namespace {

// Minima are maxima of the complement. Lanes that do not take part in an interval stand for 0,
// which changes nothing.
template <bool kScattered>
void MergeIntervals(const MergeRun& run) {
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    Wide takes[kMostIntervals];
    Masks merged = {};
    Masks begun = {};
    for (size_t n = 0; n < run.tile->count; ++n) {
      const TileEntries& entries = run.tile->of[n];
      const Masks take = LanesOf(entries.valid & ~unsigned{entries.compact}, lane);
      takes[n] = WordOf(reinterpret_cast<Wide>(take) & kWord);
      merged |= take;
      if (n == 0) begun = take;
    }
    if (!AnyOf(merged)) continue;
    // Four words at a time; the last four end with the last word, so none is beyond the entry.
    for (size_t last = run.words < 4 ? run.words : 4;; last += 4) {
      if (last > run.words) last = run.words;
      const size_t offset = run.words_at + 4 * last - kGroupBytes;
      const size_t skipped = last < 4 ? 4 - last : 0;
      uint64_t flips[4];
      for (size_t k = 0; k < 4; ++k) {
        const bool minimum = k >= skipped && (run.minima >> (last + k - 4) & 1) != 0;
        flips[k] = minimum ? kWord : 0;
      }
      Wide found[4] = {kZeroWords, kZeroWords, kZeroWords, kZeroWords};
      for (size_t n = 0; n < run.tile->count; ++n) {
        const Group group = LoadFrom<kScattered>(run.tile->of[n], run.tile->step, lane, offset,
                                                 &TileEntries::groups);
        for (size_t k = 0; k < 4; ++k) {
          const Wide word = group.word[k] ^ flips[k];
          found[k] = Larger(found[k], kScattered ? word & takes[n] : word);
        }
      }
      for (size_t k = skipped; k < 4; ++k) {
        double* const extreme = run.extremes[last + k - 4];
        if (extreme == nullptr) continue;
        const Doubles value = ToDoubles(found[k] ^ flips[k]);
        if (run.tile->first) Begin(extreme + lane, value, begun);
        if (flips[k] != 0) {
          TrackMinimum(extreme + lane, value, merged);
        } else {
          TrackMaximum(extreme + lane, value, merged);
        }
      }
      if (last == run.words) break;
    }
  }
}

void Merge(const MergeRun& run) {
  (run.tile->step == 0 ? MergeIntervals<true> : MergeIntervals<false>)(run);
}

}  // namespace
