// Sections and entry forms of statistics records.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "engine/kinds.h"
#include "engine/layout/lists.h"
#include "engine/layout/revisions.h"

struct FlagBit {
  int8_t at = kNone;  // byte of the entry, kNone: no such flag
  uint8_t bit = 0;
};

struct KeyBytes {
  uint8_t count = 0;
  std::array<uint8_t, 3> at = {};  // bytes of the entry, in the order of the table's key
  bool number = false;             // two bytes that form one u16
};

// One entry form. Every form starts with the u32 status word and the u32 interval length; bytes
// that no cell names are 0 on output.
struct Form {
  const char* name;  // as in the converter's name, ntoh_<name>
  uint16_t size;     // full entry
  uint16_t head;     // what a compact entry keeps of it
  KeyBytes key;
  int8_t compact = kNone;              // byte: not 0 = compact
  int8_t not_valid = kNone;            // byte: not 0 = the interval does not count
  int8_t ratio = kNone;                // u16 busy ratio, hundredths of a percent
  FlagBit ratio_flag = {};             // ratio present when set; without a flag always present
  bool ratio_extremes_always = false;  // extremes follow the ratio even where the flag is clear
  FlagBit counted = {};                // the interval is counted
  FlagBit sticky = {};                 // once set, set for the period
  FlagBit kept = {};                   // as in the last entry of the period, from kept_from on
  uint8_t kept_from = 0;
  bool kept_always = false;                        // taken from not-valid entries too
  uint8_t quadsets = 0;                            // number
  uint8_t quadsets_at = 0;                         // first one; they follow each other
  uint8_t tracked = 0;                             // the first so many have extremes
  std::array<int8_t, 2> carried = {kNone, kNone};  // u32 words kept from the last valid entry
  // Files of older revisions hold the form ("LDM" flush of 0x10) without ratio, flags and carried
  // words: whatever stands there does not count.
  uint8_t filled_from = 0;
  // Cache segments: while bit 7 of the flags byte is clear the u16 at second_ratio is a ratio.
  int8_t second_ratio = kNone;
  int8_t second_flags = kNone;
  bool idle_by_busy = true;            // the busy sum keeps an entry from being idle
  bool idles = false;                  // idle entries are written compact
  std::array<uint8_t, 4> more16 = {};  // further u16 and u32 fields (cache), 0 = none
  std::array<uint8_t, 2> more32 = {};
  std::array<uint8_t, 2> more_quadsets = {};
};

enum FormId : uint8_t {
  kHdSta_0x19,
  kRdSta_0x1A,
  kDdSta_0x1A,
  kHpSta_0x11,
  kHpSta_0x12,
  kHpSta_0x1A,
  kHpNodeSta_0x1A,
  kRpSta_0x14,
  kMpSta_0x1D,
  kDpSta_0x10,
  kCacheSta_0x19,
  kCacheSta_0x1F,
  kCacheSta_0x21,
  kChesegSta_0x13,
  kLdSta_0x10,
  kLdSta,
  kPdSta_0x10,
  kPdSta,
  kRankSta_0x11,
  kRankSta_0x12,
  kPoolSta_0x14,
  kFormCount,
};

inline constexpr KeyBytes kKey8 = {1, {8}};
inline constexpr KeyBytes kKey89 = {2, {8, 9}};
inline constexpr KeyBytes kKeyNumber = {2, {8, 9}, true};

inline constexpr Form kForms[kFormCount] = {
    {.name = "HdSta_0x19",
     .size = 32,
     .head = 32,
     .key = kKey8,
     .not_valid = 9,
     .ratio = 14,
     .carried = {16, 20}},
    {.name = "RdSta_0x1A",
     .size = 32,
     .head = 32,
     .key = kKey8,
     .not_valid = 9,
     .ratio = 14,
     .carried = {16, 20}},
    {.name = "DdSta_0x1A", .size = 32, .head = 32, .key = kKey8, .not_valid = 9, .ratio = 14},
    {.name = "HpSta_0x11",
     .size = 64,
     .head = 16,
     .key = kKey89,
     .not_valid = 11,
     .quadsets = 3,
     .quadsets_at = 16,
     .tracked = 2},
    {.name = "HpSta_0x12",
     .size = 112,
     .head = 16,
     .key = kKey89,
     .not_valid = 11,
     .ratio = 14,
     .ratio_flag = {10, 0x02},
     .counted = {10, 0x01},
     .quadsets = 6,
     .quadsets_at = 16,
     .tracked = 5},
    {.name = "HpSta_0x1A",
     .size = 112,
     .head = 16,
     .key = kKey89,
     .not_valid = 11,
     .ratio = 14,
     .ratio_flag = {10, 0x02},
     .counted = {10, 0x01},
     .quadsets = 6,
     .quadsets_at = 16,
     .tracked = 5},
    {.name = "HpNodeSta_0x1A",
     .size = 112,
     .head = 16,
     .key = {3, {8, 9, 13}},
     .not_valid = 11,
     .ratio = 14,
     .ratio_flag = {10, 0x02},
     .counted = {10, 0x01},
     .quadsets = 6,
     .quadsets_at = 16,
     .tracked = 5},
    {.name = "RpSta_0x14",
     .size = 112,
     .head = 16,
     .key = kKey89,
     .compact = 10,
     .not_valid = 11,
     .ratio = 14,
     .ratio_flag = {12, 0x01},
     .quadsets = 6,
     .quadsets_at = 16,
     .tracked = 6,
     .idles = true},
    {.name = "MpSta_0x1D",
     .size = 48,
     .head = 16,
     .key = kKey89,
     .compact = 10,
     .not_valid = 11,
     .ratio = 14,
     .quadsets = 2,
     .quadsets_at = 16,
     .tracked = 2,
     .idles = true},
    {.name = "DpSta_0x10",
     .size = 48,
     .head = 16,
     .key = kKey89,
     .not_valid = 11,
     .ratio = 14,
     .quadsets = 2,
     .quadsets_at = 16,
     .tracked = 2},
    // The cache section has rules of its own (revisions/cache.cc); sizes and fields stand here.
    {.name = "CacheSta_0x19",
     .size = 32,
     .head = 32,
     .key = kKey8,
     .not_valid = 9,
     .more16 = {16, 18}},
    {.name = "CacheSta_0x1F",
     .size = 96,
     .head = 96,
     .key = kKey8,
     .not_valid = 9,
     .quadsets = 4,
     .quadsets_at = 32,
     .more16 = {16, 18}},
    {.name = "CacheSta_0x21",
     .size = 128,
     .head = 128,
     .key = kKey8,
     .not_valid = 9,
     .quadsets = 4,
     .quadsets_at = 32,
     .more16 = {16, 18, 20, 22},
     .more32 = {24, 28},
     .more_quadsets = {96, 112}},
    {.name = "ChesegSta_0x13",
     .size = 96,
     .head = 16,
     .key = {2, {8, 12}},
     .compact = 9,
     .not_valid = 10,
     .ratio = 14,
     .quadsets = 5,
     .quadsets_at = 16,
     .tracked = 5,
     .second_ratio = 12,
     .second_flags = 11,
     .idle_by_busy = false,
     .idles = true},
    {.name = "LdSta_0x10",
     .size = 96,
     .head = 16,
     .key = kKeyNumber,
     .compact = 10,
     .not_valid = 11,
     .quadsets = 5,
     .quadsets_at = 16,
     .tracked = 5,
     .idles = true},
    {.name = "LdSta",
     .size = 96,
     .head = 16,
     .key = kKeyNumber,
     .compact = 10,
     .not_valid = 11,
     .ratio = 14,
     .ratio_flag = {13, 0x01},
     .ratio_extremes_always = true,
     .sticky = {13, 0x02},
     .kept = {13, 0x04},
     .kept_from = 0x1F,
     .quadsets = 5,
     .quadsets_at = 16,
     .tracked = 5,
     .filled_from = 0x11,
     .idles = true},
    {.name = "PdSta_0x10",
     .size = 48,
     .head = 16,
     .key = kKey89,
     .compact = 10,
     .not_valid = 11,
     .quadsets = 2,
     .quadsets_at = 16,
     .tracked = 2,
     .idles = true},
    {.name = "PdSta",
     .size = 64,
     .head = 32,
     .key = kKey89,
     .compact = 10,
     .not_valid = 11,
     .ratio = 20,
     .quadsets = 2,
     .quadsets_at = 32,
     .tracked = 2,
     .carried = {16, kNone},
     .filled_from = 0x11,
     .idles = true},
    {.name = "RankSta_0x11",
     .size = 32,
     .head = 32,
     .key = kKey89,
     .compact = 10,
     .not_valid = 11,
     .ratio = 20,
     .carried = {16, kNone},
     .idles = true},
    {.name = "RankSta_0x12",
     .size = 64,
     .head = 32,
     .key = kKey89,
     .compact = 10,
     .not_valid = 11,
     .ratio = 20,
     .quadsets = 2,
     .quadsets_at = 32,
     .tracked = 2,
     .carried = {16, kNone},
     .idles = true},
    {.name = "PoolSta_0x14",
     .size = 64,
     .head = 32,
     .key = kKeyNumber,
     .compact = 10,
     .not_valid = 11,
     .ratio = 16,
     .kept = {18, 0x01},
     .kept_from = 0x1F,
     .kept_always = true,
     .quadsets = 2,
     .quadsets_at = 32,
     .tracked = 2,
     .carried = {12, kNone}},
};

struct SectionRow {
  Kind kind;
  uint8_t slot;  // offset of the section header in the record's head
  FormId form;
  Span span;
  Carried carried = Carried::kAlways;
};

// In file order, which is the same for all revisions; optional items follow.
// clang-format off
inline constexpr SectionRow kSectionRows[] = {
    {kHd, 24, kHdSta_0x19, {0x19, 0x21}},
    {kRd, 32, kRdSta_0x1A, {0x1A, 0x21}},
    {kDd, 40, kDdSta_0x1A, {0x1A, 0x21}},
    {kHp, 24, kHpSta_0x11, {0x10, 0x11}},
    {kHp, 24, kHpSta_0x12, {0x12, 0x18}},
    {kHp, 48, kHpSta_0x1A, {0x19, 0x21}},
    {kHpNode, 128, kHpNodeSta_0x1A, {0x1A, 0x21}},
    {kRp, 32, kRpSta_0x14, {0x14, 0x18}},
    {kRp, 56, kRpSta_0x14, {0x19, 0x21}},
    {kMp, 136, kMpSta_0x1D, {0x1D, 0x21}},
    {kDp, 32, kDpSta_0x10, {0x10, 0x13}},
    {kDp, 40, kDpSta_0x10, {0x14, 0x18}},
    {kDp, 64, kDpSta_0x10, {0x19, 0x21}},
    {kCache, 72, kCacheSta_0x19, {0x19, 0x1E}},
    {kCache, 72, kCacheSta_0x1F, {0x1F, 0x20}},
    {kCache, 72, kCacheSta_0x21, {0x21, 0x21}},
    {kCheseg, 40, kChesegSta_0x13, {0x13, 0x13}},
    {kCheseg, 48, kChesegSta_0x13, {0x14, 0x18}},
    {kCheseg, 80, kChesegSta_0x13, {0x19, 0x21}},
    {kLd, 40, kLdSta_0x10, {0x10, 0x10}},
    {kLd, 40, kLdSta, {0x11, 0x12}},
    {kLd, 48, kLdSta, {0x13, 0x13}},
    {kLd, 56, kLdSta, {0x14, 0x18}},
    {kLd, 88, kLdSta, {0x19, 0x21}},
    {kPd, 48, kPdSta_0x10, {0x10, 0x10}},
    {kPd, 48, kPdSta, {0x11, 0x12}},
    {kPd, 56, kPdSta, {0x13, 0x13}},
    {kPd, 64, kPdSta, {0x14, 0x18}},
    {kPd, 96, kPdSta, {0x19, 0x21}},
    {kRank, 56, kRankSta_0x11, {0x11, 0x11}},
    {kRank, 56, kRankSta_0x12, {0x12, 0x12}},
    {kRank, 64, kRankSta_0x12, {0x13, 0x13}},
    {kRank, 72, kRankSta_0x12, {0x14, 0x18}},
    {kRank, 112, kRankSta_0x12, {0x19, 0x21}, Carried::kWhenRanks},
    {kPool, 80, kPoolSta_0x14, {0x14, 0x18}},
    {kPool, 120, kPoolSta_0x14, {0x19, 0x21}, Carried::kWhenPools},
};
// clang-format on
