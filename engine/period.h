// When does an input belong to the output in progress: same day of the same array (hour archives),
// same month and next day (day archives).
#pragma once

#include <cstdint>

#include "engine/names.h"

// 0 when both input names denote the same day of the same array: equal up to the last "#" or,
// without one, the last ".". 1 otherwise, also when either is null. Directory parts count.
int CheckSameDay(const char* name1, const char* name2);

// Months from one date to another; negative when it lies before.
int MonthsBetween(const FileDate& before, const FileDate& now);

// From what was read last to the input whose header was read just now, by the dates that the run
// goes by. `previous_revision` is that of the output in progress.
struct Distance {
  int months;
  int days;  // within the month
};
Distance DistanceFromLast(uint8_t previous_revision);

// Months from the previous input to this one (0: same month). `previous_revision` is that of the
// output in progress. Negative order: message 112; a manual run ends with its output removed, an
// automatic run sets auto_break_flg and gets -1.
int CheckNextMonth(uint8_t previous_revision);

// Days from the previous input to this one within the month. Negative order: message 112; a manual
// run ends with its output removed; an automatic run gets -1 and reads the input all the same.
int CheckNextDay(uint8_t previous_revision);
