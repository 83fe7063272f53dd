// Lookup of resources: from the key of a statistics entry to the index of its slot.
#pragma once

#include <cstdint>
#include <cstring>

#include "revisions/sets/slots.h"

// Index of the last logical and physical disk found. Never reset between files or periods.
extern uint16_t usLdCursor;
extern uint16_t usPdCursor;

// Reports a missing resource as a broken record; returns -1 (automatic runs).
int32_t MissingResource();

// First table entry whose key equals `key`, or -1.
int32_t ScanForKey(ResourceSet& set, const uint8_t* key);

// The search that resumes at `cursor` and wraps around once. A key that is not in a non-empty table
// yields the cursor's position: files rely on it, so it is kept. Returns the count when the table
// is empty.
int32_t ResumeForKey(ResourceSet& set, const uint8_t* key, uint16_t& cursor);

inline bool KeyMatches(const ResourceSet& set, int32_t index, const uint8_t* key) {
  const uint8_t* have = set.KeyOf(index);
  if (have[0] != key[0]) return false;
  if (set.key_count > 1 && have[1] != key[1]) return false;
  return set.key_count <= 2 || have[2] == key[2];
}

inline uint16_t& CursorOf(Kind kind) { return kind == kLd ? usLdCursor : usPdCursor; }

// Index of the resource with `key` (bytes as in the file), given that its entry stands at
// `position` of its section. -1: not configured, reported as a broken record.
int32_t FindIndex(Kind kind, const uint8_t* key, int32_t position);

// The same for an entry that is expected to be the one of slot `expected`, as entries come in table
// order: where no key occurs twice, the slot with the key is the right one by any search.
inline int32_t FindNext(const ResourceSet& set, Kind kind, const uint8_t* key, int32_t position,
                        int32_t expected) {
  if (set.unique && expected < set.entries && KeyMatches(set, expected, key)) {
    if (set.lookup == Lookup::kCursor) CursorOf(kind) = static_cast<uint16_t>(expected);
    return expected;
  }
  return FindIndex(kind, key, position);
}
