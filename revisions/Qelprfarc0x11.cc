// Family 0x11 by name; rows in engine/layout/layout.h, loops in revisions/statistics.cc and
// structure.cc.
#include "revisions/Qelprfarc0x11.h"

#include "areas/finfo.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x11() { ReadStatistics(LayoutOf(0x11)); }
void WriteStaRec_0x11() { WriteStatistics(LayoutOf(0x11)); }
void ReadStrRec_0x11() { ReadStructure(); }
int WriteStrRec_0x11() { return WriteStructure(); }
