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

// One sampling interval.
struct Interval {
  uint32_t stamp;
  Load load;
  bool first;  // first one behind a structure record
};

// `weekday`: 0 is Sunday; `second` counts from the day's midnight.
Load LoadAt(Profile profile, uint32_t weekday, int64_t second);

// Share of its full rate that a resource of the group works at; 0: idle.
double Demand(Group group, const Load& load);

}  // namespace psltool
