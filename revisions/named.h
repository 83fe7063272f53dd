// Instances of the generic accumulator for entries in host order: what the named functions of the
// revision families (GetLdSet_0x14, SetMpExset_0x1D, ...) are made of.
#pragma once

#include <cstdint>

#include "revisions/fold/accumulate.h"
#include "revisions/fold/settled.h"

// The kind whose sections hold entries of a form.
constexpr Kind KindOf(FormId form) {
  for (const SectionRow& row : kSectionRows) {
    if (row.form == form) return row.kind;
  }
  return kNoKind;
}

inline constexpr int32_t kUnknownPosition = INT32_MAX;

// Index of the slot that `entry` (host order) belongs to; -1 after the report of a missing
// resource.
template <FormId kId>
int32_t IndexOfEntry(const uint8_t* entry, int32_t position) {
  uint8_t key[3] = {};
  LoadEntryKey<kId, HostOrder>(entry, key);
  return FindIndex(KindOf(kId), key, position);
}

// The slot of an index as the scalar functions take it.
template <FormId kId>
SlotRef SlotOf(int32_t index) {
  const SettledSlots slots(KindOf(kId));
  return LayoutOf(finfo.revision).row.rule == QuadRule::kOlder
             ? slots.At<kId, QuadRule::kOlder>(index)
             : slots.At<kId, QuadRule::kCurrent>(index);
}

// Folds one converted entry; `position` is its place in the section for kinds that are not
// searched.
template <FormId kId, QuadRule kRule>
void GetSet(const void* entry, int32_t position = kUnknownPosition) {
  const auto* bytes = static_cast<const uint8_t*>(entry);
  const int32_t index = IndexOfEntry<kId>(bytes, position);
  if (index < 0) return;
  FoldEntry<kId, kRule, HostOrder>(SlotOf<kId>(index), bytes, bytes + kForms[kId].quadsets_at,
                                   ContextOf(KindOf(kId)));
}

// Merges the converted extended words of an entry.
template <FormId kId>
void GetExset(const uint32_t* words, const void* entry, int32_t position = kUnknownPosition) {
  const int32_t index = IndexOfEntry<kId>(static_cast<const uint8_t*>(entry), position);
  if (index < 0) return;
  MergeWords<kId, HostOrder>(SlotOf<kId>(index), reinterpret_cast<const uint8_t*>(words),
                             finfo.items[KindOf(kId)], finfo.first_interval);
}

// Writes the output extended words of slot `index` in host order.
template <FormId kId>
void SetExset(uint32_t* words, int32_t index) {
  uint8_t wire[32 * 4];
  const uint32_t mask = finfo.items[KindOf(kId)].out_mask;
  const uint8_t* end = PutWords<kId>(wire, SlotOf<kId>(index), mask);
  const auto n = static_cast<int>((end - wire) / 4);
  std::memcpy(words, wire, static_cast<size_t>(end - wire));
  ntoh_ExSta(words, n);
}
