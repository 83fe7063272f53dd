// Section loops: see the header.
#include "revisions/sections.h"

#include <array>
#include <utility>

#include "engine/finfo.h"
#include "revisions/accumulate.h"
#include "revisions/cache.h"

namespace {

// Counter groups of compact entries.
constexpr std::array<uint8_t, 6 * kQuadsetSize> kZeroQuadsets = {};

constexpr bool IsCacheForm(FormId id) {
  return id == kCacheSta_0x19 || id == kCacheSta_0x1F || id == kCacheSta_0x21;
}

template <FormId kId, QuadRule kRule>
bool ReadSection(const RecordView& record, Kind kind, uint32_t offset, uint32_t count) {
  constexpr const Form& kForm = kForms[kId];
  constexpr bool kCompacts = kForm.compact != kNone;
  constexpr size_t kLeast = kCompacts ? kForm.head : kForm.size;
  if (offset > record.size) return BrokenRecord("section leaves its record");
  const ItemMasks masks = finfo.items[kind];
  const size_t words = size_t{masks.in_count} * 4;
  const FoldContext context = ContextOf(kind);
  auto* const slots = SlotsOf<SlotOf<kId>>(kind);
  const uint8_t* entry = record.data + offset;
  const uint8_t* const end = record.data + record.size;
  for (uint32_t i = 0; i < count; ++i) {
    const auto left = static_cast<size_t>(end - entry);
    if (left < kLeast) return BrokenRecord("section leaves its record");
    bool compact = false;
    if constexpr (kCompacts) compact = entry[kForm.compact] != 0;
    const size_t size = compact ? kForm.head : kForm.size + words;
    if (left < size) return BrokenRecord("section leaves its record");
    uint8_t key[3];
    LoadKey<DiskOrder>(kForm.key, entry, key);
    const int32_t index = FindIndex(kind, key, static_cast<int32_t>(i));
    if (index < 0) return false;
    SlotOf<kId>& slot = slots[index];
    const uint8_t* quadsets = compact ? kZeroQuadsets.data() : entry + kForm.quadsets_at;
    const bool valid = FoldEntry<kId, kRule, DiskOrder>(slot, entry, quadsets, context);
    if (words != 0 && valid && !compact) {
      MergeWords<kId, DiskOrder>(slot, entry + kForm.size, masks, context.first);
    }
    entry += size;
  }
  return true;
}

template <FormId kId, QuadRule kRule>
uint8_t* WriteSection(uint8_t* out, Kind kind) {
  const ResourceSet& set = resource_sets[kind];
  const auto* const slots = SlotsOf<SlotOf<kId>>(kind);
  const uint32_t mask = finfo.items[kind].out_mask;
  for (int32_t i = 0; i < set.entries; ++i) {
    out = PutEntry<kId, kRule>(out, slots[i], set.key_count, mask);
  }
  return out;
}

bool ReadCacheSection(const RecordView& record, Kind kind, uint32_t offset, uint32_t count) {
  const size_t room = offset > record.size ? 0 : record.size - offset;
  if (uint64_t{count} * CacheEntrySize() > room) return BrokenRecord("section leaves its record");
  static_cast<void>(kind);
  cache_section_count = count;
  return RW_Cache_Sta(kCacheRead, nullptr, const_cast<uint8_t*>(record.data + offset)) == 0;
}

uint8_t* WriteCacheSection(uint8_t* out, Kind kind) {
  RW_Cache_Sta(kCacheWrite, nullptr, out);
  return out + CacheEntrySize() * static_cast<size_t>(resource_sets[kind].entries);
}

template <FormId kId, QuadRule kRule>
constexpr SectionOps MakeOps() {
  if constexpr (IsCacheForm(kId)) {
    return {&ReadCacheSection, &WriteCacheSection, sizeof(CacheSlot)};
  } else {
    return {&ReadSection<kId, kRule>, &WriteSection<kId, kRule>, sizeof(SlotOf<kId>)};
  }
}

template <QuadRule kRule, size_t... kIds>
constexpr std::array<SectionOps, kFormCount> MakeTable(std::index_sequence<kIds...>) {
  return {MakeOps<static_cast<FormId>(kIds), kRule>()...};
}

constexpr auto kAllForms = std::make_index_sequence<kFormCount>();
constexpr auto kOlderOps = MakeTable<QuadRule::kOlder>(kAllForms);
constexpr auto kCurrentOps = MakeTable<QuadRule::kCurrent>(kAllForms);

}  // namespace

const SectionOps& OpsOf(FormId form, QuadRule rule) {
  return rule == QuadRule::kOlder ? kOlderOps[form] : kCurrentOps[form];
}

size_t LargestSection(FormId form, Kind kind) {
  const size_t entry = kForms[form].size + size_t{finfo.items[kind].out_count} * 4;
  return static_cast<size_t>(resource_sets[kind].entries) * entry;
}
