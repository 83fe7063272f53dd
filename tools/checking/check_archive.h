// Judges what only archives promise: their records have one form each, whatever the inputs were,
// and their numbers follow from each other. So damage shows without the inputs.
#pragma once

#include <cstdint>
#include <span>

#include "tools/reading/array_tables.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

// Of a structure record that ReadTables found sound. False: the archiver never writes such a one,
// reported.
bool CheckArchivedStructure(const PslHeader& header, std::span<const uint8_t> record,
                            RecordReport& report);

// Of a statistics record that CheckStatistics found sound, against the tables in force.
bool CheckArchivedStatistics(const PslHeader& header, std::span<const uint8_t> record,
                             RecordReport& report, const ArrayTables& tables);

// Of the file header: bytes without a meaning. A warning, since all records can be sound.
void CheckArchivedHeader(const PslHeader& header, std::span<const uint8_t> record,
                         RecordReport& report);

}  // namespace psltool
