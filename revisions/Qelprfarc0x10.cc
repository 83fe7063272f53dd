// Family 0x10 by name; rows in engine/layout.h, loops in revisions/statistics.cc and structure.cc.
#include "revisions/Qelprfarc0x10.h"

#include "engine/finfo.h"
#include "revisions/named.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x10() { ReadStatistics(LayoutOf(0x10)); }
void WriteStaRec_0x10() { WriteStatistics(LayoutOf(0x10)); }
void ReadStrRec_0x10() { ReadStructure(); }
int WriteStrRec_0x10() { return WriteStructure(); }

void GetLdSet_0x10(const void* entry) { GetSet<kLdSta_0x10, QuadRule::kOlder>(entry); }
void GetPdSet_0x10(const void* entry) { GetSet<kPdSta_0x10, QuadRule::kOlder>(entry); }
void GetDpSet_0x10(const void* entry) { GetSet<kDpSta_0x10, QuadRule::kOlder>(entry); }

void GetLdExset_0x10(const uint32_t* words, const void* entry) {
  GetExset<kLdSta_0x10>(words, entry);
}
void GetPdExset_0x10(const uint32_t* words, const void* entry) {
  GetExset<kPdSta_0x10>(words, entry);
}
void GetDpExset(const uint32_t* words, const void* entry) { GetExset<kDpSta_0x10>(words, entry); }
void SetLdExset_0x10(uint32_t* words, int32_t index) { SetExset<kLdSta_0x10>(words, index); }
void SetPdExset_0x10(uint32_t* words, int32_t index) { SetExset<kPdSta_0x10>(words, index); }
void SetDpExset(uint32_t* words, int32_t index) { SetExset<kDpSta_0x10>(words, index); }
