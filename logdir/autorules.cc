// Rules of automatic selection: see the header. A file is archived once its day (hour level) or
// month (day level) is over, unless its archive exists already or would expire at once.
#include "logdir/autorules.h"

#include <algorithm>
#include <ctime>
#include <set>

#include "engine/names.h"
#include "logdir/timespan.h"
#include "report/runinfo.h"

namespace {

using Keys = std::set<std::string>;

// The day on which the period of the run began that is not over yet: today (hour level), or the
// first of this month (day level).
struct tm OpenPeriod(bool hour_run, int64_t now) {
  struct tm begin = LocalTime(now);
  if (!hour_run) begin.tm_mday = 1;
  begin.tm_hour = 0;
  begin.tm_min = 0;
  begin.tm_sec = 0;
  begin.tm_isdst = -1;
  return begin;
}

// Dates as numbers that can be compared.
int DateNumber(const struct tm& date) {
  return (date.tm_year + 1900) * 10000 + (date.tm_mon + 1) * 100 + date.tm_mday;
}

Keys KeysOf(const std::vector<AutoFile>& files, AutoVerdict verdict) {
  Keys keys;
  for (const AutoFile& file : files) {
    if (file.verdict == verdict) keys.insert(DayKeyOf(file.name));
  }
  return keys;
}

bool IsDatedArchive(const char* name) {
  return IsArchiveName(name) && BeginsWithDigits(name, kMonthDigits);
}

AutoVerdict JudgeLog(const char* name, const AutoPeriod& period) {
  return IsLogName(name) ? JudgeDate(name, period) : AutoVerdict::kOtherFile;
}

AutoVerdict JudgeArchive(const char* name, const AutoPeriod& period, const AutoProbe& probe) {
  if (!IsDatedArchive(name)) return AutoVerdict::kOtherFile;
  switch (probe.level(name)) {
    case kUnreadableFile:
      return AutoVerdict::kUnreadable;
    case 2:
      return AutoVerdict::kIsDayArchive;
    case 1:
      return JudgeDate(name, period);
    default:
      return AutoVerdict::kOtherLevel;
  }
}

AutoVerdict JudgeContent(const std::string& name, const AutoProbe& probe) {
  const int version = probe.version(name.c_str());
  if (version == kUnreadableFile) return AutoVerdict::kUnreadable;
  return version == 0 ? AutoVerdict::kTarget : AutoVerdict::kRefused;
}

// The day (hour run) or month (day run) that an input belongs to.
std::string PeriodKey(char level, const std::string& name) {
  return level == 'D' ? MonthKeyOf(name) : DayKeyOf(name);
}

// Passes over all targets of the days or months that have an unreadable file.
void PassOverHeldUp(char level, AutoSelection* selection) {
  Keys held_up;
  for (const std::string& input : selection->held_up) held_up.insert(PeriodKey(level, input));
  for (const auto* files : {&selection->logs, &selection->archives}) {
    for (const AutoFile& file : *files) {
      if (file.verdict != AutoVerdict::kUnreadable) continue;
      for (const std::string& input : InputsHeldUpBy(level, file.name)) {
        held_up.insert(PeriodKey(level, input));
      }
    }
  }
  if (held_up.empty()) return;
  for (auto* files : {&selection->logs, &selection->archives}) {
    for (AutoFile& file : *files) {
      if (file.verdict == AutoVerdict::kTarget && held_up.contains(PeriodKey(level, file.name))) {
        file.verdict = AutoVerdict::kPassedOver;
      }
    }
  }
}

}  // namespace

AutoPeriod PeriodOfRun(char level, const Limits& limits) {
  const bool hour_run = level == 'H';
  const auto output_class = static_cast<size_t>(hour_run ? kClassHour : kClassDay);
  struct tm begin = OpenPeriod(hour_run, limits.now);
  const int first_day = DateNumber(begin);
  int64_t time = 0;
  ToTime(&begin, &time);
  const std::optional<int64_t>& limit = limits.before[output_class];
  return {first_day, time - 1, limit.has_value(), limit.value_or(0)};
}

// By the dates alone. Converted to time, the midnight of a clock that skips or repeats it hangs on
// what the C library converted before.
bool IsOver(const char* name, const AutoPeriod& period) {
  return DateNumber(NameDate(name, -1)) < period.first_open_day;
}

AutoVerdict JudgeDate(const char* name, const AutoPeriod& period) {
  if (!BeginsWithDigits(name, kDayDigits)) return AutoVerdict::kOtherFile;
  struct tm date = NameDate(name, -1);
  int64_t time = 0;
  // Not reached: a year of four digits converts.
  if (CheckTm(&date) != 0 || !ToTime(&date, &time)) return AutoVerdict::kNoDate;
  if (!IsOver(name, period)) return AutoVerdict::kNotOver;
  return period.has_limit && time < period.limit ? AutoVerdict::kBeforeLimit : AutoVerdict::kTarget;
}

void JudgeLogs(const AutoPeriod& period, const AutoNames& names, AutoSelection* selection) {
  for (const std::string& name : names.files) {
    selection->logs.push_back({name, JudgeLog(name.c_str(), period)});
  }
  for (const std::string& name : names.unread) {
    const AutoVerdict verdict = JudgeLog(name.c_str(), period);
    selection->logs.push_back(
        {name, verdict == AutoVerdict::kTarget ? AutoVerdict::kUnreadable : verdict});
  }
}

void JudgeArchives(const AutoPeriod& period, const AutoNames& names, const AutoProbe& probe,
                   AutoSelection* selection) {
  for (const std::string& name : names.files) {
    selection->archives.push_back({name, JudgeArchive(name.c_str(), period, probe)});
  }
  for (const std::string& name : names.unread) {
    const bool archive = IsDatedArchive(name.c_str());
    selection->archives.push_back(
        {name, archive ? AutoVerdict::kUnreadable : AutoVerdict::kOtherFile});
  }
}

void DropArchived(char level, const AutoProbe& probe, AutoSelection* selection) {
  const bool day_run = level == 'D';
  const Keys days = KeysOf(selection->archives, AutoVerdict::kTarget);
  const Keys months = KeysOf(selection->archives, AutoVerdict::kIsDayArchive);
  for (AutoFile& log : selection->logs) {
    if (log.verdict != AutoVerdict::kTarget && log.verdict != AutoVerdict::kUnreadable) continue;
    const std::string key = DayKeyOf(log.name);
    if (days.contains(key)) {
      log.verdict = AutoVerdict::kDayArchived;
    } else if (day_run && months.contains(MonthKeyOfDay(key))) {
      log.verdict = AutoVerdict::kMonthArchived;
    } else if (log.verdict == AutoVerdict::kTarget) {
      log.verdict = JudgeContent(log.name, probe);
    }
  }
  for (AutoFile& archive : selection->archives) {
    if (archive.verdict != AutoVerdict::kTarget) continue;
    if (!day_run) {
      archive.verdict = AutoVerdict::kIsHourArchive;
    } else if (months.contains(MonthKeyOf(archive.name))) {
      archive.verdict = AutoVerdict::kMonthArchived;
    } else {
      archive.verdict = JudgeContent(archive.name, probe);
    }
  }
  PassOverHeldUp(level, selection);
}

std::vector<std::string> InputsHeldUpBy(char level, const std::string& unreadable) {
  std::vector<std::string> inputs;
  if (BeginsWithDigits(unreadable, kDayDigits)) inputs.push_back(unreadable);
  if (level == 'D' && IsDatedArchive(unreadable.c_str())) {
    // As a day archive: of a whole month, and its array is named behind six digits.
    inputs.push_back(FirstDayOf(unreadable) + unreadable.substr(kMonthDigits));
  }
  return inputs;
}

size_t CountTargets(const std::vector<AutoFile>& files) {
  return static_cast<size_t>(std::count_if(files.begin(), files.end(), [](const AutoFile& file) {
    return file.verdict == AutoVerdict::kTarget;
  }));
}

bool NeedsArchives(char level, const AutoSelection& selection) {
  return level != 'H' ||
         std::any_of(selection.logs.begin(), selection.logs.end(), [](const AutoFile& log) {
           return log.verdict == AutoVerdict::kTarget || log.verdict == AutoVerdict::kUnreadable;
         });
}
