// Telling the entries of tiles in a section, and keeping them as pending.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "engine/layout/layout.h"
#include "revisions/fold/pending.h"
#include "revisions/sets/slots.h"

// Key, compact and not-valid bytes of all forms lie in the same eight bytes of an entry.
inline constexpr size_t kAtMarks = 8;

template <FormId kId>
constexpr bool MarksLieTogether() {
  constexpr const Form& kForm = kForms[kId];
  const auto inside = [](int at) { return at >= static_cast<int>(kAtMarks) && at < 16; };
  for (size_t i = 0; i < kForm.key.count; ++i) {
    if (!inside(kForm.key.at[i])) return false;
  }
  return (kForm.compact == kNone || inside(kForm.compact)) && inside(kForm.not_valid);
}

template <FormId kId>
void PutMarks(uint8_t* marks, const uint8_t* key, size_t key_count, uint8_t flag) {
  constexpr const Form& kForm = kForms[kId];
  std::memset(marks, 0, 8);
  if constexpr (kForm.compact != kNone) marks[kForm.compact - kAtMarks] = flag;
  marks[kForm.not_valid - kAtMarks] = flag;
  for (size_t i = 0; i < kForm.key.count; ++i) {
    const size_t at = kForm.key.number ? size_t{kForm.key.at[0]} + i : size_t{kForm.key.at[i]};
    if (i < key_count) marks[at - kAtMarks] = key[i];
  }
}

// Whether the next eight entries are full, valid, and those of a tile.
inline bool AreTile(const uint8_t* entry, size_t size, const uint8_t* expected, uint64_t mask) {
  uint64_t differ = 0;
  for (size_t i = 0; i < kLanes; ++i, entry += size, expected += 8) {
    uint64_t marks;
    uint64_t want;
    std::memcpy(&marks, entry + kAtMarks, 8);
    std::memcpy(&want, expected, 8);
    differ |= (marks ^ want) & mask;
  }
  return differ == 0;
}

// Up to eight entries of a section that follow each other.
struct Batch {
  const uint8_t* entry[kLanes];
  int32_t slot[kLanes];
  uint8_t compact;
  size_t count;
};

// Whether the slots of a batch are a tile, or the beginning of the last one.
inline bool IsTile(const Batch& batch, const ResourceSet& set) {
  if (batch.count == 0 || batch.slot[0] % static_cast<int32_t>(kLanes) != 0) return false;
  if (batch.count != kLanes && batch.slot[batch.count - 1] != set.entries - 1) return false;
  bool in_order = true;
  for (size_t i = 1; i < batch.count; ++i) {
    in_order = in_order && batch.slot[i] == batch.slot[0] + static_cast<int32_t>(i);
  }
  return in_order;
}

inline void AddMixed(PendingKind& pending, Kind kind, size_t tile, const MixedEntries& entries) {
  const size_t at = pending.Add(kind, tile);
  pending.PlainOf(tile)[at] = nullptr;
  pending.MixedOf(tile)[at] = entries;
}

inline void AddTile(PendingKind& pending, Kind kind, const Batch& batch) {
  MixedEntries entries = {};
  for (size_t i = 0; i < batch.count; ++i) entries.entry[i] = batch.entry[i];
  entries.compact = batch.compact;
  AddMixed(pending, kind, static_cast<size_t>(batch.slot[0]) / kLanes, entries);
}

// Entries in another order than the slots: one after the other.
inline void AddOneByOne(PendingKind& pending, Kind kind, const Batch& batch) {
  for (size_t i = 0; i < batch.count; ++i) {
    const auto slot = static_cast<size_t>(batch.slot[i]);
    const size_t lane = slot % kLanes;
    MixedEntries entries = {};
    entries.entry[lane] = batch.entry[i];
    entries.compact = (batch.compact >> i & 1) != 0 ? static_cast<uint8_t>(1U << lane) : uint8_t{0};
    AddMixed(pending, kind, slot / kLanes, entries);
  }
}
