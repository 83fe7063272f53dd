// Sets and their slots provided, cleared and dropped, as structure records and periods want it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "revisions/sets/slots.h"

// Drops all tables and slot arrays.
void DropSets();
// Drops the sets that were built from statistics records (a skipped structure record).
void DropSetsFromStatistics();

// Describes a set and provides the zeroed room of its keys, kKeyRoom bytes each, to be filled by
// the caller, who then calls StartSet.
struct SetShape {
  int32_t entries;
  Lookup lookup;
  uint8_t key_count;
  size_t head_size;
  size_t quadsets;
  size_t tracked;
};
constexpr size_t SlotHeadSize(Kind kind) {
  return kind == kCache ? sizeof(CacheSlot) : sizeof(SlotHead);
}
uint8_t* ShapeSet(Kind kind, const SetShape& shape);

// Provides the slots of a filled table and looks whether its keys are unique.
void StartSet(Kind kind);

// Zeroes all slots of a set; their keys become the configured ones.
void ClearSlots(Kind kind);
