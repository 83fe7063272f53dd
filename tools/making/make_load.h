// The load of an array over the day: how busy each group of resources is at a moment.
#pragma once

#include <cstdint>

#include "tools/making/make_plan.h"

namespace psltool {

// Which part of the day's work a resource takes part in.
enum class Group : uint8_t {
  kAlways,  // never wholly quiet
  kOffice,  // idle at night
  kBatch,   // idle by day
  kSpare,   // idle
};

struct Load {
  double office;  // 0 to 1
  double batch;   // 0 to 1
  bool flat;
  bool idle;
};

// Resources that something holds for at a moment: always as many of a kind, which ones changes
// evenly over a period. Each resource has a place in the row (make_array.h).
struct Window {
  uint32_t all = 1;
  uint32_t holds = 0;    // so many of them
  uint32_t shifted = 0;  // places from the first

  bool Holds(uint32_t place) const { return (place + all - shifted) % all < holds; }
};

// `percent` of `all` at the time `stamp`.
Window WindowAt(uint32_t percent, uint32_t all, uint32_t stamp, uint32_t period);

inline constexpr uint32_t kIdlePeriod = 86400;      // each resource rests once a day,
inline constexpr uint32_t kNotValidPeriod = 21600;  // and is not measured once in six hours

// One sampling interval.
struct Interval {
  uint32_t stamp;
  Load load;
  bool first;      // first one behind a structure record
  Extended words;  // of the file that it is in
};

// `weekday`: 0 is Sunday; `second` counts from the day's midnight.
Load LoadAt(Profile profile, uint32_t weekday, int64_t second);

// Share of its full rate that a resource of the group works at; 0: idle.
double Demand(Group group, const Load& load);

}  // namespace psltool
