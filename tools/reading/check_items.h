// Judges the optional items of a statistics record.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tools/reading/array_tables.h"
#include "tools/reading/extents.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

struct ItemFault {
  const char* code;
  uint64_t at;  // in the record, of the field at fault
  std::string field;
  std::string text;
};

// The bytes of the item at `at`, the `number`th from 0, go to `item`; or why there is none.
std::optional<ItemFault> CarveItem(std::span<const uint8_t> record, uint64_t at, uint32_t number,
                                   std::span<const uint8_t>& item);

// Why the elements are not within the item, which stands at `at`. For items that have some.
std::optional<ItemFault> ElementsFault(const ItemRow& row, std::span<const uint8_t> item,
                                       uint64_t at, const std::string& name);

// True when the archiver takes the item's elements.
bool TakesElements(const RevisionLayout& layout, const ItemRow& row, std::span<const uint8_t> item);

// False: an item breaks the record, reported.
bool CheckItems(const RevisionLayout& layout, std::span<const uint8_t> record, RecordReport& report,
                const ArrayTables& tables, Extents& extents);

}  // namespace psltool
