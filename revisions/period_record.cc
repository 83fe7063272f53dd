// The statistics record that a period becomes, and the end of periods.
#include <cstring>

#include "areas/finfo.h"
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

uint8_t* PutSections(uint8_t* record, const RevisionLayout& layout) {
  uint8_t* out = record + layout.row.record_head;
  for (size_t i = 0; i < layout.section_count; ++i) {
    const SectionRow& row = layout.sections[i];
    const ResourceSet& set = resource_sets[row.kind];
    stahdr header = {sections_read.of[row.kind].first, static_cast<uint16_t>(set.count),
                     static_cast<uint32_t>(out - record)};
    if (!IsIncluded(row.included, included_choice)) header.offset = 0;
    hton_stahdr(record + row.header_at, &header);
    if (set.entries > 0) out = PutSection(out, row, layout.row.rule);
  }
  return out;
}

uint8_t* PutItemsSection(uint8_t* record, uint8_t* out, const RevisionLayout& layout) {
  const uint32_t count = layout.has_items ? ItemsToWrite() : 0;
  if (count == 0) return out;
  const stahdr header = {sections_read.items.first, static_cast<uint16_t>(count),
                         static_cast<uint32_t>(out - record)};
  hton_stahdr(record + kItemsHeader, &header);
  return PutItems(out);
}

}  // namespace

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
