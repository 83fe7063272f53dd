// Family 0x13 by name; rows in engine/layout.h, loops in revisions/statistics.cc and structure.cc.
#include "revisions/Qelprfarc0x13.h"

#include "engine/finfo.h"
#include "revisions/named.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x13() { ReadStatistics(LayoutOf(0x13)); }
void WriteStaRec_0x13() { WriteStatistics(LayoutOf(0x13)); }
void ReadStrRec_0x13() { ReadStructure(); }
int WriteStrRec_0x13() { return WriteStructure(); }

void GetHpSet_0x13(const void* entry) { GetSet<kHpSta_0x12, QuadRule::kCurrent>(entry); }
void GetDpSet_0x13(const void* entry) { GetSet<kDpSta_0x10, QuadRule::kCurrent>(entry); }
void GetChesegSet_0x13(const void* entry) { GetSet<kChesegSta_0x13, QuadRule::kCurrent>(entry); }
void GetLdSet_0x13(const void* entry) { GetSet<kLdSta, QuadRule::kCurrent>(entry); }
void GetPdSet_0x13(const void* entry) { GetSet<kPdSta, QuadRule::kCurrent>(entry); }
void GetRankSet_0x13(const void* entry) { GetSet<kRankSta_0x12, QuadRule::kCurrent>(entry); }

void GetChesegExset_0x13(const uint32_t* words, const void* entry) {
  GetExset<kChesegSta_0x13>(words, entry);
}
void SetChesegExset_0x13(uint32_t* words, int32_t index) {
  SetExset<kChesegSta_0x13>(words, index);
}
