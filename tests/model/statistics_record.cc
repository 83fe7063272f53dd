// Reading and writing of statistics records. Every section is found by its header's offset; one
// whose offset is 0 carries no entries.

#include "tests/model/statistics_record.h"

#include <bit>

#include "tests/model/cache_section.h"
#include "tests/model/optional_items.h"

namespace model {
namespace {

constexpr std::size_t kItemsSlot = 16;

// A record of a 0x10 file that was flushed by an "LDM" record has the 0x11 layout, which shows in
// the offset of its rank section's header.
int LayoutOf(int revision, const Bytes& record) {
  if (revision == 0x10 && Get32(record, 60) != 0) return 0x11;
  return revision;
}

std::vector<KindRule> RulesOf(int revision, const Bytes& record) {
  return KindRules(LayoutOf(revision, record), revision);
}

// Nothing when the set does not exist yet and every count goes.
bool CountMatches(const ArchiveState& state, const KindRule& rule, std::size_t count) {
  switch (rule.kind) {
    case Kind::kDp:
      return true;
    case Kind::kHpNode:
      return !state.hp_node_built || count == state.keys.at(Kind::kHpNode).size();
    case Kind::kHp:
      if (state.hp_from_statistics) {
        return !state.hp_built || count == state.keys.at(Kind::kHp).size();
      }
      break;
    default:
      break;
  }
  return count == state.structure.count(rule.slot);
}

std::size_t InputWords(const ArchiveState& state, const KindRule& rule) {
  if (MaskOffset(state.revision, rule.kind) == 0) return 0;
  return static_cast<std::size_t>(std::popcount(state.masks.at(rule.kind)));
}

bool SecondKey(const ArchiveState& state) {
  return state.structure_held && state.structure.second_cheseg_key();
}

// Host ports of archives and host port nodes: the first record with entries lists them.
void BuildSet(ArchiveState& state, const KindRule& rule, const Bytes& record,
              const Descriptor& section) {
  std::vector<Bytes> keys;
  std::size_t at = section.offset;
  for (std::size_t i = 0; i < section.count; ++i) {
    const Bytes entry = Slice(record, at, rule.size);
    keys.push_back(EntryKey(rule, entry, false));
    at += rule.size + 4 * InputWords(state, rule);
  }
  MakeSlots(state, rule, keys);
}

void FoldSection(ArchiveState& state, const KindRule& rule, const Bytes& record,
                 const Descriptor& section) {
  FoldContext context;
  context.revision = state.revision;
  context.first_interval = state.first_interval;
  context.second_cheseg_key = SecondKey(state);
  if (rule.kind != Kind::kCache && InputWords(state, rule) != 0) {
    context.input_mask = state.masks.at(rule.kind);
  }
  std::size_t at = section.offset;
  for (std::size_t i = 0; i < section.count; ++i) {
    Bytes entry = Slice(record, at, rule.compact_at != 0 ? rule.head : rule.size);
    const bool compact = rule.compact_at != 0 && entry[rule.compact_at] != 0;
    if (!compact) entry = Slice(record, at, rule.size);
    at += entry.size();
    entry.resize(rule.kind == Kind::kCache ? 128 : rule.size, 0);
    std::vector<uint32_t> words;
    if (!compact) {
      for (std::size_t w = 0; w < InputWords(state, rule); ++w) {
        words.push_back(Get32(record, at));
        at += 4;
      }
    }
    if (rule.kind == Kind::kCache) {
      FoldCache(state, rule, entry, i);
      continue;
    }
    const Bytes key = EntryKey(rule, entry, context.second_cheseg_key);
    const std::size_t index = FindResource(state, rule, key, i);
    FoldEntry(rule, context, entry, compact, words, state.slots[rule.kind][index]);
  }
}

void FoldItems(ArchiveState& state, const Bytes& record) {
  const Descriptor section = ReadDescriptor(record, kItemsSlot);
  if (section.offset == 0) return;
  std::size_t at = section.offset;
  for (int i = 0; i < section.count; ++i) {
    Slice(record, at, 24);
    const std::size_t length = Get32(record, at + 8);
    if (length < 24) throw BrokenRecord("item shorter than its head");
    TakeItem(state, Slice(record, at, length));
    at += length;
  }
}

}  // namespace

void CheckStatistics(ArchiveState& state, const Bytes& record) {
  if (record.size() < RecordHeadSize(state.revision)) {
    throw BrokenRecord("statistics record shorter than its head");
  }
  state.first_fields.clear();
  if (HasItems(state.revision)) state.first_fields[kItemsSlot] = Get16(record, kItemsSlot);
  for (const KindRule& rule : RulesOf(state.revision, record)) {
    const Descriptor section = ReadDescriptor(record, rule.slot);
    state.first_fields[rule.slot] = section.first;
    if (!state.structure_held && section.count != 0 && section.offset != 0) {
      throw BrokenRecord("entries without a structure record");
    }
    if (!CountMatches(state, rule, section.count)) {
      throw BrokenRecord("section count differs from the structure");
    }
  }
}

void FoldStatistics(ArchiveState& state, const Bytes& record) {
  for (const KindRule& rule : RulesOf(state.revision, record)) {
    const Descriptor section = ReadDescriptor(record, rule.slot);
    if (section.offset == 0 || section.count == 0) continue;
    if (state.structure.excluded(rule.slot)) continue;
    if (rule.kind == Kind::kDp && section.count != state.structure.count(rule.slot)) continue;
    if (rule.kind == Kind::kHpNode && !state.hp_node_built) {
      BuildSet(state, rule, record, section);
      state.hp_node_built = true;
    }
    if (rule.kind == Kind::kHp && state.hp_from_statistics && !state.hp_built) {
      BuildSet(state, rule, record, section);
      state.hp_built = true;
    }
    FoldSection(state, rule, record, section);
  }
  if (HasItems(state.revision)) FoldItems(state, record);
}

Bytes WriteStatistics(ArchiveState& state, int layout) {
  Bytes record(RecordHeadSize(layout), 0);
  PatchText(record, 0, "STA");
  record[3] = state.folded_flag;
  Patch32(record, 4, state.folded_time);
  for (const KindRule& rule : KindRules(layout, state.revision)) {
    Descriptor section;
    const auto first = state.first_fields.find(rule.slot);
    if (first != state.first_fields.end()) section.first = first->second;
    if (state.structure.excluded(rule.slot)) {
      section.count = state.structure.count(rule.slot);
      PatchDescriptor(record, rule.slot, section);
      continue;
    }
    section.offset = static_cast<uint32_t>(record.size());
    section.count = static_cast<uint16_t>(state.keys[rule.kind].size());
    PatchDescriptor(record, rule.slot, section);
    if (rule.kind == Kind::kCache) {
      for (const CacheSlot& slot : state.caches) Append(record, CacheOut(state.revision, slot));
      continue;
    }
    for (const Slot& slot : state.slots[rule.kind]) {
      Append(record, EntryOut(rule, state.revision, SecondKey(state), slot));
    }
  }
  const std::vector<Bytes> items = ItemsOut(state);
  if (!items.empty()) {
    Descriptor section;
    section.first = state.first_fields[kItemsSlot];
    section.count = static_cast<uint16_t>(items.size());
    section.offset = static_cast<uint32_t>(record.size());
    PatchDescriptor(record, kItemsSlot, section);
    for (const Bytes& item : items) Append(record, item);
  }
  Patch32(record, 8, static_cast<uint32_t>(record.size()));
  ClearSlots(state);
  ClearItems(state);
  return record;
}

}  // namespace model
