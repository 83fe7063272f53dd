// Family 0x1D by name; rows in engine/layout.h, loops in revisions/statistics.cc and structure.cc.
#include "revisions/Qelprfarc0x1D.h"

#include "engine/finfo.h"
#include "revisions/named.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

void ReadStaRec_0x1D() { ReadStatistics(*finfo.layout); }
void WriteStaRec_0x1D() { WriteStatistics(*finfo.layout); }
void ReadStrConRec_0x1D() { ReadStructure(); }
int WriteStrConRec_0x1D() { return WriteStructure(); }

void GetHpSet_0x1D(const void* entry, int32_t index) {
  GetSet<kHpSta_0x1A, QuadRule::kCurrent>(entry, index);
}
void GetRpSet_0x1D(const void* entry, int32_t index) {
  GetSet<kRpSta_0x14, QuadRule::kCurrent>(entry, index);
}
void GetMpSet_0x1D(const void* entry, int32_t index) {
  GetSet<kMpSta_0x1D, QuadRule::kCurrent>(entry, index);
}

void GetHpExset_0x1D(const uint32_t* words, const void* entry, int32_t index) {
  GetExset<kHpSta_0x1A>(words, entry, index);
}
void GetRpExset_0x1D(const uint32_t* words, const void* entry, int32_t index) {
  GetExset<kRpSta_0x14>(words, entry, index);
}
void GetMpExset_0x1D(const uint32_t* words, const void* entry, int32_t index) {
  GetExset<kMpSta_0x1D>(words, entry, index);
}
void SetHpExset_0x1D(uint32_t* words, int32_t index) { SetExset<kHpSta_0x1A>(words, index); }
void SetRpExset_0x1D(uint32_t* words, int32_t index) { SetExset<kRpSta_0x14>(words, index); }
void SetMpExset_0x1D(uint32_t* words, int32_t index) { SetExset<kMpSta_0x1D>(words, index); }
