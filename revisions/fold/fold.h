// The door of folding: sections of statistics records in, periods out. Entries that were read are
// pending for a while, and the record that they stand in stays in memory; slots are only handed out
// with all that was read in them (revisions/fold/settled.h).
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/layout/layout.h"
#include "revisions/fold/settle.h"

// A statistics record that is wholly in memory.
struct RecordView {
  const uint8_t* data;
  size_t size;
};

// Reads `count` entries of a section from `offset` on. False: broken record, reported.
bool ReadSection(const RecordView& record, const SectionRow& row, QuadRule rule, uint32_t offset,
                 uint32_t count);

// Puts all slots of the kind as a section; returns the first byte behind it. There must be room for
// LargestSection bytes.
uint8_t* PutSection(uint8_t* out, const SectionRow& row, QuadRule rule);

// Bytes of a kind's section when no entry is compact.
size_t LargestSection(const SectionRow& row);
