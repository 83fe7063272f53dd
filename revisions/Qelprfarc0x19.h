// Revision 0x19: the 256-byte headers, Hd and cache sections.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x19();
void WriteStaRec_0x19();
void ReadStrRec_0x19();
int WriteStrRec_0x19();  // 1 when a cabinet block exists, else 0
