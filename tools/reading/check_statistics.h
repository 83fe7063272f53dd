// Judges statistics records by the archiver's rules, against the structure record in force.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "tools/reading/array_tables.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

// Sets that only statistics records name: host port nodes, and host ports of archives. Those that
// the record at hand adds have `from_statistics` set.
using FoundTables = std::array<KeyTable, kSectionKinds>;

// Checks head, counts, sections, keys and optional items. False: the record breaks the file,
// reported; then `found` is of no use.
bool CheckStatistics(const PslHeader& header, std::span<const uint8_t> record, RecordReport& report,
                     const ArrayTables& tables, FoundTables& found);

// True when the table of host ports comes from statistics records: archives do not list them.
bool TakesHostPortsFromStatistics(const PslHeader& header, const ArrayTables& tables);

// True when the section is read: it has entries, and the revision or the array carries its kind. Of
// disk ports a section whose count differs from the structure record's is passed over.
bool IsRead(const SectionRow& row, const SectionPlace& place, const ArrayTables& tables);

}  // namespace psltool
