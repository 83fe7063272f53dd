// Statistics entries that have been read but not folded yet. Entries of eight neighbouring slots (a
// tile) are kept over several records and folded together, so that a tile's slots are fetched once
// for all of them. Records stay in memory meanwhile (record_buffer.h).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "areas/finfo.h"
#include "engine/buffer.h"
#include "engine/layout/layout.h"
#include "revisions/fold/accumulate.h"
#include "revisions/fold/kernel.h"
#include "revisions/fold/settle.h"
#include "revisions/sets/slots.h"

// Stands for entries, and for counter groups, of lanes that have none: everything is 0 in it.
inline constexpr size_t kMostEntryBytes = 256;
alignas(64) inline constexpr std::array<uint8_t, kMostEntryBytes> kNoEntry = {};

// What is the same for all entries of the section being read.
struct SectionContext {
  FoldContext fold;
  ItemMasks masks;
  size_t words_size;  // bytes of the extended words behind a full entry
};

// One interval of a tile whose entries do not simply follow each other, full and valid. Of the last
// tile of a set fewer lanes may be in use.
struct MixedEntries {
  std::array<const uint8_t*, kLanes> entry;   // in a record; null in lanes that are not in use
  std::array<const uint8_t*, kLanes> groups;  // the same where the lane has counter groups, else
                                              // kNoEntry
  uint8_t compact;                            // bit n: the entry of lane n has no counter groups
  uint8_t valid;                              // bit n: lane n counts

  void Put(size_t lane, const uint8_t* at, bool is_compact, bool is_valid) {
    entry[lane] = at;
    groups[lane] = is_compact || !is_valid ? kNoEntry.data() : at;
    compact = static_cast<uint8_t>(compact | unsigned{is_compact} << lane);
    valid = static_cast<uint8_t>(valid | unsigned{is_valid} << lane);
  }
};

// No lane is in use.
inline constexpr MixedEntries kNoEntries = {
    {},
    {kNoEntry.data(), kNoEntry.data(), kNoEntry.data(), kNoEntry.data(), kNoEntry.data(),
     kNoEntry.data(), kNoEntry.data(), kNoEntry.data()},
    0,
    0};

// The pending entries of one kind.
struct PendingKind {
  // Folds and forgets what is pending of a tile.
  void (*fold)(PendingKind& pending, Kind kind, size_t tile) = nullptr;
  SectionContext context = {};
  size_t tiles = 0;
  size_t room = 0;  // intervals of a tile that there is room for
  bool any = false;
  // Of the set when the entries came: once the slots are others or cleared, nothing is pending.
  uint32_t provided = 0;
  uint32_t cleared = 0;
  Buffer plain;     // const uint8_t*[tiles][room]: the first of eight entries; null: mixed
  Buffer mixed;     // MixedEntries[tiles][room]
  Buffer counts;    // uint8_t[tiles]: intervals
  Buffer firsts;    // uint8_t[tiles]: 1 when the oldest is the first interval of its period
  Buffer expected;  // uint64_t[tiles][kLanes], see tile_entries.h

  const uint8_t** PlainOf(size_t tile) const {
    return reinterpret_cast<const uint8_t**>(plain.data()) + tile * room;
  }
  MixedEntries* MixedOf(size_t tile) const {
    return reinterpret_cast<MixedEntries*>(mixed.data()) + tile * room;
  }

  // What was kept for slots that are gone or cleared counts no longer.
  void ForgetStale(const ResourceSet& set) {
    if (any && (provided != set.provided || cleared != set.cleared)) {
      std::memset(counts.data(), 0, tiles);
      any = false;
    }
  }

  // Makes room for another interval of a tile, whose place this is.
  size_t Next(Kind kind, size_t tile) {
    const uint8_t& count = counts.data()[tile];
    // Only the oldest can be a first one; entries out of order make several of one record.
    if (count == room || (count != 0 && context.fold.first)) fold(*this, kind, tile);
    return count;
  }
  // The interval at that place is there. Folds the tile while its entries are at hand if it is the
  // last that is waited for.
  void Add(Kind kind, size_t tile) {
    uint8_t& count = counts.data()[tile];
    if (count == 0) firsts.data()[tile] = context.fold.first ? 1 : 0;
    any = true;
    if (++count == pending_limit) fold(*this, kind, tile);
  }
};

PendingKind& PendingOf(Kind kind);

inline void FoldPendingTile(PendingKind& pending, Kind kind, size_t tile) {
  if (pending.counts.data()[tile] != 0) pending.fold(pending, kind, tile);
}

// Folds what is pending of a kind.
void Settle(Kind kind);
