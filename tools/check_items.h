// Judges the optional items of a statistics record.
#pragma once

#include <span>

#include "tools/array_tables.h"
#include "tools/extents.h"
#include "tools/psl_reader.h"

// False: an item breaks the record, reported.
bool CheckItems(const RevisionLayout& layout, std::span<const uint8_t> record, RecordReport& report,
                const ArrayTables& tables, Extents& extents);
