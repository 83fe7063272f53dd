// Folding several intervals of a tile into its slots.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>

#include "revisions/fold/accumulate.h"
#include "revisions/fold/heads.h"
#include "revisions/fold/kernel.h"
#include "revisions/fold/tile_entries.h"
#include "revisions/sets/open_slots.h"

// Merges the extended words that stand behind the entries: of the groups' extremes, which are
// fields, and of the ratio's, which stand in the heads.
template <FormId kId>
void MergeByKernel(const TileRun& run, double* fields, SlotHead* heads,
                   const FoldContext& context) {
  constexpr const Form& kForm = kForms[kId];
  constexpr size_t kRatioAt = 4 * size_t{kForm.tracked};
  static_assert(kForm.size + 32 * 4 <= kMostEntryBytes);
  double ratios[2][kLanes] = {};
  const ItemMasks masks = context.masks;
  MergeRun merge;
  merge.minima = 0;
  merge.words = 0;
  for (size_t position = 0; position < 32; ++position) {
    const uint32_t bit = kCountTopBit >> position;
    if ((masks.in_mask & bit) == 0) continue;
    double* extremes = nullptr;
    if (position < kRatioAt) {
      extremes = fields + (size_t{kForm.quadsets} * 4 + position) * kLanes;
    } else if (position < kRatioAt + 2) {
      extremes = ratios[position - kRatioAt];
    }
    if (position % 2 != 0) merge.minima |= 1U << merge.words;
    merge.extremes[merge.words++] = (masks.out_mask & bit) != 0 ? extremes : nullptr;
  }
  merge.tile = &run;
  merge.words_at = kForm.size;
  for (size_t lane = 0; lane < run.lanes; ++lane) {
    ratios[0][lane] = heads[lane].ratio_maximum;
    ratios[1][lane] = heads[lane].ratio_minimum;
  }
  fold_kernels->merge(merge);
  for (size_t lane = 0; lane < run.lanes; ++lane) {
    heads[lane].ratio_maximum = ratios[0][lane];
    heads[lane].ratio_minimum = ratios[1][lane];
  }
}

// One entry after the other: heads that the kernels do not know; without kernels all that entries
// have.
template <FormId kId, QuadRule kRule>
void FoldOneByOne(const TileRun& run, TileLengths& lengths, const ResourceSet& set, size_t tile,
                  const FoldContext& context) {
  constexpr const Form& kForm = kForms[kId];
  FoldContext fold = context;
  std::memset(lengths, 0, Count(run) * sizeof lengths[0]);
  for (size_t lane = 0; lane < run.lanes; ++lane) {
    const SlotRef slot = OpenSlots::At(set, static_cast<int32_t>(tile * kLanes + lane));
    for (size_t i = 0; i < Count(run); ++i) {
      const uint8_t* const entry = EntryOf(run.of[i], lane);
      if (entry == kNoEntry.data()) continue;
      fold.first = run.first && i == 0;
      if (!FoldHead<kId>(slot.head, entry, fold)) continue;
      lengths[i][lane] = Load32(entry + kAtInterval);
      if (fold_kernels != nullptr) continue;
      const bool compact = (run.of[i].compact >> lane & 1) != 0;
      FoldGroups<kId, kRule>(slot, entry, compact ? kNoEntry.data() : entry + kForm.quadsets_at,
                             fold);
      if (!compact && !fold.compute) MergeWords<kId>(slot, entry + kForm.size, fold);
    }
  }
}

// Folds `run`, whose intervals are there, into the slots of a tile.
template <FormId kId, QuadRule kRule>
void FoldTile(TileRun& run, Kind kind, size_t tile, const FoldContext& context) {
  constexpr const Form& kForm = kForms[kId];
  const ResourceSet& set = resource_sets[kind];
  const auto left = static_cast<size_t>(set.entries) - tile * kLanes;
  LookAt(run);
  auto* const heads = OpenSlots::Heads(set) + tile * kLanes;
  double* const fields = OpenSlots::Fields(set, static_cast<int32_t>(tile * kLanes));
  const size_t next = left > kLanes ? set.fields_per_slot * kLanes : 0;
  OpenSlots::Fetch(set, static_cast<int32_t>((tile + 1) * kLanes));
  HeadSums folded;
  if (fold_kernels != nullptr && KernelsKnowHead<kId>(context)) {
    FoldHeadsByKernel<kId>(run, folded, heads, context);
  } else {
    FoldOneByOne<kId, kRule>(run, folded.lengths, set, tile, context);
  }
  if (fold_kernels == nullptr) return;
  if constexpr (kForm.quadsets != 0) {
    constexpr bool kCurrent = kRule == QuadRule::kCurrent;
    (kCurrent ? fold_kernels->fold_current : fold_kernels->fold_older)(
        fields, {.tile = &run,
                 .lengths = folded.lengths,
                 .groups_at = kForm.quadsets_at,
                 .quadsets = kForm.quadsets,
                 .tracked = kForm.tracked,
                 .compute = context.compute,
                 .next = next});
  }
  if (!context.compute && run.busy_lanes != 0) {
    MergeByKernel<kId>(run, fields, heads, context);
  }
}
