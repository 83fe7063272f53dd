// The cache section of statistics records (revision 0x19 on): 32, 96 or 128 bytes per cache module
// by revision, with rules that no other section has.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/layout/layout.h"

inline constexpr uint8_t kCacheWrite = 0x10;
inline constexpr uint8_t kCacheRead = 0x20;
inline constexpr uint8_t kCacheOffset = 0x40;
inline constexpr uint8_t kCacheLength = 0x80;

// Number of entries in the section being read, and the start offsets of the sections being written.
extern uint32_t cache_section_count;
extern uint32_t cache_section_offset;
extern uint32_t cheseg_section_offset;

// Bytes of an entry of the current revision (Rev_Kind).
size_t CacheEntrySize();

// kCacheRead: folds cache_section_count entries at `position`; -2 when the input is abandoned.
// kCacheWrite: puts all slots as entries at `position`.
// kCacheLength: adds the section's bytes to *length.
// kCacheOffset: sets cheseg_section_offset to the byte behind the section at cache_section_offset.
// Other operations do nothing. The result is 0 otherwise.
int RW_Cache_Sta(uint8_t operation, uint32_t* length, uint8_t* position);

// Folds one entry into the slots: what every revision has, and from 0x1F on counter groups, into
// the slot of its key; what 0x21 adds into the slot at `position`, whatever the key says and
// whether or not the entry is valid. The two choices agree when a record lists the caches as
// configured; archives are made this way also when it does not.
void FoldCacheEntry(const Form& form, const uint8_t* entry, int32_t position);
