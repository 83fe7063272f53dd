// The tiles of a section while it is read.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "areas/finfo.h"
#include "revisions/fold/tile.h"
#include "revisions/sets/lookup.h"

template <FormId kId, QuadRule kRule>
class SectionTiles {
 public:
  explicit SectionTiles(Kind kind)
      : kind_(kind),
        set_(resource_sets[kind]),
        context_(ContextOf(kind)),
        full_(kForms[kId].size + size_t{context_.masks.in_count} * 4),
        key_bits_(SignatureOf<kId>(kAllOfKey, set_.key_count)) {}

  const ResourceSet& set() const { return set_; }
  size_t count() const { return (static_cast<size_t>(set_.entries) + kLanes - 1) / kLanes; }
  // Goes to a tile; the lanes that are in use.
  size_t Begin(size_t tile) {
    tile_ = tile;
    run_.lanes = std::min(static_cast<size_t>(set_.entries) - tile * kLanes, kLanes);
    const auto first = static_cast<int32_t>(tile * kLanes);
    for (size_t lane = 0; lane < run_.lanes; ++lane) {
      const uint8_t* const key = set_.KeyOf(first + static_cast<int32_t>(lane));
      expected_[lane] = SignatureOf<kId>(key, set_.key_count);
    }
    return run_.lanes;
  }
  // Bytes of an entry that is not compact, extended words included.
  size_t full() const { return full_; }

  // Takes the tile's entries as its interval `i`; returns the first byte behind them, or null if
  // these are other entries or end behind `end`.
  __attribute__((always_inline)) const uint8_t* Take(size_t i, const uint8_t* entry,
                                                     const uint8_t* end) {
    constexpr size_t kHead = kLeastEntry<kId>;
    const auto left = static_cast<size_t>(end - entry);
    const uint64_t all = key_bits_ | kCompactBits<kId> | kNotValidBits<kId>;
    TileEntries& now = run_.of[i];
    if (run_.lanes == kLanes) {
      const bool room = left >= kLanes * full_;
      if (room && AreTile(entry, full_, expected_, all)) {
        return PutInLine(now, entry, full_, false);
      }
      // Resources mostly stay busy or idle.
      if (i != 0 && run_.of[i - 1].step == 0 && left >= run_.of[i - 1].size) {
        const uint8_t* const behind = TakeLike(now, run_.of[i - 1], entry, all);
        if (behind != nullptr) return behind;
      }
      // Idle ones as a rule stand together, and are found without going from one to the next.
      if (kCompactBits<kId> != 0 && left >= kLanes * kHead &&
          AreTile(entry, kHead, expected_, all, kOneIfCompact<kId>)) {
        return PutInLine(now, entry, kHead, true);
      }
      if (room) return TakeMixed<kId, true>(now, entry, end, full_, expected_, key_bits_, kLanes);
    }
    return TakeMixed<kId, false>(now, entry, end, full_, expected_, key_bits_, run_.lanes);
  }
  // Takes one entry as the only interval of its slot's tile.
  void TakeOne(int32_t slot, const uint8_t* entry, bool compact) {
    tile_ = static_cast<size_t>(slot) / kLanes;
    run_.lanes = std::min(static_cast<size_t>(set_.entries) - tile_ * kLanes, kLanes);
    const size_t lane = static_cast<size_t>(slot) % kLanes;
    const bool valid = entry[kForms[kId].not_valid] == 0;
    TileEntries& only = run_.of[0];
    PutNone(only);
    only.entry[lane] = entry;
    if (valid && !compact) only.groups[lane] = entry;
    only.compact = static_cast<uint8_t>(unsigned{compact} << lane);
    only.valid = static_cast<uint8_t>(unsigned{valid} << lane);
  }
  // Folds the intervals taken, oldest first.
  void Fold(size_t intervals) {
    run_.count = intervals;
    run_.first = context_.first;
    FoldTile<kId, kRule>(run_, kind_, tile_, context_);
  }

 private:
  static constexpr uint8_t kAllOfKey[3] = {0xFF, 0xFF, 0xFF};

  Kind kind_;
  const ResourceSet& set_;
  FoldContext context_;
  size_t full_;
  uint64_t key_bits_;
  size_t tile_ = 0;
  uint64_t expected_[kLanes] = {};  // signatures of the tile's full and valid entries
  TileRun run_;
};
