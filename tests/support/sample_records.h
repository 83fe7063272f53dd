// Small structure and statistics records of every revision, spelled out byte by byte, and logs made
// of them, for tests that must not trust the program's own tables. Offsets stand here as numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/support/record_bytes.h"

namespace spell {

// Resource `i` of every kind has the key bytes i + 1, i + 1.
inline uint32_t KeyByte(uint32_t i) { return i + 1; }

// ---- structure records ----

struct ListPlace {
  size_t slot, entry;
  size_t key_at = 0;
  int total_length_at = -1;  // with a variable part of 8 bytes behind each entry
};

inline ListPlace LogicalDiskList(uint8_t revision) {
  const size_t slot = revision < 0x13 ? 40 : revision == 0x13 ? 48 : revision < 0x19 ? 56 : 88;
  if (revision < 0x15) return {slot, 48};
  return {slot, 64, 0, 52};
}

// Lists of a log in file order; slot 104 and the excluded one of rank and pool apart.
inline std::vector<ListPlace> ListsBeforeRanks(uint8_t revision) {
  const ListPlace ld = LogicalDiskList(revision);
  if (revision < 0x13) return {{24, 4}, {32, 4}, ld, {48, 48}};
  if (revision == 0x13) return {{24, 4}, {32, 4}, {40, 32}, ld, {56, 48}};
  if (revision < 0x19) return {{24, 4}, {32, 4}, {40, 4}, {48, 32}, ld, {64, 48}};
  std::vector<ListPlace> lists;
  if (revision >= 0x1A) lists.push_back({128, 4});
  lists.push_back({24, 4});
  if (revision >= 0x1A) lists.insert(lists.end(), {{32, 4}, {40, 4}});
  const bool newest = revision >= 0x1D;
  lists.push_back({48, newest ? size_t{48} : 4});
  lists.push_back({56, newest ? size_t{8} : 4});
  if (newest) lists.push_back({136, 8});
  lists.insert(lists.end(), {{64, 4}, {72, 32}, {80, 32}, ld, {96, 48}});
  return lists;
}

inline std::vector<ListPlace> RanksAndPools(uint8_t revision) {
  if (revision == 0x10) return {};
  if (revision < 0x13) return {{56, 32, 4, 0}};
  if (revision == 0x13) return {{64, 32, 4, 0}};
  if (revision < 0x19) return {{72, 32, 4, 0}, {80, 48}};
  return {{112, 32, 4, 0}};
}

inline Bytes ListEntries(const ListPlace& list, uint32_t count) {
  constexpr size_t kVariable = 8;
  Bytes b;
  for (uint32_t i = 0; i < count; ++i) {
    Bytes entry(list.entry, '\0');
    SetU8(entry, list.key_at, KeyByte(i));
    SetU8(entry, list.key_at + 1, KeyByte(i));
    if (list.total_length_at >= 0) {
      SetU32(entry, static_cast<size_t>(list.total_length_at),
             static_cast<uint32_t>(list.entry + kVariable));
      entry.append(kVariable, 'v');
    }
    b += entry;
  }
  return b;
}

struct StructureOptions {
  uint32_t time = kNewYear;
  uint8_t flag = 0x21;
  uint8_t continuation = 0;
  uint32_t logical_disks = 1;
  bool all_kinds = false;  // one resource of every kind, and all optional items
  uint32_t slot_104 = 0;   // entries of the list that only logs have
};

inline Bytes BasicInformation(uint8_t revision, bool items) {
  Bytes basic(112, '\0');
  if (!items) return basic;
  if (revision >= 0x18) SetU16(basic, 98, 0x8001);
  if (revision >= 0x1B) SetU32(basic, 100, 0x80018001);
  if (revision >= 0x1C) SetU8(basic, 97, 0x20);
  if (revision >= 0x1D) SetU16(basic, 104, 0x8001);
  return basic;
}

inline Bytes Structure(uint8_t revision, const StructureOptions& options = {}) {
  Sections record("CON", options.flag, options.time, HeadSize(revision));
  record.Add(16, 112, 1, BasicInformation(revision, options.all_kinds));
  const ListPlace disks = LogicalDiskList(revision);
  if (options.all_kinds) {
    for (const ListPlace& list : ListsBeforeRanks(revision)) {
      const uint32_t count = list.slot == disks.slot ? options.logical_disks : 1;
      record.Add(list.slot, static_cast<uint32_t>(list.entry), count, ListEntries(list, count));
    }
    if (options.slot_104 > 0 && revision >= 0x19) {
      record.Add(104, 16, options.slot_104, Bytes(size_t{16} * options.slot_104, 'L'));
    }
    for (const ListPlace& list : RanksAndPools(revision)) {
      record.Add(list.slot, static_cast<uint32_t>(list.entry), 1, ListEntries(list, 1));
    }
    if (revision >= 0x1E) record.Add(144, 16, 1, Bytes(16, 'M'));
  } else {
    record.Add(disks.slot, static_cast<uint32_t>(disks.entry), options.logical_disks,
               ListEntries(disks, options.logical_disks));
  }
  if (options.all_kinds && revision >= 0x15) {
    record.Patch32(revision < 0x19 ? 104 : 248, static_cast<uint32_t>(record.size()));
    record.Append("trailing section");
  }
  Bytes bytes = record.Finish();
  SetU8(bytes, 12, options.continuation);
  return bytes;
}

// ---- statistics records ----

struct SectionPlace {
  size_t slot, entry;
  std::vector<size_t> keys;  // bytes of the entry that hold the key
  size_t quadset = 0;        // the first counter group, 0 = none
};

inline SectionPlace LogicalDiskSection(uint8_t revision) {
  return {LogicalDiskList(revision).slot, 96, {8, 9}, 16};
}

// Sections in file order.
inline std::vector<SectionPlace> AllSections(uint8_t revision) {
  const SectionPlace ld = LogicalDiskSection(revision);
  const SectionPlace hp11 = {24, 64, {8, 9}, 16};
  const SectionPlace hp12 = {24, 112, {8, 9}, 16};
  if (revision == 0x10) return {hp11, {32, 48, {8, 9}, 16}, ld, {48, 48, {8, 9}, 16}};
  if (revision < 0x13) {
    return {revision == 0x11 ? hp11 : hp12,
            {32, 48, {8, 9}, 16},
            ld,
            {48, 64, {8, 9}, 32},
            {56, revision == 0x11 ? size_t{32} : 64, {8, 9}, revision == 0x11 ? size_t{0} : 32}};
  }
  if (revision == 0x13) {
    return {hp12, {32, 48, {8, 9}, 16}, {40, 96, {8}, 16},
            ld,   {56, 64, {8, 9}, 32}, {64, 64, {8, 9}, 32}};
  }
  if (revision < 0x19) {
    return {hp12, {32, 112, {8, 9}, 16}, {40, 48, {8, 9}, 16}, {48, 96, {8}, 16},
            ld,   {64, 64, {8, 9}, 32},  {72, 64, {8, 9}, 32}, {80, 64, {8, 9}, 32}};
  }
  std::vector<SectionPlace> sections = {{24, 32, {8}}};
  if (revision >= 0x1A) sections.insert(sections.end(), {{32, 32, {8}}, {40, 32, {8}}});
  sections.push_back({48, 112, {8, 9}, 16});
  if (revision >= 0x1A) sections.push_back({128, 112, {8, 9, 13}, 16});
  sections.push_back({56, 112, {8, 9}, 16});
  if (revision >= 0x1D) sections.push_back({136, 48, {8, 9}, 16});
  const size_t cache = revision < 0x1F ? 32 : revision < 0x21 ? 96 : 128;
  sections.insert(sections.end(), {{64, 48, {8, 9}, 16},
                                   {72, cache, {8}},
                                   {80, 96, {8}, 16},
                                   ld,
                                   {96, 64, {8, 9}, 32},
                                   {112, 64, {8, 9}, 32}});
  return sections;
}

struct StatisticsOptions {
  uint32_t time = kNewYear;
  uint8_t flag = 0x42;
  uint32_t interval = 60000;  // milliseconds
  uint32_t operations = 10;   // first word of every first counter group
  uint32_t logical_disks = 1;
  bool all_kinds = false;
};

inline Bytes SectionEntries(const SectionPlace& place, uint32_t count,
                            const StatisticsOptions& options) {
  Bytes b;
  for (uint32_t i = 0; i < count; ++i) {
    Bytes entry(place.entry, '\0');
    SetU32(entry, 4, options.interval);
    for (const size_t at : place.keys) SetU8(entry, at, KeyByte(i));
    if (place.quadset != 0) SetU32(entry, place.quadset, options.operations);
    b += entry;
  }
  return b;
}

// An optional item of one element.
inline Bytes OptionalItem(uint8_t type, uint32_t interval, const Bytes& element) {
  Bytes b;
  U32(b, 0);
  U32(b, interval);
  U32(b, static_cast<uint32_t>(24 + element.size()));
  U8(b, type);
  U8(b, 0x80);
  U16(b, 0);
  U16(b, 0);
  U16(b, 1);
  U32(b, 24);
  return b + element;
}

inline std::vector<Bytes> OptionalItems(uint8_t revision, uint32_t interval) {
  std::vector<Bytes> items;
  const auto add = [&](uint8_t type, size_t size, uint32_t key) {
    Bytes element(size, '\0');
    SetU16(element, 0, key);
    if (type == 16) SetU8(element, 12, 1);
    items.push_back(OptionalItem(type, interval, element));
  };
  if (revision >= 0x18) add(16, 16, 1);
  if (revision >= 0x1B) add(32, 32, 1);
  if (revision >= 0x1B) add(48, 48, 1);
  if (revision >= 0x1C) add(33, 32, 0x0101);  // key of the first logical disk
  if (revision >= 0x1D) add(64, 16, 1);
  return items;
}

inline Bytes Statistics(uint8_t revision, const StatisticsOptions& options = {}) {
  Sections record("STA", options.flag, options.time, HeadSize(revision));
  const SectionPlace disks = LogicalDiskSection(revision);
  if (!options.all_kinds) {
    record.Add(disks.slot, 0, options.logical_disks,
               SectionEntries(disks, options.logical_disks, options));
    return record.Finish();
  }
  for (const SectionPlace& place : AllSections(revision)) {
    const uint32_t count = place.slot == disks.slot ? options.logical_disks : 1;
    record.Add(place.slot, 0, count, SectionEntries(place, count, options));
  }
  Bytes items;
  const std::vector<Bytes> each = OptionalItems(revision, options.interval);
  for (const Bytes& item : each) items += item;
  if (!each.empty()) record.Add(16, 0, static_cast<uint32_t>(each.size()), items);
  return record.Finish();
}

// First word of the first counter group of logical disk `i` in a statistics record of full entries
// with `words` extended words.
inline uint32_t DiskOperations(uint8_t revision, const Bytes& record, uint32_t words = 0,
                               uint32_t i = 0) {
  const size_t at = GetU32(record, LogicalDiskSection(revision).slot + 4);
  return GetU32(record, at + size_t{i} * (96 + words * 4) + 16);
}

// ---- logs ----

// A log of one day: header, structure record, one statistics record at each time given.
inline Bytes Log(const Header& header, const std::vector<uint32_t>& times, bool all_kinds = false) {
  Bytes file = HeaderRecord(header) +
               Structure(header.revision, {.time = header.time, .all_kinds = all_kinds});
  for (const uint32_t time : times) {
    file += Statistics(header.revision, {.time = time, .all_kinds = all_kinds});
  }
  return file;
}

}  // namespace spell
