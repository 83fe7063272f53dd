// The archive directory: logs and months that should have been archived, empty archives, temporary
// ones, days without any data. What was due is judged by the time of the last run.
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <set>

#include "engine/names.h"
#include "engine/pmonfile.h"
#include "logdir/autorules.h"
#include "logdir/autotarget.h"
#include "logdir/limits.h"
#include "logdir/listing.h"
#include "logdir/timespan.h"
#include "report/runinfo.h"
#include "tools/output/report.h"
#include "tools/running/health.h"

namespace psltool {

namespace {

constexpr size_t kShortestLog = kRecordHeaderSize;

// What the beginning of a file tells.
struct Head {
  bool opens = false;
  int64_t size = 0;
  int64_t written = 0;  // when
  uint8_t revision = 0;
  char level = 0;
};

struct StatFile {
  std::string name;
  std::string day;    // eight digits; six for day archives
  std::string array;  // with the sequence number cut off
  Head head;
};

struct Directory {
  std::vector<StatFile> logs;
  std::vector<StatFile> archives;
  std::vector<std::string> temporaries;
};

// What was due in the run that is judged.
struct Due {
  AutoPeriod hour_run;
  AutoPeriod day_run;
  std::string yesterday;      // dates of eight digits
  std::string first_checked;  // of the days that should have data
  std::string directory;      // of the logs, ending in "/"
};

Head ReadHead(const std::string& path) {
  Head head;
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd == -1) return head;
  struct stat status {};
  uint8_t bytes[kAtLevel + 1] = {};
  head.opens =
      fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && read(fd, bytes, sizeof bytes) >= 0;
  close(fd);
  head.size = status.st_size;
  head.written = status.st_mtime;
  head.revision = bytes[kAtFlag];
  head.level = static_cast<char>(bytes[kAtLevel]);
  return head;
}

// `days` before or behind a date of eight digits.
std::string Moved(const std::string& day, int days) {
  using namespace std::chrono;
  const auto number = static_cast<unsigned>(std::stoul(day));
  const sys_days date = year(static_cast<int>(number / 10000)) / month(number / 100 % 100) /
                        std::chrono::day(number % 100);
  const year_month_day moved = date + std::chrono::days(days);
  return fmt::format("{:04}{:02}{:02}", static_cast<int>(moved.year()),
                     static_cast<unsigned>(moved.month()), static_cast<unsigned>(moved.day()));
}

// Due files of a run at `time`, by the archiver's own rules.
Due DueAt(int64_t time, const HealthRequest& request) {
  RetentionCodes codes = {};
  for (size_t i = 0; i < codes.size(); ++i) {
    codes[i] = RetentionCode(request.config.keep[i].count, request.config.keep[i].unit);
  }
  const Limits limits = LimitsAt(codes, time);
  Due due;
  due.hour_run = PeriodOfRun('H', limits);
  due.day_run = PeriodOfRun('D', limits);
  const std::string today = fmt::format("{:08}", due.hour_run.first_open_day);
  due.yesterday = Moved(today, -1);
  due.first_checked = Moved(today, -request.days);
  due.directory = request.config.archive;
  if (!due.directory.ends_with('/')) due.directory += '/';
  return due;
}

bool IsDue(const StatFile& file, const AutoPeriod& period) {
  return JudgeDate(file.name.c_str(), period) == AutoVerdict::kTarget;
}

bool IsDate(const std::string& name) {
  if (!BeginsWithDigits(name, kDayDigits)) return false;
  const tm date = NameDate(name.c_str(), -1);
  return CheckTm(&date) == 0;
}

StatFile Describe(const std::string& directory, const std::string& name, size_t digits) {
  StatFile file;
  file.name = name;
  file.day = name.substr(0, digits);
  file.array = StemOf(name).substr(digits);
  file.head = ReadHead(directory + "/" + name);
  return file;
}

template <class Take>
bool ForEachName(const std::string& directory, bool required, Take take) {
  std::error_code error;
  std::filesystem::directory_iterator entry(directory, error);
  if (error) {
    const bool absent = error == std::errc::no_such_file_or_directory && !required;
    return absent || Fail(directory, error.message());
  }
  while (entry != std::filesystem::directory_iterator()) {
    std::error_code unknown;  // such an entry shows when it is opened
    if (!entry->is_directory(unknown)) take(entry->path().filename().string());
    entry.increment(error);
    if (error) return Fail(directory, error.message());
  }
  return true;
}

bool ReadDirectories(const std::string& logs, Directory& found) {
  const std::string archives = logs + "/archive";
  if (!ForEachName(logs, true, [&](const std::string& name) {
        if (IsLogName(name) && IsDate(name)) {
          found.logs.push_back(Describe(logs, name, kDayDigits));
        }
      })) {
    return false;
  }
  if (!ForEachName(archives, false, [&](const std::string& name) {
        if (IsTemporaryName(name)) {
          found.temporaries.push_back(name);
        } else if (IsArchiveName(name) && BeginsWithDigits(name, kMonthDigits)) {
          StatFile file = Describe(archives, name, kMonthDigits);
          if (file.head.level != 'D' && IsDate(name)) file = Describe(archives, name, kDayDigits);
          found.archives.push_back(file);
        }
      })) {
    return false;
  }
  const auto by_name = [](const StatFile& a, const StatFile& b) { return a.name < b.name; };
  std::sort(found.logs.begin(), found.logs.end(), by_name);
  std::sort(found.archives.begin(), found.archives.end(), by_name);
  std::sort(found.temporaries.begin(), found.temporaries.end());
  return true;
}

using Keys = std::set<std::string>;

bool IsHourArchive(const StatFile& file) { return file.day.size() == 8; }

Keys HourKeys(const Directory& found) {
  Keys keys;
  for (const StatFile& file : found.archives) {
    if (IsHourArchive(file)) keys.insert(DayKeyOf(file.name));
  }
  return keys;
}

void JudgeEmptyArchives(const Directory& found, Health& health) {
  Keys logs;
  for (const StatFile& log : found.logs) logs.insert(DayKeyOf(log.name));
  for (const StatFile& file : found.archives) {
    if (!file.head.opens) {
      health.findings.push_back(
          {true, HealthKind::kBroken, fmt::format("archive/{} cannot be opened", file.name)});
    } else if (file.head.size == 0) {
      const bool log_left = logs.contains(DayKeyOf(file.name));
      health.findings.push_back(
          {log_left, HealthKind::kBroken,
           fmt::format("archive/{} is empty, its log was broken; {}", file.name,
                       log_left ? "mend the log and delete the empty archive to redo the day"
                                : "the log is gone, so the empty archive can be deleted")});
    }
  }
}

void JudgeTemporaries(const Directory& found, Health& health) {
  for (const std::string& name : found.temporaries) {
    health.findings.push_back(
        {!health.running.has_value(), HealthKind::kLeftover,
         fmt::format("archive/{} {}", name,
                     health.running ? "is being written" : "was left by an interrupted run")});
  }
}

void JudgePaths(const Directory& found, const Due& due, Health& health) {
  // The shortest that a run may have to write.
  const bool hopeless = !FitsPaths(due.directory, "YYYYMMDDa.psl");
  size_t count = 0;
  for (const auto* files : {&found.logs, &found.archives}) {
    for (const StatFile& file : *files) count += FitsPaths(due.directory, file.name) ? 0 : 1;
  }
  if (count == 0 && !hopeless) return;
  health.findings.push_back(
      {true, HealthKind::kPath,
       fmt::format("the path of the archive directory has {} characters, which is too long: {} of "
                   "its files are left alone",
                   due.directory.size(), count)});
}

void JudgeLogs(const Directory& found, const Due& due, Health& health) {
  const Keys archived = HourKeys(found);
  std::map<std::string, size_t> too_old;  // per array
  for (const StatFile& log : found.logs) {
    if (archived.contains(DayKeyOf(log.name)) || !IsDue(log, due.hour_run)) continue;
    if (!FitsPaths(due.directory, log.name)) continue;  // told for all of them
    std::string reason;
    if (log.name.size() >= kNameSlot) {
      reason = fmt::format("is left alone, as its name has more than {} characters", kNameSlot - 1);
    } else if (!log.head.opens) {
      reason = "cannot be opened, so its day and month are left to a later run";
    } else if (log.head.size < static_cast<int64_t>(kShortestLog)) {
      reason = log.head.size == 0 ? "is empty" : "has no header";
    } else if (log.head.revision < kLowestAutoRevision) {
      ++too_old[log.array];
      continue;
    } else {
      reason = "is not archived";
    }
    health.findings.push_back({true, HealthKind::kMissing, fmt::format("{} {}", log.name, reason)});
  }
  for (const auto& [array, count] : too_old) {
    health.findings.push_back(
        {false, HealthKind::kSkipped,
         fmt::format("{} logs of {} are of a revision below 0x{:02X}; these are archived by hand",
                     count, array, kLowestAutoRevision)});
  }
}

void JudgeMonths(const Directory& found, const Due& due, Health& health) {
  Keys made;
  Keys wanted;
  for (const StatFile& file : found.archives) {
    if (!IsHourArchive(file)) {
      made.insert(DayKeyOf(file.name));
    } else if (IsDue(file, due.day_run) && file.head.size >= static_cast<int64_t>(kShortestLog) &&
               file.head.revision >= kLowestAutoRevision) {
      wanted.insert(MonthKeyOf(file.name));
    }
  }
  for (const std::string& key : wanted) {
    if (made.contains(key)) continue;
    health.findings.push_back({true, HealthKind::kMissing,
                               fmt::format("archive/{}.psa is not made, though the month is over "
                                           "and has hour archives",
                                           key)});
  }
}

// An array that delivered something in the days looked at should have delivered every day from
// then on.
void JudgeGaps(const Directory& found, const Due& due, Health& health) {
  std::map<std::string, Keys> days;
  for (const StatFile& log : found.logs) days[log.array].insert(log.day);
  for (const StatFile& file : found.archives) {
    if (IsHourArchive(file)) days[file.array].insert(file.day);
  }
  for (const auto& [array, present] : days) {
    const auto recent = present.lower_bound(due.first_checked);
    if (recent == present.end() || *recent > due.yesterday) continue;
    const std::string& first = *present.begin();
    for (std::string day = std::max(first, due.first_checked); day <= due.yesterday;
         day = Moved(day, 1)) {
      if (present.contains(day)) continue;
      health.findings.push_back(
          {true, HealthKind::kNoData, fmt::format("{}{}: no log and no archive", day, array)});
    }
  }
}

void CountStored(const Directory& found, Health& health) {
  const auto add = [&health](size_t place, const StatFile& file) {
    health.stored[place].files += 1;
    health.stored[place].bytes += static_cast<uint64_t>(file.head.size);
  };
  for (const StatFile& file : found.logs) add(0, file);
  for (const StatFile& file : found.archives) {
    add(IsHourArchive(file) ? 1 : 2, file);
    const auto& run = health.last_run;
    if (run && file.head.written >= run->start && file.head.written <= run->last_line + 1) {
      ++health.archived;
    }
  }
}

}  // namespace

bool LookAtFiles(const HealthRequest& request, Health& health) {
  Directory found;
  if (!ReadDirectories(request.config.archive, found)) return false;
  CountStored(found, health);
  const Due due = DueAt(health.last_run ? health.last_run->start : request.now, request);
  JudgeEmptyArchives(found, health);
  JudgeTemporaries(found, health);
  JudgePaths(found, due, health);
  if (request.config.archiving == 0) return true;  // such runs only delete
  JudgeLogs(found, due, health);
  JudgeMonths(found, due, health);
  JudgeGaps(found, due, health);
  return true;
}

}  // namespace psltool
