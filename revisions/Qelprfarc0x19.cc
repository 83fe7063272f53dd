// Family 0x19 by name; rows in engine/layout.h, loops in revisions/statistics.cc and structure.cc.
#include "revisions/Qelprfarc0x19.h"

#include "engine/finfo.h"
#include "revisions/named.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x19() { ReadStatistics(LayoutOf(0x19)); }
void WriteStaRec_0x19() { WriteStatistics(LayoutOf(0x19)); }
void ReadStrRec_0x19() { ReadStructure(); }
int WriteStrRec_0x19() { return WriteStructure(); }

void GetHdSet_0x19(const void* entry) { GetSet<kHdSta_0x19, QuadRule::kCurrent>(entry); }

void GetHdExset_0x19(const uint32_t* words, const void* entry) {
  GetExset<kHdSta_0x19>(words, entry);
}
void SetHdExset_0x19(uint32_t* words, int32_t index) { SetExset<kHdSta_0x19>(words, index); }
