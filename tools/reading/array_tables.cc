// Structure records: see the header. Every list row of engine/layout/layout.h is read the same way.
#include "tools/reading/array_tables.h"

#include <fmt/format.h>

#include <algorithm>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/reading/extents.h"
#include "tools/reading/kind_names.h"

namespace psltool {

namespace {

constexpr size_t kOffsetAt = 4;  // in a descriptor
constexpr size_t kSmallestEntry = 2;

struct List {
  const ListRow& row;
  uint16_t first;
  uint32_t count;
  uint32_t offset;
  size_t entry;  // bytes of the fixed part
  std::string name;
};

List ListOf(std::span<const uint8_t> record, const ListRow& row) {
  const uint8_t* at = record.data() + row.header_at;
  const uint16_t first = Load16(at);
  return {row,
          first,
          Load16(at + 2),
          Load32(at + kOffsetAt),
          row.entry == kSizeFromDescriptor ? first : row.entry,
          row.kind == kNoKind ? fmt::format("list of slot {}", row.header_at)
                              : fmt::format("list {}", NameOf(row.kind).word)};
}

size_t KeyCountOf(const RevisionLayout& layout, Kind kind, std::span<const uint8_t> basic) {
  const bool second =
      layout.row.second_cheseg_key && (basic[kBasicFlags] & kBasicSecondChesegKey) != 0;
  const SectionRow* const section = FindRow(layout.Sections(), kind);
  if (section == nullptr) return 0;
  return kind == kCheseg && !second ? 1 : kForms[section->form].key.count;
}

// Walks the entries of a list; `visit` gets each fixed part. Returns the size of the whole list, or
// nothing when it breaks the record.
template <class Visit>
std::optional<uint64_t> WalkList(std::span<const uint8_t> record, const List& list,
                                 RecordReport& report, Visit visit) {
  const ListRow& row = list.row;
  uint64_t at = list.offset;
  for (uint32_t i = 0; i < list.count; ++i) {
    const auto entry = Carve(record, at, list.entry);
    const auto field = [&](const char* what) {
      return fmt::format("{}, entry {}{}", list.name, i, what);
    };
    if (entry.empty()) {
      report.Error("list-bounds", row.header_at + kOffsetAt, field(""), "leaves the record");
      return std::nullopt;
    }
    uint64_t size = list.entry;
    if (row.total_length_at != kNone) {
      const auto length_at = static_cast<uint8_t>(row.total_length_at);
      size = Load32(entry.data() + length_at);
      if (size < list.entry) {
        report.Error("variable-length", at + length_at, field(", total length"),
                     fmt::format("{} bytes are less than the fixed part of {}", size, list.entry));
        return std::nullopt;
      }
      if (Carve(record, at, size).empty()) {
        report.Error("variable-bounds", at + length_at, field(", total length"),
                     fmt::format("the variable part leaves the record: {} bytes in all", size));
        return std::nullopt;
      }
    }
    visit(entry);
    at += size;
  }
  return at - list.offset;
}

bool ReadList(std::span<const uint8_t> record, const List& list, RecordReport& report,
              Extents& extents, KeyTable* table) {
  if (list.entry < kSmallestEntry) {
    return report.Error("list-entry", list.row.header_at, list.name + ", entry size",
                        fmt::format("entries of {} bytes have no room for a key", list.entry));
  }
  if (list.offset == 0) {
    return report.Error("list-offset", list.row.header_at + kOffsetAt, list.name + ", offset",
                        fmt::format("{} entries without an offset", list.count));
  }
  const auto size = WalkList(record, list, report, [&](std::span<const uint8_t> entry) {
    if (table == nullptr) return;
    table->keys.push_back(PackKey(entry.data() + list.row.key_at, table->key_count));
  });
  if (!size) return false;
  extents.Add(list.offset, *size, list.name, list.row.header_at + kOffsetAt);
  if (table != nullptr && table->Finish()) {
    report.Warn("key-twice", list.offset, list.name, "two entries have the same key");
  }
  return true;
}

void SetItemRooms(uint8_t revision, std::span<const uint8_t> basic, ArrayTables& tables) {
  for (const ItemRow& row : kItemRows) {
    if (!row.span.Holds(revision)) continue;
    int32_t& room = tables.item_room[row.kind];
    if (row.basic_at == 0) {
      if ((basic[kBasicFlags] & kBasicWaitTimes) == 0) continue;
      room = static_cast<int32_t>(tables.kinds[kLd].keys.size());
    } else {
      const uint16_t word = Load16(basic.data() + row.basic_at);
      if ((word & kBasicPresent) != 0) room = word & ~kBasicPresent;
    }
  }
}

}  // namespace

bool KeyTable::Finish() {
  sorted = keys;
  std::sort(sorted.begin(), sorted.end());
  return std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end();
}

bool KeyTable::Finds(uint32_t key, uint32_t position) const {
  if (position < keys.size() && keys[position] == key) return true;
  if (lookup == Lookup::kPosition) return false;
  return std::binary_search(sorted.begin(), sorted.end(), key);
}

uint32_t PackKey(const uint8_t* bytes, size_t count) {
  uint32_t key = 0;
  for (size_t i = 0; i < count; ++i) key = (key << 8) | bytes[i];
  return key;
}

uint32_t EntryKey(const KeyBytes& key, size_t key_count, std::span<const uint8_t> entry) {
  uint32_t packed = 0;
  for (size_t i = 0; i < key_count; ++i) packed = (packed << 8) | entry[key.at[i]];
  return packed;
}

std::string KeyText(const KeyBytes& key, size_t key_count, uint32_t packed) {
  if (key.number) return std::to_string(packed);
  std::string text;
  for (size_t i = key_count; i > 0; --i) {
    text += std::to_string((packed >> (8 * (i - 1))) & 0xFF);
    if (i > 1) text += '.';
  }
  return text;
}

bool ReadTables(const PslHeader& header, std::span<const uint8_t> record, RecordReport& report,
                ArrayTables& tables) {
  tables = ArrayTables();
  const RevisionLayout& layout = LayoutOf(header.revision);
  const size_t head = layout.row.record_head;
  if (record.size() < head) {
    return report.Error("structure-head", kAtLength, "record length",
                        fmt::format("{} bytes are less than the head of {}", record.size(), head));
  }
  const uint32_t basic_at = Load32(record.data() + kAtFirstHeader + kOffsetAt);
  const auto basic = Carve(record, basic_at, kBasicSize);
  if (basic.empty()) {
    return report.Error("basic-bounds", kAtFirstHeader + kOffsetAt, "basic information, offset",
                        fmt::format("{} bytes at {} are not in the record", kBasicSize, basic_at));
  }
  tables.choice = basic[kBasicIncluded];
  Extents extents;
  extents.Add(0, head, "the head", 0);
  extents.Add(basic_at, kBasicSize, "the basic information", kAtFirstHeader + kOffsetAt);
  bool sound = true;
  for (const ListRow& row : layout.Lists()) {
    const List list = ListOf(record, row);
    KeyTable* const table = row.kind == kNoKind ? nullptr : &tables.kinds[row.kind];
    if (table != nullptr) {
      table->count = list.count;
      table->lookup = row.lookup;
      table->key_count = static_cast<uint8_t>(KeyCountOf(layout, row.kind, basic));
    }
    if (list.count == 0 || !IsIncluded(row.included, tables.choice)) continue;
    sound = ReadList(record, list, report, extents, table) && sound;
  }
  const size_t trailing_at = layout.row.trailing_at;
  if (trailing_at != 0) {
    const uint32_t offset = Load32(record.data() + trailing_at);
    if (offset > record.size()) {
      sound =
          report.Error("trailing-bounds", trailing_at, "trailing section, offset",
                       fmt::format("{} is behind the record's {} bytes", offset, record.size()));
    } else if (offset != 0) {
      extents.Add(offset, record.size() - offset, "the trailing section", trailing_at);
    }
  }
  if (!sound) return false;
  extents.Warn(report);
  SetItemRooms(header.revision, basic, tables);
  tables.known = true;
  return true;
}

}  // namespace psltool
