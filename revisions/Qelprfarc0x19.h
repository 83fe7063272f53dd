// Revision 0x19: the 256-byte headers, Hd and cache sections.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x19();
void WriteStaRec_0x19();
void ReadStrRec_0x19();
int WriteStrRec_0x19();  // 1 when a cabinet block exists, else 0

// Fold one entry in host order into its slot.
void GetHdSet_0x19(const void* entry);

// Merge the extended words (host order) of an entry; write those of a slot.
void GetHdExset_0x19(const uint32_t* words, const void* entry);
void SetHdExset_0x19(uint32_t* words, int32_t index);
