// Revision 0x12: host ports with six quadsets and a ratio, ranks with quadsets; the last revision
// of the older quadset rule.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x12();
void WriteStaRec_0x12();
void ReadStrRec_0x12();
int WriteStrRec_0x12();  // 1 when a cabinet block exists, else 0
