// Family 0x1D by name; rows in engine/layout/layout.h, loops in revisions/statistics.cc and
// structure.cc.
#include "revisions/Qelprfarc0x1D.h"

#include "areas/finfo.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x1D() { ReadStatistics(*finfo.layout); }
void WriteStaRec_0x1D() { WriteStatistics(*finfo.layout); }
void ReadStrConRec_0x1D() { ReadStructure(); }
int WriteStrConRec_0x1D() { return WriteStructure(); }
