// Units of archiving work that can be done in any order, on any host, any number of times: one
// array and day (hour archive from logs), or one array and month (day archive from hour archives).
// A unit is known by its directory and its name, the date digits and the array: "20240304array01".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace psltool {

enum class UnitLevel : uint8_t { kHour, kDay };

enum class UnitState : uint8_t {
  kDue,      // no archive, or one older than its inputs, or not sound
  kPresent,  // the archive is there, newer than its inputs
  kNotOver   // its day or month is not over
};

struct UnitInput {
  std::string name;
  uint64_t size = 0;
  int64_t modified = 0;  // nanoseconds since the epoch

  bool operator==(const UnitInput&) const = default;
};

struct WorkUnit {
  std::string name;
  std::string array;
  std::string date;               // "2024-03-04", "2024-03"
  std::vector<UnitInput> inputs;  // in the archiver's order
  uint64_t bytes = 0;
  UnitState state = UnitState::kDue;
};

struct UnitPlace {
  UnitLevel level = UnitLevel::kHour;
  std::string inputs;   // directory of the inputs, absolute
  std::string outputs;  // directory of the archives, absolute
  bool verify = false;  // a unit is done only when its archive is sound in every record
};

// The units below `place.inputs`, by name. Names of empty hour archives, which no unit takes, go to
// `left_out`. False: the directory cannot be read, reported.
bool FindUnits(const UnitPlace& place, std::vector<WorkUnit>& units,
               std::vector<std::string>& left_out);

// One of them, by its name, looked up anew. False: reported; there may be no such unit.
bool FindUnit(const UnitPlace& place, const std::string& name, WorkUnit& unit);

// Name and path of the unit's archive.
std::string ArchiveOf(const WorkUnit& unit);
std::string OutputOf(const UnitPlace& place, const WorkUnit& unit);

// Whether `path` is a sound archive of the level: its header, and with `whole` every record.
// Otherwise `why` tells.
bool IsSoundArchive(const std::string& path, UnitLevel level, bool whole, std::string& why);

// "hour", "day".
const char* WordOf(UnitLevel level);

}  // namespace psltool
