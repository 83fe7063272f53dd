// Section loops: see the header.
#include "revisions/sections.h"

#include <array>
#include <utility>

#include "engine/finfo.h"
#include "revisions/accumulate.h"
#include "revisions/cache.h"
#include "revisions/fold_kernel.h"

namespace {

// Counter groups of compact entries.
constexpr std::array<uint8_t, 6 * kQuadsetSize> kZeroQuadsets = {};

constexpr bool IsCacheForm(FormId id) {
  return id == kCacheSta_0x19 || id == kCacheSta_0x1F || id == kCacheSta_0x21;
}

// What is the same for all entries of the section being read.
struct SectionContext {
  FoldContext fold;
  ItemMasks masks;
  size_t words_size;  // bytes of the extended words behind a full entry
  bool all_words;     // the input carries just the words that the output does
};

// Up to eight entries whose heads are folded and whose counter groups are still to be.
struct Batch {
  const uint8_t* entry[kLanes];
  const uint8_t* quadsets[kLanes];
  int32_t slot[kLanes];
  bool valid[kLanes];
  bool words[kLanes];  // extended words follow
  size_t count;
};

// The slots of a full batch are one tile when the entries stand in table order.
bool IsTile(const Batch& batch) {
  if (batch.count != kLanes || batch.slot[0] % static_cast<int32_t>(kLanes) != 0) return false;
  bool in_order = true;
  for (size_t i = 1; i < kLanes; ++i) {
    in_order = in_order && batch.slot[i] == batch.slot[0] + static_cast<int32_t>(i);
  }
  return in_order;
}

template <FormId kId>
void MergeRatioWords(SlotHead& head, const uint8_t* words, uint32_t mask, bool first) {
  constexpr size_t kRatioAt = 4 * kForms[kId].tracked;
  if ((mask & (kCountTopBit >> kRatioAt)) != 0) {
    TrackMaximum(head.ratio_maximum, Load32(words + 4 * kRatioAt), first);
  }
  if ((mask & (kCountTopBit >> (kRatioAt + 1))) != 0) {
    TrackMinimum(head.ratio_minimum, Load32(words + 4 * kRatioAt + 4), first);
  }
}

template <FormId kId, QuadRule kRule>
void FoldTileOf(const Batch& batch, Kind kind, const SectionContext& context) {
  constexpr const Form& kForm = kForms[kId];
  const ResourceSet& set = resource_sets[kind];
  double* const fields = FieldsOf(set, batch.slot[0]);
  FoldTile tile;
  for (size_t i = 0; i < kLanes; ++i) {
    tile.quadsets[i] = batch.valid[i] ? batch.quadsets[i] : kZeroQuadsets.data();
    tile.length[i] = batch.valid[i] ? Load32(batch.entry[i] + kAtInterval) : 0.0;
  }
  const auto fold =
      kRule == QuadRule::kCurrent ? fold_kernels->fold_current : fold_kernels->fold_older;
  const size_t tracked = context.fold.compute ? kForm.tracked : 0;
  fold(fields, tile, kForm.quadsets, tracked, context.fold.first);
  if (context.fold.compute) return;
  MergeTile merge;
  for (size_t i = 0; i < kLanes; ++i) {
    merge.words[i] = batch.words[i] ? batch.entry[i] + kForm.size : kZeroQuadsets.data();
    merge.take[i] = batch.words[i] ? -1 : 0;
  }
  fold_kernels->merge(fields + kForm.quadsets * 4 * kLanes, merge, kForm.tracked,
                      context.fold.first);
  for (size_t i = 0; i < kLanes; ++i) {
    if (!batch.words[i]) continue;
    MergeRatioWords<kId>(SlotAt(kind, batch.slot[i]).head, merge.words[i], context.masks.out_mask,
                         context.fold.first);
  }
}

template <FormId kId, QuadRule kRule>
void FoldBatch(const Batch& batch, Kind kind, const SectionContext& context) {
  constexpr const Form& kForm = kForms[kId];
  if constexpr (kForm.quadsets != 0) {
    if (fold_kernels != nullptr && (context.fold.compute || context.all_words) && IsTile(batch)) {
      FoldTileOf<kId, kRule>(batch, kind, context);
      return;
    }
  }
  for (size_t i = 0; i < batch.count; ++i) {
    if (!batch.valid[i]) continue;
    const SlotRef slot = SlotAt(kind, batch.slot[i]);
    FoldGroups<kId, kRule, DiskOrder>(slot, batch.entry[i], batch.quadsets[i], context.fold);
    if (batch.words[i]) {
      MergeWords<kId, DiskOrder>(slot, batch.entry[i] + kForm.size, context.masks,
                                 context.fold.first);
    }
  }
}

template <FormId kId>
SectionContext ContextOfSection(Kind kind) {
  const ItemMasks masks = finfo.items[kind];
  constexpr uint32_t kPositions = 4 * kForms[kId].tracked + 2;
  const bool inside = (masks.in_mask & (0xFFFFFFFFU >> kPositions)) == 0;
  return {ContextOf(kind), masks, size_t{masks.in_count} * 4,
          masks.in_mask == masks.out_mask && inside && masks.in_count >= 4 * kForms[kId].tracked};
}

template <FormId kId, QuadRule kRule>
bool ReadSection(const RecordView& record, Kind kind, uint32_t offset, uint32_t count) {
  constexpr const Form& kForm = kForms[kId];
  constexpr bool kCompacts = kForm.compact != kNone;
  constexpr size_t kLeast = kCompacts ? kForm.head : kForm.size;
  if (offset > record.size) return BrokenRecord("section leaves its record");
  const SectionContext context = ContextOfSection<kId>(kind);
  auto* const heads = reinterpret_cast<SlotHead*>(resource_sets[kind].slot_block.data());
  const uint8_t* entry = record.data + offset;
  const uint8_t* const end = record.data + record.size;
  const ResourceSet& set = resource_sets[kind];
  int32_t expected = 0;
  Batch batch;
  batch.count = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const auto left = static_cast<size_t>(end - entry);
    if (left < kLeast) return BrokenRecord("section leaves its record");
    bool compact = false;
    if constexpr (kCompacts) compact = entry[kForm.compact] != 0;
    const size_t size = compact ? kForm.head : kForm.size + context.words_size;
    if (left < size) return BrokenRecord("section leaves its record");
    uint8_t key[3] = {};
    LoadKey<DiskOrder>(kForm.key, entry, key);
    const int32_t index = FindNext(set, kind, key, static_cast<int32_t>(i), expected);
    if (index < 0) return false;
    expected = index + 1;
    const bool valid = FoldHead<kId, DiskOrder>(heads[index], entry, key, context.fold);
    const size_t lane = batch.count++;
    batch.entry[lane] = entry;
    batch.quadsets[lane] = compact ? kZeroQuadsets.data() : entry + kForm.quadsets_at;
    batch.slot[lane] = index;
    batch.valid[lane] = valid;
    batch.words[lane] = valid && !compact && context.words_size != 0;
    if (batch.count == kLanes) {
      FoldBatch<kId, kRule>(batch, kind, context);
      batch.count = 0;
    }
    entry += size;
  }
  FoldBatch<kId, kRule>(batch, kind, context);
  return true;
}

template <FormId kId, QuadRule kRule>
uint8_t* WriteSection(uint8_t* out, Kind kind) {
  const ResourceSet& set = resource_sets[kind];
  const uint32_t mask = finfo.items[kind].out_mask;
  for (int32_t i = 0; i < set.entries; ++i) {
    out = PutEntry<kId, kRule>(out, SlotAt(kind, i), set.key_count, mask);
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
    return {&ReadCacheSection, &WriteCacheSection};
  } else {
    return {&ReadSection<kId, kRule>, &WriteSection<kId, kRule>};
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
