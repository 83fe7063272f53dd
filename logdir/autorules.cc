// Rules of automatic selection: see the header. A file is archived once its day (hour level) or
// month (day level) is over, unless its archive exists already or would expire at once.
#include "logdir/autorules.h"

#include <algorithm>
#include <ctime>
#include <set>

#include "archiver/runinfo.h"
#include "logdir/pmonlogdir.h"
#include "logdir/timespan.h"

namespace {

using Keys = std::set<std::string>;

// End of yesterday (hour level) or of the month before (day level).
int64_t PeriodEnd(bool hour_run, int64_t now) {
  struct tm date = LocalTime(now);
  bool whole_month = !hour_run;
  if (hour_run) {
    --date.tm_mday;
    whole_month = date.tm_mday == 0;
  }
  if (whole_month) {
    MoveBackMonths(&date, 1);
    date.tm_mday = DaysOfMonth(date.tm_year + 1900, date.tm_mon);
  }
  date.tm_hour = 23;
  date.tm_min = 59;
  date.tm_sec = 59;
  date.tm_isdst = -1;
  int64_t end = 0;
  ToTime(&date, &end);
  return end;
}

AutoVerdict JudgeDate(const char* name, const AutoPeriod& period) {
  if (!BeginsWithDigits(name, 8)) return AutoVerdict::kOtherFile;
  struct tm date = NameDate(name, -1);
  int64_t time = 0;
  if (CheckTm(&date) != 0 || !ToTime(&date, &time)) return AutoVerdict::kNoDate;
  if (time > period.end) return AutoVerdict::kNotOver;
  return period.has_limit && time < period.limit ? AutoVerdict::kBeforeLimit : AutoVerdict::kTarget;
}

// Date and array of a name: files with the same key belong to the same archive.
std::string KeyOf(const std::string& name) {
  const size_t hash = name.find('#');
  return name.substr(0, hash != std::string::npos ? hash : name.find('.'));
}

// The key of the day archive that takes a day's file: the day digits removed.
std::string MonthKey(const std::string& key) {
  return key.size() < 8 ? key : key.substr(0, 6) + key.substr(8);
}

Keys KeysOf(const std::vector<AutoFile>& files, AutoVerdict verdict) {
  Keys keys;
  for (const AutoFile& file : files) {
    if (file.verdict == verdict) keys.insert(KeyOf(file.name));
  }
  return keys;
}

AutoVerdict JudgeArchive(const char* name, const AutoPeriod& period, const AutoProbe& probe) {
  if (!HasExtension(name, ".psa") || !BeginsWithDigits(name, 6)) return AutoVerdict::kOtherFile;
  const int level = probe.level(name);
  if (level == 2) return AutoVerdict::kIsDayArchive;
  return level == 1 ? JudgeDate(name, period) : AutoVerdict::kOtherLevel;
}

AutoVerdict JudgeContent(const std::string& name, const AutoProbe& probe) {
  return probe.version(name.c_str()) == 0 ? AutoVerdict::kTarget : AutoVerdict::kRefused;
}

}  // namespace

AutoPeriod PeriodOfRun(char level) {
  const bool hour_run = level == 'H';
  const int output_class = hour_run ? kClassHour : kClassDay;
  return {PeriodEnd(hour_run, arcdelinfo.savetime[output_class].now),
          arcdelinfo.savetm_flg[output_class] != 0, arcdelinfo.savetime[output_class].limit};
}

void JudgeLogs(const AutoPeriod& period, const std::vector<std::string>& names,
               AutoSelection* selection) {
  for (const std::string& name : names) {
    const bool log = HasExtension(name.c_str(), ".psl");
    selection->logs.push_back(
        {name, log ? JudgeDate(name.c_str(), period) : AutoVerdict::kOtherFile});
  }
}

void JudgeArchives(const AutoPeriod& period, const std::vector<std::string>& names,
                   const AutoProbe& probe, AutoSelection* selection) {
  for (const std::string& name : names) {
    selection->archives.push_back({name, JudgeArchive(name.c_str(), period, probe)});
  }
}

void DropArchived(char level, const AutoProbe& probe, AutoSelection* selection) {
  const bool day_run = level == 'D';
  const Keys days = KeysOf(selection->archives, AutoVerdict::kTarget);
  const Keys months = KeysOf(selection->archives, AutoVerdict::kIsDayArchive);
  for (AutoFile& log : selection->logs) {
    if (log.verdict != AutoVerdict::kTarget) continue;
    const std::string key = KeyOf(log.name);
    if (days.contains(key)) {
      log.verdict = AutoVerdict::kDayArchived;
    } else if (day_run && months.contains(MonthKey(key))) {
      log.verdict = AutoVerdict::kMonthArchived;
    } else {
      log.verdict = JudgeContent(log.name, probe);
    }
  }
  for (AutoFile& archive : selection->archives) {
    if (archive.verdict != AutoVerdict::kTarget) continue;
    if (!day_run) {
      archive.verdict = AutoVerdict::kIsHourArchive;
    } else if (months.contains(MonthKey(KeyOf(archive.name)))) {
      archive.verdict = AutoVerdict::kMonthArchived;
    } else {
      archive.verdict = JudgeContent(archive.name, probe);
    }
  }
}

size_t CountTargets(const std::vector<AutoFile>& files) {
  return static_cast<size_t>(std::count_if(files.begin(), files.end(), [](const AutoFile& file) {
    return file.verdict == AutoVerdict::kTarget;
  }));
}
