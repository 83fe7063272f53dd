// Family 0x1A by name; rows in engine/layout/layout.h, loops in revisions/statistics.cc and
// structure.cc.
#include "revisions/Qelprfarc0x1A.h"

#include "areas/finfo.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x1A() { ReadStatistics(LayoutOf(0x1A)); }
void WriteStaRec_0x1A() { WriteStatistics(LayoutOf(0x1A)); }
void ReadStrRec_0x1A() { ReadStructure(); }
int WriteStrRec_0x1A() { return WriteStructure(); }
