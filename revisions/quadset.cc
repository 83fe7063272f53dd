// Quadset functions by name: see the header.
#include "revisions/fold/quadset.h"

#include "engine/finfo.h"

namespace {

template <QuadRule kRule>
void Fold(Accumulated* a, double* extremes, const PMONquadset* wire, uint32_t length) {
  FoldQuadset<kRule, HostOrder>(GroupRef<1>{a->a, extremes}, reinterpret_cast<const uint8_t*>(wire),
                                length, finfo.first_interval);
}

template <QuadRule kRule>
void Put(PMONquadset* wire, const Accumulated* a, uint32_t time) {
  uint8_t words[kQuadsetSize];
  Accumulated copy = *a;
  PutQuadset<kRule>(words, RefTo(copy), time);
  ntoh_PMONquadset(wire, words);
}

}  // namespace

void CalcQuadset(Accumulated* a, double* extremes, const PMONquadset* wire, uint32_t length) {
  Fold<QuadRule::kOlder>(a, extremes, wire, length);
}
void CalcQuadset_0x13(Accumulated* a, double* extremes, const PMONquadset* wire, uint32_t length) {
  Fold<QuadRule::kCurrent>(a, extremes, wire, length);
}
void SetQuadset(PMONquadset* wire, const Accumulated* a, uint32_t time) {
  Put<QuadRule::kOlder>(wire, a, time);
}
void SetQuadset_0x13(PMONquadset* wire, const Accumulated* a) {
  Put<QuadRule::kCurrent>(wire, a, 0);
}
