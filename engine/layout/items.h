// Optional items of statistics records.
#pragma once

#include <cstdint>

#include "engine/kinds.h"
#include "engine/layout/revisions.h"
#include "engine/pmonfile.h"

// The section header of the optional items.
inline constexpr uint8_t kItemsSlot = 16;
inline constexpr Span kItemsSpan = {0x14, 0x21};

struct ItemRow {
  Kind kind;
  uint8_t type;       // byte 12 of the item head
  uint8_t element;    // bytes of an element
  uint16_t basic_at;  // u16 of the basic information with presence bit and count; 0: wait times
  Span span;
};

// In the order in which they are written.
// clang-format off
inline constexpr ItemRow kItemRows[] = {
    {kConc,   16, 16, kBasicConc,   {0x18, 0x21}},
    {kLdCp,   32, 32, kBasicLdCp,   {0x1B, 0x21}},
    {kPoolCp, 48, 48, kBasicPoolCp, {0x1B, 0x21}},
    {kWaittm, 33, 32, 0,            {0x1C, 0x21}},
    {kCab,    64, 16, kBasicCab,    {0x1D, 0x21}},
};
// clang-format on
