// Times as text and back, in local time or in UTC. Reading is a function of the text, of now and of
// the zone: nothing here looks at the clock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/reading/civil_time.h"

namespace psltool {

// "2024-03-04 10:05:00"; in an hour that exists twice with the offset behind it, so that the text
// says which: "2024-10-27 02:30:00+02:00".
std::string TimeText(uint32_t stamp, Zone zone);

// "2024-03-04T10:05:00+01:00", in UTC "2024-03-04T10:05:00Z".
std::string IsoTimeText(uint32_t stamp, Zone zone);

// What a text asks for: all seconds from the first to the last.
struct TimeSpan {
  uint32_t first;
  uint32_t last;
};

struct TimeReading {
  std::optional<TimeSpan> span;
  std::string why;  // without a span: what is wrong, for a message
};

// Reads every form in which this tool and the archiver print times, and what people say:
//   2024-03-04  2024/03/04  20240304  2024-03  202403  2024        a day, a month, a year
//   "2024-03-04 10:05"  "...T10:05:30"  "...:30.250"               a minute, a second
//   "2024-03-04 10:00-11:00"                                       from one to before the other
//   ...Z  ...+01:00  "... UTC"  "... CEST"                         behind a clock time: its zone
//   10:05                                                          today's
//   today  yesterday  monday  "last monday"                        a day; also "yesterday 10:05"
//   "this week"  "last month"  "last 7 days"  "last hour"          week, month, year, hour
//   now  -7d  "7 days ago"                                         a moment
//   @1709546700  1709546700                                        seconds since 1970
// Units: s, min, h, d, w, m (months) and y, also as words. A clock time that exists twice is both
// unless its zone is told; one that is skipped is the moment of the change.
TimeReading ReadTime(const std::string& text, int64_t now, Zone zone);

}  // namespace psltool
