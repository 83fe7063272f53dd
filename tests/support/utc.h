// Moments in UTC, by the calendar.
#pragma once

#include <cstdint>
#include <ctime>

inline int64_t Utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  struct tm time {};
  time.tm_year = year - 1900;
  time.tm_mon = month - 1;
  time.tm_mday = day;
  time.tm_hour = hour;
  time.tm_min = minute;
  time.tm_sec = second;
  return timegm(&time);
}
