// Days and files: see the header.
#include "tools/making/make_days.h"

#include <algorithm>
#include <ctime>

namespace psltool {

namespace {

using std::chrono::sys_days;
using std::chrono::year_month_day;

int64_t MidnightOf(const MakePlan& plan, const year_month_day& date) {
  if (!plan.local_days) {
    return std::chrono::seconds(sys_days(date).time_since_epoch()).count();
  }
  const FileDate fields = FileDateOf(date);
  struct tm local {};
  local.tm_year = fields.year;
  local.tm_mon = fields.month;
  local.tm_mday = fields.day;
  local.tm_isdst = -1;
  return mktime(&local);
}

}  // namespace

FileDate FileDateOf(const year_month_day& date) {
  return {static_cast<int>(date.year()) - 1900,
          static_cast<int>(static_cast<unsigned>(date.month())) - 1,
          static_cast<int>(static_cast<unsigned>(date.day()))};
}

Day DayOf(const MakePlan& plan, uint32_t index) {
  const sys_days date = sys_days(plan.start) + std::chrono::days(index);
  Day day = {};
  day.date = date;
  day.start = MidnightOf(plan, day.date);
  const int64_t end = MidnightOf(plan, date + std::chrono::days(1));
  day.intervals = static_cast<uint32_t>((end - day.start + plan.interval - 1) / plan.interval);
  if (plan.records != 0) day.intervals = std::min(day.intervals, plan.records);
  day.weekday = std::chrono::weekday(date).c_encoding();
  return day;
}

Slice SliceOf(const MakePlan& plan, const Day& day, uint32_t part) {
  const auto cut = [&](uint64_t n) {
    return static_cast<uint32_t>(n * day.intervals / plan.files_per_day);
  };
  return {cut(part), cut(uint64_t{part} + 1)};
}

std::string PathOf(const MakePlan& plan, const std::string& array, const Day& day, uint32_t part) {
  const uint32_t sequence = plan.files_per_day > 1 ? part + 1 : 0;
  return plan.out + "/" + LogName(FileDateOf(day.date), array, sequence);
}

}  // namespace psltool
