// Revisions 0x14 to 0x18: remote ports and pools; from 0x15 logical disks of 64 bytes with a
// variable part and the trailing section (the from/to cells of the tables tell).
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x14();
void WriteStaRec_0x14();
void ReadStrRec_0x14();
int WriteStrRec_0x14();  // 1 when a cabinet block exists, else 0

// Fold one entry in host order into its slot.
void GetRpSet_0x14(const void* entry);
void GetLdSet_0x14(const void* entry);
void GetPdSet_0x14(const void* entry);
void GetRankSet_0x14(const void* entry);
void GetPoolSet_0x14(const void* entry);

// Merge the extended words (host order) of an entry; write those of a slot.
void GetRpExset_0x14(const uint32_t* words, const void* entry);
void GetPoolExset_0x14(const uint32_t* words, const void* entry);
void SetRpExset_0x14(uint32_t* words, int32_t index);
void SetPoolExset_0x14(uint32_t* words, int32_t index);
