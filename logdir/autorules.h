// The rules of automatic selection, without any effect: which of the files listed a run takes as
// its inputs, and why it passes over the others. The run acts on the verdicts, and whoever wants to
// know beforehand asks for the same ones.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "logdir/limits.h"

// What becomes of one file.
enum class AutoVerdict : uint8_t {
  kTarget,         // an input of the run
  kOtherFile,      // the name is not that of a log (or archive), or has no date
  kNoDate,         // the digits of the name are no date
  kNotOver,        // its day (hour run) or month (day run) is not over
  kBeforeLimit,    // its archive would be older than the limit of archives of that class
  kOtherLevel,     // an archive of neither level, or one that does not open
  kIsDayArchive,   // the end result of a month
  kIsHourArchive,  // stands for its day; the hour run takes logs only
  kDayArchived,    // an hour archive of its day exists
  kMonthArchived,  // a day archive of its month exists
  kRefused,        // is too short, or of a revision that is not archived by itself, or gone
  kUnreadable,     // a call failed on it, so nobody knows what it is
  kPassedOver,     // a file of its day (hour run) or month (day run) is unreadable
};

struct AutoFile {
  std::string name;
  AutoVerdict verdict;
};

// Judged files of both directories, in the order in which they were listed.
struct AutoSelection {
  std::vector<AutoFile> logs;
  std::vector<AutoFile> archives;
  // Inputs whose days an earlier run of the night had to pass over: their months wait with them.
  std::vector<std::string> held_up;
};

// Which dates a run takes; the class of its outputs gives period end and limit.
struct AutoPeriod {
  int first_open_day;  // YYYYMMDD: this day and those after it are not over
  int64_t end;         // the second before it began
  bool has_limit;
  int64_t limit;
};

// How the rules look into a file that they know by its name. What either answers when a call failed
// on the file, as against: it is gone, empty, short or of another kind.
inline constexpr int kUnreadableFile = -2;
struct AutoProbe {
  std::function<int(const char*)> level;    // else as CheckAutoFileLevel
  std::function<int(const char*)> version;  // else as CheckAutoFileVer
};

// A directory as it was listed: what is no directory, and names whose status could not be read.
struct AutoNames {
  std::vector<std::string> files;
  std::vector<std::string> unread;
};

// The period of the run of `level` ("H" or "D").
AutoPeriod PeriodOfRun(char level, const Limits& limits);

// What the date at the beginning of a name says: kTarget, kNotOver, kBeforeLimit; kOtherFile or
// kNoDate when there is none.
AutoVerdict JudgeDate(const char* name, const AutoPeriod& period);

// True when the day (hour run) or month (day run) of a name that begins with eight digits is over.
bool IsOver(const char* name, const AutoPeriod& period);

// First step: the logs whose date lies in the period are targets so far.
void JudgeLogs(const AutoPeriod& period, const AutoNames& names, AutoSelection* selection);

// Second step: the same for hour archives, found by looking into the archives.
void JudgeArchives(const AutoPeriod& period, const AutoNames& names, const AutoProbe& probe,
                   AutoSelection* selection);

// Last step of the run of `level`: what is archived already, or cannot be, is no target, and
// neither is any file of a day (hour run) or month (day run) of which one is unreadable: an archive
// without it would look complete.
void DropArchived(char level, const AutoProbe& probe, AutoSelection* selection);

// Names of inputs whose days (run of level "H") or months ("D") an unreadable file belongs to. An
// archive may be either an hour archive or a day archive.
std::vector<std::string> InputsHeldUpBy(char level, const std::string& unreadable);

size_t CountTargets(const std::vector<AutoFile>& files);

// Whether a run looks at the archives at all: an hour run does only for logs that it would take, or
// that it could not look at and whose day may be archived already.
bool NeedsArchives(char level, const AutoSelection& selection);
