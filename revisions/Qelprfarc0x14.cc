// Family 0x14 by name; rows in engine/layout/layout.h, loops in revisions/statistics.cc and
// structure.cc.
#include "revisions/Qelprfarc0x14.h"

#include "areas/finfo.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x14() { ReadStatistics(*finfo.layout); }
void WriteStaRec_0x14() { WriteStatistics(*finfo.layout); }
void ReadStrRec_0x14() { ReadStructure(); }
int WriteStrRec_0x14() { return WriteStructure(); }
