// Provided sets: see the header.
#include "revisions/sets/provide.h"

#include <algorithm>
#include <cstring>

#include "revisions/sets/open_slots.h"

namespace {

void PublishSlots(Kind kind) {
  switch (kind) {
#define QELPRF_PUBLISH(name, k)                \
  case k:                                      \
    name = OpenSlots::Bytes(resource_sets[k]); \
    break;
    QELPRF_SLOT_ARRAYS(QELPRF_PUBLISH)
#undef QELPRF_PUBLISH
    default:
      break;
  }
}

void ForgetOrder(ResourceSet& set) {
  std::vector<uint64_t>().swap(set.order);
  set.passed = 0;
}

void DropSet(Kind kind) {
  ResourceSet& set = resource_sets[kind];
  set.keys.Free();
  OpenSlots::Free(set);
  set.count = 0;
  set.entries = 0;
  set.from_statistics = false;
  ForgetOrder(set);
  ++set.provided;
  PublishSlots(kind);
}

bool KeysAreUnique(const ResourceSet& set) {
  const auto key = [&set](int32_t index) { return set.KeyNumber(set.KeyOf(index)); };
  // Tables are nearly always in the order of their keys.
  bool ascending = true;
  for (int32_t i = 1; i < set.entries && ascending; ++i) ascending = key(i - 1) < key(i);
  if (ascending) return true;
  std::vector<uint32_t> keys(static_cast<size_t>(set.entries));
  for (int32_t i = 0; i < set.entries; ++i) keys[static_cast<size_t>(i)] = key(i);
  std::sort(keys.begin(), keys.end());
  return std::adjacent_find(keys.begin(), keys.end()) == keys.end();
}

}  // namespace

void DropSets() {
  for (uint8_t kind = 0; kind < kSectionKinds; ++kind) DropSet(static_cast<Kind>(kind));
  structure_revision = 0;
  included_choice = 0;
}

void DropSetsFromStatistics() {
  for (uint8_t kind = 0; kind < kSectionKinds; ++kind) {
    if (resource_sets[kind].from_statistics) DropSet(static_cast<Kind>(kind));
  }
}

uint8_t* ShapeSet(Kind kind, const SetShape& shape) {
  ResourceSet& set = resource_sets[kind];
  set.count = shape.entries;
  set.entries = shape.entries;
  set.lookup = shape.lookup;
  set.key_count = shape.key_count;
  set.head_size = shape.head_size;
  // Caches keep their counter groups in their heads.
  set.quadsets = kind == kCache ? 0 : shape.quadsets;
  set.fields_per_slot = set.quadsets == 0 ? 0 : 4 * (set.quadsets + shape.tracked) + 1;
  return set.keys.Zeroed(static_cast<size_t>(shape.entries) * kKeyRoom);
}

void StartSet(Kind kind) {
  ResourceSet& set = resource_sets[kind];
  ForgetOrder(set);
  ++set.provided;
  if (set.entries == 0) {
    OpenSlots::Free(set);
  } else {
    OpenSlots::Provide(set);
  }
  set.unique = set.lookup != Lookup::kPosition && KeysAreUnique(set);
  PublishSlots(kind);
  ClearSlots(kind);
}

void ClearSlots(Kind kind) {
  ResourceSet& set = resource_sets[kind];
  if (set.entries == 0) return;
  OpenSlots::Clear(set);
  // Cache slots and all others keep their key at the same place.
  constexpr size_t key_at = offsetof(SlotHead, key);
  static_assert(key_at == offsetof(CacheSlot, key));
  uint8_t* slot = OpenSlots::Bytes(set);
  for (int32_t i = 0; i < set.entries; ++i, slot += set.head_size) {
    std::memcpy(slot + key_at, set.KeyOf(i), set.key_count);
  }
}
