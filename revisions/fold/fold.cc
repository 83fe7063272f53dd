// Section loops: see the header. One pair of functions per form and quadset rule, chosen once per
// section.
#include "revisions/fold/fold.h"

#include <array>
#include <cstring>
#include <utility>

#include "areas/finfo.h"
#include "revisions/fold/accumulate.h"
#include "revisions/fold/cache.h"
#include "revisions/fold/pending.h"
#include "revisions/fold/put_section.h"
#include "revisions/fold/tile.h"
#include "revisions/fold/tile_entries.h"
#include "revisions/sets/lookup.h"

namespace {

constexpr bool IsCacheForm(FormId id) {
  return id == kCacheSta_0x19 || id == kCacheSta_0x1F || id == kCacheSta_0x21;
}

SectionContext ContextOfSection(Kind kind) {
  const ItemMasks masks = finfo.items[kind];
  return {ContextOf(kind), masks, size_t{masks.in_count} * 4};
}

// Readies the pending entries of a kind for its slots as they are now.
template <FormId kId, QuadRule kRule>
PendingKind& ReadyPending(Kind kind) {
  PendingKind& pending = PendingOf(kind);
  const ResourceSet& set = resource_sets[kind];
  pending.ForgetStale(set);
  pending.cleared = set.cleared;
  // A 0x10 file can have records of two layouts, and smaller records are kept in larger numbers.
  if (pending.provided == set.provided && pending.fold == &FoldTile<kId, kRule> &&
      pending.room >= pending_limit) {
    return pending;
  }
  Settle(kind);
  pending.provided = set.provided;
  pending.fold = &FoldTile<kId, kRule>;
  pending.tiles = (static_cast<size_t>(set.entries) + kLanes - 1) / kLanes;
  pending.room = pending_limit;
  pending.plain.Reserve(pending.tiles * pending.room * sizeof(const uint8_t*));
  pending.mixed.Reserve(pending.tiles * pending.room * sizeof(MixedEntries));
  pending.counts.Zeroed(pending.tiles);
  pending.firsts.Zeroed(pending.tiles);
  uint8_t* expected = pending.expected.Reserve(pending.tiles * kLanes * 8);
  for (int32_t i = 0; i < set.entries; ++i, expected += 8) {
    PutSignature<kId>(expected, set.KeyOf(i), set.key_count, 0);
  }
  return pending;
}

template <FormId kId, QuadRule kRule>
bool ReadEntries(const RecordView& record, Kind kind, uint32_t offset, uint32_t count) {
  constexpr const Form& kForm = kForms[kId];
  constexpr bool kCompacts = kForm.compact != kNone;
  constexpr size_t kLeast = kCompacts ? kForm.head : kForm.size;
  static_assert(SignatureLiesTogether<kId>());
  if (offset > record.size) return BrokenRecord("section leaves its record");
  const ResourceSet& set = resource_sets[kind];
  PendingKind& pending = ReadyPending<kId, kRule>(kind);
  pending.context = ContextOfSection(kind);
  // The slot with the key is the right one when no other has the key, or when the position decides.
  const bool in_step = set.unique || set.lookup == Lookup::kPosition;
  const SignatureBits<kId> signature(set.key_count);
  const size_t full = kForm.size + pending.context.words_size;
  const uint8_t* entry = record.data + offset;
  const uint8_t* const end = record.data + record.size;
  int32_t expected = 0;
  for (uint32_t i = 0; i < count;) {
    constexpr auto kStep = static_cast<int32_t>(kLanes);
    if (in_step && expected % kStep == 0 && expected + kStep <= set.entries &&
        count - i >= kLanes) {
      const size_t tile = static_cast<size_t>(expected) / kLanes;
      const uint8_t* const wanted = pending.expected.data() + static_cast<size_t>(expected) * 8;
      const size_t at = pending.Next(kind, tile);
      const uint8_t* behind = nullptr;
      if (static_cast<size_t>(end - entry) >= kLanes * full &&
          AreTile(entry, full, wanted, signature.All())) {
        pending.PlainOf(tile)[at] = entry;
        behind = entry + kLanes * full;
      } else {
        pending.PlainOf(tile)[at] = nullptr;
        behind = TakeTile<kId>(pending.MixedOf(tile)[at], entry, end, full, wanted, signature);
      }
      if (behind != nullptr) {
        pending.Add(kind, tile);
        entry = behind;
        i += kLanes;
        expected += kStep;
        if (set.lookup == Lookup::kCursor) CursorOf(kind) = static_cast<uint16_t>(expected - 1);
        continue;
      }
    }
    Batch batch;
    batch.count = 0;
    batch.compact = 0;
    batch.valid = 0;
    while (batch.count < kLanes && i < count) {
      const auto left = static_cast<size_t>(end - entry);
      if (left < kLeast) return BrokenRecord("section leaves its record");
      bool compact = false;
      if constexpr (kCompacts) compact = entry[kForm.compact] != 0;
      const size_t size = compact ? kForm.head : full;
      if (left < size) return BrokenRecord("section leaves its record");
      uint8_t key[3] = {};
      LoadKey(kForm.key, entry, key);
      const int32_t index = FindNext(set, kind, key, static_cast<int32_t>(i), expected);
      if (index < 0) return false;
      expected = index + 1;
      const size_t lane = batch.count++;
      batch.entry[lane] = entry;
      batch.slot[lane] = index;
      if (compact) batch.compact = static_cast<uint8_t>(batch.compact | 1U << lane);
      if (entry[kForm.not_valid] == 0) batch.valid = static_cast<uint8_t>(batch.valid | 1U << lane);
      entry += size;
      ++i;
      // Back in step with the tiles.
      if (expected % kStep == 0) break;
    }
    AddBatch(pending, kind, batch, IsTile(batch, set));
  }
  return true;
}

bool ReadCacheSection(const RecordView& record, Kind kind, uint32_t offset, uint32_t count) {
  const size_t room = offset > record.size ? 0 : record.size - offset;
  if (uint64_t{count} * CacheEntrySize() > room) return BrokenRecord("section leaves its record");
  static_cast<void>(kind);
  cache_section_count = count;
  return RW_Cache_Sta(kCacheRead, nullptr, const_cast<uint8_t*>(record.data + offset)) == 0;
}

uint8_t* PutCacheSection(uint8_t* out, Kind kind) {
  RW_Cache_Sta(kCacheWrite, nullptr, out);
  return out + CacheEntrySize() * static_cast<size_t>(resource_sets[kind].entries);
}

struct SectionOps {
  bool (*read)(const RecordView& record, Kind kind, uint32_t offset, uint32_t count);
  uint8_t* (*put)(uint8_t* out, Kind kind);
};

template <FormId kId, QuadRule kRule>
constexpr SectionOps MakeOps() {
  if constexpr (IsCacheForm(kId)) {
    return {&ReadCacheSection, &PutCacheSection};
  } else {
    return {&ReadEntries<kId, kRule>, &PutSlots<kId, kRule>};
  }
}

template <QuadRule kRule, size_t... kIds>
constexpr std::array<SectionOps, kFormCount> MakeTable(std::index_sequence<kIds...>) {
  return {MakeOps<static_cast<FormId>(kIds), kRule>()...};
}

constexpr auto kAllForms = std::make_index_sequence<kFormCount>();
constexpr auto kOlderOps = MakeTable<QuadRule::kOlder>(kAllForms);
constexpr auto kCurrentOps = MakeTable<QuadRule::kCurrent>(kAllForms);

const SectionOps& OpsOf(FormId form, QuadRule rule) {
  return rule == QuadRule::kOlder ? kOlderOps[form] : kCurrentOps[form];
}

}  // namespace

bool ReadSection(const RecordView& record, const SectionRow& row, QuadRule rule, uint32_t offset,
                 uint32_t count) {
  return OpsOf(row.form, rule).read(record, row.kind, offset, count);
}

uint8_t* PutSection(uint8_t* out, const SectionRow& row, QuadRule rule) {
  return OpsOf(row.form, rule).put(out, row.kind);
}

size_t LargestSection(const SectionRow& row) {
  const size_t entry = kForms[row.form].size + size_t{finfo.items[row.kind].out_count} * 4;
  return static_cast<size_t>(resource_sets[row.kind].entries) * entry;
}
