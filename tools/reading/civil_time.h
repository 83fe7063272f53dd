// Calendar and clock readings of a zone, and the moments that they stand for. Where clocks are put
// back an hour has two moments for each reading, where they are put forward some have none.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace psltool {

enum class Zone : uint8_t { kLocal, kUtc };

// A reading of calendar and clock, as seconds: what its moment would be if it were UTC.
using Civil = int64_t;

inline constexpr int64_t kSecondsOfHour = 3600;
inline constexpr int64_t kSecondsOfDay = 86400;

struct CivilDate {
  int64_t year;
  unsigned month;  // from 1
  unsigned day;    // from 1
};

unsigned DaysOfMonth(int64_t year, unsigned month);
// Midnight of the date, which must exist.
Civil CivilOf(const CivilDate& date);
CivilDate DateOf(Civil civil);
// 0 is Monday.
unsigned WeekdayOf(Civil civil);

// Seconds east of Greenwich at a moment.
int64_t OffsetAt(int64_t moment, Zone zone);
// The zone's abbreviation at a moment, "CEST".
std::string AbbreviationAt(int64_t moment, Zone zone);
Civil CivilAt(int64_t moment, Zone zone);

// The moments at which clocks show the reading: none, one or two.
std::vector<int64_t> MomentsOf(Civil civil, Zone zone);
// The first and the last of them; of a reading that clocks skip the moment of the change.
int64_t FirstMomentOf(Civil civil, Zone zone);
int64_t LastMomentOf(Civil civil, Zone zone);

}  // namespace psltool
