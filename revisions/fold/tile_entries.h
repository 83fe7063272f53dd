// Telling the entries of tiles in a section.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "engine/layout/layout.h"
#include "revisions/fold/accumulate.h"
#include "revisions/fold/kernel.h"
#include "revisions/sets/slots.h"

// Stands for entries, and for counter groups, of lanes that have none: everything is 0 in it.
inline constexpr size_t kMostEntryBytes = 256;
alignas(64) inline constexpr std::array<uint8_t, kMostEntryBytes> kNoEntry = {};

// Bytes that each entry has at least.
template <FormId kId>
constexpr size_t kLeastEntry = kForms[kId].compact == kNone ? kForms[kId].size : kForms[kId].head;

inline void PutNone(TileEntries& tile) {
  for (size_t lane = 0; lane < kLanes; ++lane)
    tile.entry[lane] = tile.groups[lane] = kNoEntry.data();
  tile.step = 0;
  tile.compact = tile.valid = 0;
}
inline const uint8_t* PutInLine(TileEntries& tile, const uint8_t* first, size_t step,
                                bool compact) {
  tile.first = first;
  tile.step = step;
  tile.size = kLanes * step;
  tile.compact = compact ? 0xFF : 0;
  tile.valid = 0xFF;
  return first + tile.size;
}
// Tells each lane's entry of those that follow each other.
inline void Scatter(TileEntries& tile) {
  if (tile.step == 0) return;
  for (size_t lane = 0; lane < kLanes; ++lane) {
    const uint8_t* const at = tile.first + lane * tile.step;
    tile.entry[lane] = at;
    tile.groups[lane] = tile.compact != 0 ? kNoEntry.data() : at;
  }
}

// Key, compact and not-valid bytes of all forms lie in the same eight bytes of an entry: its
// signature.
inline constexpr size_t kAtSignature = 8;

template <FormId kId>
constexpr bool SignatureLiesTogether() {
  constexpr const Form& kForm = kForms[kId];
  const auto inside = [](int at) { return at >= static_cast<int>(kAtSignature) && at < 16; };
  for (size_t i = 0; i < kForm.key.count; ++i) {
    if (!inside(kForm.key.at[i])) return false;
  }
  static_assert(kLeastEntry<kId> >= kAtSignature + 8);
  return (kForm.compact == kNone || inside(kForm.compact)) && inside(kForm.not_valid);
}

// A signature in which one byte of an entry, the one at `at`, is not 0.
constexpr uint64_t SignatureByte(int at, uint8_t value) {
  const int place = at - static_cast<int>(kAtSignature);
  return uint64_t{value} << 8 * (std::endian::native == std::endian::little ? place : 7 - place);
}
// The bits of compact and of not-valid entries in a signature; how the former usually differ.
template <FormId kId>
constexpr uint64_t kCompactBits = kForms[kId].compact == kNone
                                      ? 0
                                      : SignatureByte(kForms[kId].compact, 0xFF);
template <FormId kId>
constexpr uint64_t kNotValidBits = SignatureByte(kForms[kId].not_valid, 0xFF);
template <FormId kId>
constexpr uint64_t kOneIfCompact = kCompactBits<kId> / 0xFF;

// The signature of a full and valid entry.
template <FormId kId>
uint64_t SignatureOf(const uint8_t* key, size_t key_count) {
  constexpr const KeyBytes& kKey = kForms[kId].key;
  uint64_t signature = 0;
  for (size_t i = 0; i < kKey.count; ++i) {
    if (i < key_count) signature |= SignatureByte(kKey.at[i], key[i]);
  }
  return signature;
}

inline uint64_t SignatureAt(const uint8_t* at) {
  uint64_t signature;
  std::memcpy(&signature, at, 8);
  return signature;
}

// Whether eight entries that follow each other have the signatures of a tile in the bits of `mask`,
// but for `turned`.
inline bool AreTile(const uint8_t* entry, size_t size, const uint64_t* expected, uint64_t mask,
                    uint64_t turned = 0) {
  const auto differ = [&](size_t i) {
    return SignatureAt(entry + i * size + kAtSignature) ^ expected[i] ^ turned;
  };
  // Of most tiles that are others the first entry is already another.
  if ((differ(0) & mask) != 0) return false;
  uint64_t any = 0;
  for (size_t i = 1; i < kLanes; ++i) any |= differ(i);
  return (any & mask) == 0;
}

// Takes the next eight entries if they lie as those of the same tile did in another interval, and
// are the same but for what they count: resources mostly stay busy or idle.
inline const uint8_t* TakeLike(TileEntries& tile, const TileEntries& other, const uint8_t* entry,
                               uint64_t mask) {
  const auto moved =
      reinterpret_cast<uintptr_t>(entry) - reinterpret_cast<uintptr_t>(other.entry[0]);
  uint64_t any = 0;
  for (size_t lane = 0; lane < kLanes; ++lane) {
    const uint8_t* const was = other.entry[lane];
    const auto* const at =
        reinterpret_cast<const uint8_t*>(reinterpret_cast<uintptr_t>(was) + moved);
    any |= SignatureAt(at + kAtSignature) ^ SignatureAt(was + kAtSignature);
    tile.entry[lane] = at;
    tile.groups[lane] = other.groups[lane] == was ? at : kNoEntry.data();
  }
  tile.step = 0;
  tile.compact = other.compact;
  tile.valid = other.valid;
  tile.size = other.size;
  return (any & mask) == 0 ? entry + tile.size : nullptr;
}

// Takes the next entries, one for each lane in use, if they are those of a tile, whatever they are.
// Returns the first byte behind them, else null. With kRoom all eight lanes are in use, and there
// is room for them were they all full.
template <FormId kId, bool kRoom>
const uint8_t* TakeMixed(TileEntries& tile, const uint8_t* entry, const uint8_t* end, size_t full,
                         const uint64_t* expected, uint64_t key_bits, size_t lanes) {
  if (!kRoom) PutNone(tile);
  const uint8_t* const first = entry;
  uint64_t any = 0;
  unsigned compact = 0;
  unsigned not_valid = 0;
  for (size_t lane = 0; lane < (kRoom ? kLanes : lanes); ++lane) {
    const auto left = static_cast<size_t>(end - entry);
    if (!kRoom && left < kLeastEntry<kId>) return nullptr;
    const uint64_t differ = SignatureAt(entry + kAtSignature) ^ expected[lane];
    const bool is_compact = (differ & kCompactBits<kId>) != 0;
    const bool is_not_valid = (differ & kNotValidBits<kId>) != 0;
    const size_t size = is_compact ? kLeastEntry<kId> : full;
    if (!kRoom && left < size) return nullptr;
    any |= differ;
    compact |= unsigned{is_compact} << lane;
    not_valid |= unsigned{is_not_valid} << lane;
    tile.entry[lane] = entry;
    tile.groups[lane] = is_compact || is_not_valid ? kNoEntry.data() : entry;
    entry += size;
  }
  tile.step = 0;
  tile.size = static_cast<size_t>(entry - first);
  tile.compact = static_cast<uint8_t>(compact);
  tile.valid = static_cast<uint8_t>(~not_valid & ((1U << (kRoom ? kLanes : lanes)) - 1));
  return (any & key_bits) == 0 ? entry : nullptr;
}
