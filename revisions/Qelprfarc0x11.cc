// Family 0x11 by name; rows in engine/layout.h, loops in revisions/statistics.cc and structure.cc.
#include "revisions/Qelprfarc0x11.h"

#include "engine/finfo.h"
#include "revisions/named.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x11() { ReadStatistics(LayoutOf(0x11)); }
void WriteStaRec_0x11() { WriteStatistics(LayoutOf(0x11)); }
void ReadStrRec_0x11() { ReadStructure(); }
int WriteStrRec_0x11() { return WriteStructure(); }

void GetHpSet_0x11(const void* entry) { GetSet<kHpSta_0x11, QuadRule::kOlder>(entry); }
void GetPdSet_0x11(const void* entry) { GetSet<kPdSta, QuadRule::kOlder>(entry); }
void GetRankSet_0x11(const void* entry) { GetSet<kRankSta_0x11, QuadRule::kOlder>(entry); }

void GetHpExset_0x11(const uint32_t* words, const void* entry) {
  GetExset<kHpSta_0x11>(words, entry);
}
void GetLdExset(const uint32_t* words, const void* entry) { GetExset<kLdSta>(words, entry); }
void GetPdExset(const uint32_t* words, const void* entry) { GetExset<kPdSta>(words, entry); }
void GetRankExset_0x11(const uint32_t* words, const void* entry) {
  GetExset<kRankSta_0x11>(words, entry);
}
void SetHpExset_0x11(uint32_t* words, int32_t index) { SetExset<kHpSta_0x11>(words, index); }
void SetLdExset(uint32_t* words, int32_t index) { SetExset<kLdSta>(words, index); }
void SetPdExset(uint32_t* words, int32_t index) { SetExset<kPdSta>(words, index); }
void SetRankExset_0x11(uint32_t* words, int32_t index) { SetExset<kRankSta_0x11>(words, index); }
