// Records of the tests: see the header.
#include "tests/support/record_builder.h"

#include "tests/support/revision_facts.h"

namespace revtest {
namespace {

constexpr size_t kBasic = 112;
constexpr size_t kItemsAt = 16;

void AddGap(Bytes& record, size_t gap) {
  for (size_t i = 0; i < gap; ++i) record.Add(Bytes(1).U8(0, 0xEE));
}

uint32_t Size(const Bytes& bytes) { return static_cast<uint32_t>(bytes.size()); }

size_t At(int offset) { return static_cast<size_t>(offset); }

}  // namespace

Bytes ListEntry(int revision, Kind kind, const Key& key, size_t variable) {
  const std::vector<KindFacts> kinds = KindsOf(revision);
  const KindFacts& facts = *FindKind(kinds, kind);
  // Pools of descriptor size are 56 bytes long in these tests.
  const size_t size = facts.list == kFromDescriptor ? 56 : At(facts.list);
  Bytes entry(size + variable);
  const size_t key_at = kind == kRank ? 4 : 0;
  for (size_t i = 0; i < key.size(); ++i) entry.U8(key_at + i, key[i]);
  if (kind == kRank) entry.U32(0, entry.size());
  if (kind == kLd && size == 64) entry.U32(52, entry.size());
  return entry;
}

StructureBuilder& StructureBuilder::Add(Kind kind, std::initializer_list<Key> keys) {
  const std::vector<KindFacts> kinds = KindsOf(revision);
  const KindFacts& facts = *FindKind(kinds, kind);
  if (facts.list == kFromDescriptor) first[facts.slot] = 56;
  for (const Key& key : keys) lists[facts.slot].push_back(ListEntry(revision, kind, key));
  return *this;
}

StructureBuilder& StructureBuilder::AddTo(int slot, const Bytes& entry) {
  lists[slot].push_back(entry);
  return *this;
}

Bytes StructureBuilder::Build() const {
  const int trailing_at = TrailingAt(revision);
  Bytes record(At(RecordHeadOf(revision)));
  record.Text(0, "CON").U8(3, flag).U32(4, time).U8(12, continuation).U16(14, pair);
  AddGap(record, gap);
  const auto basic_first = first.find(16);
  record.Slot(16, basic_first != first.end() ? basic_first->second : kBasic, 1, Size(record));
  record.Add(basic);
  for (const ListFacts& list : ListsOf(revision)) {
    const auto given = first.find(list.slot);
    const unsigned first_field = given != first.end() ? given->second : 0;
    const auto found = lists.find(list.slot);
    if (found == lists.end()) {
      record.Slot(At(list.slot), first_field, 0, 0);
      continue;
    }
    AddGap(record, gap);
    record.Slot(At(list.slot), first_field, found->second.size(), Size(record));
    for (const Bytes& entry : found->second) record.Add(entry);
  }
  if (trailing_at != 0) record.U32(At(trailing_at) + 4, last_word);
  if (trailing.has_value()) {
    AddGap(record, gap);
    record.U32(At(trailing_at), Size(record));
    record.Add(*trailing);
  }
  return record.U32(8, Size(record));
}

StatisticsBuilder& StatisticsBuilder::Add(Kind kind, const Bytes& entry) {
  sections[kind].push_back(entry);
  return *this;
}

StatisticsBuilder& StatisticsBuilder::Announce(Kind kind, unsigned n) {
  counts[kind] = n;
  return *this;
}

StatisticsBuilder& StatisticsBuilder::Item(const Bytes& item) {
  items.push_back(item);
  return *this;
}

Bytes StatisticsBuilder::Build() const {
  Bytes record(At(RecordHeadOf(revision)));
  record.Text(0, "STA").U8(3, flag).U32(4, time).U16(14, pair);
  for (const KindFacts& facts : KindsOf(revision)) {
    const auto found = sections.find(facts.kind);
    const auto given = first.find(facts.kind);
    const auto announced = counts.find(facts.kind);
    uint64_t count = found != sections.end() ? found->second.size() : 0;
    if (announced != counts.end()) count = announced->second;
    if (found != sections.end()) AddGap(record, gap);
    record.Slot(At(facts.slot), given != first.end() ? given->second : 0, count,
                found != sections.end() ? Size(record) : 0);
    if (found == sections.end()) continue;
    for (const Bytes& entry : found->second) record.Add(entry);
  }
  if (!items.empty()) {
    AddGap(record, gap);
    record.Slot(kItemsAt, 0, items.size(), Size(record));
    for (const Bytes& item : items) record.Add(item);
  }
  return record.U32(8, Size(record));
}

StructureBuilder OneOfEach(int revision, bool pools, uint8_t key) {
  StructureBuilder structure(revision);
  structure.basic.U8(95, pools ? 1 : 0);
  for (const KindFacts& facts : KindsOf(revision)) {
    if (facts.list == 0) continue;
    if (revision >= 0x19 && facts.kind == (pools ? kRank : kPool)) continue;
    structure.Add(facts.kind, {Key(2, key)});
  }
  return structure;
}

Bytes PlainEntry(int revision, Kind kind, uint8_t key, uint32_t length) {
  const std::vector<KindFacts> kinds = KindsOf(revision);
  Bytes entry(At(FindKind(kinds, kind)->entry));
  entry.U32(4, length).U8(8, key);
  if (kind == kCache) return entry;
  const EntryFacts facts = EntryOf(kind, revision);
  for (const int at : facts.keys) entry.U8(At(at), key);
  if (facts.flag != 0) entry.U8(At(facts.flag_at), At(facts.flag));
  return entry;
}

StatisticsBuilder EntryOfEach(int revision, uint32_t time, bool pools, uint32_t length) {
  StatisticsBuilder statistics(revision);
  statistics.time = time;
  for (const KindFacts& facts : KindsOf(revision)) {
    if (facts.list == 0) continue;
    if (revision >= 0x19 && facts.kind == (pools ? kRank : kPool)) continue;
    statistics.Add(facts.kind, PlainEntry(revision, facts.kind, 1, length));
  }
  return statistics;
}

namespace {

Bytes ItemWithHead(const ItemFields& fields, size_t head) {
  Bytes item(head);
  for (const Bytes& element : fields.elements) item.Add(element);
  return item.U32(0, fields.status)
      .U32(4, fields.interval)
      .U32(8, item.size())
      .U8(12, fields.type)
      .U8(13, fields.flag)
      .U16(16, fields.carried)
      .U16(18, fields.elements.size())
      .U32(20, head);
}

}  // namespace

Bytes Item(const ItemFields& fields) { return ItemWithHead(fields, 24); }
Bytes OutputItem(const ItemFields& fields) { return ItemWithHead(fields, 32); }

}  // namespace revtest
