// What a structure record says about the array, as far as statistics records are judged by it: the
// keys of the resources of each kind, and how many elements optional items may have.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "engine/layout/layout.h"
#include "tools/reading/finding.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

struct KeyTable {
  uint32_t count = 0;  // as announced: sections of statistics records must agree
  Lookup lookup = Lookup::kScan;
  uint8_t key_count = 0;         // key bytes in use
  bool from_statistics = false;  // found in a statistics record, not in the structure record
  std::vector<uint32_t> keys;    // in table order; empty for the kind that is not carried
  std::vector<uint32_t> sorted;

  // Sorts what was put into `keys`. True when a key stands there twice.
  bool Finish();
  // True when an entry at `position` of its section finds its resource.
  bool Finds(uint32_t key, uint32_t position) const;
};

struct ArrayTables {
  bool known = false;  // a structure record has been read
  uint8_t choice = 0;  // 0: ranks are carried, else pools
  std::array<KeyTable, kSectionKinds> kinds;
  std::array<int32_t, kKinds> item_room = {};  // most elements of an optional item, -1: no block

  ArrayTables() { item_room.fill(-1); }
};

// Up to three key bytes as one number, the first byte on top.
uint32_t PackKey(const uint8_t* bytes, size_t count);
// The key of a statistics entry.
uint32_t EntryKey(const KeyBytes& key, size_t key_count, std::span<const uint8_t> entry);
// As `--key` takes it: "258" for kinds with a number, "1.4" for others.
std::string KeyText(const KeyBytes& key, size_t key_count, uint32_t packed);

// Reads a structure record by the archiver's rules. False: it breaks the file, reported; then
// `tables` holds nothing of use.
bool ReadTables(const PslHeader& header, std::span<const uint8_t> record, RecordReport& report,
                ArrayTables& tables);

}  // namespace psltool
