// The words in which moments and spans of time are said: units, weekdays, months.
#pragma once

#include <array>
#include <cctype>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace psltool {

enum class TimeUnit : uint8_t { kSecond, kMinute, kHour, kDay, kWeek, kMonth, kYear };

// "m" are months, as in retention periods and in the archiver's time texts.
inline constexpr std::pair<TimeUnit, std::array<std::string_view, 4>> kUnits[] = {
    {TimeUnit::kSecond, {"s", "sec", "second", "seconds"}},
    {TimeUnit::kMinute, {"min", "min", "minute", "minutes"}},
    {TimeUnit::kHour, {"h", "h", "hour", "hours"}},
    {TimeUnit::kDay, {"d", "d", "day", "days"}},
    {TimeUnit::kWeek, {"w", "w", "week", "weeks"}},
    {TimeUnit::kMonth, {"m", "m", "month", "months"}},
    {TimeUnit::kYear, {"y", "y", "year", "years"}}};

inline constexpr std::array<std::string_view, 7> kWeekdays = {
    "monday", "tuesday", "wednesday", "thursday", "friday", "saturday", "sunday"};
inline constexpr std::array<std::string_view, 12> kMonths = {
    "January", "February", "March",     "April",   "May",      "June",
    "July",    "August",   "September", "October", "November", "December"};

// Small letters and single blanks, none at the ends.
inline std::string Plain(const std::string& text) {
  std::string plain;
  for (const char c : text) {
    const auto letter = static_cast<unsigned char>(c);
    if (std::isspace(letter) == 0) {
      plain += static_cast<char>(std::tolower(letter));
    } else if (!plain.empty() && plain.back() != ' ') {
      plain += ' ';
    }
  }
  if (!plain.empty() && plain.back() == ' ') plain.pop_back();
  return plain;
}

}  // namespace psltool
