// Structure records: what resources an array has. The reader checks the record, fills the resource
// sets and passes the record on to the output; the writer lays it out as archives hold it.
#pragma once

#include "engine/layout/layout.h"

// Handles the structure record at hand: skips it when a day archive goes on with the same
// configuration, else writes the pending period, fills the sets and writes the record.
void ReadStructure();

// Writes the structure record read last. Returns 1 when a cabinet block exists, else 0.
int WriteStructure();

// Sizes of the variable parts of the logical-disk and rank lists read last, and where the first one
// stands in the record, for as long as that is the record read last; null without such a list.
extern const uint8_t* Top_lvdvno_ptr;
extern const uint8_t* Top_ldpdno_ptr;
extern uint32_t ld_total_size;
extern uint32_t rank_total_size;

// Zeroes the counts of optional items among them.
void ForgetHeldItemCounts();
