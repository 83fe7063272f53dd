// The layouts of all format revisions as constexpr tables: item bitmaps of the file header, lists
// of the structure record, sections and entry forms of the statistics record, optional items.
// Readers, writers, converters, accumulators and the tools are loops or templates over these rows.
// A cell pair {from, to} gives the revisions that a row serves; a revision picks at most one row
// per kind.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "engine/kinds.h"
#include "engine/pmonfile.h"

inline constexpr uint8_t kFirstRevision = 0x10;
inline constexpr uint8_t kLastRevision = 0x21;
inline constexpr size_t kRevisionCount = kLastRevision - kFirstRevision + 1;

struct Span {
  uint8_t from, to;  // inclusive
  constexpr bool Holds(uint8_t revision) const { return from <= revision && revision <= to; }
};

// ================================ what a revision is as a whole ==================================

enum class QuadRule : uint8_t { kOlder, kCurrent };

struct RevisionRow {
  Span span;
  uint16_t file_header;  // bytes of the file header record
  uint16_t record_head;  // bytes of structure-record header and statistics-record head
  QuadRule rule;         // kOlder: time-weighted second average, extremes of the raw word
  uint16_t trailing_at =
      0;  // where the structure header keeps the trailing section's offset; 0: none
  bool keeps_header =
      false;  // the output's file header starts as the input's; date bytes; UTC periods
  bool carries_pair = false;  // bytes 14 and 15 of structure records are carried
  bool skips_tails = false;   // "NNC" and "LDM" longer than their fixed size are cut, not broken
  bool marks_pairs_on_ldm = false;  // an "LDM" record makes the copy pairs due again
  bool second_cheseg_key = false;   // cache segments may have a second key byte
  bool pair_flag_by_count =
      false;  // copy-pair items: taken by flag bit 7, flag written from the count
};

inline constexpr RevisionRow kRevisionRows[] = {
    {.span = {0x10, 0x12}, .file_header = 80, .record_head = 80, .rule = QuadRule::kOlder},
    {.span = {0x13, 0x13}, .file_header = 80, .record_head = 96, .rule = QuadRule::kCurrent},
    {.span = {0x14, 0x14}, .file_header = 80, .record_head = 112, .rule = QuadRule::kCurrent},
    {.span = {0x15, 0x18},
     .file_header = 80,
     .record_head = 112,
     .rule = QuadRule::kCurrent,
     .trailing_at = 104},
    {.span = {0x19, 0x19},
     .file_header = 256,
     .record_head = 256,
     .rule = QuadRule::kCurrent,
     .trailing_at = 248},
    {.span = {0x1A, 0x1A},
     .file_header = 256,
     .record_head = 256,
     .rule = QuadRule::kCurrent,
     .trailing_at = 248,
     .second_cheseg_key = true},
    {.span = {0x1B, 0x1B},
     .file_header = 256,
     .record_head = 256,
     .rule = QuadRule::kCurrent,
     .trailing_at = 248,
     .skips_tails = true,
     .second_cheseg_key = true},
    {.span = {0x1C, 0x1C},
     .file_header = 256,
     .record_head = 256,
     .rule = QuadRule::kCurrent,
     .trailing_at = 248,
     .skips_tails = true,
     .marks_pairs_on_ldm = true,
     .second_cheseg_key = true,
     .pair_flag_by_count = true},
    {.span = {0x1D, 0x21},
     .file_header = 256,
     .record_head = 256,
     .rule = QuadRule::kCurrent,
     .trailing_at = 248,
     .keeps_header = true,
     .carries_pair = true,
     .skips_tails = true,
     .marks_pairs_on_ldm = true,
     .second_cheseg_key = true,
     .pair_flag_by_count = true},
};

// ==================================== item bitmaps of the header =================================

inline constexpr Kind kReservedItems = kNoKind;  // the bitmap at 56: read, never used, written as 0

struct BitmapRow {
  Kind kind;
  uint8_t at;     // offset of the u32 in the file header
  uint32_t full;  // mask that outputs carry; fields are numbered from bit 31 down
  Span span;
};

inline constexpr BitmapRow kBitmapRows[] = {
    {kHd, 32, 0xC0000000, {0x19, 0x21}},     {kRd, 36, 0xC0000000, {0x1A, 0x21}},
    {kDd, 40, 0xC0000000, {0x1A, 0x21}},     {kHp, 32, 0xFF000000, {0x10, 0x11}},
    {kHp, 32, 0xFFFFF000, {0x12, 0x18}},     {kHp, 44, 0xFFFFFC00, {0x19, 0x21}},
    {kHpNode, 80, 0xFFFFFC00, {0x1A, 0x21}}, {kRp, 36, 0xFFFFFF00, {0x14, 0x18}},
    {kRp, 48, 0xFFFFFFC0, {0x19, 0x21}},     {kMp, 84, 0xFFC00000, {0x1D, 0x21}},
    {kDp, 36, 0xFF000000, {0x10, 0x13}},     {kDp, 40, 0xFF000000, {0x14, 0x18}},
    {kDp, 52, 0xFFC00000, {0x19, 0x21}},     {kReservedItems, 56, 0, {0x19, 0x21}},
    {kCheseg, 40, 0xFFFFF000, {0x13, 0x13}}, {kCheseg, 44, 0xFFFFF000, {0x14, 0x18}},
    {kCheseg, 60, 0xFFFFF000, {0x19, 0x21}}, {kLd, 40, 0xFFFFF000, {0x10, 0x10}},
    {kLd, 40, 0xFFFFFC00, {0x11, 0x12}},     {kLd, 44, 0xFFFFFC00, {0x13, 0x13}},
    {kLd, 48, 0xFFFFFC00, {0x14, 0x18}},     {kLd, 64, 0xFFFFFC00, {0x19, 0x21}},
    {kPd, 44, 0xFF000000, {0x10, 0x10}},     {kPd, 44, 0xFFC00000, {0x11, 0x12}},
    {kPd, 48, 0xFFC00000, {0x13, 0x13}},     {kPd, 52, 0xFFC00000, {0x14, 0x18}},
    {kPd, 68, 0xFFC00000, {0x19, 0x21}},     {kRank, 48, 0xC0000000, {0x11, 0x11}},
    {kRank, 48, 0xFFC00000, {0x12, 0x12}},   {kRank, 52, 0xFFC00000, {0x13, 0x13}},
    {kRank, 56, 0xFFC00000, {0x14, 0x18}},   {kRank, 72, 0xFFC00000, {0x19, 0x21}},
    {kPool, 60, 0xFFC00000, {0x14, 0x18}},   {kPool, 76, 0xFFC00000, {0x19, 0x21}},
};

// ===================================== lists of the structure record =============================

enum class Lookup : uint8_t {
  kScan,      // first table entry with the key
  kCursor,    // resume from the last hit, wrap around once
  kPosition,  // the entry's position in its section; the key there must agree
};

// Which of rank and pool list a record carries, by byte 95 of the basic information.
enum class Carried : uint8_t { kAlways, kWhenRanks, kWhenPools };

constexpr bool IsCarriedBy(Carried carried, uint8_t choice) {
  return carried == Carried::kAlways || (choice == 0) == (carried == Carried::kWhenRanks);
}

inline constexpr uint16_t kSizeFromDescriptor = 0;
inline constexpr int8_t kNone = -1;

struct ListRow {
  Kind kind;       // kNoKind: carried through unread
  uint8_t slot;    // offset of the descriptor in the record's header
  uint16_t entry;  // bytes of an entry, or kSizeFromDescriptor (the descriptor's first field)
  Span span;
  Lookup lookup = Lookup::kScan;
  Carried carried = Carried::kAlways;
  uint8_t key_at = 0;              // where the key stands in an entry
  int8_t total_length_at = kNone;  // u32: bytes of the entry with its variable part
  bool written = true;             // false: archives do not hold the list
  bool fixed_descriptor = false;   // archives hold the descriptor 4, 0, 0 instead
};

// In file order, which is the same for all revisions.
inline constexpr ListRow kListRows[] = {
    {kNoKind, 128, 4, {0x1A, 0x21}},
    {kHd, 24, 4, {0x19, 0x21}},
    {kRd, 32, 4, {0x1A, 0x21}},
    {kDd, 40, 4, {0x1A, 0x21}},
    {kHp, 24, 4, {0x10, 0x18}},
    {kHp, 48, 4, {0x19, 0x1C}},
    {.kind = kHp,
     .slot = 48,
     .entry = 48,
     .span = {0x1D, 0x21},
     .lookup = Lookup::kPosition,
     .written = false,
     .fixed_descriptor = true},
    {kRp, 32, 4, {0x14, 0x18}},
    {kRp, 56, 4, {0x19, 0x1C}},
    {.kind = kRp, .slot = 56, .entry = 8, .span = {0x1D, 0x21}, .lookup = Lookup::kPosition},
    {.kind = kMp, .slot = 136, .entry = 8, .span = {0x1D, 0x21}, .lookup = Lookup::kPosition},
    {kDp, 32, 4, {0x10, 0x13}},
    {kDp, 40, 4, {0x14, 0x18}},
    {kDp, 64, 4, {0x19, 0x21}},
    {kCache, 72, 32, {0x19, 0x21}},
    {kCheseg, 40, 32, {0x13, 0x13}},
    {kCheseg, 48, 32, {0x14, 0x18}},
    {kCheseg, 80, 32, {0x19, 0x21}},
    {kLd, 40, 48, {0x10, 0x12}},
    {kLd, 48, 48, {0x13, 0x13}},
    {kLd, 56, 48, {0x14, 0x14}},
    {.kind = kLd,
     .slot = 56,
     .entry = 64,
     .span = {0x15, 0x18},
     .lookup = Lookup::kCursor,
     .total_length_at = 52},
    {.kind = kLd,
     .slot = 88,
     .entry = 64,
     .span = {0x19, 0x21},
     .lookup = Lookup::kCursor,
     .total_length_at = 52},
    {kPd, 48, 48, {0x10, 0x12}, Lookup::kCursor},
    {kPd, 56, 48, {0x13, 0x13}, Lookup::kCursor},
    {kPd, 64, 48, {0x14, 0x18}, Lookup::kCursor},
    {kPd, 96, 48, {0x19, 0x21}, Lookup::kCursor},
    // Logs only: stands between the physical disks and the ranks or pools.
    {.kind = kNoKind, .slot = 104, .entry = 16, .span = {0x19, 0x21}, .written = false},
    {.kind = kRank,
     .slot = 56,
     .entry = 32,
     .span = {0x11, 0x12},
     .key_at = 4,
     .total_length_at = 0},
    {.kind = kRank,
     .slot = 64,
     .entry = 32,
     .span = {0x13, 0x13},
     .key_at = 4,
     .total_length_at = 0},
    {.kind = kRank,
     .slot = 72,
     .entry = 32,
     .span = {0x14, 0x18},
     .key_at = 4,
     .total_length_at = 0},
    {.kind = kRank,
     .slot = 112,
     .entry = 32,
     .span = {0x19, 0x21},
     .carried = Carried::kWhenRanks,
     .key_at = 4,
     .total_length_at = 0},
    {kPool, 80, 48, {0x14, 0x18}},
    {.kind = kPool, .slot = 120, .entry = 48, .span = {0x19, 0x1B}, .carried = Carried::kWhenPools},
    {.kind = kPool,
     .slot = 120,
     .entry = kSizeFromDescriptor,
     .span = {0x1C, 0x21},
     .carried = Carried::kWhenPools},
    {kNoKind, 144, 16, {0x1E, 0x21}},
};

// Tables that the statistics reader builds itself: stride of their entries.
inline constexpr uint16_t kHpNodeEntry = 4;

// =================================== entries of the statistics record =============================

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

// The section header of the optional items.
inline constexpr uint8_t kItemsSlot = 16;
inline constexpr Span kItemsSpan = {0x14, 0x21};

// ========================================= optional items =======================================

struct ItemRow {
  Kind kind;
  uint8_t type;       // byte 12 of the item head
  uint8_t element;    // bytes of an element
  uint16_t basic_at;  // u16 of the basic information with presence bit and count; 0: wait times
  Span span;
};

// In the order in which they are written.
inline constexpr ItemRow kItemRows[] = {
    {kConc, 16, 16, kBasicConc, {0x18, 0x21}},     {kLdCp, 32, 32, kBasicLdCp, {0x1B, 0x21}},
    {kPoolCp, 48, 48, kBasicPoolCp, {0x1B, 0x21}}, {kWaittm, 33, 32, 0, {0x1C, 0x21}},
    {kCab, 64, 16, kBasicCab, {0x1D, 0x21}},
};

// ==================================== the rows of one revision ====================================

// Everything that a revision uses, picked from the tables above; the header reader stores a pointer
// to it in finfo, so that nobody asks for the revision again.
struct RevisionLayout {
  uint8_t revision = 0;
  RevisionRow row = {};
  std::array<ListRow, 20> lists = {};
  size_t list_count = 0;
  std::array<SectionRow, kSectionKinds> sections = {};
  size_t section_count = 0;
  std::array<BitmapRow, 14> bitmaps = {};
  size_t bitmap_count = 0;
  bool has_items = false;
};

constexpr RevisionLayout MakeLayout(uint8_t revision) {
  RevisionLayout layout;
  layout.revision = revision;
  for (const RevisionRow& row : kRevisionRows) {
    if (row.span.Holds(revision)) layout.row = row;
  }
  for (const ListRow& row : kListRows) {
    if (row.span.Holds(revision)) layout.lists[layout.list_count++] = row;
  }
  for (const SectionRow& row : kSectionRows) {
    if (row.span.Holds(revision)) layout.sections[layout.section_count++] = row;
  }
  for (const BitmapRow& row : kBitmapRows) {
    if (row.span.Holds(revision)) layout.bitmaps[layout.bitmap_count++] = row;
  }
  layout.has_items = kItemsSpan.Holds(revision);
  return layout;
}

constexpr std::array<RevisionLayout, kRevisionCount> MakeLayouts() {
  std::array<RevisionLayout, kRevisionCount> all = {};
  for (size_t i = 0; i < kRevisionCount; ++i) {
    all[i] = MakeLayout(static_cast<uint8_t>(kFirstRevision + i));
  }
  return all;
}

inline constexpr std::array<RevisionLayout, kRevisionCount> kLayouts = MakeLayouts();

constexpr bool KnownRevision(uint8_t revision) {
  return revision >= kFirstRevision && revision <= kLastRevision;
}

// The layout of an accepted revision (0x10 to 0x21).
constexpr const RevisionLayout& LayoutOf(uint8_t revision) {
  return kLayouts[static_cast<size_t>(revision - kFirstRevision)];
}
