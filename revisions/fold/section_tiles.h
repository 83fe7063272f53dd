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
        full_(kForms[kId].size + context_.words_size),
        signature_(set_.key_count),
        expected_(ExpectedSignatures<kId>(kind)) {}

  const ResourceSet& set() const { return set_; }
  size_t count() const { return (static_cast<size_t>(set_.entries) + kLanes - 1) / kLanes; }
  size_t LanesOf(size_t tile) const {
    return std::min(static_cast<size_t>(set_.entries) - tile * kLanes, kLanes);
  }
  // Bytes of an entry that is not compact, extended words included.
  size_t full() const { return full_; }

  // Takes the entries of a tile as its interval `i`; returns the first byte behind them, or null if
  // these are other entries or end behind `end`.
  const uint8_t* Take(size_t i, size_t tile, const uint8_t* entry, const uint8_t* end) {
    const uint8_t* const wanted = expected_ + tile * kLanes * 8;
    if (LanesOf(tile) == kLanes && static_cast<size_t>(end - entry) >= kLanes * full_ &&
        AreTile(entry, full_, wanted, signature_.All())) {
      return PutInLine(intervals_[i], entry, full_, false);
    }
    return TakeOther(i, LanesOf(tile), wanted, entry, end);
  }
  // Takes one entry as the only interval of its slot's tile.
  void TakeOne(int32_t slot, const uint8_t* entry, bool compact) {
    PutNone(intervals_[0]);
    PutLane(intervals_[0], static_cast<size_t>(slot) % kLanes, entry, compact,
            entry[kForms[kId].not_valid] == 0);
  }
  // Folds the intervals taken, oldest first.
  void Fold(size_t tile, size_t intervals) {
    TileRun run;
    run.of = intervals_.data();
    run.count = intervals;
    run.first = context_.fold.first;
    FoldTile<kId, kRule>(run, kind_, tile, context_);
  }

 private:
  // Take, of what is not eight full and valid entries.
  const uint8_t* TakeOther(size_t i, size_t lanes, const uint8_t* wanted, const uint8_t* entry,
                           const uint8_t* end) {
    const auto left = static_cast<size_t>(end - entry);
    const uint64_t all = signature_.All();
    TileEntries& now = intervals_[i];
    if (lanes == kLanes) {
      // Resources mostly stay busy or idle.
      if (i != 0 && intervals_[i - 1].step == 0 && left >= intervals_[i - 1].size) {
        const uint8_t* const behind = TakeLike(now, intervals_[i - 1], entry, all);
        if (behind != nullptr) return behind;
      }
      // Idle ones as a rule stand together, and are found without going from one to the next.
      if constexpr (kForms[kId].compact != kNone) {
        constexpr size_t kHead = kForms[kId].head;
        if (left >= kLanes * kHead &&
            AreTile(entry, kHead, wanted, all, signature_.one_if_compact)) {
          return PutInLine(now, entry, kHead, true);
        }
      }
      if (left >= kLanes * full_) return TakeMixed<kId>(now, entry, full_, wanted, signature_);
    }
    return TakeLanes<kId>(now, entry, end, full_, wanted, signature_, lanes);
  }

  Kind kind_;
  const ResourceSet& set_;
  SectionContext context_;
  size_t full_;
  SignatureBits<kId> signature_;
  const uint8_t* expected_;
  std::array<TileEntries, kMostIntervals> intervals_;
};
