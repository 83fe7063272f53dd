// How the time span of a plan is cut into days and files.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "engine/names.h"
#include "tools/making/make_plan.h"

namespace psltool {

// One day of a plan: the intervals that begin in it.
struct Day {
  std::chrono::year_month_day date;
  int64_t start;       // seconds since the epoch
  uint32_t intervals;  // their stamps are start, start + interval and so on
  uint32_t weekday;    // 0 is Sunday
};

// A date as names and file headers count it.
FileDate FileDateOf(const std::chrono::year_month_day& date);

// Day `index` of the plan, from 0.
Day DayOf(const MakePlan& plan, uint32_t index);

// File `part` (from 0) of a day takes the intervals [first, last).
struct Slice {
  uint32_t first;
  uint32_t last;
};
Slice SliceOf(const MakePlan& plan, const Day& day, uint32_t part);

// Path of a file: date, array name and, where a day has several files, "#001" and so on.
std::string PathOf(const MakePlan& plan, const std::string& array, const Day& day, uint32_t part);

}  // namespace psltool
