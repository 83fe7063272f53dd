// Revisions 0x14 to 0x18: remote ports and pools; from 0x15 logical disks of 64 bytes with a
// variable part and the trailing section (the from/to cells of the tables tell).
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x14();
void WriteStaRec_0x14();
void ReadStrRec_0x14();
int WriteStrRec_0x14();  // 1 when a cabinet block exists, else 0
