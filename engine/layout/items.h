// Optional items of statistics records.
#pragma once

#include <cstdint>

#include "areas/kinds.h"
#include "engine/layout/fields.h"
#include "engine/layout/records.h"
#include "engine/layout/revisions.h"

// The section header of the optional items.
inline constexpr uint8_t kItemsSlot = 16;
inline constexpr Span kItemsSpan = {0x14, kOn};

struct ItemRow {
  Kind kind;
  uint8_t type;       // byte 12 of the item head
  uint8_t element;    // bytes of an element
  uint16_t basic_at;  // u16 of the basic information with presence bit and count; 0: wait times
  Span span;
  Field fields[4];  // of an element
};

namespace item_rows {
using enum Role;
// In the order in which they are written.
// clang-format off
inline constexpr ItemRow kRows[] = {
    {kConc,   16, 16, kBasicConc,   {0x18, kOn}, {{0, kKeyNumber}, {12, kPresent}}},
    {kLdCp,   32, 32, kBasicLdCp,   {0x1B, kOn}, {{0, kKeyBytes}}},
    {kPoolCp, 48, 48, kBasicPoolCp, {0x1B, kOn}, {{0, kKeyBytes}}},
    {kWaittm, 33, 32, 0,            {0x1C, kOn}, {{0, kKeyNumber}, {16, kGroups, 1}}},
    {kCab,    64, 16, kBasicCab,    {0x1D, kOn}, {{0, kKey}, {2, kKeyNumber}, {8, kValue}}},
};
// clang-format on
}  // namespace item_rows
inline constexpr auto& kItemRows = item_rows::kRows;

constexpr const ItemRow& ItemRowOf(Kind kind) {
  size_t i = 0;
  while (kItemRows[i].kind != kind) ++i;
  return kItemRows[i];
}
// The row of an item type in a revision, or null: such types are passed over.
constexpr const ItemRow* ItemRowOfType(uint8_t type, uint8_t revision) {
  for (const ItemRow& row : kItemRows) {
    if (row.type == type && row.span.Holds(revision)) return &row;
  }
  return nullptr;
}
// Where the elements of a kind have a field that they have.
constexpr size_t PlaceInElement(Kind kind, Role role) {
  return FindField(FieldsOfList(ItemRowOf(kind).fields), role)->at;
}
