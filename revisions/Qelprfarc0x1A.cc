// Family 0x1A by name; rows in engine/layout.h, loops in revisions/statistics.cc and structure.cc.
#include "revisions/Qelprfarc0x1A.h"

#include "engine/finfo.h"
#include "revisions/named.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x1A() { ReadStatistics(LayoutOf(0x1A)); }
void WriteStaRec_0x1A() { WriteStatistics(LayoutOf(0x1A)); }
void ReadStrRec_0x1A() { ReadStructure(); }
int WriteStrRec_0x1A() { return WriteStructure(); }

void GetRdSet_0x1A(const void* entry) { GetSet<kRdSta_0x1A, QuadRule::kCurrent>(entry); }
void GetDdSet_0x1A(const void* entry) { GetSet<kDdSta_0x1A, QuadRule::kCurrent>(entry); }
void GetHpSet_0x1A(const void* entry) { GetSet<kHpSta_0x1A, QuadRule::kCurrent>(entry); }
void GetHpNodeSet_0x1A(const void* entry) { GetSet<kHpNodeSta_0x1A, QuadRule::kCurrent>(entry); }
void GetChesegSet_0x1A(const void* entry) { GetSet<kChesegSta_0x13, QuadRule::kCurrent>(entry); }

void GetRdExset_0x1A(const uint32_t* words, const void* entry) {
  GetExset<kRdSta_0x1A>(words, entry);
}
void GetDdExset_0x1A(const uint32_t* words, const void* entry) {
  GetExset<kDdSta_0x1A>(words, entry);
}
void GetHpExset_0x1A(const uint32_t* words, const void* entry) {
  GetExset<kHpSta_0x1A>(words, entry);
}
void GetHpNodeExset_0x1A(const uint32_t* words, const void* entry) {
  GetExset<kHpNodeSta_0x1A>(words, entry);
}
void SetRdExset_0x1A(uint32_t* words, int32_t index) { SetExset<kRdSta_0x1A>(words, index); }
void SetDdExset_0x1A(uint32_t* words, int32_t index) { SetExset<kDdSta_0x1A>(words, index); }
void SetHpExset_0x1A(uint32_t* words, int32_t index) { SetExset<kHpSta_0x1A>(words, index); }
void SetHpNodeExset_0x1A(uint32_t* words, int32_t index) {
  SetExset<kHpNodeSta_0x1A>(words, index);
}
