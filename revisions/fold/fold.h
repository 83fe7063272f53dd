// The door of folding: sections of statistics records in, periods out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "engine/input_bytes.h"
#include "engine/layout/layout.h"

// A statistics record that is wholly in memory.
struct RecordView {
  const uint8_t* data;
  size_t size;
};

// Reads `count` entries of a section from `offset` on. False: broken record, reported.
bool ReadSection(const RecordView& record, const SectionRow& row, QuadRule rule, uint32_t offset,
                 uint32_t count);

// Set when a section has entries that do not follow their table.
extern bool entries_out_of_step;

// A section of a record that is read by pieces.
struct SectionPlace {
  RecordBytes* record;
  uint32_t offset;
};

// Reads the sections of a kind of several records, oldest first, which have an entry for each
// resource, in the order of the table: tile by tile, of all records. False: one of them has other
// entries, or leaves its record, or cannot be read; the slots are void then, and nothing has been
// reported.
bool FoldInStep(std::span<const SectionPlace> places, const SectionRow& row, QuadRule rule);

// Puts slots of the kind as entries of a section, from slot `from` to before `to`, which begin
// tiles or end the set; returns the first byte behind them. Cache modules are put all at once.
// There must be room for so many of the largest entries.
uint8_t* PutSection(uint8_t* out, const SectionRow& row, QuadRule rule, int32_t from, int32_t to);

// Bytes of a kind's entry that is not compact.
size_t LargestEntry(const SectionRow& row);

// Bytes of the section that PutSection will make of all slots.
size_t SectionSize(const SectionRow& row);
