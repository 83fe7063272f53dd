// Statistics records: see the header.
#include "revisions/statistics.h"

#include <array>
#include <cstring>

#include "areas/finfo.h"
#include "engine/broken.h"
#include "engine/byteorder.h"
#include "engine/family.h"
#include "engine/pmoncommon.h"
#include "revisions/fold/cache.h"
#include "revisions/fold/fold.h"
#include "revisions/items.h"
#include "revisions/record_buffer.h"
#include "revisions/sets/provide.h"
#include "revisions/sets/slots.h"

namespace {

constexpr int64_t kSecondsPerHour = 3600;
constexpr size_t kRankSlotOf0x11 = 56;

// Section headers of the record read last; the writer carries their first fields.
std::array<stahdr, kSectionKinds> sections;
stahdr items_section;

bool Includes(const SectionRow& row) { return IsIncluded(row.included, included_choice); }

bool HasEntries(const stahdr& header) { return header.count != 0 && header.offset != 0; }

void DecodeSections(const RecordView& record, const RevisionLayout& layout) {
  sections.fill({});
  items_section = {};
  for (size_t i = 0; i < layout.section_count; ++i) {
    const SectionRow& row = layout.sections[i];
    ntoh_stahdr(&sections[row.kind], record.data + row.header_at);
  }
  if (layout.has_items) ntoh_stahdr(&items_section, record.data + kItemsHeader);
}

// Host ports of archives are not in their structure record: the set is built from the first section
// that has entries. Until then its count is not compared.
bool BuildsHostPorts(const RevisionLayout& layout) {
  return layout.row.keeps_header && finfo.input_level == 'H' && resource_sets[kHp].count == 0;
}

bool CountsAgree(const RevisionLayout& layout) {
  bool any = false;
  for (size_t i = 0; i < layout.section_count; ++i) {
    any = any || HasEntries(sections[layout.sections[i].kind]);
  }
  if (structure_revision != finfo.revision) {
    // Tables of another revision are laid out differently and say nothing about this file.
    DropSets();
    DropItemBlocks();
    if (any) return BrokenRecord("statistics before any structure record");
  }
  for (size_t i = 0; i < layout.section_count; ++i) {
    const Kind kind = layout.sections[i].kind;
    const ResourceSet& set = resource_sets[kind];
    if (kind == kDp) continue;
    if (kind == kHpNode && !set.from_statistics) continue;
    if (kind == kHp && BuildsHostPorts(layout)) continue;
    if (sections[kind].count != set.count) {
      return BrokenRecord("section count differs from the configuration");
    }
  }
  return true;
}

// Builds a set whose resources only statistics records name. False: broken, reported.
bool BuildSet(const RecordView& record, const SectionRow& row, uint32_t stride, Lookup lookup) {
  const stahdr& header = sections[row.kind];
  const Form& form = kForms[row.form];
  const size_t step = form.size + size_t{finfo.items[row.kind].in_count} * 4;
  if (Carve(record, header.offset, uint64_t{header.count} * step) == nullptr) {
    return BrokenRecord("section leaves its record");
  }
  uint8_t* table = ShapeSet(row.kind, {.entries = header.count,
                                       .stride = stride,
                                       .lookup = lookup,
                                       .key_at = 0,
                                       .key_count = form.key.count,
                                       .head_size = SlotHeadSize(row.kind),
                                       .quadsets = form.quadsets,
                                       .tracked = form.tracked});
  const uint8_t* entry = record.data + header.offset;
  for (uint32_t i = 0; i < header.count; ++i, table += stride, entry += step) {
    for (size_t n = 0; n < form.key.count; ++n) table[n] = entry[form.key.at[n]];
  }
  StartSet(row.kind);
  resource_sets[row.kind].from_statistics = true;
  return true;
}

bool BuildMissingSets(const RecordView& record, const RevisionLayout& layout,
                      const SectionRow& row) {
  if (!HasEntries(sections[row.kind])) return true;
  if (row.kind == kHpNode && !resource_sets[kHpNode].from_statistics) {
    return BuildSet(record, row, kHpNodeEntry, Lookup::kScan);
  }
  if (row.kind == kHp && BuildsHostPorts(layout)) {
    constexpr uint32_t kHostPortEntry = 48;
    return BuildSet(record, row, kHostPortEntry, Lookup::kPosition);
  }
  return true;
}

// Starts a period, or writes the finished hour when this record belongs to a later one.
void DecidePeriod() {
  const int64_t now = finfo.record_time;
  if ((pmonarc_stat & (kNewOutput | kContinued)) != 0) {
    pmonarc_stat = kPeriodInProgress;
    finfo.first_interval = true;
  } else {
    finfo.interval_ms = (now - finfo.previous_sta_time) * 1000;
    if (finfo.level == 'H' && now / kSecondsPerHour > finfo.previous_sta_time / kSecondsPerHour) {
      WriteStatistics(*finfo.layout);
      finfo.no_statistics = false;  // this record waits now
      finfo.first_interval = true;
    }
  }
  finfo.previous_sta_time = now;
  finfo.folded_time = now;
  finfo.folded_flag = finfo.record_flag;
}

bool ReadItems(const RecordView& record) {
  if (!HasEntries(items_section)) return true;
  uint64_t at = items_section.offset;
  for (uint32_t i = 0; i < items_section.count; ++i) {
    const uint8_t* item = Carve(record, at, kItemHead);
    if (item == nullptr) return BrokenRecord("optional item leaves its record");
    const uint32_t size = Load32(item + kItemLength);
    if (size < kItemHead) return BrokenRecord("optional item shorter than its head");
    if (Carve(record, at, size) == nullptr) return BrokenRecord("optional item leaves its record");
    const ItemRow* row = ItemRowOfType(item[kItemType], finfo.revision);
    if (row != nullptr && !TakeItem(*row, item, size)) return false;
    at += size;
  }
  return true;
}

bool ReadSections(const RecordView& record, const RevisionLayout& layout) {
  for (size_t i = 0; i < layout.section_count; ++i) {
    const SectionRow& row = layout.sections[i];
    if (!BuildMissingSets(record, layout, row)) return false;
    const stahdr& header = sections[row.kind];
    if (!HasEntries(header) || !Includes(row)) continue;
    // A differing disk-port section is passed over without a word.
    if (row.kind == kDp && header.count != resource_sets[kDp].count) continue;
    if (!ReadSection(record, row, layout.row.rule, header.offset, header.count)) return false;
  }
  return true;
}

uint8_t* PutSections(uint8_t* record, const RevisionLayout& layout) {
  uint8_t* out = record + layout.row.record_head;
  for (size_t i = 0; i < layout.section_count; ++i) {
    const SectionRow& row = layout.sections[i];
    const ResourceSet& set = resource_sets[row.kind];
    stahdr header = {sections[row.kind].first, static_cast<uint16_t>(set.count),
                     static_cast<uint32_t>(out - record)};
    if (!Includes(row)) header.offset = 0;
    hton_stahdr(record + row.header_at, &header);
    if (set.entries > 0) out = PutSection(out, row, layout.row.rule);
  }
  return out;
}

uint8_t* PutItemsSection(uint8_t* record, uint8_t* out, const RevisionLayout& layout) {
  const uint32_t count = layout.has_items ? ItemsToWrite() : 0;
  if (count == 0) return out;
  const stahdr header = {items_section.first, static_cast<uint16_t>(count),
                         static_cast<uint32_t>(out - record)};
  hton_stahdr(record + kItemsHeader, &header);
  return PutItems(out);
}

}  // namespace

void ReadStatistics(const RevisionLayout& layout) {
  const RecordView record = ReadWholeRecord();
  if (record.size < layout.row.record_head) {
    BrokenRecord("statistics record too short");
    return;
  }
  const RevisionLayout* in_use = &layout;
  if (layout.revision == 0x10 && Load32(record.data + kRankSlotOf0x11 + 4) != 0) {
    in_use = &LayoutOf(0x11);
  }
  DecodeSections(record, *in_use);
  if (!CountsAgree(*in_use)) return;
  DecidePeriod();
  if (in_use->row.carries_pair) {
    finfo.previous_interval_value = finfo.interval_value;
    std::memcpy(&finfo.interval_value, record.data + kAtIntervalValue, 2);
  }
  if (!ReadSections(record, *in_use)) return;
  if (in_use->has_items && !ReadItems(record)) return;
  finfo.first_interval = false;
  KeepRecord();
}

void WriteStatistics(const RevisionLayout& layout) {
  size_t room = layout.row.record_head + LargestItems();
  for (size_t i = 0; i < layout.section_count; ++i) {
    room += LargestSection(layout.sections[i]);
  }
  uint8_t* const record = OutputRecord(room);
  std::memset(record, 0, layout.row.record_head);
  std::memcpy(record + kAtTag, "STA", 3);
  record[kAtFlag] = finfo.folded_flag;
  Store32(record + kAtTime, static_cast<uint32_t>(finfo.folded_time));
  uint8_t* out = PutSections(record, layout);
  out = PutItemsSection(record, out, layout);
  const auto size = static_cast<size_t>(out - record);
  Store32(record + kAtLength, static_cast<uint32_t>(size));
  WriteRecord(record, size);
  ReleaseOutput();
  ClearPeriod();
  finfo.no_statistics = true;
}

void ClearPeriod() {
  for (uint8_t kind = 0; kind < kSectionKinds; ++kind) ClearSlots(static_cast<Kind>(kind));
  ClearItems();
}

void ForgetPeriod() {
  ClearPeriod();
  ForgetItems();
}
