// Optional items: see the header.
#include "tools/reading/check_items.h"

#include <fmt/format.h>

#include <algorithm>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"

namespace psltool {

namespace {

constexpr size_t kDiskNumber = PlaceInElement(kWaittm, Role::kKeyNumber);

struct Item {
  std::span<const uint8_t> bytes;
  uint64_t at;  // in the record
  std::string name;
};

bool IsKnownType(uint8_t type) {
  return std::any_of(std::begin(kItemRows), std::end(kItemRows),
                     [type](const ItemRow& row) { return row.type == type; });
}

// Wait times name logical disks; disks that are not configured go to the one found last.
void CheckDisks(const Item& item, uint32_t first, uint32_t count, const ItemRow& row,
                RecordReport& report, const KeyTable& disks) {
  uint32_t unknown = 0;
  uint64_t where = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const uint64_t at = first + uint64_t{i} * row.element;
    if (disks.Finds(Load16(item.bytes.data() + at + kDiskNumber), i)) continue;
    if (unknown++ == 0) where = item.at + at;
  }
  if (unknown == 0) return;
  report.Warn("key-unknown", where, item.name + ", element",
              fmt::format("{} of {} logical disks are not configured", unknown, count));
}

bool CheckElements(const RevisionLayout& layout, const ItemRow& row, const Item& item,
                   RecordReport& report, const ArrayTables& tables) {
  const int32_t room = tables.item_room[row.kind];
  if (room < 0) {
    return report.Error("item-unconfigured", item.at + kItemType, item.name + ", type",
                        "the structure record does not mark its kind present");
  }
  const uint32_t count = Load16(item.bytes.data() + kItemCount);
  if (!TakesElements(layout, row, item.bytes) || count == 0) return true;
  const uint32_t first = Load32(item.bytes.data() + kItemFirst);
  if (const auto fault = ElementsFault(row, item.bytes, item.at, item.name)) {
    return report.Error(fault->code, fault->at, fault->field, fault->text);
  }
  if (static_cast<int32_t>(count) > room) {
    return report.Error("item-count", item.at + kItemCount, item.name + ", element count",
                        fmt::format("{} elements, but {} are configured", count, room));
  }
  if (row.kind == kWaittm) CheckDisks(item, first, count, row, report, tables.kinds[kLd]);
  return true;
}

}  // namespace

std::optional<ItemFault> CarveItem(std::span<const uint8_t> record, uint64_t at, uint32_t number,
                                   std::span<const uint8_t>& item) {
  const std::string name = fmt::format("optional item {}", number);
  const auto head = Carve(record, at, kItemHead);
  if (head.empty()) {
    // The first one is misplaced by the section's offset, a later one by what stands before it.
    return ItemFault{"item-bounds", number == 0 ? kItemsHeader + 4 : at, name, "leaves the record"};
  }
  const uint32_t size = Load32(head.data() + kItemLength);
  if (size < kItemHead) {
    return ItemFault{"item-length", at + kItemLength, name + ", length",
                     fmt::format("{} bytes are less than its head of {}", size, kItemHead)};
  }
  item = Carve(record, at, size);
  if (!item.empty()) return std::nullopt;
  return ItemFault{"item-bounds", at + kItemLength, name + ", length",
                   fmt::format("{} bytes leave the record", size)};
}

std::optional<ItemFault> ElementsFault(const ItemRow& row, std::span<const uint8_t> item,
                                       uint64_t at, const std::string& name) {
  const uint32_t count = Load16(item.data() + kItemCount);
  const uint32_t first = Load32(item.data() + kItemFirst);
  const uint64_t size = item.size();
  if (first >= kItemHead && first <= size && uint64_t{count} * row.element <= size - first) {
    return std::nullopt;
  }
  return ItemFault{"item-elements", at + kItemFirst, name + ", first element",
                   fmt::format("{} elements of {} bytes at {} are not in the item's {} bytes",
                               count, row.element, first, size)};
}

bool TakesElements(const RevisionLayout& layout, const ItemRow& row,
                   std::span<const uint8_t> item) {
  return ::TakesElements(row, layout.row.pair_flag_by_count, item[kItemFlag]);
}

bool CheckItems(const RevisionLayout& layout, std::span<const uint8_t> record, RecordReport& report,
                const ArrayTables& tables, Extents& extents) {
  const SectionPlace place = PlaceAt(record, kItemsHeader);
  if (place.count == 0 || place.offset == 0) return true;
  uint64_t at = place.offset;
  for (uint32_t i = 0; i < place.count; ++i) {
    Item item = {{}, at, fmt::format("optional item {}", i)};
    if (const auto fault = CarveItem(record, at, i, item.bytes)) {
      return report.Error(fault->code, fault->at, fault->field, fault->text);
    }
    const std::string& name = item.name;
    const uint8_t type = item.bytes[kItemType];
    const ItemRow* const row = ItemRowOfType(type, layout.revision);
    if (row != nullptr) {
      if (!CheckElements(layout, *row, item, report, tables)) return false;
    } else if (!IsKnownType(type)) {
      report.Warn("item-unknown", at + kItemType, name + ", type",
                  fmt::format("type {} is unknown and passed over", type));
    }
    at += item.bytes.size();
  }
  extents.Add(place.offset, at - place.offset, "the optional items", kItemsHeader + 4);
  return true;
}

}  // namespace psltool
