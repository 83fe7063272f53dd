// Revision 0x13: cache segments, and the quadset rule that weighs both averages by the count.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x13();
void WriteStaRec_0x13();
void ReadStrRec_0x13();
int WriteStrRec_0x13();  // 1 when a cabinet block exists, else 0
