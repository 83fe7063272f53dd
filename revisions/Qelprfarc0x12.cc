// Family 0x12 by name; rows in engine/layout/layout.h, loops in revisions/statistics.cc and
// structure.cc.
#include "revisions/Qelprfarc0x12.h"

#include "areas/finfo.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x12() { ReadStatistics(LayoutOf(0x12)); }
void WriteStaRec_0x12() { WriteStatistics(LayoutOf(0x12)); }
void ReadStrRec_0x12() { ReadStructure(); }
int WriteStrRec_0x12() { return WriteStructure(); }
