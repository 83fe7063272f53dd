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

// Puts all slots of the kind as a section; returns the first byte behind it. There must be room for
// LargestSection bytes.
uint8_t* PutSection(uint8_t* out, const SectionRow& row, QuadRule rule);

// Bytes of a kind's section when no entry is compact.
size_t LargestSection(const SectionRow& row);

// Frees what is kept of tables.
void FreeSignatures();
