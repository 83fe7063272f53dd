// Telling the entries of tiles in a section, and keeping them as pending.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "engine/layout/layout.h"
#include "revisions/fold/pending.h"
#include "revisions/sets/slots.h"

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
  return (kForm.compact == kNone || inside(kForm.compact)) && inside(kForm.not_valid);
}

template <FormId kId>
void PutSignature(uint8_t* signature, const uint8_t* key, size_t key_count, uint8_t flag) {
  constexpr const Form& kForm = kForms[kId];
  std::memset(signature, 0, 8);
  if constexpr (kForm.compact != kNone) signature[kForm.compact - kAtSignature] = flag;
  signature[kForm.not_valid - kAtSignature] = flag;
  for (size_t i = 0; i < kForm.key.count; ++i) {
    const size_t at = kForm.key.number ? size_t{kForm.key.at[0]} + i : size_t{kForm.key.at[i]};
    if (i < key_count) signature[at - kAtSignature] = key[i];
  }
}

// Whether the next eight entries are full, valid, and those of a tile.
inline bool AreTile(const uint8_t* entry, size_t size, const uint8_t* expected, uint64_t mask) {
  uint64_t differ = 0;
  for (size_t i = 0; i < kLanes; ++i, entry += size, expected += 8) {
    uint64_t signature;
    uint64_t want;
    std::memcpy(&signature, entry + kAtSignature, 8);
    std::memcpy(&want, expected, 8);
    differ |= (signature ^ want) & mask;
  }
  return differ == 0;
}

// Up to eight entries of a section that follow each other.
struct Batch {
  const uint8_t* entry[kLanes];
  int32_t slot[kLanes];
  uint8_t compact;
  uint8_t valid;
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
  const size_t at = pending.Next(kind, tile);
  pending.PlainOf(tile)[at] = nullptr;
  pending.MixedOf(tile)[at] = entries;
  pending.Add(kind, tile);
}

// Adds a batch whose slots are those of a tile as one interval, else its entries one by one.
inline void AddBatch(PendingKind& pending, Kind kind, const Batch& batch, bool is_tile) {
  MixedEntries entries = kNoEntries;
  for (size_t i = 0; i < batch.count; ++i) {
    const auto slot = static_cast<size_t>(batch.slot[i]);
    entries.Put(slot % kLanes, batch.entry[i], (batch.compact >> i & 1) != 0,
                (batch.valid >> i & 1) != 0);
    if (is_tile && i + 1 != batch.count) continue;
    AddMixed(pending, kind, slot / kLanes, entries);
    entries = kNoEntries;
  }
}

// The bits of the key, of compact and of not-valid entries in a signature.
template <FormId kId>
struct SignatureBits {
  uint64_t key;
  uint64_t compact;
  uint64_t not_valid;

  explicit SignatureBits(size_t key_count) {
    constexpr const Form& kForm = kForms[kId];
    constexpr uint8_t kAll[3] = {0xFF, 0xFF, 0xFF};
    uint8_t signature[8];
    PutSignature<kId>(signature, kAll, key_count, 0);
    std::memcpy(&key, signature, 8);
    compact = kForm.compact == kNone ? 0 : ByteAt(kForm.compact - static_cast<int>(kAtSignature));
    not_valid = ByteAt(kForm.not_valid - static_cast<int>(kAtSignature));
  }
  uint64_t All() const { return key | compact | not_valid; }

 private:
  static uint64_t ByteAt(int at) {
    uint8_t bytes[8] = {};
    bytes[at] = 0xFF;
    uint64_t word;
    std::memcpy(&word, bytes, 8);
    return word;
  }
};

// Takes the next eight entries if they are those of a tile, whatever they are; returns the first
// byte behind them, else null.
template <FormId kId>
const uint8_t* TakeTile(MixedEntries& tile, const uint8_t* entry, const uint8_t* end, size_t full,
                        const uint8_t* expected, const SignatureBits<kId>& signature) {
  constexpr const Form& kForm = kForms[kId];
  constexpr size_t kHead = kForm.compact == kNone ? kForm.size : kForm.head;
  static_assert(kHead >= kAtSignature + 8);
  tile.compact = 0;
  tile.valid = 0;
  for (size_t lane = 0; lane < kLanes; ++lane, expected += 8) {
    if (static_cast<size_t>(end - entry) < kHead) return nullptr;
    uint64_t have;
    uint64_t want;
    std::memcpy(&have, entry + kAtSignature, 8);
    std::memcpy(&want, expected, 8);
    const uint64_t differ = have ^ want;
    if ((differ & signature.key) != 0) return nullptr;
    const bool compact = (differ & signature.compact) != 0;
    const size_t size = compact ? kHead : full;
    if (static_cast<size_t>(end - entry) < size) return nullptr;
    tile.Put(lane, entry, compact, (differ & signature.not_valid) == 0);
    entry += size;
  }
  return entry;
}
