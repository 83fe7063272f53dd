// Whole records for the tests of the revision code, put together from hand-made pieces.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "areas/kinds.h"
#include "tests/support/entry_bytes.h"

namespace revtest {

using Key = std::vector<uint8_t>;

// A zeroed list entry of a kind with the key at its place; variable entries get `variable` bytes.
Bytes ListEntry(int revision, Kind kind, const Key& key, size_t variable = 0);

// A "CON" record: header, basic information, lists, trailing section. Each piece stands behind a
// gap of `gap` bytes, which no reader may take for contents.
struct StructureBuilder {
  explicit StructureBuilder(int format) : revision(format) {}

  // One zeroed entry per key.
  StructureBuilder& Add(Kind kind, std::initializer_list<Key> keys);
  StructureBuilder& AddTo(int slot, const Bytes& entry);
  Bytes Build() const;

  int revision;
  unsigned flag = 0;
  uint32_t time = 0;
  unsigned continuation = 0;
  unsigned pair = 0;  // bytes 14 and 15
  Bytes basic{112};
  std::map<int, unsigned> first;            // first field of descriptors, by slot
  std::map<int, std::vector<Bytes>> lists;  // by slot
  std::optional<Bytes> trailing;
  uint32_t last_word = 0;  // behind the trailing section's offset
  size_t gap = 0;
};

// A "STA" record: head, sections in the order of the revision, optional items.
struct StatisticsBuilder {
  explicit StatisticsBuilder(int format) : revision(format) {}

  StatisticsBuilder& Add(Kind kind, const Bytes& entry);
  // Announces `n` entries without giving any (offset 0).
  StatisticsBuilder& Announce(Kind kind, unsigned n);
  StatisticsBuilder& Item(const Bytes& item);
  Bytes Build() const;

  int revision;
  unsigned flag = 0;
  uint32_t time = 0;
  unsigned pair = 0;               // bytes 14 and 15
  std::map<Kind, unsigned> first;  // first field of section headers
  std::map<Kind, std::vector<Bytes>> sections;
  std::map<Kind, unsigned> counts;  // instead of the number of entries
  std::vector<Bytes> items;
  size_t gap = 0;
};

// One resource of every kind that has a list (of rank and pool what `pools` says from 0x19 on),
// with `key` in all of its key bytes.
StructureBuilder OneOfEach(int revision, bool pools = false, uint8_t key = 1);

// A full entry of any kind with `key` in all of its key bytes, interval length and ratio flag set.
Bytes PlainEntry(int revision, Kind kind, uint8_t key, uint32_t length);

// The record that goes with OneOfEach.
StatisticsBuilder EntryOfEach(int revision, uint32_t time, bool pools = false,
                              uint32_t length = 1000);

// An optional item: 24-byte head and elements that follow it.
struct ItemFields {
  unsigned type = 0;
  unsigned flag = 0;
  uint32_t status = 0;
  uint32_t interval = 0;
  unsigned carried = 0;
  std::vector<Bytes> elements;
};
Bytes Item(const ItemFields& fields);

// The same as it is written: 8 zero bytes behind the head.
Bytes OutputItem(const ItemFields& fields);

}  // namespace revtest

namespace spell {

// What was built, as the tests of files take bytes.
inline std::string TextOf(const revtest::Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace spell
