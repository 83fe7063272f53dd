// Family 0x13 by name; rows in engine/layout/layout.h, loops in revisions/statistics.cc and
// structure.cc.
#include "revisions/Qelprfarc0x13.h"

#include "areas/finfo.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x13() { ReadStatistics(LayoutOf(0x13)); }
void WriteStaRec_0x13() { WriteStatistics(LayoutOf(0x13)); }
void ReadStrRec_0x13() { ReadStructure(); }
int WriteStrRec_0x13() { return WriteStructure(); }
