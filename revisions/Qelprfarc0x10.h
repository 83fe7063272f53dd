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
