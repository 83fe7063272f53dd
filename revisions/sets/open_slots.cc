// The memory of slots: see the header.
#include "revisions/sets/open_slots.h"

#include <cstring>

#include "platform/memory.h"

namespace {

size_t FieldBytes(const ResourceSet& set) {
  const size_t tiles = (static_cast<size_t>(set.entries) + kLanes - 1) / kLanes;
  return tiles * kLanes * set.fields_per_slot * sizeof(double);
}

}  // namespace

// Vectors are not to lie across cache lines, and a large block is to have large pages.
void OpenSlots::Provide(ResourceSet& set) {
  set.slot_block.Reserve(static_cast<size_t>(set.entries) * set.head_size);
  if (set.fields_per_slot == 0) return;
  const size_t size = FieldBytes(set);
  const size_t alignment = size < kLargePage ? kCacheLine : kLargePage;
  auto at = reinterpret_cast<uintptr_t>(set.field_block.Reserve(size + alignment - 1));
  at = (at + alignment - 1) / alignment * alignment;
  set.fields = reinterpret_cast<double*>(at);
  if (alignment == kLargePage) PreferLargePages(set.fields, size);
}

void OpenSlots::Clear(ResourceSet& set) {
  std::memset(Bytes(set), 0, static_cast<size_t>(set.entries) * set.head_size);
  if (set.fields_per_slot != 0) std::memset(set.fields, 0, FieldBytes(set));
}

void OpenSlots::Free(ResourceSet& set) {
  set.slot_block.Free();
  set.field_block.Free();
  set.fields = nullptr;
}
