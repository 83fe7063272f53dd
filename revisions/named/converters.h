// Byte-order converters of statistics entries and their words: ntoh_<form> turns an entry as it
// stands in a file to host order in place, hton_<form> back. The fields come from the form's row in
// engine/layout/layout.h.
#pragma once

#include "engine/layout/layout.h"

// Converts every 16-bit and 32-bit field of an entry of `form` in place; bytes and padding stay.
// The operation is its own inverse, but for cache segments the flags byte decides on one field.
void SwapEntry(const Form& form, uint8_t* entry);

// The same for the elements of optional items.
void SwapElement(Kind kind, uint8_t* element);

// Four words of a counter group.
struct PMONquadset {
  uint32_t q0, q1, q2, q3;
};
static_assert(sizeof(PMONquadset) == kQuadsetSize);

// Convert it; `dst` and `src` may be the same.
void ntoh_PMONquadset(void* dst, const void* src);
inline void hton_PMONquadset(void* dst, const void* src) { ntoh_PMONquadset(dst, src); }

// Convert `n` 32-bit words in place; nothing for n of 0 or less.
void ntoh_ExSta(void* words, int n);
inline void hton_ExSta(void* words, int n) { ntoh_ExSta(words, n); }

// clang-format off
#define QELPRF_CONVERTED_FORMS(X) \
  X(HdSta_0x19) X(RdSta_0x1A) X(DdSta_0x1A) X(HpSta_0x11) X(HpSta_0x12) X(HpSta_0x1A) \
  X(HpNodeSta_0x1A) X(RpSta_0x14) X(MpSta_0x1D) X(DpSta_0x10) X(CacheSta_0x19) \
  X(CacheSta_0x1F) X(ChesegSta_0x13) X(LdSta_0x10) X(LdSta) X(PdSta_0x10) X(PdSta) \
  X(RankSta_0x11) X(RankSta_0x12) X(PoolSta_0x14)
// clang-format on

#define QELPRF_DECLARE(form)                                                                 \
  inline void ntoh_##form(void* e) { SwapEntry(kForms[k##form], static_cast<uint8_t*>(e)); } \
  inline void hton_##form(void* e) { SwapEntry(kForms[k##form], static_cast<uint8_t*>(e)); }
QELPRF_CONVERTED_FORMS(QELPRF_DECLARE)
#undef QELPRF_DECLARE

// Readers without a twin: these records are never written back in that form.
inline void ntoh_CacheSta_0x21(void* e) {
  SwapEntry(kForms[kCacheSta_0x21], static_cast<uint8_t*>(e));
}
inline void ntoh_LD_CPSta_0x1B(void* e) { SwapElement(kLdCp, static_cast<uint8_t*>(e)); }
inline void ntoh_POOL_CPSta_0x1B(void* e) { SwapElement(kPoolCp, static_cast<uint8_t*>(e)); }
inline void ntoh_WaittmSta_0x1C(void* e) { SwapElement(kWaittm, static_cast<uint8_t*>(e)); }
