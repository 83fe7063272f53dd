// Revision 0x1A: Rd, Dd and host port nodes, host ports with 22 item bits, the second key byte of
// cache segments.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x1A();
void WriteStaRec_0x1A();
void ReadStrRec_0x1A();
int WriteStrRec_0x1A();  // 1 when a cabinet block exists, else 0
