// Runs and failures: the trace file tells when runs began and whether they ended well, the
// operation log what failed since the last run that ended well began.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>

#include "tools/health.h"
#include "tools/report.h"

namespace {

constexpr const char* kStartTexts[] = {"$main():arc start", "$main():arc force start",
                                       "$main():arc update start"};
constexpr char kEndText[] = "$main():arc end";
constexpr char kBrokenIdentifier[] = "08300";
constexpr char kTaskFailedIdentifier[] = "08320";

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

// "YYYY/MM/DD hh:mm:ss.mmm pid tag:line text"
bool ParseTraceLine(const std::string& line, int64_t& time, pid_t& pid, std::string& text) {
  tm fields{};
  int process = 0;
  int at = 0;
  if (sscanf(line.c_str(), "%d/%d/%d %d:%d:%d.%*d %d Qelprfarc:%*d %n", &fields.tm_year,
             &fields.tm_mon, &fields.tm_mday, &fields.tm_hour, &fields.tm_min, &fields.tm_sec,
             &process, &at) != 7 ||
      at == 0) {
    return false;
  }
  fields.tm_year -= 1900;
  fields.tm_mon -= 1;
  time = FromLocal(fields);
  pid = process;
  text = line.substr(static_cast<size_t>(at));
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
  if (sscanf(line.c_str(), "%d-%d-%dT%d:%d:%d%c%d:%d %15s Qelprfarc %*d %*d %n", &fields.tm_year,
             &fields.tm_mon, &fields.tm_mday, &fields.tm_hour, &fields.tm_min, &fields.tm_sec,
             &sign, &hours, &minutes, identifier, &at) != 10 ||
      at == 0) {
    return false;
  }
  fields.tm_year -= 1900;
  fields.tm_mon -= 1;
  const int64_t offset = (hours * 60 + minutes) * 60;
  entry = {timegm(&fields) + (sign == '-' ? offset : -offset), identifier,
           line.substr(static_cast<size_t>(at))};
  return true;
}

void TakeTraceLine(const std::string& line, std::vector<ArchiveRun>& runs) {
  ArchiveRun run{};
  std::string text;
  if (!ParseTraceLine(line, run.start, run.pid, text)) return;
  if (std::find(std::begin(kStartTexts), std::end(kStartTexts), text) != std::end(kStartTexts)) {
    runs.push_back(run);
  } else if (text == kEndText) {
    // Process numbers come back: the end belongs to the last start.
    const auto begun = std::find_if(runs.rbegin(), runs.rend(),
                                    [&run](const ArchiveRun& r) { return r.pid == run.pid; });
    if (begun != runs.rend()) begun->ended_well = true;
  }
}

bool FindLockHolder(const HealthRequest& request, Health& health) {
  const std::string path = request.config.root + "/pmon/arclock";
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd == -1) return errno == ENOENT || Fail(path, strerror(errno));
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  const bool asked = fcntl(fd, F_GETLK, &lock) == 0;
  const int error = errno;
  close(fd);
  if (!asked) return Fail(path, strerror(error));
  if (lock.l_type != F_UNLCK) health.running = lock.l_pid;
  return true;
}

void JudgeRunning(const HealthRequest& request, const std::vector<ArchiveRun>& runs,
                  Health& health) {
  if (!health.running) return;
  const auto run = std::find_if(runs.rbegin(), runs.rend(), [&health](const ArchiveRun& r) {
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

void JudgeLastRun(const HealthRequest& request, const std::vector<ArchiveRun>& runs,
                  Health& health) {
  const auto last = std::find_if(runs.rbegin(), runs.rend(), [&health](const ArchiveRun& r) {
    return r.ended_well || r.pid != health.running;
  });
  if (last == runs.rend()) {
    if (!health.running) {
      health.findings.push_back({true, HealthKind::kRun, "no archiving run is known"});
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
  std::vector<ArchiveRun> runs;
  if (!ReadLines(request.prefix + "etc/trace/Qelprfarc.trc",
                 [&runs](const std::string& line) { TakeTraceLine(line, runs); })) {
    return false;
  }
  std::erase_if(runs, [&request](const ArchiveRun& run) { return run.start > request.now; });
  if (!FindLockHolder(request, health)) return false;
  JudgeRunning(request, runs, health);
  JudgeLastRun(request, runs, health);

  // Failures before the last good run are mended or show in the files.
  const auto good = std::find_if(runs.rbegin(), runs.rend(),
                                 [](const ArchiveRun& run) { return run.ended_well; });
  const int64_t since = good == runs.rend() ? 0 : good->start;
  std::vector<LogEntry> entries;
  const auto take = [&](const std::string& line) {
    LogEntry entry;
    if (ParseLogLine(line, entry) && entry.time >= since && entry.time <= request.now) {
      entries.push_back(entry);
    }
  };
  if (!ReadLines(request.prefix + "etc/log/operation.log", take)) return false;
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
