// Revision 0x10: host ports, disk ports, logical and physical disks; the older quadset rule. Its
// period is written in the 0x11 layout when an "LDM" record flushes it, and only then: such
// archives exist.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x10();
void WriteStaRec_0x10();
void ReadStrRec_0x10();
int WriteStrRec_0x10();  // 1 when a cabinet block exists, else 0

// Fold one entry in host order into its slot.
void GetLdSet_0x10(const void* entry);
void GetPdSet_0x10(const void* entry);
void GetDpSet_0x10(const void* entry);

// Merge the extended words (host order) of an entry; write those of a slot.
void GetLdExset_0x10(const uint32_t* words, const void* entry);
void GetPdExset_0x10(const uint32_t* words, const void* entry);
void GetDpExset(const uint32_t* words, const void* entry);
void SetLdExset_0x10(uint32_t* words, int32_t index);
void SetPdExset_0x10(uint32_t* words, int32_t index);
void SetDpExset(uint32_t* words, int32_t index);
