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

// Also tells the compiler that the arrays suffice.
inline size_t Count(const TileRun& run) { return std::min(run.count, kMostIntervals); }

// kNoEntry: the lane is not in use.
inline const uint8_t* EntryOf(const TileEntries& entries, size_t lane) {
  return entries.step != 0 ? entries.first + lane * entries.step : entries.entry[lane];
}

// Tells what intervals have in common.
inline void LookAt(TileRun& run) {
  size_t alike = 1;
  while (alike < Count(run) && run.of[alike].step == run.of[0].step) ++alike;
  run.step = alike == Count(run) ? run.of[0].step : 0;
  unsigned valid = 0xFF;
  run.busy_count = 0;
  run.busy_lanes = run.step == 0 || run.of[0].compact != 0 ? 0 : 0xFF;
  for (size_t i = 0; run.step == 0 && i < Count(run); ++i) {
    TileEntries& entries = run.of[i];
    Scatter(entries);
    const auto busy = static_cast<uint8_t>(entries.valid & ~entries.compact);
    valid &= entries.valid;
    run.busy_lanes |= busy;
    run.busy[run.busy_count] = &entries;
    run.busy_count += busy != 0 ? 1 : 0;
  }
  run.whole = valid == 0xFF;
}

// Interval lengths of the run, 0 in lanes that do not count.
using TileLengths = double[kMostIntervals][kLanes];

// A flag in the third and fourth word of a head, the latter above: the vector kernels know no
// others.
constexpr uint64_t BitAt(const FlagBit& flag) {
  return flag.at == kNone ? 0
                          : uint64_t{flag.bit} << 8 * (3 - flag.at % 4 + (flag.at < 12 ? 0 : 4));
}
constexpr bool IsInHead(const FlagBit& flag) {
  return flag.at == kNone || (flag.at >= 8 && flag.at < 16);
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
  size_t i = Count(run);
  const uint8_t* const last = EntryOf(run.of[i - 1], lane);
  if (last == kNoEntry.data()) return;
  LoadKey<kId>(head.key.data(), last, context.key_count);
  while (i > 0 && (run.of[i - 1].valid >> lane & 1) == 0) --i;
  if (i > 0) {
    const uint8_t* const counted = EntryOf(run.of[i - 1], lane);
    head.status = Load32(counted + kAtStatus);
    TakeLast<kId>(head, counted, context);
  }
  if constexpr (kForm.kept_always) {
    if (context.revision >= kForm.kept_from) head.kept = IsSet(kForm.kept, last);
  }
}

template <FormId kId>
void FoldHeadsByKernel(const TileRun& run, HeadSums& sums, SlotHead* heads,
                       const FoldContext& context) {
  constexpr const Form& kForm = kForms[kId];
  static_assert(kForm.ratio == kNone || kForm.ratio >= 14);
  static_assert(IsInHead(kForm.ratio_flag) && IsInHead(kForm.counted) && IsInHead(kForm.sticky));
  for (size_t lane = 0; lane < kLanes; ++lane) {
    const bool used = lane < run.lanes;
    sums.busy[lane] = used ? heads[lane].busy : 0;
    sums.maximum[lane] = used ? heads[lane].ratio_maximum : 0;
    sums.minimum[lane] = used ? heads[lane].ratio_minimum : 0;
  }
  fold_kernels->fold_heads({.tile = &run,
                            .ratio_at = kForm.ratio == kNone ? 0 : static_cast<size_t>(kForm.ratio),
                            .always = kForm.ratio_flag.at == kNone,
                            .track = context.compute,
                            .track_always = kForm.ratio_extremes_always,
                            .there = BitAt(kForm.ratio_flag),
                            .counted = BitAt(kForm.counted),
                            .sticky = BitAt(kForm.sticky)},
                           sums);
  for (size_t lane = 0; lane < run.lanes; ++lane) {
    SlotHead& head = heads[lane];
    head.time += static_cast<uint32_t>(sums.time[lane]);
    head.busy = sums.busy[lane];
    head.ratio_count += static_cast<uint32_t>(sums.ratios[lane]);
    head.ratio_maximum = sums.maximum[lane];
    head.ratio_minimum = sums.minimum[lane];
    if (kForm.counted.at != kNone) head.counted += static_cast<uint32_t>(sums.counted[lane]);
    if (kForm.sticky.at != kNone && sums.sticky[lane] != 0) head.sticky = 1;
    TakeLastOfRun<kId>(run, head, lane, context);
  }
}
