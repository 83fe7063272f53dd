// Revisions 0x1D to 0x21: multi ports, cabinets, ports found by position; everything older is in
// the same tables.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x1D();
void WriteStaRec_0x1D();
void ReadStrConRec_0x1D();
int WriteStrConRec_0x1D();  // 1 when a cabinet block exists, else 0

// Fold one entry in host order into its slot, which is that of its position.
void GetHpSet_0x1D(const void* entry, int32_t index);
void GetRpSet_0x1D(const void* entry, int32_t index);
void GetMpSet_0x1D(const void* entry, int32_t index);

// Merge the extended words (host order) of an entry; write those of a slot.
void GetHpExset_0x1D(const uint32_t* words, const void* entry, int32_t index);
void GetRpExset_0x1D(const uint32_t* words, const void* entry, int32_t index);
void GetMpExset_0x1D(const uint32_t* words, const void* entry, int32_t index);
void SetHpExset_0x1D(uint32_t* words, int32_t index);
void SetRpExset_0x1D(uint32_t* words, int32_t index);
void SetMpExset_0x1D(uint32_t* words, int32_t index);
