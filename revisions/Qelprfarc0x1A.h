// Revision 0x1A: Rd, Dd and host port nodes, host ports with 22 item bits, the second key byte of
// cache segments.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x1A();
void WriteStaRec_0x1A();
void ReadStrRec_0x1A();
int WriteStrRec_0x1A();  // 1 when a cabinet block exists, else 0

// Fold one entry in host order into its slot.
void GetRdSet_0x1A(const void* entry);
void GetDdSet_0x1A(const void* entry);
void GetHpSet_0x1A(const void* entry);
void GetHpNodeSet_0x1A(const void* entry);
void GetChesegSet_0x1A(const void* entry);

// Merge the extended words (host order) of an entry; write those of a slot.
void GetRdExset_0x1A(const uint32_t* words, const void* entry);
void GetDdExset_0x1A(const uint32_t* words, const void* entry);
void GetHpExset_0x1A(const uint32_t* words, const void* entry);
void GetHpNodeExset_0x1A(const uint32_t* words, const void* entry);
void SetRdExset_0x1A(uint32_t* words, int32_t index);
void SetDdExset_0x1A(uint32_t* words, int32_t index);
void SetHpExset_0x1A(uint32_t* words, int32_t index);
void SetHpNodeExset_0x1A(uint32_t* words, int32_t index);
