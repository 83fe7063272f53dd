// Family 0x10 by name; rows in engine/layout/layout.h, loops in revisions/statistics.cc and
// structure.cc.
#include "revisions/Qelprfarc0x10.h"

#include "areas/finfo.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x10() { ReadStatistics(LayoutOf(0x10)); }
void WriteStaRec_0x10() { WriteStatistics(LayoutOf(0x10)); }
void ReadStrRec_0x10() { ReadStructure(); }
int WriteStrRec_0x10() { return WriteStructure(); }
