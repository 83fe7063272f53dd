// What a night of automatic archiving leaves, by the rules alone: a second implementation of
// selection, naming and removal over names of files. It computes with the wall clock and civil
// dates and knows no time zone, since every rule compares local times.
//
// Independent of logdir/ and archiver/removal.cc: selection, limits and removal stand here a second
// time, over names and dates alone.

#ifndef TESTS_MODEL_NIGHTS_H_
#define TESTS_MODEL_NIGHTS_H_

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace model {

using Date = std::chrono::sys_days;

/// A wall clock's reading.
struct WallTime {
  Date date;
  int second = 0;  // since midnight
};

/// A retention period; count 0 is none.
struct Keep {
  int count = 0;
  char unit = 'd';  // 'd', 'm', 'y'
};

struct NightSettings {
  bool archiving = true;
  Keep logs;
  Keep hours;
  Keep days;
};

enum class LogState {
  kGood,
  kBroken,      // a record breaks the rules
  kHeadless,    // shorter than its header, but revision and tag are there
  kEmpty,       // no byte
  kUnreadable,  // does not open, though it is there
  kOld,         // a revision below 0x17
};

enum class ArchiveSort { kHour, kEmptyHour, kDay };

/// Logs and archives by name ("20240304a#001.psl", "20240304a.psa", "202403a.psa").
struct Files {
  std::map<std::string, LogState> logs;
  std::map<std::string, ArchiveSort> archives;
  std::set<std::string> temporaries;
};

struct NightResult {
  std::vector<std::string> made;     // names of archives
  std::vector<std::string> removed;  // names of logs and archives
};

/// Date of a name's digits; for six digits the first of the month.
Date DateOf(const std::string& name);

/// "20240304"
std::string Digits(Date date);

/// Brings `files` to their state after a run at `now`.
NightResult SimulateNight(const WallTime& now, const NightSettings& settings, Files* files);

}  // namespace model

#endif  // TESTS_MODEL_NIGHTS_H_
