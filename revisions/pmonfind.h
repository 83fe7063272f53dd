// Lookup of resources: from the key of a statistics entry to the index of its slot.
#pragma once

#include <cstdint>
#include <cstring>

#include "revisions/slots.h"

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

// Lookup functions by name. Each returns the index of the configured resource, or -1 after the
// report of a missing one (automatic runs).
int32_t FindHdSet_0x19(uint8_t number);
int32_t FindRdSet_0x1A(uint8_t number);
int32_t FindDdSet_0x1A(uint8_t number);
int32_t FindHpSet(uint8_t key0, uint8_t key1);
int32_t FindHpNodeSet_0x1A(uint8_t key0, uint8_t key1, uint8_t key2);
int32_t FindDpSet(uint8_t key0, uint8_t key1);
int32_t FindCacheSet_0x19(uint8_t number);
int32_t FindChesegSet_0x13(uint8_t key0);
int32_t FindChesegSet_0x1A(uint8_t key0, uint8_t key1);  // key1 counts only where it is in use
int32_t FindLdSet(uint16_t number);
int32_t FindPdSet(uint8_t key0, uint8_t key1);
int32_t FindRankSet(uint8_t key0, uint8_t key1);
int32_t FindRpSet_0x14(uint8_t key0, uint8_t key1);
int32_t FindPoolSet_0x14(uint16_t number);
int32_t FindPoolSet_0x1C(uint16_t number);
