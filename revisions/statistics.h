// Statistics records: sampling intervals of the whole array in, one period out.
#pragma once

#include <cstddef>

#include "engine/layout/layout.h"

// Reads the statistics record at hand in `layout` and folds it into the slots, and with it those
// that follow and belong to the same period, as if they had been read one after the other. Writes
// the period before it first when it ends an hour of an hour archive.
void ReadStatistics(const RevisionLayout& layout);

// Most records that are taken at a time; 1: each is read by itself. For tests.
extern size_t records_at_a_time;

// Frees what reading and writing need.
void FreeBatch();
void FreePeriodRecord();

// Writes the period gathered in the slots as one record in `layout`, then clears the slots.
void WriteStatistics(const RevisionLayout& layout);
