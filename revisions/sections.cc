// Sections of statistics records: see the header.
#include "revisions/sections.h"

#include "areas/finfo.h"
#include "engine/byteorder.h"
#include "revisions/sets/slots.h"

namespace {

constexpr size_t kRankSlotOf0x11 = 56;

// Host ports of archives are not in their structure record: the set is built from the first section
// that has entries. Until then its count is not compared.
bool BuildsHostPorts(const RevisionLayout& layout) {
  return layout.row.keeps_header && finfo.input_level == 'H' && resource_sets[kHp].count == 0;
}

}  // namespace

Sections sections_read;

Sections DecodeSections(const uint8_t* head, const RevisionLayout& layout) {
  Sections sections;
  for (const SectionRow& row : layout.Sections()) {
    ntoh_stahdr(&sections.of[row.kind], head + row.header_at);
  }
  if (layout.has_items) ntoh_stahdr(&sections.items, head + kItemsHeader);
  return sections;
}

const RevisionLayout& LayoutOfRecord(const uint8_t* head, const RevisionLayout& layout) {
  const bool later = layout.revision == 0x10 && Load32(head + kRankSlotOf0x11 + 4) != 0;
  return later ? LayoutOf(0x11) : layout;
}

bool IsTaken(const Sections& sections, const SectionRow& row) {
  const stahdr& header = sections.of[row.kind];
  if (!HasEntries(header) || !IsIncluded(row.included, included_choice)) return false;
  // A differing disk-port section is passed over without a word.
  return row.kind != kDp || header.count == resource_sets[kDp].count;
}

bool BuildsSet(const Sections& sections, const SectionRow& row, const RevisionLayout& layout) {
  if (!HasEntries(sections.of[row.kind])) return false;
  if (row.kind == kHpNode) return !resource_sets[kHpNode].from_statistics;
  return row.kind == kHp && BuildsHostPorts(layout);
}

bool CountsAgree(const Sections& sections, const RevisionLayout& layout) {
  for (const SectionRow& row : layout.Sections()) {
    const Kind kind = row.kind;
    const ResourceSet& set = resource_sets[kind];
    if (kind == kDp) continue;
    if (kind == kHpNode && !set.from_statistics) continue;
    if (kind == kHp && BuildsHostPorts(layout)) continue;
    if (sections.of[kind].count != set.count) return false;
  }
  return true;
}
