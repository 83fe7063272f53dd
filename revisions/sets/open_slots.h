// The memory of slots: for those who provide them, fold into them and put them.
#pragma once

#include <algorithm>

#include "revisions/sets/slots.h"

struct OpenSlots {
  static uint8_t* Bytes(const ResourceSet& set) { return set.heads; }
  static SlotHead* Heads(const ResourceSet& set) { return reinterpret_cast<SlotHead*>(set.heads); }
  // First field of a slot; null for kinds without counter groups.
  static double* Fields(const ResourceSet& set, int32_t index) {
    if (set.fields_per_slot == 0) return nullptr;
    const auto i = static_cast<size_t>(index);
    return set.fields + (i / kLanes) * kLanes * set.fields_per_slot + i % kLanes;
  }
  // Slots of large arrays come from beyond the caches: the heads of a tile are on their way while
  // the one before it is at work. The kernels do the same for fields.
  static void Fetch(const ResourceSet& set, int32_t from) {
    const int32_t to = std::min(set.entries, from + static_cast<int32_t>(kLanes));
    for (int32_t i = from; i < to; ++i) __builtin_prefetch(Heads(set) + i, 1);
  }
  static SlotRef At(const ResourceSet& set, int32_t index) {
    return {Heads(set)[index], Fields(set, index), set.quadsets};
  }
  static CacheSlot* Caches() { return reinterpret_cast<CacheSlot*>(Bytes(resource_sets[kCache])); }

  static void Provide(ResourceSet& set);
  static void Clear(ResourceSet& set);
  static void Free(ResourceSet& set);
};
