// Folding what is pending of a tile into its slots.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>

#include "revisions/fold/accumulate.h"
#include "revisions/fold/heads.h"
#include "revisions/fold/kernel.h"
#include "revisions/fold/pending.h"
#include "revisions/sets/open_slots.h"

// Counter groups of compact entries.
inline constexpr std::array<uint8_t, 6 * kQuadsetSize> kNoGroups = {};

// A run as the kernels take it: mixed intervals become eight full entries with their words, of
// zeros where a lane does not count.
template <FormId kId>
struct FullEntries {
  static constexpr const Form& kForm = kForms[kId];
  static constexpr size_t kMostBytes = kForm.size + 32 * 4;
  uint8_t filled[kMostIntervals][kLanes * kMostBytes];

  void Fill(const TileRun& run, TileIntervals& intervals) {
    intervals.count = run.Count();
    intervals.step = run.step;
    for (size_t i = 0; i < run.Count(); ++i) {
      intervals.first[i] = run.plain[i] != nullptr ? run.plain[i] : FillMixed(run, i);
    }
  }

  const uint8_t* FillMixed(const TileRun& run, size_t i) {
    uint8_t* to = filled[i];
    std::memset(to, 0, kLanes * run.step);
    for (size_t lane = 0; lane < kLanes; ++lane, to += run.step) {
      if ((run.valid[i] >> lane & 1) == 0) continue;
      const bool compact = (run.mixed[i].compact >> lane & 1) != 0;
      std::memcpy(to, run.mixed[i].entry[lane], compact ? kForm.head : run.step);
    }
    return filled[i];
  }
};

template <FormId kId, QuadRule kRule>
void FoldGroupsOfRun(const TileRun& run, const TileLengths* lengths, double* fields, size_t next,
                     const SectionContext& context) {
  constexpr const Form& kForm = kForms[kId];
  FullEntries<kId> full;
  FoldRun fold;
  full.Fill(run, fold.intervals);
  fold.lengths = lengths;
  fold.groups_at = kForm.quadsets_at;
  fold.quadsets = kForm.quadsets;
  fold.tracked = kForm.tracked;
  fold.compute = context.fold.compute;
  fold.first = run.first;
  fold.next = next;
  (kRule == QuadRule::kCurrent ? fold_kernels->fold_current : fold_kernels->fold_older)(fields,
                                                                                        fold);
  if (context.fold.compute) return;
  MergeRun merge;
  merge.intervals = fold.intervals;
  for (size_t i = 0; i < run.Count(); ++i) {
    merge.take[i] = static_cast<uint8_t>(run.valid[i] & ~run.CompactOf(i));
  }
  merge.words_at = kForm.size;
  merge.tracked = kForm.tracked;
  merge.first = run.first;
  fold_kernels->merge(fields + kForm.quadsets * 4 * kLanes, merge);
}

// The same without kernels.
template <FormId kId, QuadRule kRule>
void FoldGroupsOneByOne(const TileRun& run, Kind kind, size_t tile, const SectionContext& context) {
  constexpr const Form& kForm = kForms[kId];
  for (size_t lane = 0; lane < kLanes; ++lane) {
    for (size_t i = 0; i < run.Count(); ++i) {
      if ((run.valid[i] >> lane & 1) == 0) continue;
      const SlotRef slot =
          OpenSlots::At(resource_sets[kind], static_cast<int32_t>(tile * kLanes + lane));
      SettleRates<kId, kRule>(slot);
      const uint8_t* entry = run.EntryOf(i, lane);
      const bool compact = (run.CompactOf(i) >> lane & 1) != 0;
      FoldContext fold = context.fold;
      fold.first = run.first && i == 0;
      FoldGroups<kId, kRule>(slot, entry, compact ? kNoGroups.data() : entry + kForm.quadsets_at,
                             fold);
      if (compact || context.words_size == 0) continue;
      MergeWords<kId>(slot, entry + kForm.size, context.masks, fold.first);
    }
  }
}

// Slots of large arrays come from beyond the caches: those of the next tile are on their way while
// one is folded. The kernels do the same for fields.
inline void FetchHeads(const SlotHead* heads, size_t count) {
  for (size_t i = 0; i < count; ++i) __builtin_prefetch(heads + i, 1);
}

template <FormId kId, QuadRule kRule>
void FoldTile(PendingKind& pending, Kind kind, size_t tile) {
  constexpr const Form& kForm = kForms[kId];
  const ResourceSet& set = resource_sets[kind];
  TileRun run;
  run.plain = pending.PlainOf(tile);
  run.mixed = pending.MixedOf(tile);
  run.step = kForm.size + pending.context.words_size;
  run.count = pending.counts.data()[tile];
  run.first = pending.firsts.data()[tile] != 0;
  pending.counts.data()[tile] = 0;
  auto* const heads = OpenSlots::Heads(set) + tile * kLanes;
  double* const fields = OpenSlots::Fields(set, static_cast<int32_t>(tile * kLanes));
  const size_t next = tile + 1 < pending.tiles ? set.fields_per_slot * kLanes : 0;
  if (next != 0) {
    const size_t heads_left = static_cast<size_t>(set.entries) - (tile + 1) * kLanes;
    FetchHeads(heads + kLanes, std::min(heads_left, kLanes));
  }
  const SectionContext& context = pending.context;
  const bool by_kernel =
      kForm.quadsets != 0 && fold_kernels != nullptr && (context.fold.compute || context.all_words);
  const bool words = by_kernel && !context.fold.compute;
  bool plain = fold_kernels != nullptr && HasPlainHead<kId>(context.fold);
  for (size_t i = 0; i < run.Count(); ++i) plain = plain && run.plain[i] != nullptr;
  HeadRun folded;
  if (plain) {
    FoldPlainHeads<kId>(run, folded, heads, context, words);
  } else {
    FoldHeads<kId>(run, heads, context, words);
  }
  if constexpr (kForm.quadsets != 0) {
    if (by_kernel) {
      FoldGroupsOfRun<kId, kRule>(run, plain ? &folded.lengths : nullptr, fields, next, context);
      return;
    }
  }
  FoldGroupsOneByOne<kId, kRule>(run, kind, tile, pending.context);
}
