// Ticks: see the header.
#include "tools/drawing/ticks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace psltool {

namespace {

constexpr int64_t kMinute = 60;
constexpr int64_t kSteps[] = {kMinute,
                              5 * kMinute,
                              15 * kMinute,
                              30 * kMinute,
                              kSecondsOfHour,
                              2 * kSecondsOfHour,
                              3 * kSecondsOfHour,
                              6 * kSecondsOfHour,
                              12 * kSecondsOfHour,
                              kSecondsOfDay,
                              2 * kSecondsOfDay,
                              7 * kSecondsOfDay};
constexpr int64_t kMonthSteps[] = {1, 3, 6, 12, 24, 60, 120, 240, 600, 1200};
constexpr int64_t kMonday = 4 * kSecondsOfDay;  // the first after the start of 1970

std::string DateText(const CivilDate& date) {
  return fmt::format("{:02}-{:02}", date.month, date.day);
}

std::vector<TimeTick> MonthTicks(int64_t first, int64_t last, size_t count, Zone zone) {
  constexpr int64_t kMonthsOfYear = 12;
  const auto month_of = [&](int64_t moment) {
    const CivilDate date = DateOf(CivilAt(moment, zone));
    return date.year * kMonthsOfYear + date.month - 1;
  };
  const int64_t from = month_of(first);
  const int64_t to = month_of(last);
  int64_t step = kMonthSteps[std::size(kMonthSteps) - 1];
  for (const int64_t each : kMonthSteps) {
    if ((to - from) / each > static_cast<int64_t>(count)) continue;
    step = each;
    break;
  }
  std::vector<TimeTick> ticks;
  for (int64_t month = from - from % step; month <= to; month += step) {
    const CivilDate date = {month / kMonthsOfYear, static_cast<unsigned>(month % kMonthsOfYear) + 1,
                            1};
    const int64_t moment = FirstMomentOf(CivilOf(date), zone);
    if (moment < first || moment > last) continue;
    ticks.push_back({moment, fmt::format("{:04}-{:02}", date.year, date.month), ""});
  }
  return ticks;
}

}  // namespace

std::vector<double> ValueTicks(double most, size_t count) {
  if (!(most > 0) || !std::isfinite(most)) most = 1;
  const double rough = most / static_cast<double>(std::max<size_t>(count, 1));
  const double power = std::pow(10, std::floor(std::log10(rough)));
  double step = 10 * power;
  for (const double each : {1.0, 2.0, 2.5, 5.0}) {
    if (each * power < rough) continue;
    step = each * power;
    break;
  }
  std::vector<double> ticks = {0};
  while (ticks.back() < most) ticks.push_back(step * static_cast<double>(ticks.size()));
  return ticks;
}

std::string TickText(double value, double step) {
  constexpr double kMillion = 1e6;
  const bool millions = step >= kMillion / 10 && value != 0;
  const double shown = millions ? value / kMillion : value;
  const double shown_step = millions ? step / kMillion : step;
  int digits = 0;
  for (double unit = shown_step; digits < 6 && std::abs(unit - std::round(unit)) > 1e-9; ++digits) {
    unit *= 10;
  }
  const std::string text = fmt::format("{:.{}f}", shown, digits);
  std::string grouped;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool comma = digits == 0 && i > 0 && (text.size() - i) % 3 == 0;
    if (comma) grouped += ',';
    grouped += text[i];
  }
  return millions ? grouped + " M" : grouped;
}

std::vector<TimeTick> TimeTicks(int64_t first, int64_t last, size_t count, Zone zone) {
  const int64_t length = std::max<int64_t>(last - first, 1);
  const auto* const found = std::find_if(std::begin(kSteps), std::end(kSteps), [&](int64_t step) {
    return length / step <= static_cast<int64_t>(count);
  });
  if (found == std::end(kSteps)) return MonthTicks(first, last, count, zone);
  const int64_t step = *found;
  const Civil start = CivilAt(first, zone);
  const Civil origin = step == 7 * kSecondsOfDay ? kMonday
                       : step > kSecondsOfDay    ? 0
                                                 : CivilOf(DateOf(start));
  std::vector<TimeTick> ticks;
  std::string date_before;
  for (Civil civil = start - (start - origin) % step; civil <= CivilAt(last, zone) + step;
       civil += step) {
    for (const int64_t moment : MomentsOf(civil, zone)) {
      if (moment < first || moment > last) continue;
      const CivilDate date = DateOf(civil);
      if (step >= kSecondsOfDay) {
        ticks.push_back({moment, DateText(date), ""});
        continue;
      }
      const int64_t clock = civil - CivilOf(date);
      const std::string text = DateText(date);
      ticks.push_back({moment,
                       fmt::format("{:02}:{:02}", clock / kSecondsOfHour, clock / kMinute % 60),
                       text == date_before ? "" : text});
      date_before = text;
    }
  }
  return ticks;
}

}  // namespace psltool
