// Revision 0x13: cache segments, and the quadset rule that weighs both averages by the count.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x13();
void WriteStaRec_0x13();
void ReadStrRec_0x13();
int WriteStrRec_0x13();  // 1 when a cabinet block exists, else 0

// Fold one entry in host order into its slot.
void GetHpSet_0x13(const void* entry);
void GetDpSet_0x13(const void* entry);
void GetChesegSet_0x13(const void* entry);
void GetLdSet_0x13(const void* entry);
void GetPdSet_0x13(const void* entry);
void GetRankSet_0x13(const void* entry);

// Merge the extended words (host order) of an entry; write those of a slot.
void GetChesegExset_0x13(const uint32_t* words, const void* entry);
void SetChesegExset_0x13(uint32_t* words, int32_t index);
