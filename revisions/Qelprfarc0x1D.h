// Revisions 0x1D to 0x21: multi ports, cabinets, ports found by position; everything older is in
// the same tables.
#pragma once

#include <cstdint>

// Record handlers: see engine/family.h for how the stream calls them.
void ReadStaRec_0x1D();
void WriteStaRec_0x1D();
void ReadStrConRec_0x1D();
int WriteStrConRec_0x1D();  // 1 when a cabinet block exists, else 0
