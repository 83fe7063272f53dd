// Optional items of statistics records.
#pragma once

#include <cstdint>

#include "areas/kinds.h"
#include "engine/layout/fields.h"
#include "engine/layout/records.h"
#include "engine/layout/revisions.h"

// The section header of the optional items.
inline constexpr uint8_t kItemsHeader = 16;
inline constexpr Span kItemsSpan = {0x14, kOn};

// Which elements of an item count.
enum class Taken : uint8_t {
  kAlways,
  kByFlag,  // those of items with flag bit 7 (kItemTaken), which archives have with any element
  kByLaterFlag,  // likewise in revisions that say so (pair_flag_by_count), else always
};

// Which elements a period writes.
enum class Written : uint8_t {
  kPresent,  // those that say they are present, in periods with an item of the kind
  kChanged,  // those that are new or have changed; all that are held, when pairs are due again
  kNamed,    // those that an item of the period names
  kAll,      // all that are held, in periods with an item of the kind
};

struct ItemRow {
  Kind kind;
  uint8_t type;       // byte 12 of the item head
  uint8_t element;    // bytes of an element
  uint16_t basic_at;  // u16 of the basic information with presence bit and count; 0: wait times
  Span span;
  Taken taken;
  Written written;
  bool held;        // elements stay over periods, until the structure changes
  Field fields[4];  // of an element; its key first
};

namespace item_rows {
using enum Role;
// In the order in which they are written.
// clang-format off
inline constexpr ItemRow kRows[] = {
//            element  presence                  taken                written            held   fields
//  kind    type  size
    {kConc,   16, 16, kBasicConc,   {0x18, kOn}, Taken::kAlways,      Written::kPresent, false, {{0, kKeyNumber}, {12, kPresent}}},
    {kLdCp,   32, 32, kBasicLdCp,   {0x1B, kOn}, Taken::kByLaterFlag, Written::kChanged, true,  {{0, kKeyBytes}}},
    {kPoolCp, 48, 48, kBasicPoolCp, {0x1B, kOn}, Taken::kByLaterFlag, Written::kChanged, true,  {{0, kKeyBytes}}},
    {kWaittm, 33, 32, 0,            {0x1C, kOn}, Taken::kAlways,      Written::kNamed,   false, {{0, kKeyNumber}, {16, kGroups, 1}}},
    {kCab,    64, 16, kBasicCab,    {0x1D, kOn}, Taken::kByFlag,      Written::kAll,     true,  {{0, kKey}, {2, kKeyNumber}, {8, kValue}}},
};
// clang-format on
}  // namespace item_rows
inline constexpr auto& kItemRows = item_rows::kRows;

// Whether the elements of an item with this flag byte count. `by_count`: pair_flag_by_count.
constexpr bool TakesElements(const ItemRow& row, bool by_count, uint8_t flag) {
  if (row.taken == Taken::kAlways || (row.taken == Taken::kByLaterFlag && !by_count)) return true;
  return (flag & kItemTaken) != 0;
}

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
// Where the elements have a field of a role; null: nowhere.
constexpr const Field* FieldOfElement(const ItemRow& row, Role role) {
  return FindField(FieldsOfList(row.fields), role);
}
// Where the elements of a kind have a field that they have.
constexpr size_t PlaceInElement(Kind kind, Role role) {
  return FieldOfElement(ItemRowOf(kind), role)->at;
}
