// Revisions 0x1B and 0x1C: copy pairs of logical disks and pools, from 0x1C on wait times and pools
// of descriptor size.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x1B();
void WriteStaRec_0x1B();
void ReadStrRec_0x1B();
int WriteStrRec_0x1B();  // 1 when a cabinet block exists, else 0
