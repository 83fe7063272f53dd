// Small structure and statistics records of every revision, put together from hand-written facts
// (revision_facts.h), and logs made of them, for tests that must not trust the program's own
// tables.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/record_bytes.h"

namespace spell {

// Resource `i` of every kind has the key bytes i + 1, i + 1.
inline uint32_t KeyByte(uint32_t i) { return i + 1; }

struct StructureOptions {
  uint32_t time = kNewYear;
  uint8_t flag = 0x21;
  uint8_t continuation = 0;
  uint32_t logical_disks = 1;
  bool all_kinds = false;  // one resource of every kind, and all optional items
  uint32_t slot_104 = 0;   // entries of the list that only logs have
};

// Variable list entries have 8 bytes behind their fixed part. From 0x19 on ranks are included.
Bytes Structure(uint8_t revision, const StructureOptions& options = {});

struct StatisticsOptions {
  uint32_t time = kNewYear;
  uint8_t flag = 0x42;
  uint32_t interval = 60000;  // milliseconds
  uint32_t operations = 10;   // first word of every first counter group
  uint32_t logical_disks = 1;
  bool all_kinds = false;
};

// The record that goes with it.
Bytes Statistics(uint8_t revision, const StatisticsOptions& options = {});

// A statistics record with `count` logical disks and nothing else; their entries as they stand.
Bytes StatisticsOfDisks(uint8_t revision, uint32_t time, uint32_t count, const Bytes& entries);

// First word of the first counter group of logical disk `i` in a statistics record of full entries
// with `words` extended words.
uint32_t DiskOperations(uint8_t revision, const Bytes& record, uint32_t words = 0, uint32_t i = 0);

// A log of one day: header, structure record, one statistics record at each time given.
Bytes Log(const Header& header, const std::vector<uint32_t>& times, bool all_kinds = false);

}  // namespace spell
