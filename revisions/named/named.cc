// Prescribed functions: see the header. What comes in host order is turned to that of the file and
// goes the way of the run.
#include "revisions/named/named.h"

#include <array>
#include <cstring>

#include "areas/finfo.h"
#include "revisions/fold/accumulate.h"
#include "revisions/fold/cache.h"
#include "revisions/items.h"
#include "revisions/sets/lookup.h"
#include "revisions/sets/open_slots.h"

namespace {

constexpr int32_t kUnknownPosition = INT32_MAX;

// The kind whose sections hold entries of a form.
constexpr Kind KindOf(FormId form) {
  for (const SectionRow& row : kSectionRows) {
    if (row.form == form) return row.kind;
  }
  return kNoKind;
}

// An entry as it stands in a file.
template <FormId kId>
struct FileEntry {
  static constexpr Kind kKind = KindOf(kId);
  std::array<uint8_t, kForms[kId].size> bytes;
  uint8_t key[3] = {};

  explicit FileEntry(const void* entry) {
    std::memcpy(bytes.data(), entry, bytes.size());
    SwapEntry(kForms[kId], bytes.data());
    LoadKey<kId>(key, bytes.data());
  }
};

// Turns extremes that the vector kernels left as counts into rates.
template <FormId kId, QuadRule kRule>
void SettleRates(const SlotRef& slot) {
  constexpr const Form& kForm = kForms[kId];
  if constexpr (kForm.quadsets != 0) {
    double& length = slot.Length(kForm.tracked);
    if (length == 0.0) return;
    for (size_t i = 0; i < 4 * size_t{kForm.tracked}; ++i) {
      double& extreme = slot.Extreme(i);
      extreme = i % 4 < 2 ? RateOf(extreme, length) : VolumeOf<kRule>(extreme, length);
    }
    length = 0.0;
  }
}

// The slot of an index as the scalar functions take it.
template <FormId kId>
SlotRef SlotOf(int32_t index) {
  const SlotRef slot = OpenSlots::At(resource_sets[KindOf(kId)], index);
  if (LayoutOf(finfo.revision).row.rule == QuadRule::kOlder) {
    SettleRates<kId, QuadRule::kOlder>(slot);
  } else {
    SettleRates<kId, QuadRule::kCurrent>(slot);
  }
  return slot;
}

template <FormId kId, QuadRule kRule>
void GetSet(const void* entry, int32_t position = kUnknownPosition) {
  const FileEntry<kId> file(entry);
  const int32_t index = FindIndex(file.kKind, file.key, position);
  if (index < 0) return;
  const SlotRef slot = SlotOf<kId>(index);
  const FoldContext context = ContextOf(file.kKind);
  const uint8_t* const bytes = file.bytes.data();
  if (!FoldHead<kId>(slot.head, bytes, context)) return;
  FoldGroups<kId, kRule>(slot, bytes, bytes + kForms[kId].quadsets_at, context);
}

template <FormId kId>
void GetExset(const uint32_t* words, const void* entry, int32_t position = kUnknownPosition) {
  const FileEntry<kId> file(entry);
  const int32_t index = FindIndex(file.kKind, file.key, position);
  if (index < 0) return;
  const FoldContext context = ContextOf(file.kKind);
  uint32_t wire[32];
  std::memcpy(wire, words, context.masks.in_count * sizeof *words);
  hton_ExSta(wire, static_cast<int>(context.masks.in_count));
  MergeWords<kId>(SlotOf<kId>(index), reinterpret_cast<const uint8_t*>(wire), context);
}

template <FormId kId>
void SetExset(uint32_t* words, int32_t index) {
  uint8_t wire[32 * 4];
  const uint32_t mask = finfo.items[KindOf(kId)].out_mask;
  const uint8_t* end = PutWords<kId>(wire, SlotOf<kId>(index), mask);
  std::memcpy(words, wire, static_cast<size_t>(end - wire));
  ntoh_ExSta(words, static_cast<int>((end - wire) / 4));
}

int TakeByName(Kind kind, const uint8_t* item) {
  if (item == nullptr) {
    auto_break_flg = 1;
  } else {
    TakeItem(ItemRowOf(kind), item, Load32(item + kItemLength));
  }
  return 0;
}

void GetCacheSet(FormId id, const uint8_t* entry, int32_t position) {
  const Form& form = kForms[id];
  uint8_t bytes[kForms[kCacheSta_0x21].size];
  std::memcpy(bytes, entry, form.size);
  SwapEntry(form, bytes);
  FoldCacheEntry(form, bytes, position);
}

template <QuadRule kRule>
void Calc(Accumulated* a, double* extremes, const PMONquadset* wire, uint32_t length) {
  uint8_t bytes[kQuadsetSize];
  hton_PMONquadset(bytes, wire);
  FoldQuadset<kRule>(GroupRef<1>{a->a, extremes}, bytes, length, finfo.first_interval);
}

template <QuadRule kRule>
void Put(PMONquadset* wire, const Accumulated* a, uint32_t time) {
  uint8_t bytes[kQuadsetSize];
  Accumulated copy = *a;
  PutQuadset<kRule>(bytes, RefTo(copy), time);
  ntoh_PMONquadset(wire, bytes);
}

}  // namespace

#define QELPRF_DEFINE(name, form, rule) \
  void name(const void* entry) { GetSet<form, QuadRule::rule>(entry); }
QELPRF_NAMED_SETS(QELPRF_DEFINE)
#undef QELPRF_DEFINE
#define QELPRF_DEFINE(name, form, rule) \
  void name(const void* entry, int32_t index) { GetSet<form, QuadRule::rule>(entry, index); }
QELPRF_NAMED_SETS_BY_POSITION(QELPRF_DEFINE)
#undef QELPRF_DEFINE
#define QELPRF_DEFINE(name, form)                                                            \
  void Get##name(const uint32_t* words, const void* entry) { GetExset<form>(words, entry); } \
  void Set##name(uint32_t* words, int32_t index) { SetExset<form>(words, index); }
QELPRF_NAMED_WORDS(QELPRF_DEFINE)
#undef QELPRF_DEFINE
#define QELPRF_DEFINE(name, form)                                           \
  void Get##name(const uint32_t* words, const void* entry, int32_t index) { \
    GetExset<form>(words, entry, index);                                    \
  }                                                                         \
  void Set##name(uint32_t* words, int32_t index) { SetExset<form>(words, index); }
QELPRF_NAMED_WORDS_BY_POSITION(QELPRF_DEFINE)
#undef QELPRF_DEFINE
#define QELPRF_DEFINE(name, kind) \
  int name(const uint8_t* item) { return TakeByName(kind, item); }
QELPRF_NAMED_ITEMS(QELPRF_DEFINE)
#undef QELPRF_DEFINE

void GetCacheSet_0x19(const uint8_t* entry) { GetCacheSet(kCacheSta_0x19, entry, 0); }
void GetCacheSet_0x1F(const uint8_t* entry) { GetCacheSet(kCacheSta_0x1F, entry, 0); }
void GetCacheSet_0x21(const uint8_t* entry, int32_t position) {
  GetCacheSet(kCacheSta_0x21, entry, position);
}

void CalcQuadset(Accumulated* a, double* extremes, const PMONquadset* wire, uint32_t length) {
  Calc<QuadRule::kOlder>(a, extremes, wire, length);
}
void CalcQuadset_0x13(Accumulated* a, double* extremes, const PMONquadset* wire, uint32_t length) {
  Calc<QuadRule::kCurrent>(a, extremes, wire, length);
}
void SetQuadset(PMONquadset* wire, const Accumulated* a, uint32_t time) {
  Put<QuadRule::kOlder>(wire, a, time);
}
void SetQuadset_0x13(PMONquadset* wire, const Accumulated* a) {
  Put<QuadRule::kCurrent>(wire, a, 0);
}
