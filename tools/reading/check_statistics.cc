// Statistics records: see the header. Every section row of engine/layout/layout.h is judged the
// same way.
#include "tools/reading/check_statistics.h"

#include <fmt/format.h>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/reading/check_items.h"
#include "tools/reading/extents.h"
#include "tools/reading/kind_names.h"

namespace psltool {

namespace {

constexpr size_t kCountAt = 2;  // in a section header
constexpr size_t kSectionOffsetAt = 4;

struct Context {
  const PslHeader& header;
  std::span<const uint8_t> record;
  RecordReport& report;
  const RevisionLayout& layout;
  const ArrayTables& tables;
  FoundTables& found;
};

std::string SectionName(Kind kind) { return fmt::format("section {}", NameOf(kind).word); }

bool HasEntries(const SectionPlace& place) { return place.count != 0 && place.offset != 0; }

bool CheckKnown(Context& c) {
  if (c.tables.known) return true;
  for (const SectionRow& row : c.layout.Sections()) {
    if (!HasEntries(PlaceOf(c.record, row))) continue;
    return c.report.Error("no-structure", row.header_at + kCountAt,
                          SectionName(row.kind) + ", count", "entries before any structure record");
  }
  return true;
}

bool CheckCounts(Context& c) {
  bool agree = true;
  for (const SectionRow& row : c.layout.Sections()) {
    const KeyTable& table = c.tables.kinds[row.kind];
    const uint32_t count = PlaceOf(c.record, row).count;
    const auto differ = [&] {
      return fmt::format("{} entries, but the structure record has {}", count, table.count);
    };
    if (row.kind == kHpNode && !table.from_statistics) continue;
    if (row.kind == kHp && TakesHostPortsFromStatistics(c.header, c.tables)) continue;
    if (count == table.count) continue;
    const std::string field = SectionName(row.kind) + ", count";
    if (row.kind == kDp) {
      c.report.Warn("count-passed-over", row.header_at + kCountAt, field,
                    differ() + ": the section is passed over");
      continue;
    }
    agree = c.report.Error("section-count", row.header_at + kCountAt, field, differ());
  }
  return agree;
}

// The table of a kind that only statistics records name, made from the section at hand: its entries
// are all full ones. False: they leave the record, reported.
bool BuildTable(Context& c, const SectionRow& row, const SectionPlace& place, Lookup lookup) {
  const Form& form = kForms[row.form];
  const uint64_t step = form.size + 4 * WordsOf(c.header, row.kind);
  const auto section = Carve(c.record, place.offset, place.count * step);
  if (section.empty()) {
    return c.report.Error("section-bounds", row.header_at + kSectionOffsetAt, SectionName(row.kind),
                          fmt::format("{} entries of {} bytes at {} are not in the record",
                                      place.count, step, place.offset));
  }
  KeyTable& table = c.found[row.kind];
  table.count = place.count;
  table.lookup = lookup;
  table.key_count = form.key.count;
  table.from_statistics = true;
  for (uint32_t i = 0; i < place.count; ++i) {
    table.keys.push_back(EntryKey(form.key, table.key_count, section.subspan(i * step)));
  }
  table.Finish();
  return true;
}

// Tells of the first key that has no resource. Of logical and physical disks the archiver takes
// such an entry for the disk that it found last.
bool CheckKeys(Context& c, const SectionRow& row, const SectionPlace& place, const KeyTable& table,
               Extents& extents) {
  const Form& form = kForms[row.form];
  uint32_t position = 0;
  uint32_t unknown = 0;
  uint64_t where = 0;
  uint32_t key = 0;
  uint64_t behind = place.offset;
  const bool whole = VisitSection(
      c.header, c.record, row, [&](std::span<const uint8_t> entry, std::span<const uint8_t> words) {
        const uint32_t this_key = EntryKey(form.key, table.key_count, entry);
        if (!table.Finds(this_key, position) && unknown++ == 0) {
          key = this_key;
          where = static_cast<uint64_t>(entry.data() - c.record.data()) + form.key.at[0];
        }
        behind += entry.size() + words.size();
        ++position;
      });
  const std::string name = SectionName(row.kind);
  if (unknown != 0) {
    const std::string text = fmt::format(
        "key {} is not in the structure record's list{}", KeyText(form.key, table.key_count, key),
        table.lookup == Lookup::kPosition ? " at this position" : "");
    const std::string more =
        unknown > 1 ? fmt::format("; {} more entries likewise", unknown - 1) : "";
    if (table.lookup != Lookup::kCursor || table.keys.empty()) {
      return c.report.Error("key-unknown", where, name + ", key", text + more);
    }
    c.report.Warn("key-unknown", where, name + ", key", text + more);
  }
  if (whole) {
    extents.Add(place.offset, behind - place.offset, name, row.header_at + kSectionOffsetAt);
    return true;
  }
  const bool outside = place.offset > c.record.size();
  return c.report.Error(
      "section-bounds", outside ? row.header_at + kSectionOffsetAt : behind,
      outside ? name + ", offset" : fmt::format("{}, entry {}", name, position),
      outside ? fmt::format("{} is behind the record's {} bytes", place.offset, c.record.size())
              : fmt::format("leaves the record's {} bytes", c.record.size()));
}

bool CheckSection(Context& c, const SectionRow& row, Extents& extents) {
  const SectionPlace place = PlaceOf(c.record, row);
  if (!HasEntries(place)) return true;
  const KeyTable* table = &c.tables.kinds[row.kind];
  const bool nodes = row.kind == kHpNode && !table->from_statistics;
  const bool ports = row.kind == kHp && TakesHostPortsFromStatistics(c.header, c.tables);
  if (nodes || ports) {
    if (!BuildTable(c, row, place, nodes ? Lookup::kScan : Lookup::kPosition)) return false;
    table = &c.found[row.kind];
  }
  return !IsRead(row, place, c.tables) || CheckKeys(c, row, place, *table, extents);
}

}  // namespace

bool TakesHostPortsFromStatistics(const PslHeader& header, const ArrayTables& tables) {
  return LayoutOf(header.revision).row.keeps_header && header.level != 'L' &&
         tables.kinds[kHp].count == 0;
}

bool IsRead(const SectionRow& row, const SectionPlace& place, const ArrayTables& tables) {
  if (!HasEntries(place) || !IsIncluded(row.included, tables.choice)) return false;
  return row.kind != kDp || place.count == tables.kinds[kDp].count;
}

bool CheckStatistics(const PslHeader& header, std::span<const uint8_t> record, RecordReport& report,
                     const ArrayTables& tables, FoundTables& found) {
  const size_t head = LayoutOf(header.revision).row.record_head;
  if (record.size() < head) {
    return report.Error("statistics-head", kAtLength, "record length",
                        fmt::format("{} bytes are less than the head of {}", record.size(), head));
  }
  Context c = {header, record, report, LayoutOfStatistics(header, record), tables, found};
  if (!CheckKnown(c) || !CheckCounts(c)) return false;
  Extents extents;
  extents.Add(0, head, "the head", 0);
  bool sound = true;
  for (const SectionRow& section : c.layout.Sections()) {
    sound = CheckSection(c, section, extents) && sound;
  }
  if (c.layout.has_items) sound = CheckItems(c.layout, record, report, tables, extents) && sound;
  if (!sound) return false;
  extents.Warn(report);
  return true;
}

}  // namespace psltool
