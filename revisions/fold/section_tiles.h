// The tiles of a section while it is read.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "areas/finfo.h"
#include "revisions/fold/signatures.h"
#include "revisions/fold/tile.h"
#include "revisions/sets/lookup.h"

template <FormId kId, QuadRule kRule>
class SectionTiles {
 public:
  explicit SectionTiles(Kind kind)
      : kind_(kind),
        set_(resource_sets[kind]),
        context_{ContextOf(kind), finfo.items[kind], size_t{finfo.items[kind].in_count} * 4},
        signature_(set_.key_count),
        expected_(ExpectedSignatures<kId>(kind)) {}

  const ResourceSet& set() const { return set_; }
  size_t count() const { return (static_cast<size_t>(set_.entries) + kLanes - 1) / kLanes; }
  size_t LanesOf(size_t tile) const {
    return std::min(static_cast<size_t>(set_.entries) - tile * kLanes, kLanes);
  }
  // Bytes of an entry that is not compact, extended words included.
  size_t full() const { return kForms[kId].size + context_.words_size; }

  // Takes the entries of a tile as its interval `i`; returns the first byte behind them, or null if
  // these are other entries or end behind `end`.
  const uint8_t* Take(size_t i, size_t tile, const uint8_t* entry, const uint8_t* end) {
    const size_t lanes = LanesOf(tile);
    const uint8_t* const wanted = expected_ + tile * kLanes * 8;
    if (lanes == kLanes && static_cast<size_t>(end - entry) >= kLanes * full() &&
        AreTile(entry, full(), wanted, signature_.All())) {
      plain_[i] = entry;
      return entry + kLanes * full();
    }
    plain_[i] = nullptr;
    return TakeTile<kId>(mixed_[i], entry, end, full(), wanted, signature_, lanes);
  }
  // Takes one entry as the only interval of its slot's tile.
  void TakeOne(int32_t slot, const uint8_t* entry, bool compact) {
    plain_[0] = nullptr;
    mixed_[0] = kNoEntries;
    mixed_[0].Put(static_cast<size_t>(slot) % kLanes, entry, compact,
                  entry[kForms[kId].not_valid] == 0);
  }
  // Folds the intervals taken, oldest first.
  void Fold(size_t tile, size_t intervals) {
    TileRun run;
    run.plain = plain_.data();
    run.mixed = mixed_.data();
    run.step = full();
    run.count = intervals;
    run.first = context_.fold.first;
    FoldTile<kId, kRule>(run, kind_, tile, context_);
  }

 private:
  Kind kind_;
  const ResourceSet& set_;
  SectionContext context_;
  SignatureBits<kId> signature_;
  const uint8_t* expected_;
  std::array<const uint8_t*, kMostIntervals> plain_;
  std::array<MixedEntries, kMostIntervals> mixed_;
};
