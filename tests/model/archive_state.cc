// Resource sets of the slow model: lookup, building and clearing.

#include "tests/model/archive_state.h"

namespace model {
namespace {

constexpr std::size_t kHpSlotFrom1D = 48;

std::size_t FindPlain(const std::vector<Bytes>& keys, const Bytes& key) {
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (keys[i] == key) return i;
  }
  throw BrokenRecord("entry of an unknown resource");
}

// Resumes at the last hit; a key that is nowhere yields the place where the search started.
std::size_t FindFromCursor(const std::vector<Bytes>& keys, const Bytes& key, uint16_t& cursor) {
  const int count = static_cast<int>(keys.size());
  if (static_cast<int>(cursor) >= count - 1) cursor = 0;
  int result = -1;
  for (int i = cursor; i < count && result < 0; ++i) {
    if (keys[static_cast<std::size_t>(i)] == key) result = i;
  }
  for (int i = 0; i < cursor && result < 0; ++i) {
    if (keys[static_cast<std::size_t>(i)] == key) result = i;
  }
  if (result < 0) result = cursor;
  cursor = static_cast<uint16_t>(result);
  if (result == count) throw BrokenRecord("entry of a kind without resources");
  return static_cast<std::size_t>(result);
}

ItemBlock MakeBlock(bool exists, std::size_t count) {
  ItemBlock block;
  block.exists = exists;
  block.mark_all = exists;
  if (exists) block.elements.resize(count);
  return block;
}

}  // namespace

std::size_t FindResource(ArchiveState& state, const KindRule& rule, const Bytes& key,
                         std::size_t position) {
  const std::vector<Bytes>& keys = state.keys[rule.kind];
  switch (rule.search) {
    case Search::kPlain:
      return FindPlain(keys, key);
    case Search::kCursor:
      return FindFromCursor(keys, key, rule.kind == Kind::kLd ? state.ld_cursor : state.pd_cursor);
    case Search::kPosition:
      if (position >= keys.size() || keys[position] != key) {
        throw BrokenRecord("entry of another resource than the one at its position");
      }
      return position;
  }
  return 0;
}

void MakeSlots(ArchiveState& state, const KindRule& rule, const std::vector<Bytes>& keys) {
  state.keys[rule.kind] = keys;
  if (rule.kind == Kind::kCache) {
    state.caches.assign(keys.size(), CacheSlot());
    for (std::size_t i = 0; i < keys.size(); ++i) state.caches[i].key = keys[i][0];
    return;
  }
  std::vector<Slot> slots;
  for (const Bytes& key : keys) slots.push_back(EmptySlot(rule, key));
  state.slots[rule.kind] = slots;
}

void HoldStructure(ArchiveState& state, const Structure& structure) {
  state.structure = structure;
  state.structure_held = true;
  state.structure_in_output = true;
  state.counts_forgotten = false;
  state.keys.clear();
  state.slots.clear();
  state.caches.clear();
  for (const KindRule& rule : KindRules(structure.revision)) {
    std::vector<Bytes> keys;
    const auto list = structure.lists.find(rule.slot);
    if (rule.in_structure && list != structure.lists.end()) {
      for (const Bytes& entry : list->second) {
        keys.push_back(ListKey(rule, entry, structure.second_cheseg_key()));
      }
    }
    MakeSlots(state, rule, keys);
  }
  state.hp_from_statistics =
      structure.revision >= 0x1D && state.input_level == 'H' && structure.count(kHpSlotFrom1D) == 0;
  state.hp_built = false;
  state.hp_node_built = false;

  state.conc = MakeBlock(structure.has_conc(), structure.conc_count());
  state.ld_cp = MakeBlock(structure.has_ld_cp(), structure.ld_cp_count());
  state.pool_cp = MakeBlock(structure.has_pool_cp(), structure.pool_cp_count());
  state.wait_time = MakeBlock(structure.has_wait_time(), state.keys[Kind::kLd].size());
  state.cab = MakeBlock(structure.has_cab(), structure.cab_count());
  state.ld_cp_count = structure.has_ld_cp() ? structure.ld_cp_count() : 0;
  state.pool_cp_count = structure.has_pool_cp() ? structure.pool_cp_count() : 0;
  state.cab_count = structure.has_cab() ? structure.cab_count() : 0;
}

void HoldNothing(ArchiveState& state) {
  state.structure_held = false;
  state.structure = Structure();
  state.structure.revision = state.revision;
  state.structure.basic.assign(kBasicSize, 0);
  state.keys.clear();
  state.slots.clear();
  state.caches.clear();
  state.hp_from_statistics = false;
  state.hp_built = false;
  state.hp_node_built = false;
  for (ItemBlock* block :
       {&state.conc, &state.ld_cp, &state.pool_cp, &state.wait_time, &state.cab}) {
    *block = ItemBlock();
  }
}

void DropBuiltSets(ArchiveState& state) {
  for (const KindRule& rule : KindRules(state.revision)) {
    const bool built_hp = rule.kind == Kind::kHp && state.hp_from_statistics;
    if (built_hp || rule.kind == Kind::kHpNode) MakeSlots(state, rule, {});
  }
  state.hp_built = false;
  state.hp_node_built = false;
}

void ClearSlots(ArchiveState& state) {
  for (const KindRule& rule : KindRules(state.revision)) {
    MakeSlots(state, rule, std::vector<Bytes>(state.keys[rule.kind]));
  }
}

}  // namespace model
