// Limits of the retention classes: see the header.
#include "logdir/limits.h"

#include <ctime>

#include "logdir/timespan.h"
#include "report/runinfo.h"

namespace {

constexpr int32_t kCodeDays = 0x10000000;
constexpr int32_t kCodeMonths = 0x20000000;
constexpr int32_t kCodeYears = 0x40000000;

}  // namespace

std::optional<int64_t> LimitOf(int32_t encoded, int64_t now) {
  if (encoded > kCodeDays && encoded < kCodeMonths) {
    return now - (encoded - kCodeDays) * kSecondsPerDay;
  }
  struct tm date = LocalTime(now);
  if (encoded > kCodeMonths && encoded < kCodeYears) {
    MoveBackMonths(&date, encoded - kCodeMonths);
    const int last = DaysOfMonth(date.tm_year + 1900, date.tm_mon);
    if (date.tm_mday > last) date.tm_mday = last;
  } else if (encoded > kCodeYears) {
    date.tm_year -= encoded - kCodeYears;  // 29 February becomes 1 March in the conversion
  } else {
    return std::nullopt;
  }
  date.tm_hour = 0;
  date.tm_min = 0;
  date.tm_sec = 0;
  date.tm_isdst = -1;
  int64_t limit = 0;
  // Not reached: no code leads to a year that does not convert.
  if (!ToTime(&date, &limit)) return std::nullopt;
  return limit;
}

Limits LimitsAt(const RetentionCodes& codes, int64_t now) {
  Limits limits = {now, {}};
  for (size_t i = 0; i < codes.size(); ++i) {
    if (codes[i] != 0) limits.before[i] = LimitOf(codes[i], now);
  }
  return limits;
}

RetentionCodes RunRetention() {
  RetentionCodes codes = {};
  for (size_t i = 0; i < codes.size(); ++i) {
    if (arcdelinfo.savetm_flg[i] != 0) codes[i] = arcdelinfo.savetm[i];
  }
  return codes;
}

Limits RunLimits() {
  Limits limits = {arcdelinfo.savetime[kClassHour].now, {}};
  for (size_t i = 0; i < limits.before.size(); ++i) {
    if (arcdelinfo.savetm_flg[i] != 0) limits.before[i] = arcdelinfo.savetime[i].limit;
  }
  return limits;
}
