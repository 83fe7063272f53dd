// What each format revision is as a whole, one row per stretch of revisions that are alike.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr uint8_t kFirstRevision = 0x10;
inline constexpr uint8_t kLastRevision = 0x21;
inline constexpr size_t kRevisionCount = kLastRevision - kFirstRevision + 1;

// The revisions that a row serves. Of each sort of rows a revision takes at most one per kind.
inline constexpr uint8_t kOn = 0xFF;  // "and every later revision"
struct Span {
  uint8_t from, to;  // inclusive
  // Not reached: at run time where revisions end.
  constexpr bool Holds(uint8_t revision) const { return from <= revision && revision <= to; }
};

constexpr bool KnownRevision(uint8_t revision) {
  return revision >= kFirstRevision && revision <= kLastRevision;
}

enum class QuadRule : uint8_t {
  kOlder,  // time-weighted second average, extremes of the raw word
  kCurrent
};

struct RevisionRow {
  Span span;
  uint16_t file_header;  // bytes of the file header record
  uint16_t record_head;  // bytes of structure-record header and statistics-record head
  QuadRule rule;
  uint16_t trailing_at;  // where the structure header keeps the trailing section's offset; 0: none
  bool keeps_header;     // the output's file header starts as the input's; date bytes; UTC periods
  bool carries_pair;     // bytes 14 and 15 of structure records are carried
  bool skips_tails;      // "NNC" and "LDM" longer than their fixed size are cut, not broken
  bool marks_pairs_on_ldm;  // an "LDM" record makes the copy pairs due again
  bool second_cheseg_key;   // cache segments may have a second key byte
  bool pair_flag_by_count;  // copy-pair items: taken by flag bit 7, flag written from the count
};

// clang-format off
inline constexpr RevisionRow kRevisionRows[] = {
//                file    record                      trailing  keeps   carries  skips   pairs    second      pair flag
//  revisions     header  head    rule                section   header  pair     tails   on LDM   cheseg key  by count
    {{0x10, 0x12},    80,     80, QuadRule::kOlder,          0, false,  false,   false,  false,   false,      false},
    {{0x13, 0x13},    80,     96, QuadRule::kCurrent,        0, false,  false,   false,  false,   false,      false},
    {{0x14, 0x14},    80,    112, QuadRule::kCurrent,        0, false,  false,   false,  false,   false,      false},
    {{0x15, 0x18},    80,    112, QuadRule::kCurrent,      104, false,  false,   false,  false,   false,      false},
    {{0x19, 0x19},   256,    256, QuadRule::kCurrent,      248, false,  false,   false,  false,   false,      false},
    {{0x1A, 0x1A},   256,    256, QuadRule::kCurrent,      248, false,  false,   false,  false,   true,       false},
    {{0x1B, 0x1B},   256,    256, QuadRule::kCurrent,      248, false,  false,   true,   false,   true,       false},
    {{0x1C, 0x1C},   256,    256, QuadRule::kCurrent,      248, false,  false,   true,   true,    true,       true},
    {{0x1D, kOn},   256,    256, QuadRule::kCurrent,      248, true,   true,    true,   true,    true,       true},
};
// clang-format on
