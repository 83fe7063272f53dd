// Revision 0x11: adds ranks, busy ratios of disks and ratio extremes. Its statistics writer also
// serves the "LDM" flush of revision 0x10.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x11();
void WriteStaRec_0x11();
void ReadStrRec_0x11();
int WriteStrRec_0x11();  // 1 when a cabinet block exists, else 0
