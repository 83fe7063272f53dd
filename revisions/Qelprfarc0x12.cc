// Family 0x12 by name; rows in engine/layout.h, loops in revisions/statistics.cc and structure.cc.
#include "revisions/Qelprfarc0x12.h"

#include "engine/finfo.h"
#include "revisions/named.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x12() { ReadStatistics(LayoutOf(0x12)); }
void WriteStaRec_0x12() { WriteStatistics(LayoutOf(0x12)); }
void ReadStrRec_0x12() { ReadStructure(); }
int WriteStrRec_0x12() { return WriteStructure(); }

void GetHpSet_0x12(const void* entry) { GetSet<kHpSta_0x12, QuadRule::kOlder>(entry); }
void GetLdSet_0x12(const void* entry) { GetSet<kLdSta, QuadRule::kOlder>(entry); }
void GetPdSet_0x12(const void* entry) { GetSet<kPdSta, QuadRule::kOlder>(entry); }
void GetRankSet_0x12(const void* entry) { GetSet<kRankSta_0x12, QuadRule::kOlder>(entry); }

void GetHpExset_0x12(const uint32_t* words, const void* entry) {
  GetExset<kHpSta_0x12>(words, entry);
}
void GetRankExset_0x12(const uint32_t* words, const void* entry) {
  GetExset<kRankSta_0x12>(words, entry);
}
void SetHpExset_0x12(uint32_t* words, int32_t index) { SetExset<kHpSta_0x12>(words, index); }
void SetRankExset_0x12(uint32_t* words, int32_t index) { SetExset<kRankSta_0x12>(words, index); }
