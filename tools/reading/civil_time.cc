// Readings and moments: see the header. The system's zone is asked only for the offset at a moment;
// mktime would choose one of two moments, and a moment for a reading that clocks skip, by rules
// that it does not tell.
#include "tools/reading/civil_time.h"

#include <chrono>
#include <ctime>

namespace psltool {

namespace {

using std::chrono::sys_days;

tm LocalParts(int64_t moment) {
  const auto time = static_cast<time_t>(moment);
  tm parts{};
  localtime_r(&time, &parts);
  return parts;
}

// No zone is further from Greenwich, in either direction.
constexpr int64_t kMostOffset = 16 * kSecondsOfHour;

// When the reading is skipped: the moment of the change.
int64_t ChangeBetween(int64_t low, int64_t high, Zone zone) {
  const int64_t before = OffsetAt(low, zone);
  while (high - low > 1) {
    const int64_t middle = low + (high - low) / 2;
    (OffsetAt(middle, zone) == before ? low : high) = middle;
  }
  return high;
}

}  // namespace

unsigned DaysOfMonth(int64_t year, unsigned month) {
  const auto last =
      std::chrono::year(static_cast<int>(year)) / std::chrono::month(month) / std::chrono::last;
  return unsigned(last.day());
}

Civil CivilOf(const CivilDate& date) {
  const auto days = sys_days(std::chrono::year(static_cast<int>(date.year)) /
                             std::chrono::month(date.month) / std::chrono::day(date.day));
  return days.time_since_epoch().count() * kSecondsOfDay;
}

CivilDate DateOf(Civil civil) {
  const int64_t days =
      (civil - ((civil % kSecondsOfDay) + kSecondsOfDay) % kSecondsOfDay) / kSecondsOfDay;
  const std::chrono::year_month_day date{sys_days(std::chrono::days(days))};
  return {int(date.year()), unsigned(date.month()), unsigned(date.day())};
}

unsigned WeekdayOf(Civil civil) {
  const CivilDate date = DateOf(civil);
  const int64_t days = CivilOf(date) / kSecondsOfDay;
  // 1 January 1970 was a Thursday.
  return static_cast<unsigned>(((days + 3) % 7 + 7) % 7);
}

int64_t OffsetAt(int64_t moment, Zone zone) {
  return zone == Zone::kUtc ? 0 : LocalParts(moment).tm_gmtoff;
}

std::string AbbreviationAt(int64_t moment, Zone zone) {
  if (zone == Zone::kUtc) return "UTC";
  const tm parts = LocalParts(moment);
  return parts.tm_zone == nullptr ? "" : parts.tm_zone;
}

Civil CivilAt(int64_t moment, Zone zone) { return moment + OffsetAt(moment, zone); }

std::vector<int64_t> MomentsOf(Civil civil, Zone zone) {
  const int64_t before = OffsetAt(civil - kMostOffset, zone);
  const int64_t after = OffsetAt(civil + kMostOffset, zone);
  std::vector<int64_t> moments;
  // The larger offset gives the earlier moment.
  const int64_t larger = before > after ? before : after;
  const int64_t smaller = before > after ? after : before;
  if (OffsetAt(civil - larger, zone) == larger) moments.push_back(civil - larger);
  if (smaller != larger && OffsetAt(civil - smaller, zone) == smaller) {
    moments.push_back(civil - smaller);
  }
  return moments;
}

int64_t FirstMomentOf(Civil civil, Zone zone) {
  const std::vector<int64_t> moments = MomentsOf(civil, zone);
  return moments.empty() ? ChangeBetween(civil - kMostOffset, civil + kMostOffset, zone)
                         : moments.front();
}

int64_t LastMomentOf(Civil civil, Zone zone) {
  const std::vector<int64_t> moments = MomentsOf(civil, zone);
  return moments.empty() ? FirstMomentOf(civil, zone) : moments.back();
}

}  // namespace psltool
