// Folding the heads of pending entries: one by one, or by a vector kernel when all of a tile's
// entries are full and valid.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "revisions/fold/accumulate.h"
#include "revisions/fold/kernel.h"
#include "revisions/fold/pending.h"

template <FormId kId>
void MergeRatioWords(SlotHead& head, const uint8_t* words, uint32_t mask, bool first) {
  constexpr size_t kRatioAt = 4 * kForms[kId].tracked;
  if ((mask & (kCountTopBit >> kRatioAt)) != 0) {
    TrackMaximum(head.ratio_maximum, Load32(words + 4 * kRatioAt), first);
  }
  if ((mask & (kCountTopBit >> (kRatioAt + 1))) != 0) {
    TrackMinimum(head.ratio_minimum, Load32(words + 4 * kRatioAt + 4), first);
  }
}

// The pending intervals of one tile while they are folded.
struct TileRun {
  const uint8_t* const* plain;
  const MixedEntries* mixed;
  size_t step;  // between plain entries
  size_t count;
  bool first;
  uint8_t valid[kMostIntervals] = {};  // bit n: lane n counts

  // Also tells the compiler that the arrays suffice.
  size_t Count() const { return std::min(count, kMostIntervals); }
  // Null: the lane is not in use.
  const uint8_t* EntryOf(size_t interval, size_t lane) const {
    return plain[interval] != nullptr ? plain[interval] + lane * step : mixed[interval].entry[lane];
  }
  uint8_t CompactOf(size_t interval) const {
    return plain[interval] != nullptr ? uint8_t{0} : mixed[interval].compact;
  }
};

template <FormId kId>
void FoldHeads(TileRun& run, SlotHead* heads, const SectionContext& context, bool words) {
  constexpr const Form& kForm = kForms[kId];
  const size_t count = run.Count();
  for (size_t lane = 0; lane < kLanes; ++lane) {
    const auto bit = static_cast<uint8_t>(1U << lane);
    for (size_t i = 0; i < count; ++i) {
      const uint8_t* const entry = run.EntryOf(i, lane);
      if (entry == nullptr) continue;
      FoldContext fold = context.fold;
      fold.first = run.first && i == 0;
      uint8_t key[3] = {};
      LoadKey(kForm.key, entry, key);
      if (!FoldHead<kId>(heads[lane], entry, key, fold)) continue;
      run.valid[i] = static_cast<uint8_t>(run.valid[i] | bit);
      if (words && (run.CompactOf(i) & bit) == 0) {
        MergeRatioWords<kId>(heads[lane], entry + kForm.size, context.masks.out_mask, fold.first);
      }
    }
  }
}

constexpr HeadBit BitAt(const FlagBit& flag) {
  if (flag.at == kNone) return {};
  return {flag.at >= 12, uint32_t{flag.bit} << 8 * (3 - flag.at % 4)};
}

// Places that the vector kernels know.
constexpr bool IsInHead(const FlagBit& flag) {
  return flag.at == kNone || (flag.at >= 8 && flag.at < 16);
}
template <FormId kId>
constexpr RatioPlace RatioPlaceOf() {
  constexpr int kRatio = kForms[kId].ratio;
  static_assert(kRatio == kNone || kRatio == 14 || kRatio == 16 || kRatio == 20);
  if (kRatio == kNone) return RatioPlace::kNowhere;
  if (kRatio == 14) return RatioPlace::kAt14;
  return kRatio == 16 ? RatioPlace::kAt16 : RatioPlace::kAt20;
}

// Whether the vector kernels know all of the form's head.
template <FormId kId>
bool HasPlainHead(const FoldContext& context) {
  constexpr const Form& kForm = kForms[kId];
  return kForm.second_ratio == kNone && context.revision >= kForm.filled_from;
}

// The heads of a run whose intervals are all plain.
template <FormId kId>
void FoldPlainHeads(TileRun& run, HeadRun& fold, SlotHead* heads, const SectionContext& context,
                    bool words) {
  constexpr const Form& kForm = kForms[kId];
  fold.intervals.count = run.Count();
  fold.intervals.step = run.step;
  for (size_t i = 0; i < run.Count(); ++i) {
    fold.intervals.first[i] = run.plain[i];
    run.valid[i] = 0xFF;
  }
  fold.ratio = RatioPlaceOf<kId>();
  fold.always = kForm.ratio_flag.at == kNone;
  fold.track = context.fold.compute;
  fold.track_always = kForm.ratio_extremes_always;
  fold.first = run.first;
  // Both words of the ratio, behind all of the groups'.
  const bool both = words && context.words_size == (4 * size_t{kForm.tracked} + 2) * 4;
  fold.words_at = both ? kForm.size + kForm.tracked * kQuadsetSize : 0;
  static_assert(IsInHead(kForm.ratio_flag) && IsInHead(kForm.counted) && IsInHead(kForm.sticky));
  fold.there = BitAt(kForm.ratio_flag);
  fold.counted = BitAt(kForm.counted);
  fold.sticky = BitAt(kForm.sticky);
  for (size_t lane = 0; lane < kLanes; ++lane) {
    fold.busy[lane] = heads[lane].busy;
    fold.maximum[lane] = heads[lane].ratio_maximum;
    fold.minimum[lane] = heads[lane].ratio_minimum;
  }
  fold_kernels->fold_heads(fold);
  const uint8_t* entry = run.plain[run.Count() - 1];
  for (size_t lane = 0; lane < kLanes; ++lane, entry += run.step) {
    SlotHead& head = heads[lane];
    uint8_t key[3] = {};
    LoadKey(kForm.key, entry, key);
    TakeKey<kId>(head, key, context.fold);
    head.status = Load32(entry + kAtStatus);
    head.time += static_cast<uint32_t>(fold.time[lane]);
    head.busy = fold.busy[lane];
    head.ratio_count += static_cast<uint32_t>(fold.ratios[lane]);
    if (context.fold.compute || both) {
      head.ratio_maximum = fold.maximum[lane];
      head.ratio_minimum = fold.minimum[lane];
    }
    TakeLast<kId>(head, entry, context.fold);
    if constexpr (kForm.counted.at != kNone) {
      head.counted += static_cast<uint32_t>(fold.counted_in[lane]);
    }
    if constexpr (kForm.sticky.at != kNone) {
      if (fold.sticky_in[lane] != 0) head.sticky = 1;
    }
    if (!words || both) continue;
    for (size_t i = 0; i < run.Count(); ++i) {
      MergeRatioWords<kId>(head, run.EntryOf(i, lane) + kForm.size, context.masks.out_mask,
                           run.first && i == 0);
    }
  }
}
