// Nights by the rules: see the header.

#include "tests/model/nights.h"

#include <algorithm>
#include <cstdio>
#include <tuple>

namespace model {

namespace {

using std::chrono::day;
using std::chrono::days;
using std::chrono::last;
using std::chrono::month;
using std::chrono::months;
using std::chrono::year;
using std::chrono::year_month;
using std::chrono::year_month_day;
using std::chrono::years;

constexpr int kLastSecond = 86399;

// A point of wall-clock time that can be compared.
using Moment = std::pair<Date, int>;

Moment LimitOf(const Keep& keep, const WallTime& now) {
  if (keep.unit == 'd') return {now.date - days(keep.count), now.second};
  const year_month_day today(now.date);
  if (keep.unit == 'm') {
    const year_month target = year_month(today.year(), today.month()) - months(keep.count);
    const day longest = year_month_day(target / last).day();
    return {Date(target / std::min(today.day(), longest)), 0};
  }
  // A 29 February that the year does not have becomes the day after the 28th.
  const year target = today.year() - years(keep.count);
  return {Date(target / today.month() / day(1)) + (today.day() - day(1)), 0};
}

// First of the month of `date`.
Date MonthOf(Date date) {
  const year_month_day parts(date);
  return Date(parts.year() / parts.month() / day(1));
}

std::string KeyOf(const std::string& name) { return name.substr(0, name.find_first_of("#.")); }

std::string ArrayOf(const std::string& log) { return KeyOf(log).substr(8); }

std::string MonthKeyOf(const std::string& name) { return name.substr(0, 6) + ArrayOf(name); }

// The revision can be read and is not too old.
bool Acceptable(LogState log) {
  return log == LogState::kGood || log == LogState::kBroken || log == LogState::kHeadless;
}

bool IsHour(ArchiveSort archive) { return archive != ArchiveSort::kDay; }

// What a level's run considers: up to `end`, from `start` on if its archives are kept only so long.
struct Span {
  Date end;
  bool limited;
  Moment start;

  bool Contains(const std::string& name) const {
    const Date date = DateOf(name);
    return date <= end && (!limited || Moment(date, 0) >= start);
  }
};

// Days and months that a night leaves without the archive that it meant to make: their inputs stay.
struct Left {
  std::set<std::string> days;
  std::set<std::string> months;

  bool Covers(const std::string& input) const {
    return days.contains(KeyOf(input)) || months.contains(MonthKeyOf(input));
  }
};

// Logs that no hour archive in the span stands for yet, that is all that may become targets, and
// those that would be but cannot be looked at.
struct OpenLogs {
  std::vector<std::string> takeable;
  std::vector<std::string> unreadable;
};

OpenLogs FindOpenLogs(const Span& span, const Files& files) {
  std::set<std::string> archived;
  for (const auto& [name, kind] : files.archives) {
    if (IsHour(kind) && span.Contains(name)) archived.insert(KeyOf(name));
  }
  OpenLogs open;
  for (const auto& [name, state] : files.logs) {
    if (!span.Contains(name) || archived.contains(KeyOf(name))) continue;
    if (state == LogState::kUnreadable) open.unreadable.push_back(name);
    if (Acceptable(state)) open.takeable.push_back(name);
  }
  return open;
}

void MakeHours(const WallTime& now, const NightSettings& settings, Files* files,
               NightResult* result, Left* left) {
  const Span span{now.date - days(1), settings.hours.count != 0, LimitOf(settings.hours, now)};
  const OpenLogs open = FindOpenLogs(span, *files);
  std::set<std::string> held_up;
  for (const std::string& name : open.unreadable) held_up.insert(KeyOf(name));
  left->days = held_up;
  std::map<std::string, ArchiveSort> made;
  for (const std::string& name : open.takeable) {
    if (held_up.contains(KeyOf(name))) continue;
    const LogState state = files->logs.at(name);
    if (state != LogState::kGood) left->days.insert(KeyOf(name));
    if (state == LogState::kHeadless) continue;
    const std::string output = KeyOf(name) + ".psa";
    made.emplace(output, ArchiveSort::kHour);
    if (state == LogState::kBroken) made[output] = ArchiveSort::kEmptyHour;
  }
  for (const auto& [name, kind] : made) {
    files->archives[name] = kind;
    result->made.push_back(name);
  }
}

void MakeDays(const WallTime& now, const NightSettings& settings, Files* files, NightResult* result,
              Left* left) {
  const Span span{MonthOf(now.date) - days(1), settings.days.count != 0,
                  LimitOf(settings.days, now)};
  const auto is_made = [files](const std::string& name) {
    return files->archives.contains(MonthKeyOf(name) + ".psa");
  };
  const OpenLogs open = FindOpenLogs(span, *files);
  std::set<std::string> held_up;
  for (const std::string& name : open.unreadable) {
    if (!is_made(name)) held_up.insert(MonthKeyOf(name));
  }
  left->months = held_up;
  // Inputs in the order in which they are read: array, then date, then sequence.
  std::map<std::tuple<std::string, std::string, std::string>, bool> inputs;
  const auto add = [&](const std::string& name, LogState state) {
    if (is_made(name) || held_up.contains(MonthKeyOf(name))) return;
    if (state != LogState::kGood) left->months.insert(MonthKeyOf(name));
    if (state == LogState::kHeadless) return;
    inputs[{ArrayOf(name), name.substr(0, 8), name}] = state == LogState::kBroken;
  };
  for (const std::string& name : open.takeable) add(name, files->logs.at(name));
  for (const auto& [name, kind] : files->archives) {
    if (kind == ArchiveSort::kHour && span.Contains(name)) add(name, LogState::kGood);
  }
  // The last input of an output decides whether it gets its final name.
  std::map<std::string, bool> ends_broken;
  for (const auto& [key, broken] : inputs) {
    ends_broken[MonthKeyOf(std::get<2>(key)) + ".psa"] = broken;
  }
  for (const auto& [name, broken] : ends_broken) {
    if (broken) continue;
    files->archives[name] = ArchiveSort::kDay;
    result->made.push_back(name);
  }
}

void Remove(const WallTime& now, const NightSettings& settings, const Left& left, Files* files,
            NightResult* result) {
  const auto ends_before = [](const std::string& name, const Moment& limit) {
    return Moment(DateOf(name), kLastSecond) < limit;
  };
  std::erase_if(files->logs, [&](const auto& log) {
    const bool gone = settings.logs.count != 0 && Acceptable(log.second) &&
                      ends_before(log.first, LimitOf(settings.logs, now)) &&
                      !left.Covers(log.first);
    if (gone) result->removed.push_back(log.first);
    return gone;
  });
  std::erase_if(files->archives, [&](const auto& archive) {
    bool gone = false;
    if (archive.second == ArchiveSort::kHour && settings.hours.count != 0) {
      gone =
          ends_before(archive.first, LimitOf(settings.hours, now)) && !left.Covers(archive.first);
    } else if (archive.second == ArchiveSort::kDay && settings.days.count != 0) {
      gone = DateOf(archive.first) < MonthOf(LimitOf(settings.days, now).first);
    }
    if (gone) result->removed.push_back(archive.first);
    return gone;
  });
  files->temporaries.clear();
}

}  // namespace

Date DateOf(const std::string& name) {
  const bool day_given =
      name.size() > 7 && name[6] >= '0' && name[6] <= '9' && name[7] >= '0' && name[7] <= '9';
  return Date(year(std::stoi(name.substr(0, 4))) /
              month(static_cast<unsigned>(std::stoi(name.substr(4, 2)))) /
              day(day_given ? static_cast<unsigned>(std::stoi(name.substr(6, 2))) : 1));
}

std::string Digits(Date date) {
  const year_month_day parts(date);
  char text[16];
  snprintf(text, sizeof text, "%04d%02u%02u", static_cast<int>(parts.year()),
           static_cast<unsigned>(parts.month()), static_cast<unsigned>(parts.day()));
  return text;
}

NightResult SimulateNight(const WallTime& now, const NightSettings& settings, Files* files) {
  NightResult result;
  Left left;
  if (settings.archiving) {
    MakeHours(now, settings, files, &result, &left);
    MakeDays(now, settings, files, &result, &left);
  }
  Remove(now, settings, left, files, &result);
  return result;
}

}  // namespace model
