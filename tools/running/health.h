// What `psltool health` finds out: the runs that the trace file tells of, the failures in the
// operation log, the lock, and the state of the archive directory.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/reading/time_text.h"
#include "tools/running/segment_config.h"

namespace psltool {

enum class HealthKind : uint8_t {
  kRun,       // no run, too long ago, ended badly, or hanging
  kFailure,   // an entry of the operation log
  kBroken,    // an empty archive that keeps its day from being made again
  kLeftover,  // a temporary archive
  kMissing,   // a log or month that should have been archived and is not
  kNoData,    // neither log nor archive of a day
  kSkipped,   // logs that are never archived automatically
  kPath,      // the archive directory is too long for its files
};

struct HealthFinding {
  bool problem;  // otherwise only worth knowing
  HealthKind kind;
  std::string text;
};

// An archiving run as its start line in the trace tells.
struct ArchiveRun {
  int64_t start;
  pid_t pid;
  bool ended_well;
  int64_t last_line;     // time of the last thing that the trace tells of it
  uint64_t removed = 0;  // files, of all classes
};

// Files of one class in the directory of the logs and in that of the archives.
struct StoredFiles {
  const char* word;  // "log", "hour" or "day"
  uint64_t files = 0;
  uint64_t bytes = 0;
};

struct HealthRequest {
  SegmentConfig config;
  std::string prefix;  // installation prefix, ends in '/'
  int64_t now;
  int64_t max_age;  // seconds since the start of the last run
  int64_t max_run;  // seconds that a run may take
  Zone zone;        // of the times told; what is a day stays local
  int days;         // how many days back a day without any data is reported
};

struct Health {
  std::vector<HealthFinding> findings;
  std::optional<ArchiveRun> last_run;  // the last one that is not running now
  std::optional<pid_t> running;        // holder of the lock
  std::array<StoredFiles, 3> stored = {{{"log"}, {"hour"}, {"day"}}};
  uint64_t archived = 0;  // archives that were written during the last run
};

// Each looks at one side and adds what it finds. False: something could not be read, reported.
bool LookAtRuns(const HealthRequest& request, Health& health);
bool LookAtFiles(const HealthRequest& request, Health& health);

// A time as the operation log writes it, with the offset from UTC.
std::string TimeWithZone(int64_t time, Zone zone);

// Word of the finding's kind.
const char* WordOf(HealthKind kind);

}  // namespace psltool
