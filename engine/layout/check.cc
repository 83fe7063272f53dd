// What the rows of the layout must satisfy, proved by the compiler: a revision that is only half
// made, a row that stands twice or a field beside its form does not build.
#include "engine/layout/layout.h"

namespace {

constexpr bool Overlap(size_t a, size_t a_size, size_t b, size_t b_size) {
  return a < b + b_size && b < a + a_size;
}

// --- revisions ------------------------------------------------------------------------------------

constexpr bool EveryRevisionHasOneRow() {
  for (unsigned revision = kFirstRevision; revision <= kLastRevision; ++revision) {
    int rows = 0;
    for (const RevisionRow& row : kRevisionRows) {
      rows += row.span.Holds(static_cast<uint8_t>(revision)) ? 1 : 0;
    }
    if (rows != 1) return false;
  }
  return true;
}
static_assert(EveryRevisionHasOneRow(), "a revision has no row or several");

// Of each sort of rows, those of one revision: all pairs, each once.
template <class Row>
constexpr bool AllPairs(std::span<const Row> rows, auto agree) {
  for (size_t i = 0; i < rows.size(); ++i) {
    for (size_t j = 0; j < i; ++j) {
      if (!agree(rows[i], rows[j])) return false;
    }
  }
  return true;
}
constexpr bool AllRevisions(bool (*holds)(const RevisionLayout&)) {
  for (const RevisionLayout& layout : kLayouts) {
    if (!holds(layout)) return false;
  }
  return true;
}

constexpr bool SectionsStandApart(const RevisionLayout& layout) {
  for (const SectionRow& section : layout.Sections()) {
    const size_t slot = section.header_at;
    if (slot < kAtFirstHeader || slot + kHeaderStep > layout.row.record_head) return false;
    if (layout.has_items && Overlap(slot, kHeaderStep, kItemsHeader, kHeaderStep)) return false;
  }
  return AllPairs(layout.Sections(), [](const auto& a, const auto& b) {
    return a.kind != b.kind && !Overlap(a.header_at, kHeaderStep, b.header_at, kHeaderStep);
  });
}
static_assert(AllRevisions(SectionsStandApart), "a section stands twice, on another or outside");

constexpr bool ListsStandApart(const RevisionLayout& layout) {
  for (const ListRow& row : layout.Lists()) {
    if (row.header_at <= kAtFirstHeader || row.header_at + kHeaderStep > layout.row.record_head)
      return false;
    const size_t trailing = layout.row.trailing_at;
    if (trailing != 0 && Overlap(row.header_at, kHeaderStep, trailing, kHeaderStep)) return false;
    if (row.entry == kSizeFromDescriptor) continue;
    if (row.key_at >= row.entry || row.total_length_at + 4 > row.entry) return false;
  }
  return layout.row.trailing_at + kHeaderStep <= layout.row.record_head &&
         AllPairs(layout.Lists(), [](const auto& a, const auto& b) {
           return (a.kind != b.kind || a.kind == kNoKind) &&
                  !Overlap(a.header_at, kHeaderStep, b.header_at, kHeaderStep);
         });
}
static_assert(AllRevisions(ListsStandApart), "a list stands twice, on another or outside");

constexpr bool BitmapsStandApart(const RevisionLayout& layout) {
  for (const BitmapRow& bitmap : layout.Bitmaps()) {
    const size_t at = bitmap.at;
    if (at < kAtConfiguration + 4 || at + 4 > layout.row.file_header) return false;
    if (layout.row.keeps_header && Overlap(at, 4, kAtYear, 3)) return false;
  }
  return AllPairs(layout.Bitmaps(), [](const auto& a, const auto& b) {
    return a.kind != b.kind && !Overlap(a.at, 4, b.at, 4);
  });
}
static_assert(AllRevisions(BitmapsStandApart), "a bitmap stands twice, on another or outside");

// --- a revision is whole --------------------------------------------------------------------------

// What a kind's row satisfies; `otherwise` where the kind has none. FindRow would say the same, but
// under -fsanitize=undefined g++ takes no comparison of its pointer with null for a constant.
template <class Row>
constexpr bool RowOf(std::span<const Row> rows, Kind kind, bool otherwise, auto satisfies) {
  for (const Row& row : rows) {
    if (row.kind == kind) return satisfies(row);
  }
  return otherwise;
}

// A section finds its list at the same slot, so that readers of both agree; only host port nodes
// are in no structure record. It finds its bitmap too (cache modules have no extended words), which
// asks for no words that its form lacks.
constexpr bool SectionIsWhole(const RevisionLayout& layout, const SectionRow& section) {
  const Form& form = kForms[section.form];
  const int words = 4 * form.tracked + (form.ratio != kNone ? 2 : 0);
  const auto is_its_list = [&](const ListRow& list) {
    return list.header_at == section.header_at && list.included == section.included &&
           (list.entry == kSizeFromDescriptor || list.key_at + form.key.count <= list.entry);
  };
  const auto is_its_bitmap = [&](const BitmapRow& bitmap) {
    return (uint64_t{bitmap.full} << words & 0xFFFFFFFF) == 0;
  };
  return RowOf(layout.Lists(), section.kind, section.kind == kHpNode, is_its_list) &&
         RowOf(layout.Bitmaps(), section.kind, section.kind == kCache, is_its_bitmap);
}
constexpr bool IsWhole(const RevisionLayout& layout) {
  for (const SectionRow& section : layout.Sections()) {
    if (!SectionIsWhole(layout, section)) return false;
  }
  for (const ListRow& list : layout.Lists()) {
    const auto there = [](const SectionRow&) { return true; };
    if (!RowOf(layout.Sections(), list.kind, list.kind == kNoKind, there)) return false;
  }
  return true;
}
static_assert(AllRevisions(IsWhole), "a section lacks its list or bitmap, or a list its section");

constexpr bool IsGone(Kind kind, uint8_t revision) {
  for (const GoneRow& row : kGoneRows) {
    if (row.kind == kind && row.from == revision) return true;
  }
  return false;
}

// Whether each of a revision's rows has one in the next revision that is the same in its own way.
template <class Row>
constexpr bool GoesOn(std::span<const Row> rows, std::span<const Row> next, uint8_t revision,
                      auto same) {
  for (const Row& row : rows) {
    bool found = IsGone(row.kind, revision);
    for (const Row& later : next) found = found || same(row, later);
    if (!found) return false;
  }
  return true;
}
// The fields of a section's entries are still there, with as many counter groups and extremes.
constexpr bool FieldsGoOn(const Form& form, const Form& next) {
  for (const Field& field : form.Fields()) {
    size_t number = 0;  // of those of its role
    while (FindField(form.Fields(), field.role, number) != &field) ++number;
    bool found = false;
    for (const Field& later : next.Fields()) {
      if (later.role == field.role && number-- == 0) found = later.count() >= field.count();
    }
    if (!found) return false;
  }
  return next.tracked >= form.tracked;
}
constexpr bool NothingIsLost() {
  const auto section = [](const SectionRow& a, const SectionRow& b) {
    return a.kind == b.kind && FieldsGoOn(kForms[a.form], kForms[b.form]);
  };
  const auto bitmap = [](const BitmapRow& a, const BitmapRow& b) {
    return a.kind == b.kind && (a.full & ~b.full) == 0;
  };
  const auto list = [](const ListRow& a, const ListRow& b) {
    return a.kind == b.kind && (a.kind != kNoKind || a.header_at == b.header_at);
  };
  for (size_t i = 0; i + 1 < kRevisionCount; ++i) {
    const RevisionLayout& a = kLayouts[i];
    const RevisionLayout& b = kLayouts[i + 1];
    const uint8_t next = b.revision;
    if (!GoesOn(a.Sections(), b.Sections(), next, section) ||
        !GoesOn(a.Lists(), b.Lists(), next, list) ||
        !GoesOn(a.Bitmaps(), b.Bitmaps(), next, bitmap)) {
      return false;
    }
    if ((a.has_items && !b.has_items) || (a.row.trailing_at != 0 && b.row.trailing_at == 0)) {
      return false;
    }
    for (const ItemRow& row : kItemRows) {
      if (row.span.Holds(a.revision) && !row.span.Holds(next) && !IsGone(row.kind, next)) {
        return false;
      }
    }
  }
  return true;
}
static_assert(NothingIsLost(), "a revision lacks what the one before it carries");

// --- fields ---------------------------------------------------------------------------------------

// Two fields may share bytes where they are different bits, and where the second ratio of cache
// segments takes the place of a key byte that is not in use.
constexpr bool StandApart(const Field& a, const Field& b) {
  if (!Overlap(a.at, a.width(), b.at, b.width())) return true;
  if (a.unit() == FieldUnit::kBit && b.unit() == FieldUnit::kBit) return (a.detail & b.detail) == 0;
  return (a.role == Role::kSecondRatio && b.role == Role::kKey) ||
         (b.role == Role::kSecondRatio && a.role == Role::kKey);
}
constexpr bool FieldsAreGood(std::span<const Field> fields) {
  for (const Field& field : fields) {
    const bool detailed = field.unit() == FieldUnit::kBit || field.unit() == FieldUnit::kQuadset;
    // Of other fields nobody asks in which revision they begin.
    const bool begins = field.role == Role::kKept || field.role == Role::kMark;
    if ((field.detail != 0) != detailed) return false;
    if (field.from != 0 && (!begins || !KnownRevision(field.from))) return false;
  }
  return AllPairs(fields, StandApart);
}

// Counter groups fill an entry to its end, of entries with a compact byte from the cut on;
// everything else lies in the head.
constexpr bool FormIsGood(const Form& form) {
  size_t end = form.head;
  size_t groups = 0;
  for (const Field& field : form.Fields()) {
    const size_t behind = field.at + field.width();
    if (field.unit() == FieldUnit::kQuadset) {
      if (groups != 0 && field.at != end) return false;
      end = behind;
      groups += field.count();
    } else if (behind > form.head) {
      return false;
    }
    const size_t most = field.role == Role::kKey ? 3 : field.role == Role::kCarried ? 2 : 1;
    if (FindField(form.Fields(), field.role, most) != nullptr) return false;
  }
  if (form.compact != kNone && groups != 0 && form.quadsets_at != form.head) return false;
  return end == form.size && form.tracked <= groups && form.key.count != 0 &&
         form.not_valid != kNone && FieldsAreGood(form.Fields());
}
constexpr bool FormsAreGood() {
  for (const Form& form : kForms) {
    if (!FormIsGood(form)) return false;
  }
  return true;
}
static_assert(FormsAreGood(), "fields of a form overlap, leave it or stand twice");

constexpr bool ItemsAreGood() {
  for (const ItemRow& row : kItemRows) {
    const auto fields = FieldsOfList(row.fields);
    for (const Field& field : fields) {
      if (field.at + field.width() > row.element) return false;
    }
    if (fields.empty() || !fields[0].IsKey() || !FieldsAreGood(fields)) return false;
    if (row.basic_at + 2U > kBasicSize || row.span.from < kItemsSpan.from) return false;
  }
  return AllPairs(std::span<const ItemRow>(kItemRows), [](const ItemRow& a, const ItemRow& b) {
    return a.kind != b.kind && a.type != b.type && a.basic_at != b.basic_at;
  });
}
static_assert(ItemsAreGood(), "an item stands twice, or its fields overlap or leave it");

// The period of a 0x10 file is gathered in one of two forms and written in the other ("LDM" flush).
constexpr bool SameShape(const Form& a, const Form& b) {
  return a.quadsets == b.quadsets && a.tracked == b.tracked;
}
static_assert(SameShape(kForms[kLdSta_0x10], kForms[kLdSta]) &&
                  SameShape(kForms[kPdSta_0x10], kForms[kPdSta]),
              "a period of 0x10 is gathered in a form of another shape");

}  // namespace
