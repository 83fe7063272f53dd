// Runs and failures: the trace file tells when runs began and whether they ended well, the
// operation log what failed since the last run that ended well began. Servers of one machine share
// both files; what belongs to the runs of another root directory does not count.
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "archiver/lock.h"
#include "platform/places.h"
#include "report/messages.h"
#include "tools/output/report.h"
#include "tools/running/health.h"

namespace psltool {

namespace {

constexpr const char* kStartTexts[] = {kTraceStart, kTraceForceStart, kTraceUpdateStart};

// A run, and what else the trace tells of it.
struct TracedRun : ArchiveRun {
  std::string root;  // empty: not told
};

struct TraceText {
  int64_t time;
  pid_t pid;
  std::string tag;
  std::string text;
};

struct LogEntry {
  int64_t time;
  std::string identifier;
  std::string text;
};

// Calls `take` for each line of a file and, before, of its last rotated predecessor: right after a
// rotation the news are still there. A missing file has no lines. False: reported.
template <class Take>
bool ReadLines(const std::string& path, Take take) {
  for (const std::string& name : {path + ".1", path}) {
    errno = 0;
    std::ifstream file(name);
    if (!file) {
      if (errno == ENOENT) continue;
      return Fail(name, strerror(errno));
    }
    for (std::string line; std::getline(file, line);) take(line);
    if (file.bad()) return Fail(name, "cannot be read");
  }
  return true;
}

// A local time. In the hour that autumn repeats the earlier one is meant, so that nothing is
// missed.
int64_t FromLocal(const tm& fields) {
  tm summer = fields;
  summer.tm_isdst = 1;
  const int64_t early = mktime(&summer);
  const bool kept = summer.tm_isdst == 1 && summer.tm_hour == fields.tm_hour;
  tm any = fields;
  any.tm_isdst = -1;
  return kept ? early : mktime(&any);
}

// Makes a date as written one of the C library. False when it is none. Lines are read with the
// widths that their numbers can have, so that none, however it came about, makes anything overflow.
bool ToFields(tm& fields) {
  const bool valid = fields.tm_year >= 1970 && fields.tm_mon >= 1 && fields.tm_mon <= 12 &&
                     fields.tm_mday >= 1 && fields.tm_mday <= 31 && fields.tm_hour >= 0 &&
                     fields.tm_min >= 0 && fields.tm_sec >= 0;
  fields.tm_year -= 1900;
  fields.tm_mon -= 1;
  return valid;
}

// "YYYY/MM/DD hh:mm:ss.mmm pid tag:line text"
bool ParseTraceLine(const std::string& line, TraceText& parsed) {
  tm fields{};
  int process = 0;
  char tag[32] = "";
  int at = 0;
  if (sscanf(line.c_str(), "%4d/%2d/%2d %2d:%2d:%2d.%*3d %9d %31[^: ]:%*9d %n", &fields.tm_year,
             &fields.tm_mon, &fields.tm_mday, &fields.tm_hour, &fields.tm_min, &fields.tm_sec,
             &process, tag, &at) != 8 ||
      at == 0 || !ToFields(fields)) {
    return false;
  }
  parsed = {FromLocal(fields), process, tag, line.substr(static_cast<size_t>(at))};
  return true;
}

// "YYYY-MM-DDThh:mm:ss+hh:mm identifier program class flag text"
bool ParseLogLine(const std::string& line, LogEntry& entry) {
  tm fields{};
  char sign = 0;
  int hours = 0;
  int minutes = 0;
  char identifier[16] = "";
  int at = 0;
  if (sscanf(line.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%c%2d:%2d %15s Qelprfarc %*9d %*9d %n",
             &fields.tm_year, &fields.tm_mon, &fields.tm_mday, &fields.tm_hour, &fields.tm_min,
             &fields.tm_sec, &sign, &hours, &minutes, identifier, &at) != 10 ||
      at == 0 || !ToFields(fields)) {
    return false;
  }
  const int64_t offset = (hours * 60 + minutes) * 60;
  entry = {timegm(&fields) + (sign == '-' ? offset : -offset), identifier,
           line.substr(static_cast<size_t>(at))};
  return true;
}

bool IsStart(const TraceText& line) {
  return line.tag == kTraceTag && std::find(std::begin(kStartTexts), std::end(kStartTexts),
                                            line.text) != std::end(kStartTexts);
}

void TakeTraceLine(const std::string& text, int64_t longest, std::vector<TracedRun>& runs) {
  TraceText line;
  if (!ParseTraceLine(text, line)) return;
  if (IsStart(line)) {
    runs.push_back({{line.time, line.pid, false, line.time}, ""});
    return;
  }
  // Process numbers come back: a line belongs to the last start, unless that is long ago.
  const auto run = std::find_if(runs.rbegin(), runs.rend(),
                                [&line](const TracedRun& r) { return r.pid == line.pid; });
  if (run == runs.rend() || line.time - run->start > longest) return;
  run->last_line = line.time;
  if (line.tag != kTraceTag) return;
  if (line.text == kTraceEnd) run->ended_well = true;
  int removed = 0;  // of each of the two directories
  if (sscanf(line.text.c_str(), "del done(%9d)", &removed) == 1 && removed > 0) {
    run->removed += static_cast<uint64_t>(removed);
  }
  if (line.text.starts_with(kTraceRoot)) run->root = line.text.substr(strlen(kTraceRoot));
}

std::string WithoutSlash(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

// Runs of older programs do not tell their root: they may be anybody's.
bool IsOfRoot(const TracedRun& run, const std::string& root) {
  std::error_code ignored;
  return run.root.empty() || WithoutSlash(run.root) == WithoutSlash(root) ||
         std::filesystem::equivalent(run.root, root, ignored);
}

// An entry stands at most a second behind the last line of its run: it has no fractions of seconds.
bool HasEntryAt(const std::vector<TracedRun>& runs, int64_t time) {
  return std::any_of(runs.begin(), runs.end(), [time](const TracedRun& run) {
    return time >= run.start && time <= run.last_line + 1;
  });
}

bool FindLockHolder(const HealthRequest& request, Health& health) {
  const std::string path = request.config.root + "/" + kLockFile;
  const pid_t holder = LockHolder(path.c_str());
  if (holder == -1) return Fail(path, strerror(errno));
  if (holder != 0) health.running = holder;
  return true;
}

void JudgeRunning(const HealthRequest& request, const std::vector<TracedRun>& runs,
                  Health& health) {
  if (!health.running) return;
  const auto run = std::find_if(runs.rbegin(), runs.rend(), [&health](const TracedRun& r) {
    return r.pid == *health.running && !r.ended_well;
  });
  if (run == runs.rend()) {
    health.findings.push_back(
        {false, HealthKind::kRun, fmt::format("process {} holds the lock", *health.running)});
    return;
  }
  const bool hanging = request.now - run->start > request.max_run;
  health.findings.push_back({hanging, HealthKind::kRun,
                             fmt::format("process {} has been archiving since {}", run->pid,
                                         TimeWithZone(run->start, request.zone))});
}

void JudgeLastRun(const HealthRequest& request, const std::vector<TracedRun>& runs, bool others,
                  Health& health) {
  const auto last = std::find_if(runs.rbegin(), runs.rend(), [&health](const TracedRun& r) {
    return r.ended_well || r.pid != health.running;
  });
  if (last == runs.rend()) {
    if (!health.running) {
      const char* const text =
          others ? "no archiving run of this root directory is known" : "no archiving run is known";
      health.findings.push_back({true, HealthKind::kRun, text});
    }
    return;
  }
  health.last_run = *last;
  const std::string start = TimeWithZone(last->start, request.zone);
  if (!last->ended_well) {
    health.findings.push_back(
        {true, HealthKind::kRun, fmt::format("the run of {} did not end well", start)});
  }
  if (request.now - last->start > request.max_age && !health.running) {
    health.findings.push_back({true, HealthKind::kRun,
                               fmt::format("no archiving run for {} hours, the last on {}",
                                           (request.now - last->start) / 3600, start)});
  }
}

void JudgeEntries(const HealthRequest& request, const std::vector<LogEntry>& entries,
                  Health& health) {
  const bool task_failed = std::any_of(entries.begin(), entries.end(), [](const LogEntry& e) {
    return e.identifier == kTaskFailedIdentifier;
  });
  for (const LogEntry& entry : entries) {
    // A run that meets the remains of an interrupted one reports them like a broken archive, and
    // makes the archive anew. Broken inputs are followed by the failure of the task.
    const bool repaired =
        !task_failed && entry.identifier == kBrokenIdentifier && entry.text.ends_with(".psa");
    health.findings.push_back(
        {!repaired, HealthKind::kFailure,
         fmt::format("{} {} {}{}", TimeWithZone(entry.time, request.zone), entry.identifier,
                     entry.text, repaired ? " (left by an interrupted run)" : "")});
  }
}

}  // namespace

bool LookAtRuns(const HealthRequest& request, Health& health) {
  std::vector<TracedRun> runs;
  if (!ReadLines(request.prefix + kTraceFile,
                 [&](const std::string& line) { TakeTraceLine(line, request.max_run, runs); })) {
    return false;
  }
  std::erase_if(runs, [&request](const TracedRun& run) { return run.start > request.now; });
  const auto others = std::stable_partition(
      runs.begin(), runs.end(),
      [&request](const TracedRun& run) { return IsOfRoot(run, request.config.root); });
  const std::vector<TracedRun> of_others(others, runs.end());
  runs.erase(others, runs.end());
  if (!FindLockHolder(request, health)) return false;
  JudgeRunning(request, runs, health);
  JudgeLastRun(request, runs, !of_others.empty(), health);

  // Failures before the last good run are mended or show in the files.
  const auto good =
      std::find_if(runs.rbegin(), runs.rend(), [](const TracedRun& run) { return run.ended_well; });
  const int64_t since = good == runs.rend() ? 0 : good->start;
  std::vector<LogEntry> entries;
  const auto take = [&](const std::string& line) {
    LogEntry entry;
    if (!ParseLogLine(line, entry) || entry.time < since || entry.time > request.now) return;
    if (HasEntryAt(of_others, entry.time) && !HasEntryAt(runs, entry.time)) return;
    entries.push_back(entry);
  };
  if (!ReadLines(request.prefix + kOperationLog, take)) return false;
  JudgeEntries(request, entries, health);
  return true;
}

std::string TimeWithZone(int64_t time, Zone zone) {
  const time_t value = time;
  const tm* local = zone == Zone::kUtc ? gmtime(&value) : localtime(&value);
  if (local == nullptr) return "?";
  char text[40];
  strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", local);
  std::string result = text;
  return result.insert(result.size() - 2, ":");
}

}  // namespace psltool
