// The cache section: see the header.
#include "revisions/fold/cache.h"

#include <algorithm>
#include <cstring>

#include "areas/finfo.h"
#include "engine/byteorder.h"
#include "engine/layout/layout.h"
#include "revisions/fold/quadset.h"
#include "revisions/sets/lookup.h"
#include "revisions/sets/open_slots.h"

uint32_t cache_section_count = 0;
uint32_t cache_section_offset = 0;
uint32_t cheseg_section_offset = 0;

namespace {

// Where the fields lie; the older forms have the first of them.
constexpr const Form& kAll = kForms[kCacheSta_0x21];
constexpr size_t kKey = kAll.key.at[0];
constexpr size_t kNotValid = kAll.not_valid;
constexpr size_t kFlag = FindField(kAll.Fields(), Role::kCacheFlags)->at;
constexpr size_t kRatio1 = kAll.more16[0];
constexpr size_t kMaximum1 = kAll.more16[1];
constexpr size_t kRatio2 = kAll.more16[2];
constexpr size_t kMaximum2 = kAll.more16[3];
constexpr size_t kRate1 = kAll.more32[0];
constexpr size_t kRate2 = kAll.more32[1];
constexpr size_t kQuadsets = kAll.quadsets_at;
constexpr size_t kFirstQuadsets = kAll.quadsets;  // of 0x1F; the others are of 0x21
constexpr size_t kAllQuadsets = kFirstQuadsets + kAll.more_quadsets.size();
constexpr double kRateScale = 1000000.0;

// The form of the current revision's entries; null where the revision has no cache section.
const Form* CacheForm() {
  if (!KnownRevision(Rev_Kind)) return nullptr;
  const SectionRow* const row = FindRow(LayoutOf(Rev_Kind).Sections(), kCache);
  return row == nullptr ? nullptr : &kForms[row->form];
}

bool HasSecondPart(const Form& form) { return form.more_quadsets[0] != 0; }
size_t QuadsetsOf(const Form& form) { return HasSecondPart(form) ? kAllQuadsets : form.quadsets; }

void FoldQuadsets(CacheSlot& slot, const uint8_t* entry, size_t from, size_t to) {
  const double length = Load32(entry + kAtInterval);
  for (size_t i = from; i < to; ++i) {
    FoldQuadset<QuadRule::kCurrent>(RefTo(slot.quadsets[i]), entry + kQuadsets + i * kQuadsetSize,
                                    length, finfo.first_interval);
  }
}

// The part that every revision has, and from 0x1F on the first quadsets: by key.
void FoldByKey(const uint8_t* entry, int32_t position, bool quadsets) {
  const int32_t index = FindNext(resource_sets[kCache], kCache, entry + kKey, position, position);
  if (index < 0) return;
  CacheSlot& slot = OpenSlots::Caches()[index];
  const uint32_t interval = Load32(entry + kAtInterval);
  slot.status = Load32(entry + kAtStatus);
  slot.time += interval;
  if (entry[kNotValid] != 0) return;
  slot.key = entry[kKey];
  slot.ratio_sum1 += (Load16(entry + kRatio1) * static_cast<double>(interval)) / kRatioScale;
  const double maximum = Load16(entry + kMaximum1);
  if (slot.maximum1 < maximum) slot.maximum1 = maximum;
  if (quadsets) FoldQuadsets(slot, entry, 0, kFirstQuadsets);
}

// What 0x21 adds: by position.
void FoldByPosition(const uint8_t* entry, int32_t position) {
  if (position >= resource_sets[kCache].entries) return;
  CacheSlot& slot = OpenSlots::Caches()[position];
  const double length = Load32(entry + kAtInterval);
  slot.ratio_sum2 += (Load16(entry + kRatio2) * length) / kRatioScale;
  const double maximum = Load16(entry + kMaximum2);
  if (slot.maximum2 < maximum) slot.maximum2 = maximum;
  slot.flag |= entry[kFlag];
  slot.rate_sum1 += (length * Load32(entry + kRate1)) / kRateScale;
  slot.rate_sum2 += (length * Load32(entry + kRate2)) / kRateScale;
  FoldQuadsets(slot, entry, kFirstQuadsets, kAllQuadsets);
}

int ReadEntries(const Form& form, const uint8_t* entry) {
  for (uint32_t i = 0; i < cache_section_count; ++i, entry += form.size) {
    FoldCacheEntry(form, entry, static_cast<int32_t>(i));
    if (auto_break_flg != 0) return -2;
  }
  return 0;
}

// The second ratio and maximum are clamped, the first are not: readers of archives know them so.
uint16_t Clamped(double v) { return ToU16(v == 0.0 ? v : std::clamp(v, 1.0, kRatioScale)); }

void PutEntry(const Form& form, uint8_t* entry, CacheSlot& slot) {
  std::memset(entry, 0, form.size);
  Store32(entry + kAtStatus, slot.status);
  Store32(entry + kAtInterval, slot.time);
  entry[kKey] = slot.key;
  const bool empty = slot.time == 0;
  const double time = slot.time;
  if (empty) entry[kNotValid] = 1;
  if (!empty) Store16(entry + kRatio1, RatioWord((slot.ratio_sum1 / time) * kRatioScale));
  Store16(entry + kMaximum1, ToU16(slot.maximum1));
  for (size_t i = 0; i < QuadsetsOf(form); ++i) {
    PutQuadset<QuadRule::kCurrent>(entry + kQuadsets + i * kQuadsetSize, RefTo(slot.quadsets[i]),
                                   0);
  }
  if (!HasSecondPart(form)) return;
  entry[kFlag] = slot.flag;
  Store16(entry + kRatio2, empty ? 0 : Clamped((slot.ratio_sum2 / time) * kRatioScale));
  Store16(entry + kMaximum2, Clamped(slot.maximum2));
  Store32(entry + kRate1, empty ? 0 : ToU32((slot.rate_sum1 / time) * kRateScale));
  Store32(entry + kRate2, empty ? 0 : ToU32((slot.rate_sum2 / time) * kRateScale));
}

}  // namespace

void FoldCacheEntry(const Form& form, const uint8_t* entry, int32_t position) {
  FoldByKey(entry, position, form.quadsets != 0);
  if (HasSecondPart(form)) FoldByPosition(entry, position);
}

size_t CacheEntrySize() {
  const Form* form = CacheForm();
  return form != nullptr ? form->size : 0;
}

int RW_Cache_Sta(uint8_t operation, uint32_t* length, uint8_t* position) {
  const Form* form = CacheForm();
  if (form == nullptr) return 0;
  const auto caches = static_cast<uint32_t>(resource_sets[kCache].entries);
  switch (operation) {
    case kCacheRead:
      return ReadEntries(*form, position);
    case kCacheLength:
      *length += form->size * caches;
      break;
    case kCacheOffset:
      cheseg_section_offset = form->size * caches + cache_section_offset;
      break;
    case kCacheWrite:
      for (uint32_t i = 0; i < caches; ++i) {
        PutEntry(*form, position + size_t{i} * form->size, OpenSlots::Caches()[i]);
      }
      break;
    default:
      break;
  }
  return 0;
}
