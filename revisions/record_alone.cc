// Statistics records one by one: see the header.
#include "revisions/record_alone.h"

#include "areas/finfo.h"
#include "engine/broken.h"
#include "engine/byteorder.h"
#include "revisions/fold/fold.h"
#include "revisions/items.h"
#include "revisions/sets/provide.h"
#include "revisions/sets/slots.h"

namespace {

// Builds a set whose resources only statistics records name. False: broken, reported.
bool BuildSet(const RecordView& record, const stahdr& header, const SectionRow& row) {
  const Lookup lookup = row.kind == kHp ? Lookup::kPosition : Lookup::kScan;
  const Form& form = kForms[row.form];
  const size_t step = form.size + size_t{finfo.items[row.kind].in_count} * 4;
  if (Carve(record, header.offset, uint64_t{header.count} * step) == nullptr) {
    return BrokenRecord("section leaves its record");
  }
  uint8_t* key = ShapeSet(row.kind, {.entries = header.count,
                                     .lookup = lookup,
                                     .key_count = form.key.count,
                                     .head_size = SlotHeadSize(row.kind),
                                     .quadsets = form.quadsets,
                                     .tracked = form.tracked});
  const uint8_t* entry = record.data + header.offset;
  for (uint32_t i = 0; i < header.count; ++i, key += kKeyRoom, entry += step) {
    for (size_t n = 0; n < form.key.count; ++n) key[n] = entry[form.key.at[n]];
  }
  StartSet(row.kind);
  resource_sets[row.kind].from_statistics = true;
  return true;
}

// Null: it leaves the record.
const uint8_t* PartOf(RecordBytes& record, uint64_t offset, size_t size) {
  const uint8_t* const part = record.At(offset, size);
  if (part == nullptr && record.Failed()) ReadFailed(record.error());
  return part;
}

}  // namespace

bool FoldSections(const RecordView& record, const Sections& sections,
                  const RevisionLayout& layout) {
  for (const SectionRow& row : layout.Sections()) {
    const stahdr& header = sections.of[row.kind];
    if (BuildsSet(sections, row, layout) && !BuildSet(record, header, row)) return false;
    if (!IsTaken(sections, row)) continue;
    if (!ReadSection(record, row, layout.row.rule, header.offset, header.count)) return false;
  }
  return true;
}

bool TakeItems(RecordBytes& record, const Sections& sections) {
  if (!HasEntries(sections.items)) return true;
  uint64_t at = sections.items.offset;
  for (uint32_t i = 0; i < sections.items.count; ++i) {
    const uint8_t* item = PartOf(record, at, kItemHead);
    if (item == nullptr) return BrokenRecord("optional item leaves its record");
    const uint32_t size = Load32(item + kItemLength);
    if (size < kItemHead) return BrokenRecord("optional item shorter than its head");
    item = PartOf(record, at, size);
    if (item == nullptr) return BrokenRecord("optional item leaves its record");
    const ItemRow* row = ItemRowOfType(item[kItemType], finfo.revision);
    if (row != nullptr && !TakeItem(*row, item, size)) return false;
    at += size;
  }
  return true;
}
