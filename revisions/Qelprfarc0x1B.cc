// Family 0x1B by name; rows in engine/layout/layout.h, loops in revisions/statistics.cc and
// structure.cc.
#include "revisions/Qelprfarc0x1B.h"

#include "areas/finfo.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x1B() { ReadStatistics(*finfo.layout); }
void WriteStaRec_0x1B() { WriteStatistics(*finfo.layout); }
void ReadStrRec_0x1B() { ReadStructure(); }
int WriteStrRec_0x1B() { return WriteStructure(); }
