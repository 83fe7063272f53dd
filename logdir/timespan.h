// Time spans and calendar arithmetic: the time argument of "-hour" and "-day", and the dates that
// file names begin with.
#pragma once

#include <cstdint>
#include <ctime>

inline constexpr int64_t kSecondsPerDay = 86400;

// The span of a directory run, seconds since the epoch. A StartTime of 0 is no lower bound.
extern int64_t StartTime;
extern int64_t EndTime;

// Ends of the absolute forms in calendar time.
extern struct tm starttm;
extern struct tm endtm;

// Source of the current time; when null, the system's clock.
extern int64_t (*clock_hook)();
int64_t CurrentTime();

// Sets StartTime and EndTime from a time argument: "<n>d", "<n>m", "<n>y", YYYYMMDD, or two such
// dates with one character between them. Returns 0; a text that is no time ends the process.
int SetTimeSpan(const char* argument);

// 0 when year, month and day are a date from 1970 on, else 1. The time of day is not looked at.
int CheckTm(const struct tm* date);

// As CheckTm, but a day beyond the month's end becomes the month's last day. The second argument is
// not used.
int CheckAndModifyTm(struct tm* date, int unused);

// Message 106 with `text`, then the usage text and status 1.
[[noreturn]] void OutOfRange(const char* text);

// Days of `month` (0 for January) in `year` (the full number).
int DaysOfMonth(int year, int month);

// Moves `date` back by `count` months; the day stays as it is.
void MoveBackMonths(struct tm* date, int64_t count);

// Local calendar time of `time`.
struct tm LocalTime(int64_t time);

// Seconds since the epoch of a calendar time, which is normalised. False when it cannot be
// converted.
bool ToTime(struct tm* date, int64_t* time);

// The date at the beginning of `name`, YYYYMMDD, at 00:00:00 with the daylight flag `isdst`. The
// eight digits must be there; that they form a date is left to CheckTm.
struct tm NameDate(const char* name, int isdst);
