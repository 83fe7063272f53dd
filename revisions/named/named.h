// Prescribed functions that no run calls, which takes whole sections and records instead: the tests
// hold the program against them. One row each; the sets are found by key, from 0x1D on those of
// ports by position. Entries and words are in host order here.
#pragma once

#include <cstdint>

#include "revisions/named/converters.h"
#include "revisions/sets/slots.h"

// clang-format off
// Fold one entry into its slot: name, form, rule of the counter groups.
#define QELPRF_NAMED_SETS(X) \
  X(GetLdSet_0x10, kLdSta_0x10, kOlder) \
  X(GetPdSet_0x10, kPdSta_0x10, kOlder) \
  X(GetDpSet_0x10, kDpSta_0x10, kOlder) \
  X(GetHpSet_0x11, kHpSta_0x11, kOlder) \
  X(GetPdSet_0x11, kPdSta, kOlder) \
  X(GetRankSet_0x11, kRankSta_0x11, kOlder) \
  X(GetHpSet_0x12, kHpSta_0x12, kOlder) \
  X(GetLdSet_0x12, kLdSta, kOlder) \
  X(GetPdSet_0x12, kPdSta, kOlder) \
  X(GetRankSet_0x12, kRankSta_0x12, kOlder) \
  X(GetHpSet_0x13, kHpSta_0x12, kCurrent) \
  X(GetDpSet_0x13, kDpSta_0x10, kCurrent) \
  X(GetChesegSet_0x13, kChesegSta_0x13, kCurrent) \
  X(GetLdSet_0x13, kLdSta, kCurrent) \
  X(GetPdSet_0x13, kPdSta, kCurrent) \
  X(GetRankSet_0x13, kRankSta_0x12, kCurrent) \
  X(GetRpSet_0x14, kRpSta_0x14, kCurrent) \
  X(GetLdSet_0x14, kLdSta, kCurrent) \
  X(GetPdSet_0x14, kPdSta, kCurrent) \
  X(GetRankSet_0x14, kRankSta_0x12, kCurrent) \
  X(GetPoolSet_0x14, kPoolSta_0x14, kCurrent) \
  X(GetHdSet_0x19, kHdSta_0x19, kCurrent) \
  X(GetRdSet_0x1A, kRdSta_0x1A, kCurrent) \
  X(GetDdSet_0x1A, kDdSta_0x1A, kCurrent) \
  X(GetHpSet_0x1A, kHpSta_0x1A, kCurrent) \
  X(GetHpNodeSet_0x1A, kHpNodeSta_0x1A, kCurrent) \
  X(GetChesegSet_0x1A, kChesegSta_0x13, kCurrent)
#define QELPRF_NAMED_SETS_BY_POSITION(X) \
  X(GetHpSet_0x1D, kHpSta_0x1A, kCurrent) \
  X(GetRpSet_0x1D, kRpSta_0x14, kCurrent) \
  X(GetMpSet_0x1D, kMpSta_0x1D, kCurrent)

// Get: merge the extended words of an entry. Set: write those of a slot. Name behind that, form.
#define QELPRF_NAMED_WORDS(X) \
  X(LdExset_0x10, kLdSta_0x10) \
  X(PdExset_0x10, kPdSta_0x10) \
  X(DpExset, kDpSta_0x10) \
  X(HpExset_0x11, kHpSta_0x11) \
  X(LdExset, kLdSta) \
  X(PdExset, kPdSta) \
  X(RankExset_0x11, kRankSta_0x11) \
  X(HpExset_0x12, kHpSta_0x12) \
  X(RankExset_0x12, kRankSta_0x12) \
  X(ChesegExset_0x13, kChesegSta_0x13) \
  X(RpExset_0x14, kRpSta_0x14) \
  X(PoolExset_0x14, kPoolSta_0x14) \
  X(HdExset_0x19, kHdSta_0x19) \
  X(RdExset_0x1A, kRdSta_0x1A) \
  X(DdExset_0x1A, kDdSta_0x1A) \
  X(HpExset_0x1A, kHpSta_0x1A) \
  X(HpNodeExset_0x1A, kHpNodeSta_0x1A)
#define QELPRF_NAMED_WORDS_BY_POSITION(X) \
  X(HpExset_0x1D, kHpSta_0x1A) \
  X(RpExset_0x1D, kRpSta_0x14) \
  X(MpExset_0x1D, kMpSta_0x1D)

// Take an optional item; null or a missing block abandons the input.
#define QELPRF_NAMED_ITEMS(X) \
  X(GetConcSet_0x18, kConc) \
  X(GetLD_CPSet_0x1B, kLdCp) \
  X(GetPOOL_CPSet_0x1B, kPoolCp) \
  X(GetWaittmSet_0x1C, kWaittm) \
  X(GetCabSet_0x1D, kCab)
// clang-format on

#define QELPRF_DECLARE(name, form, rule) void name(const void* entry);
QELPRF_NAMED_SETS(QELPRF_DECLARE)
#undef QELPRF_DECLARE
#define QELPRF_DECLARE(name, form, rule) void name(const void* entry, int32_t index);
QELPRF_NAMED_SETS_BY_POSITION(QELPRF_DECLARE)
#undef QELPRF_DECLARE
#define QELPRF_DECLARE(name, form)                          \
  void Get##name(const uint32_t* words, const void* entry); \
  void Set##name(uint32_t* words, int32_t index);
QELPRF_NAMED_WORDS(QELPRF_DECLARE)
#undef QELPRF_DECLARE
#define QELPRF_DECLARE(name, form)                                         \
  void Get##name(const uint32_t* words, const void* entry, int32_t index); \
  void Set##name(uint32_t* words, int32_t index);
QELPRF_NAMED_WORDS_BY_POSITION(QELPRF_DECLARE)
#undef QELPRF_DECLARE
#define QELPRF_DECLARE(name, kind) int name(const uint8_t* item);
QELPRF_NAMED_ITEMS(QELPRF_DECLARE)
#undef QELPRF_DECLARE

// Fold one entry of a cache module; the 0x21 form adds its own fields to the slot at `position`.
void GetCacheSet_0x19(const uint8_t* entry);
void GetCacheSet_0x1F(const uint8_t* entry);
void GetCacheSet_0x21(const uint8_t* entry, int32_t position);

// Fold and write one counter group; `extremes` may be null. The first-interval flag is finfo's.
void CalcQuadset(Accumulated* a, double* extremes, const PMONquadset* wire, uint32_t length);
void CalcQuadset_0x13(Accumulated* a, double* extremes, const PMONquadset* wire, uint32_t length);
void SetQuadset(PMONquadset* wire, const Accumulated* a, uint32_t time);
void SetQuadset_0x13(PMONquadset* wire, const Accumulated* a);
