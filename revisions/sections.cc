// Section loops: see the header.
#include "revisions/sections.h"

#include <algorithm>
#include <array>
#include <utility>

#include "engine/finfo.h"
#include "revisions/accumulate.h"
#include "revisions/cache.h"
#include "revisions/fold_kernel.h"
#include "revisions/pending.h"

namespace {

constexpr bool IsCacheForm(FormId id) {
  return id == kCacheSta_0x19 || id == kCacheSta_0x1F || id == kCacheSta_0x21;
}

// Counter groups of compact entries.
constexpr std::array<uint8_t, 6 * kQuadsetSize> kNoGroups = {};

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

// The pending intervals of one tile while they are folded.
struct TileRun {
  const uint8_t* const* plain;
  const MixedEntries* mixed;
  size_t step;  // between plain entries
  size_t count;
  bool first;
  uint8_t valid[kMostIntervals] = {};  // bit n: lane n counts

  // Also tells the compiler that the arrays suffice.
  size_t Count() const { return std::min(count, kMostIntervals); }
  // Null: the lane is not in use.
  const uint8_t* EntryOf(size_t interval, size_t lane) const {
    return plain[interval] != nullptr ? plain[interval] + lane * step : mixed[interval].entry[lane];
  }
  uint8_t CompactOf(size_t interval) const {
    return plain[interval] != nullptr ? uint8_t{0} : mixed[interval].compact;
  }
};

template <FormId kId>
void FoldHeads(TileRun& run, SlotHead* heads, const SectionContext& context, bool words) {
  constexpr const Form& kForm = kForms[kId];
  const size_t count = run.Count();
  for (size_t lane = 0; lane < kLanes; ++lane) {
    const auto bit = static_cast<uint8_t>(1U << lane);
    for (size_t i = 0; i < count; ++i) {
      const uint8_t* const entry = run.EntryOf(i, lane);
      if (entry == nullptr) continue;
      FoldContext fold = context.fold;
      fold.first = run.first && i == 0;
      uint8_t key[3] = {};
      LoadKey<DiskOrder>(kForm.key, entry, key);
      if (!FoldHead<kId, DiskOrder>(heads[lane], entry, key, fold)) continue;
      run.valid[i] = static_cast<uint8_t>(run.valid[i] | bit);
      if (words && (run.CompactOf(i) & bit) == 0) {
        MergeRatioWords<kId>(heads[lane], entry + kForm.size, context.masks.out_mask, fold.first);
      }
    }
  }
}

constexpr HeadBit BitAt(const FlagBit& flag) {
  if (flag.at == kNone) return {};
  return {flag.at >= 12, uint32_t{flag.bit} << 8 * (3 - flag.at % 4)};
}

// Places that the vector kernels know.
constexpr bool IsInHead(const FlagBit& flag) {
  return flag.at == kNone || (flag.at >= 8 && flag.at < 16);
}
template <FormId kId>
constexpr RatioPlace RatioPlaceOf() {
  constexpr int kRatio = kForms[kId].ratio;
  static_assert(kRatio == kNone || kRatio == 14 || kRatio == 16 || kRatio == 20);
  if (kRatio == kNone) return RatioPlace::kNowhere;
  if (kRatio == 14) return RatioPlace::kAt14;
  return kRatio == 16 ? RatioPlace::kAt16 : RatioPlace::kAt20;
}

// Whether the vector kernels know all of the form's head.
template <FormId kId>
bool HasPlainHead(const FoldContext& context) {
  constexpr const Form& kForm = kForms[kId];
  return kForm.second_ratio == kNone && context.revision >= kForm.filled_from;
}

// The heads of a run whose intervals are all plain.
template <FormId kId>
void FoldPlainHeads(TileRun& run, HeadRun& fold, SlotHead* heads, const SectionContext& context,
                    bool words) {
  constexpr const Form& kForm = kForms[kId];
  fold.intervals.count = run.Count();
  fold.intervals.step = run.step;
  for (size_t i = 0; i < run.Count(); ++i) {
    fold.intervals.first[i] = run.plain[i];
    run.valid[i] = 0xFF;
  }
  fold.ratio = RatioPlaceOf<kId>();
  fold.always = kForm.ratio_flag.at == kNone;
  fold.track = context.fold.compute;
  fold.track_always = kForm.ratio_extremes_always;
  fold.first = run.first;
  // Both words of the ratio, behind all of the groups'.
  const bool both = words && context.words_size == (4 * size_t{kForm.tracked} + 2) * 4;
  fold.words_at = both ? kForm.size + kForm.tracked * kQuadsetSize : 0;
  static_assert(IsInHead(kForm.ratio_flag) && IsInHead(kForm.counted) && IsInHead(kForm.sticky));
  fold.there = BitAt(kForm.ratio_flag);
  fold.counted = BitAt(kForm.counted);
  fold.sticky = BitAt(kForm.sticky);
  for (size_t lane = 0; lane < kLanes; ++lane) {
    fold.busy[lane] = heads[lane].busy;
    fold.maximum[lane] = heads[lane].ratio_maximum;
    fold.minimum[lane] = heads[lane].ratio_minimum;
  }
  fold_kernels->fold_heads(fold);
  const uint8_t* entry = run.plain[run.Count() - 1];
  for (size_t lane = 0; lane < kLanes; ++lane, entry += run.step) {
    SlotHead& head = heads[lane];
    // An entry before may have left another resource's key here (ResumeForKey).
    uint8_t key[3] = {};
    LoadKey<DiskOrder>(kForm.key, entry, key);
    for (size_t i = 0; i < kForm.key.count; ++i) {
      if (i < context.fold.key_count) head.key[i] = key[i];
    }
    head.status = Load32(entry + kAtStatus);
    head.time += static_cast<uint32_t>(fold.time[lane]);
    head.busy = fold.busy[lane];
    head.ratio_count += static_cast<uint32_t>(fold.ratios[lane]);
    if (context.fold.compute || both) {
      head.ratio_maximum = fold.maximum[lane];
      head.ratio_minimum = fold.minimum[lane];
    }
    for (size_t i = 0; i < kForm.carried.size(); ++i) {
      if (kForm.carried[i] != kNone) head.carried[i] = Load32(entry + kForm.carried[i]);
    }
    if constexpr (kForm.counted.at != kNone) {
      head.counted += static_cast<uint32_t>(fold.counted_in[lane]);
    }
    if constexpr (kForm.sticky.at != kNone) {
      if (fold.sticky_in[lane] != 0) head.sticky = 1;
    }
    if constexpr (kForm.kept.at != kNone) {
      if (context.fold.revision >= kForm.kept_from) head.kept = IsSet(kForm.kept, entry);
    }
    if (!words || both) continue;
    for (size_t i = 0; i < run.Count(); ++i) {
      MergeRatioWords<kId>(head, run.EntryOf(i, lane) + kForm.size, context.masks.out_mask,
                           run.first && i == 0);
    }
  }
}

// A run as the kernels take it: mixed intervals become eight full entries with their words, of
// zeros where a lane does not count.
template <FormId kId>
struct FullEntries {
  static constexpr const Form& kForm = kForms[kId];
  static constexpr size_t kMostBytes = kForm.size + 32 * 4;
  uint8_t filled[kMostIntervals][kLanes * kMostBytes];

  void Fill(const TileRun& run, TileIntervals& intervals) {
    intervals.count = run.Count();
    intervals.step = run.step;
    for (size_t i = 0; i < run.Count(); ++i) {
      intervals.first[i] = run.plain[i] != nullptr ? run.plain[i] : FillMixed(run, i);
    }
  }

  const uint8_t* FillMixed(const TileRun& run, size_t i) {
    uint8_t* to = filled[i];
    std::memset(to, 0, kLanes * run.step);
    for (size_t lane = 0; lane < kLanes; ++lane, to += run.step) {
      if ((run.valid[i] >> lane & 1) == 0) continue;
      const bool compact = (run.mixed[i].compact >> lane & 1) != 0;
      std::memcpy(to, run.mixed[i].entry[lane], compact ? kForm.head : run.step);
    }
    return filled[i];
  }
};

template <FormId kId, QuadRule kRule>
void FoldGroupsOfRun(const TileRun& run, const TileLengths* lengths, double* fields,
                     const SectionContext& context) {
  constexpr const Form& kForm = kForms[kId];
  FullEntries<kId> full;
  FoldRun fold;
  full.Fill(run, fold.intervals);
  fold.lengths = lengths;
  fold.groups_at = kForm.quadsets_at;
  fold.quadsets = kForm.quadsets;
  fold.tracked = kForm.tracked;
  fold.compute = context.fold.compute;
  fold.first = run.first;
  (kRule == QuadRule::kCurrent ? fold_kernels->fold_current : fold_kernels->fold_older)(fields,
                                                                                        fold);
  if (context.fold.compute) return;
  MergeRun merge;
  merge.intervals = fold.intervals;
  for (size_t i = 0; i < run.Count(); ++i) {
    merge.take[i] = static_cast<uint8_t>(run.valid[i] & ~run.CompactOf(i));
  }
  merge.words_at = kForm.size;
  merge.tracked = kForm.tracked;
  merge.first = run.first;
  fold_kernels->merge(fields + kForm.quadsets * 4 * kLanes, merge);
}

// The same without kernels.
template <FormId kId, QuadRule kRule>
void FoldGroupsOneByOne(const TileRun& run, Kind kind, size_t tile, const SectionContext& context) {
  constexpr const Form& kForm = kForms[kId];
  for (size_t lane = 0; lane < kLanes; ++lane) {
    for (size_t i = 0; i < run.Count(); ++i) {
      if ((run.valid[i] >> lane & 1) == 0) continue;
      const SlotRef slot = SlotAt(kind, static_cast<int32_t>(tile * kLanes + lane));
      SettleRates<kId, kRule>(slot);
      const uint8_t* entry = run.EntryOf(i, lane);
      const bool compact = (run.CompactOf(i) >> lane & 1) != 0;
      FoldContext fold = context.fold;
      fold.first = run.first && i == 0;
      FoldGroups<kId, kRule, DiskOrder>(
          slot, entry, compact ? kNoGroups.data() : entry + kForm.quadsets_at, fold);
      if (compact || context.words_size == 0) continue;
      MergeWords<kId, DiskOrder>(slot, entry + kForm.size, context.masks, fold.first);
    }
  }
}

template <FormId kId, QuadRule kRule>
void FoldTile(PendingKind& pending, Kind kind, size_t tile) {
  constexpr const Form& kForm = kForms[kId];
  const ResourceSet& set = resource_sets[kind];
  TileRun run;
  run.plain = pending.PlainOf(tile);
  run.mixed = pending.MixedOf(tile);
  run.step = kForm.size + pending.context.words_size;
  run.count = pending.counts.data()[tile];
  run.first = pending.firsts.data()[tile] != 0;
  pending.counts.data()[tile] = 0;
  auto* const heads = reinterpret_cast<SlotHead*>(set.slot_block.data()) + tile * kLanes;
  const SectionContext& context = pending.context;
  const bool by_kernel =
      kForm.quadsets != 0 && fold_kernels != nullptr && (context.fold.compute || context.all_words);
  const bool words = by_kernel && !context.fold.compute;
  bool plain = fold_kernels != nullptr && HasPlainHead<kId>(context.fold);
  for (size_t i = 0; i < run.Count(); ++i) plain = plain && run.plain[i] != nullptr;
  HeadRun folded;
  if (plain) {
    FoldPlainHeads<kId>(run, folded, heads, context, words);
  } else {
    FoldHeads<kId>(run, heads, context, words);
  }
  if constexpr (kForm.quadsets != 0) {
    if (by_kernel) {
      FoldGroupsOfRun<kId, kRule>(run, plain ? &folded.lengths : nullptr,
                                  FieldsOf(set, static_cast<int32_t>(tile * kLanes)), context);
      return;
    }
  }
  FoldGroupsOneByOne<kId, kRule>(run, kind, tile, pending.context);
}

template <FormId kId>
SectionContext ContextOfSection(Kind kind) {
  const ItemMasks masks = finfo.items[kind];
  constexpr uint32_t kPositions = 4 * kForms[kId].tracked + 2;
  const bool inside = (masks.in_mask & (0xFFFFFFFFU >> kPositions)) == 0;
  return {ContextOf(kind), masks, size_t{masks.in_count} * 4,
          masks.in_mask == masks.out_mask && inside && masks.in_count >= 4 * kForms[kId].tracked};
}

// Key, compact and not-valid bytes of all forms lie in the same eight bytes of an entry.
constexpr size_t kAtMarks = 8;

template <FormId kId>
constexpr bool MarksLieTogether() {
  constexpr const Form& kForm = kForms[kId];
  const auto inside = [](int at) { return at >= static_cast<int>(kAtMarks) && at < 16; };
  for (size_t i = 0; i < kForm.key.count; ++i) {
    if (!inside(kForm.key.at[i])) return false;
  }
  return (kForm.compact == kNone || inside(kForm.compact)) && inside(kForm.not_valid);
}

template <FormId kId>
void PutMarks(uint8_t* marks, const uint8_t* key, size_t key_count, uint8_t flag) {
  constexpr const Form& kForm = kForms[kId];
  std::memset(marks, 0, 8);
  if constexpr (kForm.compact != kNone) marks[kForm.compact - kAtMarks] = flag;
  marks[kForm.not_valid - kAtMarks] = flag;
  for (size_t i = 0; i < kForm.key.count; ++i) {
    const size_t at = kForm.key.number ? size_t{kForm.key.at[0]} + i : size_t{kForm.key.at[i]};
    if (i < key_count) marks[at - kAtMarks] = key[i];
  }
}

// Readies the pending entries of a kind for its slots as they are now.
template <FormId kId, QuadRule kRule>
PendingKind& ReadyPending(Kind kind) {
  PendingKind& pending = PendingOf(kind);
  if (pending.fold == &FoldTile<kId, kRule>) return pending;
  // A 0x10 file can have records of two layouts.
  FoldPending(kind);
  const ResourceSet& set = resource_sets[kind];
  pending.fold = &FoldTile<kId, kRule>;
  pending.tiles = (static_cast<size_t>(set.entries) + kLanes - 1) / kLanes;
  pending.plain.Reserve(pending.tiles * kMostIntervals * sizeof(const uint8_t*));
  pending.mixed.Reserve(pending.tiles * kMostIntervals * sizeof(MixedEntries));
  pending.counts.Zeroed(pending.tiles);
  pending.firsts.Zeroed(pending.tiles);
  uint8_t* expected = pending.expected.Reserve(pending.tiles * kLanes * 8);
  for (int32_t i = 0; i < set.entries; ++i, expected += 8) {
    PutMarks<kId>(expected, set.KeyOf(i), set.key_count, 0);
  }
  return pending;
}

// Whether the next eight entries are full, valid, and those of a tile.
inline bool AreTile(const uint8_t* entry, size_t size, const uint8_t* expected, uint64_t mask) {
  uint64_t differ = 0;
  for (size_t i = 0; i < kLanes; ++i, entry += size, expected += 8) {
    uint64_t marks;
    uint64_t want;
    std::memcpy(&marks, entry + kAtMarks, 8);
    std::memcpy(&want, expected, 8);
    differ |= (marks ^ want) & mask;
  }
  return differ == 0;
}

// Up to eight entries of a section that follow each other.
struct Batch {
  const uint8_t* entry[kLanes];
  int32_t slot[kLanes];
  uint8_t compact;
  size_t count;
};

// Whether the slots of a batch are a tile, or the beginning of the last one.
bool IsTile(const Batch& batch, const ResourceSet& set) {
  if (batch.count == 0 || batch.slot[0] % static_cast<int32_t>(kLanes) != 0) return false;
  if (batch.count != kLanes && batch.slot[batch.count - 1] != set.entries - 1) return false;
  bool in_order = true;
  for (size_t i = 1; i < batch.count; ++i) {
    in_order = in_order && batch.slot[i] == batch.slot[0] + static_cast<int32_t>(i);
  }
  return in_order;
}

void AddMixed(PendingKind& pending, Kind kind, size_t tile, const MixedEntries& entries) {
  const size_t at = pending.Add(kind, tile);
  pending.PlainOf(tile)[at] = nullptr;
  pending.MixedOf(tile)[at] = entries;
}

void AddTile(PendingKind& pending, Kind kind, const Batch& batch) {
  MixedEntries entries = {};
  for (size_t i = 0; i < batch.count; ++i) entries.entry[i] = batch.entry[i];
  entries.compact = batch.compact;
  AddMixed(pending, kind, static_cast<size_t>(batch.slot[0]) / kLanes, entries);
}

// Entries in another order than the slots: one after the other.
void AddOneByOne(PendingKind& pending, Kind kind, const Batch& batch) {
  for (size_t i = 0; i < batch.count; ++i) {
    const auto slot = static_cast<size_t>(batch.slot[i]);
    const size_t lane = slot % kLanes;
    MixedEntries entries = {};
    entries.entry[lane] = batch.entry[i];
    entries.compact = (batch.compact >> i & 1) != 0 ? static_cast<uint8_t>(1U << lane) : uint8_t{0};
    AddMixed(pending, kind, slot / kLanes, entries);
  }
}

template <FormId kId, QuadRule kRule>
bool ReadSection(const RecordView& record, Kind kind, uint32_t offset, uint32_t count) {
  constexpr const Form& kForm = kForms[kId];
  constexpr bool kCompacts = kForm.compact != kNone;
  constexpr size_t kLeast = kCompacts ? kForm.head : kForm.size;
  static_assert(MarksLieTogether<kId>());
  if (offset > record.size) return BrokenRecord("section leaves its record");
  const ResourceSet& set = resource_sets[kind];
  PendingKind& pending = ReadyPending<kId, kRule>(kind);
  pending.context = ContextOfSection<kId>(kind);
  // Where keys count, and where entries go by their position.
  const bool by_position = set.lookup == Lookup::kPosition;
  const bool in_step = set.unique || by_position;
  uint64_t mask = 0;
  {
    constexpr uint8_t kAll[3] = {0xFF, 0xFF, 0xFF};
    uint8_t marks[8];
    PutMarks<kId>(marks, kAll, by_position ? 0 : set.key_count, 0xFF);
    std::memcpy(&mask, marks, 8);
  }
  const size_t full = kForm.size + pending.context.words_size;
  const uint8_t* entry = record.data + offset;
  const uint8_t* const end = record.data + record.size;
  int32_t expected = 0;
  for (uint32_t i = 0; i < count;) {
    constexpr auto kStep = static_cast<int32_t>(kLanes);
    if (in_step && expected % kStep == 0 && expected + kStep <= set.entries &&
        count - i >= kLanes && static_cast<size_t>(end - entry) >= kLanes * full &&
        AreTile(entry, full, pending.expected.data() + static_cast<size_t>(expected) * 8, mask)) {
      const size_t tile = static_cast<size_t>(expected) / kLanes;
      const size_t at = pending.Add(kind, tile);
      pending.PlainOf(tile)[at] = entry;
      if (at + 1 == pending_limit) FoldTile<kId, kRule>(pending, kind, tile);
      entry += kLanes * full;
      i += kLanes;
      expected += kStep;
      if (set.lookup == Lookup::kCursor) CursorOf(kind) = static_cast<uint16_t>(expected - 1);
      continue;
    }
    Batch batch;
    batch.count = 0;
    batch.compact = 0;
    while (batch.count < kLanes && i < count) {
      const auto left = static_cast<size_t>(end - entry);
      if (left < kLeast) return BrokenRecord("section leaves its record");
      bool compact = false;
      if constexpr (kCompacts) compact = entry[kForm.compact] != 0;
      const size_t size = compact ? kForm.head : full;
      if (left < size) return BrokenRecord("section leaves its record");
      uint8_t key[3] = {};
      LoadKey<DiskOrder>(kForm.key, entry, key);
      const int32_t index = FindNext(set, kind, key, static_cast<int32_t>(i), expected);
      if (index < 0) return false;
      expected = index + 1;
      const size_t lane = batch.count++;
      batch.entry[lane] = entry;
      batch.slot[lane] = index;
      if (compact) batch.compact = static_cast<uint8_t>(batch.compact | 1U << lane);
      entry += size;
      ++i;
      // Back in step with the tiles.
      if (expected % kStep == 0) break;
    }
    if (IsTile(batch, set)) {
      AddTile(pending, kind, batch);
    } else {
      AddOneByOne(pending, kind, batch);
    }
  }
  return true;
}

// Puts the eight slots of a tile, their words made by the kernel.
template <FormId kId, QuadRule kRule>
uint8_t* PutTile(uint8_t* out, Kind kind, int32_t index) {
  constexpr const Form& kForm = kForms[kId];
  constexpr size_t kGroupBytes = kForm.quadsets * kQuadsetSize;
  constexpr size_t kExtremeBytes = kForm.tracked * kQuadsetSize;
  static_assert(kGroupBytes + kExtremeBytes <= kMostWords * 4);
  const ResourceSet& set = resource_sets[kind];
  const uint32_t mask = finfo.items[kind].out_mask;
  // The words of the tracked groups follow each other when the mask lacks none of them.
  constexpr uint32_t kTracked = ~(0xFFFFFFFFU >> (4 * kForm.tracked));
  const bool all = (mask & kTracked) == kTracked;
  PutRun run;
  run.quadsets = kForm.quadsets;
  run.tracked = kForm.tracked;
  for (size_t lane = 0; lane < kLanes; ++lane) {
    run.time[lane] = SlotAt(kind, index + static_cast<int32_t>(lane)).head.time;
  }
  (kRule == QuadRule::kCurrent ? fold_kernels->put_current : fold_kernels->put_older)(
      FieldsOf(set, index), run);
  for (size_t lane = 0; lane < kLanes; ++lane) {
    const SlotRef slot = SlotAt(kind, index + static_cast<int32_t>(lane));
    std::memset(out, 0, kForm.quadsets_at);
    PutHead<kId>(out, slot.head, set.key_count);
    if (IsIdle<kId>(slot)) {
      out[kForm.compact] = 1;
      out += kForm.head;
      continue;
    }
    static_assert(kForm.size == kForm.quadsets_at + kGroupBytes);
    std::memcpy(out + kForm.quadsets_at, run.words[lane], kGroupBytes);
    out += kForm.size;
    if (all) {
      std::memcpy(out, run.words[lane] + kGroupBytes / 8, kExtremeBytes);
      out = PutWords<kId>(out + kExtremeBytes, slot, mask & ~kTracked);
    } else {
      out = PutWords<kId>(out, slot, mask);
    }
  }
  return out;
}

template <FormId kId, QuadRule kRule>
uint8_t* WriteSection(uint8_t* out, Kind kind) {
  constexpr auto kStep = static_cast<int32_t>(kLanes);
  const ResourceSet& set = resource_sets[kind];
  const uint32_t mask = finfo.items[kind].out_mask;
  int32_t i = 0;
  if constexpr (kForms[kId].quadsets != 0) {
    for (; fold_kernels != nullptr && i + kStep <= set.entries; i += kStep) {
      out = PutTile<kId, kRule>(out, kind, i);
    }
  }
  for (; i < set.entries; ++i) {
    const SlotRef slot = SlotAt(kind, i);
    SettleRates<kId, kRule>(slot);
    out = PutEntry<kId, kRule>(out, slot, set.key_count, mask);
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
