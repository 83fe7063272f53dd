// Sample records: see the header.
#include "tests/support/sample_records.h"

#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"

namespace spell {

namespace {

using revtest::KindFacts;
using revtest::ListFacts;

constexpr size_t kVariable = 8;
constexpr int kLogsList = 104;
constexpr int kCarriedList = 144;
constexpr int kPoolList = 120;  // from 0x19 on, which has ranks instead

revtest::Bytes Filled(size_t size, char byte) {
  return revtest::Bytes(std::vector<uint8_t>(size, static_cast<uint8_t>(byte)));
}

int DiskSlot(uint8_t revision) { return revtest::FindKind(revtest::KindsOf(revision), kLd)->slot; }

revtest::Bytes ListEntry(const ListFacts& list, uint32_t i) {
  const auto size = static_cast<size_t>(list.entry);
  if (list.slot == kLogsList) return Filled(size, 'L');
  if (list.slot == kCarriedList) return Filled(size, 'M');
  revtest::Bytes entry(size);
  const size_t key_at = list.length_at == 0 ? 4 : 0;
  entry.U8(key_at, KeyByte(i)).U8(key_at + 1, KeyByte(i));
  if (list.length_at < 0) return entry;
  entry.U32(static_cast<size_t>(list.length_at), size + kVariable);
  return entry.Add(Filled(kVariable, 'v'));
}

revtest::Bytes BasicInformation(uint8_t revision, bool items) {
  revtest::Bytes basic(112);
  if (!items) return basic;
  if (revision >= 0x18) basic.U16(98, 0x8001);
  if (revision >= 0x1B) basic.U32(100, 0x80018001);
  if (revision >= 0x1C) basic.U8(97, 0x20);
  if (revision >= 0x1D) basic.U16(104, 0x8001);
  return basic;
}

revtest::Bytes Entry(uint8_t revision, const KindFacts& facts, uint32_t i,
                     const StatisticsOptions& options) {
  revtest::Bytes entry(static_cast<size_t>(facts.entry));
  entry.U32(4, options.interval).U8(8, KeyByte(i));
  if (facts.kind == kCache) return entry;
  const revtest::EntryFacts places = revtest::EntryOf(facts.kind, revision);
  for (const int at : places.keys) entry.U8(static_cast<size_t>(at), KeyByte(i));
  if (places.quads_at >= 0) entry.U32(static_cast<size_t>(places.quads_at), options.operations);
  return entry;
}

// One optional item of each type, of one element.
void AddItems(uint8_t revision, uint32_t interval, revtest::StatisticsBuilder& record) {
  const auto add = [&](uint8_t type, size_t size, uint32_t key) {
    revtest::Bytes element(size);
    element.U16(0, key);
    if (type == 16) element.U8(12, 1);
    record.Item(
        revtest::Item({.type = type, .flag = 0x80, .interval = interval, .elements = {element}}));
  };
  if (revision >= 0x18) add(16, 16, 1);
  if (revision >= 0x1B) add(32, 32, 1);
  if (revision >= 0x1B) add(48, 48, 1);
  if (revision >= 0x1C) add(33, 32, 0x0101);  // key of the first logical disk
  if (revision >= 0x1D) add(64, 16, 1);
}

}  // namespace

Bytes Structure(uint8_t revision, const StructureOptions& options) {
  revtest::StructureBuilder record(revision);
  record.flag = options.flag;
  record.time = options.time;
  record.continuation = options.continuation;
  record.basic = BasicInformation(revision, options.all_kinds);
  for (const ListFacts& list : revtest::ListsOf(revision)) {
    const bool disks = list.slot == DiskSlot(revision);
    if (!disks && !options.all_kinds) continue;
    if (list.slot == kPoolList) continue;
    uint32_t count = 1;
    if (disks) count = options.logical_disks;
    if (list.slot == kLogsList && revision >= 0x19) count = options.slot_104;
    if (list.slot == kLogsList && count == 0) continue;
    record.first[list.slot] = static_cast<unsigned>(list.entry);
    record.lists[list.slot];
    for (uint32_t i = 0; i < count; ++i) record.AddTo(list.slot, ListEntry(list, i));
  }
  if (options.all_kinds && revision >= 0x15) {
    record.trailing = revtest::Bytes(16).Text(0, "trailing section");
  }
  return TextOf(record.Build());
}

Bytes Statistics(uint8_t revision, const StatisticsOptions& options) {
  revtest::StatisticsBuilder record(revision);
  record.flag = options.flag;
  record.time = options.time;
  for (const KindFacts& facts : revtest::KindsOf(revision)) {
    if (facts.kind != kLd && !options.all_kinds) continue;
    if (facts.kind == kPool && revision >= 0x19) continue;
    const uint32_t count = facts.kind == kLd ? options.logical_disks : 1;
    record.sections[facts.kind];
    for (uint32_t i = 0; i < count; ++i) {
      record.Add(facts.kind, Entry(revision, facts, i, options));
    }
  }
  if (options.all_kinds) AddItems(revision, options.interval, record);
  return TextOf(record.Build());
}

Bytes StatisticsOfDisks(uint8_t revision, uint32_t time, uint32_t count, const Bytes& entries) {
  revtest::StatisticsBuilder record(revision);
  record.time = time;
  record.first[kLd] = 96;
  record.Announce(kLd, count);
  record.Add(kLd, revtest::Bytes(std::vector<uint8_t>(entries.begin(), entries.end())));
  return TextOf(record.Build());
}

uint32_t DiskOperations(uint8_t revision, const Bytes& record, uint32_t words, uint32_t i) {
  const size_t at = GetU32(record, static_cast<size_t>(DiskSlot(revision)) + 4);
  return GetU32(record, at + size_t{i} * (96 + words * 4) + 16);
}

Bytes Log(const Header& header, const std::vector<uint32_t>& times, bool all_kinds) {
  Bytes file = HeaderRecord(header) +
               Structure(header.revision, {.time = header.time, .all_kinds = all_kinds});
  for (const uint32_t time : times) {
    file += Statistics(header.revision, {.time = time, .all_kinds = all_kinds});
  }
  return file;
}

}  // namespace spell
