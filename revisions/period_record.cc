// The statistics record that a period becomes, and the end of periods.
#include <algorithm>
#include <cstring>

#include "areas/finfo.h"
#include "engine/buffer.h"
#include "engine/byteorder.h"
#include "engine/family.h"
#include "engine/pmoncommon.h"
#include "revisions/fold/fold.h"
#include "revisions/items.h"
#include "revisions/record_buffer.h"
#include "revisions/sections.h"
#include "revisions/sets/provide.h"
#include "revisions/sets/slots.h"
#include "revisions/statistics.h"

namespace {

Buffer items_room;

// Puts the section headers into the head; the offset behind the sections.
size_t PutSectionHeaders(uint8_t* head, const RevisionLayout& layout) {
  size_t at = layout.row.record_head;
  for (const SectionRow& row : layout.Sections()) {
    const ResourceSet& set = resource_sets[row.kind];
    stahdr header = {sections_read.of[row.kind].first, static_cast<uint16_t>(set.count),
                     static_cast<uint32_t>(at)};
    if (!IsIncluded(row.included, included_choice)) header.offset = 0;
    hton_stahdr(head + row.header_at, &header);
    if (set.entries > 0) at += SectionSize(row);
  }
  return at;
}

void WriteSection(RecordWriter& writer, const SectionRow& row, QuadRule rule) {
  const int32_t entries = resource_sets[row.kind].entries;
  const size_t largest = LargestEntry(row);
  int32_t step = entries;
  if (row.kind != kCache)
    step = static_cast<int32_t>(RecordWriter::kRoom / largest / kLanes * kLanes);
  for (int32_t from = 0; from < entries; from += step) {
    const int32_t to = std::min(entries, from + std::min(step, entries - from));
    uint8_t* const out = writer.Room(static_cast<size_t>(to - from) * largest);
    writer.Take(static_cast<size_t>(PutSection(out, row, rule, from, to) - out));
  }
}

// Puts the items and their header; their bytes.
size_t PutItemsSection(uint8_t* head, size_t at, const RevisionLayout& layout) {
  const uint32_t count = layout.has_items ? ItemsToWrite() : 0;
  if (count == 0) return 0;
  const stahdr header = {sections_read.items.first, static_cast<uint16_t>(count),
                         static_cast<uint32_t>(at)};
  hton_stahdr(head + kItemsHeader, &header);
  uint8_t* const items = items_room.Reserve(LargestItems());
  return static_cast<size_t>(PutItems(items) - items);
}

}  // namespace

void WriteStatistics(const RevisionLayout& layout) {
  RecordWriter writer;
  uint8_t* const head = writer.Room(layout.row.record_head);
  std::memset(head, 0, layout.row.record_head);
  std::memcpy(head + kAtTag, "STA", 3);
  head[kAtFlag] = finfo.folded_flag;
  Store32(head + kAtTime, static_cast<uint32_t>(finfo.folded_time));
  const size_t sections_end = PutSectionHeaders(head, layout);
  const size_t items_size = PutItemsSection(head, sections_end, layout);
  Store32(head + kAtLength, static_cast<uint32_t>(sections_end + items_size));
  writer.Take(layout.row.record_head);
  for (const SectionRow& row : layout.Sections()) {
    if (resource_sets[row.kind].entries > 0) WriteSection(writer, row, layout.row.rule);
  }
  writer.Put(items_room.data(), items_size);
  writer.Flush();
  ClearPeriod();
  finfo.no_statistics = true;
}

void FreePeriodRecord() { items_room.Free(); }

void ClearPeriod() {
  for (uint8_t kind = 0; kind < kSectionKinds; ++kind) ClearSlots(static_cast<Kind>(kind));
  ClearItems();
}

void ForgetPeriod() {
  ClearPeriod();
  ForgetItems();
}
