// The memory of slots: see the header.
#include "revisions/sets/open_slots.h"

#include <cstring>

#include "platform/memory.h"

namespace {

size_t FieldBytes(const ResourceSet& set) {
  const size_t tiles = (static_cast<size_t>(set.entries) + kLanes - 1) / kLanes;
  return tiles * kLanes * set.fields_per_slot * sizeof(double);
}

size_t SlotBytes(const ResourceSet& set) {
  return FieldBytes(set) + static_cast<size_t>(set.entries) * set.head_size;
}

}  // namespace

// Vectors are not to lie across cache lines, and a large block is to have large pages.
void OpenSlots::Provide(ResourceSet& set) {
  const size_t size = SlotBytes(set);
  const size_t alignment = size < kLargePage ? kCacheLine : kLargePage;
  auto at = reinterpret_cast<uintptr_t>(set.block.Reserve(size + alignment - 1));
  at = (at + alignment - 1) / alignment * alignment;
  set.fields = reinterpret_cast<double*>(at);
  set.heads = reinterpret_cast<uint8_t*>(at) + FieldBytes(set);
  if (alignment == kLargePage) PreferLargePages(set.fields, size);
}

void OpenSlots::Clear(ResourceSet& set) { std::memset(set.fields, 0, SlotBytes(set)); }

void OpenSlots::Free(ResourceSet& set) {
  set.block.Free();
  set.heads = nullptr;
  set.fields = nullptr;
}
