// What the tables must satisfy, proved by the compiler: every revision has one row of each sort, no
// two headers overlap, forms keep their fields apart and inside, slot arrays serve all forms of a
// kind.
#include <cstddef>

#include "engine/layout.h"
#include "revisions/accumulate.h"
#include "revisions/slots.h"

namespace {

constexpr bool SlotsStandApart(const RevisionLayout& layout) {
  for (size_t i = 0; i < layout.section_count; ++i) {
    if (layout.sections[i].slot + kSlotStep > layout.row.record_head) return false;
    for (size_t j = 0; j < i; ++j) {
      if (layout.sections[i].slot == layout.sections[j].slot) return false;
      if (layout.sections[i].kind == layout.sections[j].kind) return false;
    }
  }
  for (size_t i = 0; i < layout.list_count; ++i) {
    if (layout.lists[i].slot + kSlotStep > layout.row.record_head) return false;
    for (size_t j = 0; j < i; ++j) {
      if (layout.lists[i].slot == layout.lists[j].slot) return false;
    }
  }
  return true;
}

constexpr bool BitmapsFit(const RevisionLayout& layout) {
  for (size_t i = 0; i < layout.bitmap_count; ++i) {
    if (layout.bitmaps[i].at + 4U > layout.row.file_header) return false;
    for (size_t j = 0; j < i; ++j) {
      if (layout.bitmaps[i].at == layout.bitmaps[j].at) return false;
    }
  }
  return true;
}

// A section finds its list at the same descriptor slot, so that readers of both agree.
constexpr bool ListsMatchSections(const RevisionLayout& layout) {
  for (size_t i = 0; i < layout.section_count; ++i) {
    if (layout.sections[i].kind == kHpNode) continue;  // in no structure record
    bool found = false;
    for (size_t j = 0; j < layout.list_count; ++j) {
      found = found || (layout.lists[j].kind == layout.sections[i].kind &&
                        layout.lists[j].slot == layout.sections[i].slot);
    }
    if (!found) return false;
  }
  return true;
}

constexpr bool AllRevisions(bool (*holds)(const RevisionLayout&)) {
  for (const RevisionLayout& layout : kLayouts) {
    if (layout.row.file_header == 0 || !holds(layout)) return false;
  }
  return true;
}
static_assert(AllRevisions(SlotsStandApart));
static_assert(AllRevisions(BitmapsFit));
static_assert(AllRevisions(ListsMatchSections));

constexpr bool FormFits(const Form& form) {
  const auto inside = [&form](int at, int size) { return at == kNone || at + size <= form.head; };
  bool fits = form.head <= form.size;
  for (size_t i = 0; i < form.key.count; ++i) fits = fits && inside(form.key.at[i], 1);
  fits = fits && inside(form.compact, 1) && inside(form.not_valid, 1) && inside(form.ratio, 2);
  fits = fits && inside(form.ratio_flag.at, 1) && inside(form.counted.at, 1);
  fits = fits && inside(form.sticky.at, 1) && inside(form.kept.at, 1);
  fits = fits && inside(form.second_ratio, 2) && inside(form.second_flags, 1);
  for (const int8_t at : form.carried) fits = fits && inside(at, 4);
  // The counter groups fill the entry from the compact cut to its end.
  const size_t more = form.more_quadsets[0] != 0 ? form.more_quadsets.size() : 0;
  if (form.quadsets != 0) {
    fits = fits && form.quadsets_at + (form.quadsets + more) * kQuadsetSize == form.size &&
           form.tracked <= form.quadsets;
    if (form.compact != kNone) fits = fits && form.quadsets_at == form.head;
  }
  return fits;
}
constexpr bool AllFormsFit() {
  for (const Form& form : kForms) {
    if (form.name == nullptr || !FormFits(form)) return false;
  }
  return true;
}
static_assert(AllFormsFit());

// Slots made for one form are read by the writer of another ("LDM" flush of 0x10).
constexpr bool SameShape(const Form& a, const Form& b) {
  return a.quadsets == b.quadsets && a.tracked == b.tracked;
}
static_assert(SameShape(kForms[kLdSta_0x10], kForms[kLdSta]));
static_assert(SameShape(kForms[kPdSta_0x10], kForms[kPdSta]));

// ClearSlots puts keys into slots of both sorts.
static_assert(offsetof(CacheSlot, key) == offsetof(SlotHead, key));
static_assert(offsetof(CacheSlot, status) == offsetof(SlotHead, status));

}  // namespace
