// What a log or archive is and holds, found without looking at single entries.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "areas/kinds.h"
#include "tools/output/progress.h"
#include "tools/reading/finding.h"
#include "tools/reading/psl_reader.h"
#include "tools/reading/record_period.h"

namespace psltool {

struct CountRange {
  uint32_t least = 0;
  uint32_t most = 0;
  bool seen = false;
  void Take(uint32_t count);
};

// Times between statistics records, in seconds.
struct IntervalSummary {
  uint64_t pairs = 0;    // of records, one behind the other
  int64_t shortest = 0;  // below 0 where stamps go back
  int64_t longest = 0;
  int64_t usual = 0;  // the most frequent one
  uint64_t usual_pairs = 0;
};

struct FileSummary {
  std::string path;
  uint64_t size = 0;
  PslHeader header = {};
  uint32_t header_stamp = 0;
  std::string array;                        // by the file's name; empty when that has another form
  std::string name_date;                    // "2024-03-04" or "2024-03", likewise
  std::string header_date;                  // from revision 0x1D on
  std::map<std::string, uint64_t> records;  // by tag
  std::array<CountRange, kKinds> counts;    // resources per kind, over all structure records
  uint8_t choice = 0;                       // of the last structure record: 0 ranks, else pools
  std::optional<uint32_t> first;            // stamps of statistics records
  std::optional<uint32_t> last;
  RecordPeriod first_period;  // of these records, when there are any
  RecordPeriod last_period;
  IntervalSummary interval;
  std::optional<Finding> trouble;  // where reading ended before the end of the file
};

// What a name like "20240304array01#002.psl" says: the array "array01" and the date "2024-03-04",
// of day archives the month; empty when the name has another form.
struct NameParts {
  std::string array;
  std::string date;
};
NameParts PartsOfName(const std::string& path, char level);

// Reads the file. False: it has no readable file header; `trouble` tells why.
// `zone`: that of times told.
bool Summarize(const std::string& path, Zone zone, Progress& progress, FileSummary& summary);

}  // namespace psltool
