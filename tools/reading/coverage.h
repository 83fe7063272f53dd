// What time the records of a file cover, and whether two files of an array tell the same intervals.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/output/progress.h"
#include "tools/reading/psl_reader.h"
#include "tools/reading/record_period.h"

namespace psltool {

// Records of this span of time, both ends included.
struct CoverChoice {
  std::optional<uint32_t> from;
  std::optional<uint32_t> to;
  Zone zone = Zone::kLocal;  // of the days of day archives
};

struct FileCover {
  std::string path;
  std::string array;  // by the file's name, "-" where that tells none
  PslHeader header = {};
  uint64_t records = 0;              // of the time asked for
  std::vector<CoveredTime> covered;  // of these, apart from each other, in order
};

// What stands for the array of a file whose name tells none.
std::string ArrayOrDash(const std::string& path, char level);

// Looks at the stamps of a file's statistics records, up to where it breaks off; `note` gets the
// period of each. False: the file has no readable header; nothing is reported.
bool Cover(const std::string& path, const CoverChoice& choice, Progress& progress,
           const std::function<void(const RecordPeriod&)>& note, FileCover& cover);

// 0 of logs, 1 of hour archives, 2 of day archives: logs tell most.
constexpr int Coarseness(char level) { return level == 'D' ? 2 : level == 'H' ? 1 : 0; }

// True: both files hold the same time. One may end with the second with which the other begins:
// the interval before midnight.
bool Meet(const FileCover& a, const FileCover& b);
// Reports of a file that it meets another. Returns false.
bool FailTwice(const FileCover& file, const FileCover& other, Progress& progress);

// True when a record with this time tells intervals that the file's records tell, too.
bool Tells(const FileCover& cover, const CoveredTime& time);

}  // namespace psltool
