// Folding the heads of pending entries: by a vector kernel where it knows the form's head, else one
// by one.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "revisions/fold/accumulate.h"
#include "revisions/fold/kernel.h"
#include "revisions/fold/tile_entries.h"

// The pending intervals of one tile while they are folded.
struct TileRun {
  const uint8_t* const* plain;
  const MixedEntries* mixed;
  size_t step;  // between plain entries
  size_t count;
  size_t lanes;  // in use
  bool first;
  uint8_t valid[kMostIntervals];  // bit n: lane n counts
  // Of runs that are not all plain: intervals in which a lane has counter groups; where heads and
  // groups lie.
  bool scattered = false;
  size_t busy_count = 0;
  uint8_t busy[kMostIntervals];
  const uint8_t* const* heads[kMostIntervals];
  const uint8_t* const* groups[kMostIntervals];
  std::array<const uint8_t*, kLanes> places[kMostIntervals];

  // Also tells the compiler that the arrays suffice.
  size_t Count() const { return std::min(count, kMostIntervals); }
  // Null: the lane is not in use.
  const uint8_t* EntryOf(size_t interval, size_t lane) const {
    return plain[interval] != nullptr ? plain[interval] + lane * step : mixed[interval].entry[lane];
  }
  uint8_t CompactOf(size_t interval) const {
    return plain[interval] != nullptr ? uint8_t{0} : mixed[interval].compact;
  }

  void LookAt(size_t i) {
    if (plain[i] != nullptr) {
      for (size_t lane = 0; lane < kLanes; ++lane) places[i][lane] = plain[i] + lane * step;
      heads[i] = groups[i] = places[i].data();
      busy[busy_count++] = static_cast<uint8_t>(i);
      return;
    }
    const MixedEntries& entries = mixed[i];
    if ((entries.valid & ~entries.compact) != 0) busy[busy_count++] = static_cast<uint8_t>(i);
    groups[i] = entries.groups.data();
    heads[i] = entries.entry.data();
    if (entries.valid == 0xFF) return;
    for (size_t lane = 0; lane < kLanes; ++lane) {
      places[i][lane] = (entries.valid >> lane & 1) != 0 ? entries.entry[lane] : kNoEntry.data();
    }
    heads[i] = places[i].data();
  }
  void Look() {
    for (size_t i = 0; i < Count(); ++i) {
      valid[i] = plain[i] != nullptr ? uint8_t{0xFF} : mixed[i].valid;
      scattered = scattered || plain[i] == nullptr;
    }
    for (size_t i = 0; scattered && i < Count(); ++i) LookAt(i);
  }

  // The run as kernels take it, with the heads of its entries or with their groups.
  TileIntervals With(const uint8_t* const* const* lanes_of) const {
    return {Count(), scattered, plain, step, lanes_of};
  }
};

// Interval lengths of the run, 0 in lanes that do not count.
using TileLengths = double[kMostIntervals][kLanes];

template <FormId kId>
void FoldHeads(const TileRun& run, TileLengths& lengths, SlotHead* heads,
               const SectionContext& context) {
  constexpr const Form& kForm = kForms[kId];
  for (size_t lane = 0; lane < kLanes; ++lane) {
    for (size_t i = 0; i < run.Count(); ++i) {
      lengths[i][lane] = 0;
      const uint8_t* const entry = run.EntryOf(i, lane);
      if (entry == nullptr) continue;
      FoldContext fold = context.fold;
      fold.first = run.first && i == 0;
      uint8_t key[3] = {};
      LoadKey(kForm.key, entry, key);
      if (FoldHead<kId>(heads[lane], entry, key, fold))
        lengths[i][lane] = Load32(entry + kAtInterval);
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
  size_t i = run.Count() - 1;
  const uint8_t* last = run.EntryOf(i, lane);
  while (last == nullptr && i > 0) last = run.EntryOf(--i, lane);
  if (last == nullptr) return;
  while ((run.valid[i] >> lane & 1) == 0 && i > 0) --i;
  const uint8_t* const counted = (run.valid[i] >> lane & 1) != 0 ? run.EntryOf(i, lane) : nullptr;
  uint8_t key[3] = {};
  LoadKey(kForm.key, last, key);
  TakeKey<kId>(head, key, context);
  if (counted != nullptr) {
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
  fold.intervals = run.With(run.heads);
  fold.valid = run.valid;
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
