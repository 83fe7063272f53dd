// What a file holds of each resource kind beside its statistics entries: item bitmaps of the file
// header, lists of the structure record.
#pragma once

#include <array>
#include <cstdint>

#include "areas/kinds.h"
#include "engine/layout/revisions.h"

// --- item bitmaps of the file header --------------------------------------------------------------

inline constexpr Kind kReservedItems = kNoKind;  // the bitmap at 56: read, never used, written as 0

struct BitmapRow {
  Kind kind;
  uint8_t at;     // offset of the u32 in the file header
  uint32_t full;  // mask that outputs carry; fields are numbered from bit 31 down
  Span span;
};

// clang-format off
inline constexpr BitmapRow kBitmapRows[] = {
    {kHd,            32, 0xC0000000, {0x19, kOn}},
    {kRd,            36, 0xC0000000, {0x1A, kOn}},
    {kDd,            40, 0xC0000000, {0x1A, kOn}},
    {kHp,            32, 0xFF000000, {0x10, 0x11}},
    {kHp,            32, 0xFFFFF000, {0x12, 0x18}},
    {kHp,            44, 0xFFFFFC00, {0x19, kOn}},
    {kHpNode,        80, 0xFFFFFC00, {0x1A, kOn}},
    {kRp,            36, 0xFFFFFF00, {0x14, 0x18}},
    {kRp,            48, 0xFFFFFFC0, {0x19, kOn}},
    {kMp,            84, 0xFFC00000, {0x1D, kOn}},
    {kDp,            36, 0xFF000000, {0x10, 0x13}},
    {kDp,            40, 0xFF000000, {0x14, 0x18}},
    {kDp,            52, 0xFFC00000, {0x19, kOn}},
    {kReservedItems, 56, 0,          {0x19, kOn}},
    {kCheseg,        40, 0xFFFFF000, {0x13, 0x13}},
    {kCheseg,        44, 0xFFFFF000, {0x14, 0x18}},
    {kCheseg,        60, 0xFFFFF000, {0x19, kOn}},
    {kLd,            40, 0xFFFFF000, {0x10, 0x10}},
    {kLd,            40, 0xFFFFFC00, {0x11, 0x12}},
    {kLd,            44, 0xFFFFFC00, {0x13, 0x13}},
    {kLd,            48, 0xFFFFFC00, {0x14, 0x18}},
    {kLd,            64, 0xFFFFFC00, {0x19, kOn}},
    {kPd,            44, 0xFF000000, {0x10, 0x10}},
    {kPd,            44, 0xFFC00000, {0x11, 0x12}},
    {kPd,            48, 0xFFC00000, {0x13, 0x13}},
    {kPd,            52, 0xFFC00000, {0x14, 0x18}},
    {kPd,            68, 0xFFC00000, {0x19, kOn}},
    {kRank,          48, 0xC0000000, {0x11, 0x11}},
    {kRank,          48, 0xFFC00000, {0x12, 0x12}},
    {kRank,          52, 0xFFC00000, {0x13, 0x13}},
    {kRank,          56, 0xFFC00000, {0x14, 0x18}},
    {kRank,          72, 0xFFC00000, {0x19, kOn}},
    {kPool,          60, 0xFFC00000, {0x14, 0x18}},
    {kPool,          76, 0xFFC00000, {0x19, kOn}},
};
// clang-format on

// --- lists of the structure record ----------------------------------------------------------------

enum class Lookup : uint8_t {
  kScan,      // first table entry with the key
  kCursor,    // resume from the last hit, wrap around once
  kPosition,  // the entry's position in its section; the key there must agree
};

// Which of the rank and the pool list a record holds, by byte 95 of the basic information.
enum class Included : uint8_t { kAlways, kWhenRanks, kWhenPools };

constexpr bool IsIncluded(Included included, uint8_t choice) {
  return included == Included::kAlways || (choice == 0) == (included == Included::kWhenRanks);
}

inline constexpr uint16_t kSizeFromDescriptor = 0;
inline constexpr int8_t kNone = -1;

struct ListRow {
  Kind kind;          // kNoKind: carried through unread
  uint8_t header_at;  // offset of the descriptor in the record's header
  uint16_t entry;     // bytes of an entry, or kSizeFromDescriptor (the descriptor's first field)
  Span span;
  Lookup lookup = Lookup::kScan;
  uint8_t key_at = 0;              // where the key stands in an entry
  int8_t total_length_at = kNone;  // u32: bytes of the entry with its variable part
  Included included = Included::kAlways;
  bool written = true;            // false: archives do not hold the list
  bool fixed_descriptor = false;  // archives hold the descriptor 4, 0, 0 instead
};

// In file order, which is the same for all revisions.
// clang-format off
inline constexpr ListRow kListRows[] = {
//   kind    header entry                revisions                           key  length  included          written  fixed
    {kNoKind,  128,                   4, {0x1A, kOn}},
    {kHd,       24,                   4, {0x19, kOn}},
    {kRd,       32,                   4, {0x1A, kOn}},
    {kDd,       40,                   4, {0x1A, kOn}},
    {kHp,       24,                   4, {0x10, 0x18}},
    {kHp,       48,                   4, {0x19, 0x1C}},
    {kHp,       48,                  48, {0x1D, kOn}, Lookup::kPosition, 0, kNone, Included::kAlways,   false, true},
    {kRp,       32,                   4, {0x14, 0x18}},
    {kRp,       56,                   4, {0x19, 0x1C}},
    {kRp,       56,                   8, {0x1D, kOn}, Lookup::kPosition},
    {kMp,      136,                   8, {0x1D, kOn}, Lookup::kPosition},
    {kDp,       32,                   4, {0x10, 0x13}},
    {kDp,       40,                   4, {0x14, 0x18}},
    {kDp,       64,                   4, {0x19, kOn}},
    {kCache,    72,                  32, {0x19, kOn}},
    {kCheseg,   40,                  32, {0x13, 0x13}},
    {kCheseg,   48,                  32, {0x14, 0x18}},
    {kCheseg,   80,                  32, {0x19, kOn}},
    {kLd,       40,                  48, {0x10, 0x12}},
    {kLd,       48,                  48, {0x13, 0x13}},
    {kLd,       56,                  48, {0x14, 0x14}},
    {kLd,       56,                  64, {0x15, 0x18}, Lookup::kCursor,   0, 52},
    {kLd,       88,                  64, {0x19, kOn}, Lookup::kCursor,   0, 52},
    {kPd,       48,                  48, {0x10, 0x12}, Lookup::kCursor},
    {kPd,       56,                  48, {0x13, 0x13}, Lookup::kCursor},
    {kPd,       64,                  48, {0x14, 0x18}, Lookup::kCursor},
    {kPd,       96,                  48, {0x19, kOn}, Lookup::kCursor},
    // Logs only: stands between the physical disks and the ranks or pools.
    {kNoKind,  104,                  16, {0x19, kOn}, Lookup::kScan,     0, kNone, Included::kAlways,   false},
    {kRank,     56,                  32, {0x11, 0x12}, Lookup::kScan,     4, 0},
    {kRank,     64,                  32, {0x13, 0x13}, Lookup::kScan,     4, 0},
    {kRank,     72,                  32, {0x14, 0x18}, Lookup::kScan,     4, 0},
    {kRank,    112,                  32, {0x19, kOn}, Lookup::kScan,     4, 0,     Included::kWhenRanks},
    {kPool,     80,                  48, {0x14, 0x18}},
    {kPool,    120,                  48, {0x19, 0x1B}, Lookup::kScan,     0, kNone, Included::kWhenPools},
    {kPool,    120, kSizeFromDescriptor, {0x1C, kOn}, Lookup::kScan,     0, kNone, Included::kWhenPools},
    {kNoKind,  144,                  16, {0x1E, kOn}},
};
// clang-format on

// A kind of which a later revision gives up all or fields stands here, with the first that does.
struct GoneRow {
  Kind kind;
  uint8_t from;
};
inline constexpr std::array<GoneRow, 0> kGoneRows = {};
