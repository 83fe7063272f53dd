// Folding the heads of a tile's entries: by a vector kernel where it knows the form's head, else
// one by one.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "revisions/fold/accumulate.h"
#include "revisions/fold/kernel.h"
#include "revisions/fold/tile_entries.h"

// Intervals of one tile while they are folded.
struct TileRun {
  TileEntries* of;
  size_t count;
  size_t lanes;  // in use
  bool first;
  size_t step = 0;         // of all intervals; 0: they are scattered
  uint8_t busy_lanes = 0;  // bit n: lane n has counter groups in an interval
  bool whole = false;      // each lane counts in all intervals
  // If they are scattered, those in which a lane has groups.
  size_t busy_count = 0;
  const TileEntries* busy[kMostIntervals];

  // Also tells the compiler that the arrays suffice.
  size_t Count() const { return std::min(count, kMostIntervals); }
  // kNoEntry: the lane is not in use.
  const uint8_t* EntryOf(size_t interval, size_t lane) const {
    const TileEntries& entries = of[interval];
    return entries.step != 0 ? entries.first + lane * entries.step : entries.entry[lane];
  }
  bool IsValid(size_t interval, size_t lane) const { return (of[interval].valid >> lane & 1) != 0; }

  void Look() {
    size_t alike = 1;
    while (alike < Count() && of[alike].step == of[0].step) ++alike;
    if (alike == Count() && of[0].step != 0) {
      step = of[0].step;
      busy_lanes = of[0].compact != 0 ? 0 : 0xFF;
      whole = true;
      return;
    }
    unsigned valid = 0xFF;
    for (size_t i = 0; i < Count(); ++i) {
      Scatter(of[i]);
      const auto now = static_cast<uint8_t>(of[i].valid & ~of[i].compact);
      valid &= of[i].valid;
      busy_lanes |= now;
      busy[busy_count] = of + i;
      busy_count += now != 0 ? 1 : 0;
    }
    whole = valid == 0xFF;
  }
  TileIntervals Intervals() const { return {Count(), of, step}; }
};

// Interval lengths of the run, 0 in lanes that do not count.
using TileLengths = double[kMostIntervals][kLanes];

template <FormId kId>
void FoldHeads(const TileRun& run, TileLengths& lengths, SlotHead* heads,
               const SectionContext& context) {
  for (size_t lane = 0; lane < kLanes; ++lane) {
    for (size_t i = 0; i < run.Count(); ++i) {
      lengths[i][lane] = 0;
      const uint8_t* const entry = run.EntryOf(i, lane);
      if (entry == kNoEntry.data()) continue;
      FoldContext fold = context.fold;
      fold.first = run.first && i == 0;
      if (FoldHead<kId>(heads[lane], entry, fold)) lengths[i][lane] = Load32(entry + kAtInterval);
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
bool KernelsKnowHead(const FoldContext& context) {
  constexpr const Form& kForm = kForms[kId];
  return kForm.second_ratio == kNone && context.revision >= kForm.filled_from;
}

// What slots have from the last entries of a run.
template <FormId kId>
void TakeLastOfRun(const TileRun& run, SlotHead& head, size_t lane, const FoldContext& context) {
  constexpr const Form& kForm = kForms[kId];
  size_t i = run.Count();
  const uint8_t* const last = run.EntryOf(i - 1, lane);
  if (last == kNoEntry.data()) return;
  LoadKey<kId>(head.key.data(), last, context.key_count);
  while (i > 0 && !run.IsValid(i - 1, lane)) --i;
  if (i > 0) {
    const uint8_t* const counted = run.EntryOf(i - 1, lane);
    head.status = Load32(counted + kAtStatus);
    TakeLast<kId>(head, counted, context);
  }
  if constexpr (kForm.kept_always) {
    if (context.revision >= kForm.kept_from) head.kept = IsSet(kForm.kept, last);
  }
}

template <FormId kId>
void FoldHeadsByKernel(const TileRun& run, HeadRun& fold, SlotHead* heads,
                       const SectionContext& context) {
  constexpr const Form& kForm = kForms[kId];
  fold.intervals = run.Intervals();
  fold.whole = run.whole;
  fold.ratio = RatioPlaceOf<kId>();
  fold.always = kForm.ratio_flag.at == kNone;
  fold.track = context.fold.compute;
  fold.track_always = kForm.ratio_extremes_always;
  fold.first = run.first;
  static_assert(IsInHead(kForm.ratio_flag) && IsInHead(kForm.counted) && IsInHead(kForm.sticky));
  fold.there = BitAt(kForm.ratio_flag);
  fold.counted = BitAt(kForm.counted);
  fold.sticky = BitAt(kForm.sticky);
  for (size_t lane = 0; lane < kLanes; ++lane) {
    const bool used = lane < run.lanes;
    fold.busy[lane] = used ? heads[lane].busy : 0;
    fold.maximum[lane] = used ? heads[lane].ratio_maximum : 0;
    fold.minimum[lane] = used ? heads[lane].ratio_minimum : 0;
  }
  fold_kernels->fold_heads(fold);
  for (size_t lane = 0; lane < run.lanes; ++lane) {
    SlotHead& head = heads[lane];
    head.time += static_cast<uint32_t>(fold.time[lane]);
    head.busy = fold.busy[lane];
    head.ratio_count += static_cast<uint32_t>(fold.ratios[lane]);
    if (context.fold.compute) {
      head.ratio_maximum = fold.maximum[lane];
      head.ratio_minimum = fold.minimum[lane];
    }
    if constexpr (kForm.counted.at != kNone) {
      head.counted += static_cast<uint32_t>(fold.counted_in[lane]);
    }
    if constexpr (kForm.sticky.at != kNone) {
      if (fold.sticky_in[lane] != 0) head.sticky = 1;
    }
    TakeLastOfRun<kId>(run, head, lane, context.fold);
  }
}
