// Section loops: see the header. One pair of functions per form and quadset rule, chosen once per
// section.
#include "revisions/fold/fold.h"

#include <algorithm>
#include <array>
#include <utility>

#include "areas/finfo.h"
#include "revisions/fold/accumulate.h"
#include "revisions/fold/cache.h"
#include "revisions/fold/put_section.h"
#include "revisions/fold/section_tiles.h"
#include "revisions/sets/lookup.h"

namespace {

constexpr bool IsCacheForm(FormId id) {
  return id == kCacheSta_0x19 || id == kCacheSta_0x1F || id == kCacheSta_0x21;
}

bool LeavesRecord() { return BrokenRecord("section leaves its record"); }

// Reads the entry at `position` of its section, whose slot is `next` if it follows the one before
// it as in the table, and sets that to the slot behind. Returns the first byte behind the entry;
// null: broken, reported.
template <FormId kId, QuadRule kRule>
const uint8_t* ReadOne(SectionTiles<kId, kRule>& tiles, Kind kind, const uint8_t* entry,
                       const uint8_t* end, uint32_t position, int32_t& next) {
  constexpr const Form& kForm = kForms[kId];
  const auto left = static_cast<size_t>(end - entry);
  const bool compact =
      kForm.compact != kNone && left >= kLeastEntry<kId> && entry[kForm.compact] != 0;
  const size_t size = compact ? kLeastEntry<kId> : tiles.full();
  if (left < size) {
    LeavesRecord();
    return nullptr;
  }
  uint8_t key[3] = {};
  LoadKey<kId>(key, entry);
  const int32_t index = FindNext(tiles.set(), kind, key, static_cast<int32_t>(position), next);
  if (index < 0) return nullptr;
  tiles.TakeOne(index, entry, compact);
  tiles.Fold(1);
  next = index + 1;
  return entry + size;
}

template <FormId kId, QuadRule kRule>
bool ReadEntries(const RecordView& record, Kind kind, uint32_t offset, uint32_t count) {
  static_assert(SignatureLiesTogether<kId>());
  if (offset > record.size) return LeavesRecord();
  SectionTiles<kId, kRule> tiles(kind);
  const ResourceSet& set = tiles.set();
  // The slot with the key is the right one when no other has the key, or when the position decides.
  const bool in_step = set.unique || set.lookup == Lookup::kPosition;
  const uint8_t* entry = record.data + offset;
  const uint8_t* const end = record.data + record.size;
  int32_t next = 0;
  for (uint32_t i = 0; i < count;) {
    if (in_step && static_cast<size_t>(next) % kLanes == 0 && next < set.entries) {
      const size_t lanes = tiles.Begin(static_cast<size_t>(next) / kLanes);
      const uint8_t* const behind = count - i >= lanes ? tiles.Take(0, entry, end) : nullptr;
      if (behind != nullptr) {
        tiles.Fold(1);
        entry = behind;
        i += static_cast<uint32_t>(lanes);
        next += static_cast<int32_t>(lanes);
        if (set.lookup == Lookup::kCursor) CursorOf(kind) = static_cast<uint16_t>(next - 1);
        continue;
      }
    }
    // One by one until they are back in step with the tiles.
    entries_out_of_step = true;
    do {
      entry = ReadOne(tiles, kind, entry, end, i++, next);
      if (entry == nullptr) return false;
    } while (i < count && static_cast<size_t>(next) % kLanes != 0);
  }
  return true;
}

// Where the reading of a section of one record stands.
struct Progress {
  const uint8_t* entry = nullptr;
  const uint8_t* end = nullptr;  // of what is at hand
  const uint8_t* begin = nullptr;
  uint64_t offset = 0;  // of `begin` in the record

  // Has `need` bytes from the entry on, or what there is up to the record's end. False: none.
  bool Refill(RecordBytes& record, size_t need) {
    offset += static_cast<uint64_t>(entry - begin);
    const uint64_t left = record.size() - offset;
    const uint8_t* const found = record.At(offset, std::min<uint64_t>(need, left));
    if (found == nullptr) return false;
    entry = begin = found;
    end = found + record.AtHand(offset);
    return true;
  }
};

template <FormId kId, QuadRule kRule>
bool FoldEntriesInStep(std::span<const SectionPlace> places, Kind kind) {
  SectionTiles<kId, kRule> tiles(kind);
  std::array<Progress, kMostIntervals> progress;
  for (size_t i = 0; i < places.size(); ++i) progress[i].offset = places[i].offset;
  const size_t most = kLanes * tiles.full();
  for (size_t tile = 0; tile < tiles.count(); ++tile) {
    tiles.Begin(tile);
    for (size_t i = 0; i < places.size(); ++i) {
      Progress& at = progress[i];
      if (static_cast<size_t>(at.end - at.entry) < most && !at.Refill(*places[i].record, most)) {
        return false;
      }
      at.entry = tiles.Take(i, at.entry, at.end);
      if (at.entry == nullptr) return false;
    }
    tiles.Fold(places.size());
  }
  const ResourceSet& set = tiles.set();
  if (set.lookup == Lookup::kCursor) CursorOf(kind) = static_cast<uint16_t>(set.entries - 1);
  return true;
}

bool ReadCacheSection(const RecordView& record, Kind /*kind*/, uint32_t offset, uint32_t count) {
  const size_t room = offset > record.size ? 0 : record.size - offset;
  if (uint64_t{count} * CacheEntrySize() > room) return LeavesRecord();
  cache_section_count = count;
  return RW_Cache_Sta(kCacheRead, nullptr, const_cast<uint8_t*>(record.data + offset)) == 0;
}

size_t SizeOfCaches(Kind kind) {
  return CacheEntrySize() * static_cast<size_t>(resource_sets[kind].entries);
}

// Whether the caches of a section are those of the table.
bool CachesAreKnown(const ResourceSet& set, const uint8_t* entry) {
  const size_t key_at = kForms[kCacheSta_0x19].key.at[0];
  const size_t size = CacheEntrySize();
  for (int32_t i = 0; i < set.entries; ++i, entry += size) {
    if (!KeyMatches(set, i, entry + key_at)) return false;
  }
  return true;
}

// Caches are few: those of a record lie in one piece.
bool FoldCachesInStep(std::span<const SectionPlace> places, Kind kind) {
  const ResourceSet& set = resource_sets[kind];
  const size_t size = SizeOfCaches(kind);
  const bool first_interval = finfo.first_interval;
  bool good = true;
  for (size_t i = 0; i < places.size() && good; ++i) {
    const uint8_t* const caches = places[i].record->At(places[i].offset, size);
    good = caches != nullptr && CachesAreKnown(set, caches) &&
           // Not reached: that it fails, as it is read.
           ReadCacheSection({caches, size}, kind, 0, static_cast<uint32_t>(set.entries));
    finfo.first_interval = false;
  }
  finfo.first_interval = first_interval;
  return good;
}

uint8_t* PutCacheSection(uint8_t* out, Kind kind, int32_t /*from*/, int32_t /*to*/) {
  RW_Cache_Sta(kCacheWrite, nullptr, out);
  return out + SizeOfCaches(kind);
}

struct SectionOps {
  bool (*read)(const RecordView& record, Kind kind, uint32_t offset, uint32_t count);
  bool (*in_step)(std::span<const SectionPlace> places, Kind kind);
  uint8_t* (*put)(uint8_t* out, Kind kind, int32_t from, int32_t to);
  size_t (*size)(Kind kind);
};

template <FormId kId, QuadRule kRule>
constexpr SectionOps MakeOps() {
  if constexpr (IsCacheForm(kId)) {
    return {&ReadCacheSection, &FoldCachesInStep, &PutCacheSection, &SizeOfCaches};
  } else {
    return {&ReadEntries<kId, kRule>, &FoldEntriesInStep<kId, kRule>, &PutSlots<kId, kRule>,
            &SizeOfSlots<kId>};
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

bool entries_out_of_step = false;

bool ReadSection(const RecordView& record, const SectionRow& row, QuadRule rule, uint32_t offset,
                 uint32_t count) {
  return OpsOf(row.form, rule).read(record, row.kind, offset, count);
}

bool FoldInStep(std::span<const SectionPlace> places, const SectionRow& row, QuadRule rule) {
  return OpsOf(row.form, rule).in_step(places, row.kind);
}

uint8_t* PutSection(uint8_t* out, const SectionRow& row, QuadRule rule, int32_t from, int32_t to) {
  return OpsOf(row.form, rule).put(out, row.kind, from, to);
}

size_t LargestEntry(const SectionRow& row) {
  return kForms[row.form].size + size_t{finfo.items[row.kind].out_count} * 4;
}

size_t SectionSize(const SectionRow& row) {
  return OpsOf(row.form, QuadRule::kCurrent).size(row.kind);
}
