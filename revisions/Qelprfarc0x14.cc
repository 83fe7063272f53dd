// Family 0x14 by name; rows in engine/layout.h, loops in revisions/statistics.cc and structure.cc.
#include "revisions/Qelprfarc0x14.h"

#include "engine/finfo.h"
#include "revisions/named.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x14() { ReadStatistics(*finfo.layout); }
void WriteStaRec_0x14() { WriteStatistics(*finfo.layout); }
void ReadStrRec_0x14() { ReadStructure(); }
int WriteStrRec_0x14() { return WriteStructure(); }

void GetRpSet_0x14(const void* entry) { GetSet<kRpSta_0x14, QuadRule::kCurrent>(entry); }
void GetLdSet_0x14(const void* entry) { GetSet<kLdSta, QuadRule::kCurrent>(entry); }
void GetPdSet_0x14(const void* entry) { GetSet<kPdSta, QuadRule::kCurrent>(entry); }
void GetRankSet_0x14(const void* entry) { GetSet<kRankSta_0x12, QuadRule::kCurrent>(entry); }
void GetPoolSet_0x14(const void* entry) { GetSet<kPoolSta_0x14, QuadRule::kCurrent>(entry); }

void GetRpExset_0x14(const uint32_t* words, const void* entry) {
  GetExset<kRpSta_0x14>(words, entry);
}
void GetPoolExset_0x14(const uint32_t* words, const void* entry) {
  GetExset<kPoolSta_0x14>(words, entry);
}
void SetRpExset_0x14(uint32_t* words, int32_t index) { SetExset<kRpSta_0x14>(words, index); }
void SetPoolExset_0x14(uint32_t* words, int32_t index) { SetExset<kPoolSta_0x14>(words, index); }
