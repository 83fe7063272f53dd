// Revision 0x11: adds ranks, busy ratios of disks and ratio extremes. Its statistics writer also
// serves the "LDM" flush of revision 0x10.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x11();
void WriteStaRec_0x11();
void ReadStrRec_0x11();
int WriteStrRec_0x11();  // 1 when a cabinet block exists, else 0

// Fold one entry in host order into its slot.
void GetHpSet_0x11(const void* entry);
void GetPdSet_0x11(const void* entry);
void GetRankSet_0x11(const void* entry);

// Merge the extended words (host order) of an entry; write those of a slot.
void GetHpExset_0x11(const uint32_t* words, const void* entry);
void GetLdExset(const uint32_t* words, const void* entry);
void GetPdExset(const uint32_t* words, const void* entry);
void GetRankExset_0x11(const uint32_t* words, const void* entry);
void SetHpExset_0x11(uint32_t* words, int32_t index);
void SetLdExset(uint32_t* words, int32_t index);
void SetPdExset(uint32_t* words, int32_t index);
void SetRankExset_0x11(uint32_t* words, int32_t index);
