// Where the lines of an axis stand and what is written beside them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/reading/civil_time.h"

namespace psltool {

// Round numbers from 0 to the first one that is not below `most`: at most about `count`.
std::vector<double> ValueTicks(double most, size_t count);
// "0", "0.5", "1,500", "2.4 M".
std::string TickText(double value, double step);

struct TimeTick {
  int64_t moment;
  std::string text;  // "10:00", "03-08", "2024-03"
  std::string date;  // below it, where a new day begins or the axis does; else empty
};
// Full minutes, hours, days, months or years on the clocks of the zone, at most about `count`. Days
// of 23 and 25 hours have their ticks where their hours are.
std::vector<TimeTick> TimeTicks(int64_t first, int64_t last, size_t count, Zone zone);

}  // namespace psltool
