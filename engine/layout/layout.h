// The layouts of all format revisions as constexpr tables (engine/layout/): item bitmaps of the
// file header, lists of the structure record, sections and entry forms of the statistics record,
// optional items. Readers, writers, converters, accumulators and the tools are loops or templates
// over these rows. What the rows must satisfy is proved in engine/layout/check.cc.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "areas/kinds.h"
#include "engine/layout/forms.h"
#include "engine/layout/items.h"
#include "engine/layout/lists.h"
#include "engine/layout/records.h"
#include "engine/layout/revisions.h"

// Everything that a revision uses, picked from the tables above; the header reader stores a pointer
// to it in finfo, so that nobody asks for the revision again.
struct RevisionLayout {
  uint8_t revision = 0;
  RevisionRow row = {};
  std::array<ListRow, 20> lists = {};
  size_t list_count = 0;
  std::array<SectionRow, kSectionKinds> sections = {};
  size_t section_count = 0;
  std::array<BitmapRow, 14> bitmaps = {};
  size_t bitmap_count = 0;
  bool has_items = false;

  constexpr std::span<const ListRow> Lists() const { return {lists.data(), list_count}; }
  constexpr std::span<const SectionRow> Sections() const {
    return {sections.data(), section_count};
  }
  constexpr std::span<const BitmapRow> Bitmaps() const { return {bitmaps.data(), bitmap_count}; }
};

// The row of a kind, or null.
template <class Row>
constexpr const Row* FindRow(std::span<const Row> rows, Kind kind) {
  for (const Row& row : rows) {
    if (row.kind == kind) return &row;
  }
  return nullptr;
}

constexpr RevisionLayout MakeLayout(uint8_t revision) {
  RevisionLayout layout;
  layout.revision = revision;
  for (const RevisionRow& row : kRevisionRows) {
    if (row.span.Holds(revision)) layout.row = row;
  }
  for (const ListRow& row : kListRows) {
    if (row.span.Holds(revision)) layout.lists[layout.list_count++] = row;
  }
  for (const SectionRow& row : kSectionRows) {
    if (row.span.Holds(revision)) layout.sections[layout.section_count++] = row;
  }
  for (const BitmapRow& row : kBitmapRows) {
    if (row.span.Holds(revision)) layout.bitmaps[layout.bitmap_count++] = row;
  }
  layout.has_items = kItemsSpan.Holds(revision);
  return layout;
}

constexpr std::array<RevisionLayout, kRevisionCount> MakeLayouts() {
  std::array<RevisionLayout, kRevisionCount> all = {};
  for (size_t i = 0; i < kRevisionCount; ++i) {
    all[i] = MakeLayout(static_cast<uint8_t>(kFirstRevision + i));
  }
  return all;
}

inline constexpr std::array<RevisionLayout, kRevisionCount> kLayouts = MakeLayouts();

// The layout of an accepted revision (0x10 to 0x21).
constexpr const RevisionLayout& LayoutOf(uint8_t revision) {
  return kLayouts[static_cast<size_t>(revision - kFirstRevision)];
}

// True of revisions whose files hold either ranks or pools, not both.
constexpr bool HasOneOfRankAndPool(const RevisionLayout& layout) {
  for (const SectionRow& section : layout.Sections()) {
    if (section.included != Included::kAlways) return true;
  }
  return false;
}
