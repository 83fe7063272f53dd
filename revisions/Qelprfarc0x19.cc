// Family 0x19 by name; rows in engine/layout/layout.h, loops in revisions/statistics.cc and
// structure.cc.
#include "revisions/Qelprfarc0x19.h"

#include "areas/finfo.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x19() { ReadStatistics(LayoutOf(0x19)); }
void WriteStaRec_0x19() { WriteStatistics(LayoutOf(0x19)); }
void ReadStrRec_0x19() { ReadStructure(); }
int WriteStrRec_0x19() { return WriteStructure(); }
