// Revision 0x12: host ports with six quadsets and a ratio, ranks with quadsets; the last revision
// of the older quadset rule.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x12();
void WriteStaRec_0x12();
void ReadStrRec_0x12();
int WriteStrRec_0x12();  // 1 when a cabinet block exists, else 0

// Fold one entry in host order into its slot.
void GetHpSet_0x12(const void* entry);
void GetLdSet_0x12(const void* entry);
void GetPdSet_0x12(const void* entry);
void GetRankSet_0x12(const void* entry);

// Merge the extended words (host order) of an entry; write those of a slot.
void GetHpExset_0x12(const uint32_t* words, const void* entry);
void GetRankExset_0x12(const uint32_t* words, const void* entry);
void SetHpExset_0x12(uint32_t* words, int32_t index);
void SetRankExset_0x12(uint32_t* words, int32_t index);
