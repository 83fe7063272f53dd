// Reading, writing and comparing structure records in the slow model.

#include "tests/model/structure_record.h"

namespace model {
namespace {

constexpr std::size_t kRankSlot = 112;  // from 0x19 on
constexpr std::size_t kPoolSlot = 120;  // from 0x19 on

// The host port list of 0x1D and later is read but never written.
bool IsUnwrittenHp(int revision, std::size_t slot) { return revision >= 0x1D && slot == 48; }

std::size_t EntrySize(const ListRule& rule, const Descriptor& descriptor) {
  return rule.entry_size != 0 ? rule.entry_size : descriptor.first;
}

std::vector<Bytes> ReadList(const Bytes& record, const ListRule& rule,
                            const Descriptor& descriptor) {
  std::vector<Bytes> entries;
  if (descriptor.count == 0) return entries;
  if (descriptor.offset == 0) throw BrokenRecord("list without an offset");
  const std::size_t size = EntrySize(rule, descriptor);
  if (size < 2) throw BrokenRecord("list entries without room for a key");
  std::size_t at = descriptor.offset;
  for (int i = 0; i < descriptor.count; ++i) {
    Bytes entry = Slice(record, at, size);
    if (rule.variable) {
      const std::size_t total = Get32(entry, rule.length_at);
      if (total < size) throw BrokenRecord("variable entry shorter than its fixed part");
      entry = Slice(record, at, total);
    }
    at += entry.size();
    entries.push_back(entry);
  }
  return entries;
}

bool Present(uint16_t word) { return (word & 0x8000U) != 0; }
uint16_t Count(uint16_t word) { return static_cast<uint16_t>(word & 0x7FFFU); }

bool SameOptional(bool held_present, uint16_t held, bool next_present, uint16_t next) {
  if (!next_present) return true;
  return held_present && held == next;
}

}  // namespace

std::vector<ListRule> ListRules(int revision) {
  std::vector<ListRule> rules;
  if (HasSlot128(revision)) rules.push_back({128, 4, false, 0});
  for (const KindRule& kind : KindRules(revision)) {
    if (!kind.in_structure) continue;
    rules.push_back({kind.slot, kind.list_size, kind.variable, kind.length_at});
  }
  if (HasSlot144(revision)) rules.push_back({144, 16, false, 0});
  return rules;
}

uint16_t Structure::count(std::size_t slot) const {
  const auto found = descriptors.find(slot);
  return found == descriptors.end() ? uint16_t{0} : found->second.count;
}

bool Structure::excluded(std::size_t slot) const {
  if (!RankOrPool(revision)) return false;
  const bool ranks_carried = Get8(basic, 95) == 0;
  if (slot == kRankSlot) return !ranks_carried;
  if (slot == kPoolSlot) return ranks_carried;
  return false;
}

bool Structure::second_cheseg_key() const {
  return revision >= 0x1A && (Get8(basic, 97) & 0x80) != 0;
}

bool Structure::has_conc() const { return HasConc(revision) && Present(Get16(basic, 98)); }
bool Structure::has_ld_cp() const { return HasPairs(revision) && Present(Get16(basic, 100)); }
bool Structure::has_pool_cp() const { return HasPairs(revision) && Present(Get16(basic, 102)); }
bool Structure::has_cab() const { return HasCab(revision) && Present(Get16(basic, 104)); }
bool Structure::has_wait_time() const {
  return HasWaitTime(revision) && (Get8(basic, 97) & 0x20) != 0;
}
uint16_t Structure::conc_count() const { return Count(Get16(basic, 98)); }
uint16_t Structure::ld_cp_count() const { return Count(Get16(basic, 100)); }
uint16_t Structure::pool_cp_count() const { return Count(Get16(basic, 102)); }
uint16_t Structure::cab_count() const { return Count(Get16(basic, 104)); }

Structure ReadStructure(const Bytes& record, int revision) {
  const std::size_t head = RecordHeadSize(revision);
  if (record.size() < head) throw BrokenRecord("structure record shorter than its header");
  Structure structure;
  structure.revision = revision;
  structure.flag_byte = Get8(record, 3);
  structure.stamp = Get32(record, 4);
  structure.continuation = Get8(record, 12) != 0;
  structure.bytes14[0] = Get8(record, 14);
  structure.bytes14[1] = Get8(record, 15);
  structure.descriptors[16] = ReadDescriptor(record, 16);
  structure.basic = Slice(record, structure.descriptors[16].offset, kBasicSize);
  if (HasSlot104(revision)) structure.descriptors[104] = ReadDescriptor(record, 104);
  for (const ListRule& rule : ListRules(revision)) {
    const Descriptor descriptor = ReadDescriptor(record, rule.slot);
    structure.descriptors[rule.slot] = descriptor;
    if (structure.excluded(rule.slot)) continue;
    structure.lists[rule.slot] = ReadList(record, rule, descriptor);
  }
  const std::size_t trailing_slot = TrailingSlot(revision);
  if (trailing_slot != 0) {
    const std::size_t offset = Get32(record, trailing_slot);
    structure.last_word = Get32(record, trailing_slot + 4);
    if (offset != 0) {
      if (offset > record.size()) throw BrokenRecord("trailing section beyond the record");
      structure.has_trailing = true;
      structure.trailing = Slice(record, offset, record.size() - offset);
    }
  }
  return structure;
}

Bytes WriteStructure(const Structure& structure, bool continuation) {
  const int revision = structure.revision;
  const std::size_t head = RecordHeadSize(revision);
  Bytes record(head, 0);
  PatchText(record, 0, "CON");
  record[3] = structure.flag_byte;
  Patch32(record, 4, structure.stamp);
  record[12] = continuation ? 1 : 0;
  if (revision >= 0x1D) {
    record[14] = structure.bytes14[0];
    record[15] = structure.bytes14[1];
  }
  Descriptor basic = structure.descriptors.at(16);
  basic.offset = static_cast<uint32_t>(record.size());
  PatchDescriptor(record, 16, basic);
  Append(record, structure.basic);

  uint32_t rank_offset = 0;
  for (const ListRule& rule : ListRules(revision)) {
    Descriptor descriptor = structure.descriptors.at(rule.slot);
    descriptor.offset = static_cast<uint32_t>(record.size());
    if (IsUnwrittenHp(revision, rule.slot)) {
      PatchDescriptor(record, rule.slot, {4, 0, 0});
      continue;
    }
    if (RankOrPool(revision)) {  // both descriptors name the place that the two share
      if (rule.slot == kRankSlot) rank_offset = descriptor.offset;
      if (rule.slot == kPoolSlot) descriptor.offset = rank_offset;
    }
    PatchDescriptor(record, rule.slot, descriptor);
    const auto list = structure.lists.find(rule.slot);
    if (list == structure.lists.end()) continue;
    for (const Bytes& entry : list->second) Append(record, entry);
  }
  const std::size_t trailing_slot = TrailingSlot(revision);
  if (trailing_slot != 0) {
    if (structure.has_trailing) {
      Patch32(record, trailing_slot, static_cast<uint32_t>(record.size()));
      Append(record, structure.trailing);
    }
    Patch32(record, trailing_slot + 4, structure.last_word);
  }
  Patch32(record, 8, static_cast<uint32_t>(record.size()));
  return record;
}

bool SameCounts(const Structure& held, const Structure& next, bool no_numbers) {
  if (HasSlot104(next.revision) && held.count(104) != next.count(104)) return false;
  for (const ListRule& rule : ListRules(next.revision)) {
    if (held.count(rule.slot) != next.count(rule.slot)) return false;
  }
  const auto number = [&](uint16_t of_held) { return no_numbers ? uint16_t{0} : of_held; };
  return SameOptional(held.has_conc(), number(held.conc_count()), next.has_conc(),
                      next.conc_count()) &&
         SameOptional(held.has_ld_cp(), number(held.ld_cp_count()), next.has_ld_cp(),
                      next.ld_cp_count()) &&
         SameOptional(held.has_pool_cp(), number(held.pool_cp_count()), next.has_pool_cp(),
                      next.pool_cp_count()) &&
         SameOptional(held.has_cab(), number(held.cab_count()), next.has_cab(), next.cab_count());
}

}  // namespace model
