// Periods by walking the calendar in quarters of an hour, the smallest step of any zone's offset.

#include "tests/figures/periods.h"

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <tuple>

namespace figures {
namespace {

constexpr int64_t kQuarter = 900;
constexpr int64_t kHour = 3600;

tm Broken(int64_t moment, Clock clock) {
  const time_t time = moment;
  tm fields{};
  if (clock == Clock::kUtc) {
    gmtime_r(&time, &fields);
  } else {
    localtime_r(&time, &fields);
  }
  return fields;
}

auto DayNumber(int64_t moment, Clock clock) {
  const tm fields = Broken(moment, clock);
  return std::make_tuple(fields.tm_year, fields.tm_mon, fields.tm_mday);
}

// A stamp at midnight ends the day before.
Date DayOfStamp(uint32_t stamp, Clock clock) { return DateOf(int64_t{stamp} - 1, clock); }

// Whose days a day archive has: the header's stamp, its date from 0x1D on, and the first record
// lie on one date.
Clock ClockOfDays(const File& file, Clock otherwise) {
  if (file.records.empty()) return otherwise;
  const uint32_t opened = model::Get32(file.header, 4);
  for (const Clock clock : {Clock::kLocal, Clock::kUtc}) {
    const Date day = DayOfStamp(file.records.front().stamp, clock);
    if (DayNumber(opened, clock) != DayNumber(day.begin, clock)) continue;
    const bool same_date = file.header.size() > 134 && file.header[132] == day.year - 1900 &&
                           file.header[133] == day.month - 1 && file.header[134] == day.day;
    if (file.revision < 0x1D || same_date) return clock;
  }
  return otherwise;
}

Period WholePeriod(char level, uint32_t stamp, Clock days) {
  if (level == 'H') {
    const int64_t begin = stamp / kHour * kHour;
    return {stamp, begin, begin + kHour, true, days};
  }
  const Date day = DayOfStamp(stamp, days);
  return {stamp, day.begin, day.end, true, days};
}

}  // namespace

Date DateOf(int64_t moment, Clock clock) {
  const auto number = DayNumber(moment, clock);
  Date date;
  date.begin = moment - moment % kQuarter;
  while (DayNumber(date.begin - kQuarter, clock) == number) date.begin -= kQuarter;
  date.end = moment - moment % kQuarter + kQuarter;
  while (DayNumber(date.end, clock) == number) date.end += kQuarter;
  date.year = std::get<0>(number) + 1900;
  date.month = std::get<1>(number) + 1;
  date.day = std::get<2>(number);
  return date;
}

std::vector<Period> PeriodsOf(const File& file, Clock otherwise) {
  const Clock days = file.level == 'D' ? ClockOfDays(file, otherwise) : otherwise;
  const auto& records = file.records;
  std::vector<Period> periods;
  for (std::size_t i = 0; i < records.size(); ++i) {
    const uint32_t stamp = records[i].stamp;
    if (file.level == 'L') {
      const bool follows = i > 0 && records[i - 1].stamp <= stamp;
      periods.push_back(
          {stamp, follows ? records[i - 1].stamp : stamp / kHour * kHour, stamp, true, days});
      continue;
    }
    Period period = WholePeriod(file.level, stamp, days);
    const auto is_beside = [&](std::size_t other) {
      return WholePeriod(file.level, records[other].stamp, days).begin == period.begin;
    };
    const int64_t begin = period.begin;
    int64_t end = period.end;
    if (i + 1 < records.size() && records[i + 1].stamp >= stamp && is_beside(i + 1)) end = stamp;
    const bool cut = i > 0 && records[i - 1].stamp <= stamp && is_beside(i - 1);
    period.whole = !cut && end == period.end;
    period.begin = cut ? records[i - 1].stamp : begin;
    period.end = end;
    periods.push_back(period);
  }
  return periods;
}

std::optional<bool> IsChosen(char level, const Period& period, int64_t from, int64_t to,
                             Clock clock) {
  if (level == 'L') return from <= period.stamp && period.stamp <= to;
  int64_t first = period.begin;
  int64_t last = std::max(period.begin, period.end - 1);
  if (level == 'D' && clock != period.days) {
    if (!period.whole) return std::nullopt;
    // The same date on the other clock.
    const auto number = DayNumber(period.begin, period.days);
    int64_t moment = period.begin + 12 * kHour;
    while (DayNumber(moment, clock) < number) moment += kQuarter;
    while (DayNumber(moment, clock) > number) moment -= kQuarter;
    const Date date = DateOf(moment, clock);
    first = date.begin;
    last = date.end - 1;
  }
  return from <= first && last <= to;
}

std::string IsoText(int64_t moment, Clock clock) {
  const tm fields = Broken(moment, clock);
  char text[40];
  strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &fields);
  if (clock == Clock::kUtc) return std::string(text) + "Z";
  const long minutes = fields.tm_gmtoff / 60;
  char offset[64];
  std::snprintf(offset, sizeof offset, "%c%02ld:%02ld", minutes < 0 ? '-' : '+',
                std::labs(minutes) / 60, std::labs(minutes) % 60);
  return std::string(text) + offset;
}

}  // namespace figures
