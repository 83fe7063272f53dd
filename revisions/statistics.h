// Statistics records: one sampling interval of the whole array in, one period out.
#pragma once

#include "engine/layout/layout.h"

// Reads the statistics record at hand in `layout` and folds it into the slots; writes the period
// before it first when it ends an hour of an hour archive.
void ReadStatistics(const RevisionLayout& layout);

// Writes the period gathered in the slots as one record in `layout`, then clears the slots.
void WriteStatistics(const RevisionLayout& layout);
