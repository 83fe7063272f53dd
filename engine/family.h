// The dispatch row of the record stream: which handlers serve a format revision. The stream and the
// driver know the revision code only through this table (revisions/families.cc fills it).
#pragma once

#include <cstdint>

struct Dispatch {
  uint8_t from, to;  // revisions, inclusive; the rows cover 0x00 to 0xFF without a gap
  void (*read_structure)();
  void (*read_statistics)();
  void (*flush_before_ldm)();
  void (*flush_at_end)();
};

// The row of a revision.
const Dispatch& DispatchOf(uint8_t revision);

// Makes the copy-pair and cabinet blocks due again after an "LDM" record.
void MarkPairsDue();

// Zeroes the counts of the kinds that have no list, as a new output starts without them: for the
// "LDM" record and for the test whether a structure record changes nothing.
void ForgetItemCounts();

// Drops tables, slots and item blocks of the structure record in force: what follows must bring its
// own.
void ForgetConfiguration();

// Clears all slots of the period, which has been written.
void ClearPeriod();

// Clears all slots of an abandoned input, and the elements of optional items that outlive periods:
// the archive does not tell what was read, so nothing may pass for known or be taken from it.
void ForgetPeriod();

// Frees resource tables, slot arrays, item blocks and work buffers.
void FreeResources();
