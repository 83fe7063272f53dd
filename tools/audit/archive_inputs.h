// Which files an archive is made of, as their names tell it.
#pragma once

#include <string>
#include <vector>

#include "tools/audit/output_choice.h"

namespace psltool {

struct DayFile {
  std::string path;
  std::string day;  // date and array, of day archives month and array
};

// What may go into archives.
struct Shelves {
  std::vector<DayFile> logs;
  std::vector<DayFile> hour_archives;
};

// Files of an extension right in a directory whose names begin with so many digits, sorted. False:
// reported.
bool ListDayFiles(const std::string& directory, const char* extension, size_t digits,
                  std::vector<DayFile>& files);

// Level of an archive; 0 when its header tells none.
char LevelOf(const std::string& path);

std::vector<std::string> LogsOfDay(const Shelves& shelves, const std::string& day);

// The days of a month that have both an hour archive and logs.
std::vector<std::string> DaysWithBoth(const Shelves& shelves, const std::string& month);

// The hour archives of a month and the logs of days that have none; of the days in `from_logs`, the
// logs instead of the hour archives.
std::vector<std::string> InputsOfMonth(const Shelves& shelves, const std::string& month,
                                       const std::vector<std::string>& from_logs);
// The logs of a month alone.
std::vector<std::string> LogsOfMonth(const Shelves& shelves, const std::string& month);

// Puts in the place of each directory among the inputs the files in and below it that go into the
// archive. With `any_name` that is all of them. False: a directory cannot be read or has none,
// reported.
bool ResolveInputs(ArchiveInputs& inputs);

}  // namespace psltool
