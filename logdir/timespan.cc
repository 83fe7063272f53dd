// Time spans and calendar arithmetic: see the header.
#include "logdir/timespan.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "report/messages.h"
#include "report/usage.h"

int64_t StartTime = 0;
int64_t EndTime = 0;
struct tm starttm;
struct tm endtm;
int64_t (*clock_hook)() = nullptr;

namespace {

constexpr size_t kMaxText = 1024;
constexpr size_t kDateLength = 8;
constexpr size_t kRangeLength = 17;

constexpr int mdays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool OutsideYearAndMonth(const struct tm& date) {
  return date.tm_mon < 0 || date.tm_mon > 11 || date.tm_year < 70;
}

[[noreturn]] void NoTime(const std::string& text) {
  LogMessage(104, text.c_str());
  Usage();
}

// The number before the unit letter.
int64_t RelativeCount(const std::string& text) {
  int64_t count = 0;
  for (size_t i = 0; i + 1 < text.size(); ++i) {
    if (!IsDigit(text[i])) OutOfRange(text.c_str());
    count = count * 10 + (text[i] - '0');
    if (count > std::numeric_limits<int32_t>::max()) OutOfRange(text.c_str());
  }
  return count;
}

void SetRelativeSpan(const std::string& text, int64_t now) {
  const int64_t count = RelativeCount(text);
  const char unit = text.back();
  StartTime = 0;
  if (unit == 'd' || unit == 'D') {
    EndTime = now - count * kSecondsPerDay;
  } else if (unit == 'm' || unit == 'M' || unit == 'y' || unit == 'Y') {
    struct tm date = LocalTime(now);
    // 12 months are a year, and neither moves the day.
    MoveBackMonths(&date, unit == 'm' || unit == 'M' ? count : count * 12);
    date.tm_isdst = -1;
    // Not reached: a year of four digits converts.
    if (CheckAndModifyTm(&date, 0) != 0 || !ToTime(&date, &EndTime)) OutOfRange(text.c_str());
  } else {
    NoTime(text);
  }
  if (EndTime < 0) OutOfRange(text.c_str());
}

int Number(const std::string& text, size_t position, size_t length) {
  return atoi(text.substr(position, length).c_str());
}

struct tm DateAt(const std::string& text, size_t position, int isdst) {
  struct tm date {};
  date.tm_year = Number(text, position, 4) - 1900;
  date.tm_mon = Number(text, position + 4, 2) - 1;
  date.tm_mday = Number(text, position + 6, 2);
  date.tm_isdst = isdst;
  return date;
}

void ConvertDate(const std::string& text, struct tm* date, int64_t* time) {
  // Not reached: a year of four digits converts.
  if (CheckTm(date) != 0 || !ToTime(date, time)) OutOfRange(text.c_str());
}

void SetAbsoluteSpan(const std::string& text, int64_t now) {
  const int isdst = LocalTime(now).tm_isdst;
  StartTime = 0;
  if (text.size() == kDateLength) {
    endtm = DateAt(text, 0, isdst);
    ConvertDate(text, &endtm, &EndTime);
  } else {
    starttm = DateAt(text, 0, isdst);
    endtm = DateAt(text, kDateLength + 1, isdst);
    ConvertDate(text, &starttm, &StartTime);
    ConvertDate(text, &endtm, &EndTime);
    if (StartTime > EndTime) OutOfRange(text.c_str());
  }
  if (now < EndTime) OutOfRange(text.c_str());
}

}  // namespace

int64_t CurrentTime() { return clock_hook != nullptr ? clock_hook() : time(nullptr); }

int SetTimeSpan(const char* argument) {
  const std::string text(argument, strnlen(argument, kMaxText));
  const int64_t now = CurrentTime();
  if (text.size() >= 2 && IsLetter(text.back())) {
    SetRelativeSpan(text, now);
  } else if (text.size() == kDateLength || text.size() == kRangeLength) {
    SetAbsoluteSpan(text, now);
  } else {
    NoTime(text);
  }
  return 0;
}

int CheckTm(const struct tm* date) {
  if (OutsideYearAndMonth(*date) || date->tm_mday < 1) return 1;
  return date->tm_mday > DaysOfMonth(date->tm_year + 1900, date->tm_mon) ? 1 : 0;
}

int CheckAndModifyTm(struct tm* date, int /*unused*/) {
  if (OutsideYearAndMonth(*date) || date->tm_mday < 1) return 1;
  const int last = DaysOfMonth(date->tm_year + 1900, date->tm_mon);
  if (date->tm_mday > last) date->tm_mday = last;
  return 0;
}

void OutOfRange(const char* text) {
  LogMessage(106, text);
  Usage();
}

int DaysOfMonth(int year, int month) {
  const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return mdays[month] + (leap && month == 1 ? 1 : 0);
}

void MoveBackMonths(struct tm* date, int64_t count) {
  // Counted from year 0 in one number, so that a huge count costs no more than a small one.
  const int64_t months = (static_cast<int64_t>(date->tm_year) + 1900) * 12 + date->tm_mon - count;
  int64_t year = months / 12;
  int64_t month = months % 12;
  if (month < 0) {
    month += 12;
    --year;
  }
  constexpr int64_t kLowestYear = std::numeric_limits<int>::min() / 2;
  date->tm_year = static_cast<int>(year < kLowestYear ? kLowestYear : year) - 1900;
  date->tm_mon = static_cast<int>(month);
}

struct tm LocalTime(int64_t time) {
  const time_t value = time;
  // localtime, not localtime_r: it follows changes of TZ.
  const struct tm* local = localtime(&value);
  return local != nullptr ? *local : tm{};
}

bool ToTime(struct tm* date, int64_t* time) {
  errno = 0;
  const time_t value = mktime(date);
  if (value == -1 && errno == EOVERFLOW) return false;
  *time = value;
  return true;
}

struct tm NameDate(const char* name, int isdst) {
  return DateAt(name, 0, isdst);
}
