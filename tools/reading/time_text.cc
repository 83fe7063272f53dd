// Times as text: see the header. Reading them is read_time.cc.
#include "tools/reading/time_text.h"

#include <fmt/format.h>

namespace psltool {

namespace {

std::string OffsetText(int64_t seconds) {
  const int64_t minutes = (seconds < 0 ? -seconds : seconds) / 60;
  return fmt::format("{}{:02}:{:02}", seconds < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

std::string Reading(Civil civil, char between) {
  const CivilDate date = DateOf(civil);
  const int64_t clock = civil - CivilOf(date);
  return fmt::format("{:04}-{:02}-{:02}{}{:02}:{:02}:{:02}", date.year, date.month, date.day,
                     between, clock / kSecondsOfHour, clock / 60 % 60, clock % 60);
}

}  // namespace

std::string TimeText(uint32_t stamp, Zone zone) {
  const Civil civil = CivilAt(stamp, zone);
  const bool twice = MomentsOf(civil, zone).size() > 1;
  return Reading(civil, ' ') + (twice ? OffsetText(civil - stamp) : "");
}

std::string IsoTimeText(uint32_t stamp, Zone zone) {
  const Civil civil = CivilAt(stamp, zone);
  return Reading(civil, 'T') + (zone == Zone::kUtc ? "Z" : OffsetText(civil - stamp));
}

}  // namespace psltool
