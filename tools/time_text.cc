// Times: see the header.
#include "tools/time_text.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdio>
#include <ctime>

namespace {

tm PartsOf(uint32_t stamp, Zone zone) {
  const auto time = static_cast<time_t>(stamp);
  tm parts{};
  if (zone == Zone::kUtc) {
    gmtime_r(&time, &parts);
  } else {
    localtime_r(&time, &parts);
  }
  return parts;
}

std::string Format(const tm& parts, char between) {
  return fmt::format("{:04}-{:02}-{:02}{}{:02}:{:02}:{:02}", parts.tm_year + 1900, parts.tm_mon + 1,
                     parts.tm_mday, between, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

std::optional<uint32_t> InRange(int64_t time) {
  if (time < 0 || time > UINT32_MAX) return std::nullopt;
  return static_cast<uint32_t>(time);
}

std::optional<uint32_t> ParseSeconds(const std::string& text) {
  int64_t seconds = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + 1, end, seconds);
  if (error != std::errc() || stop != end) return std::nullopt;
  return InRange(seconds);
}

}  // namespace

std::string TimeText(uint32_t stamp, Zone zone) { return Format(PartsOf(stamp, zone), ' '); }

std::string IsoTimeText(uint32_t stamp, Zone zone) {
  const tm parts = PartsOf(stamp, zone);
  if (zone == Zone::kUtc) return Format(parts, 'T') + "Z";
  const long minutes = parts.tm_gmtoff / 60;
  const long positive = minutes < 0 ? -minutes : minutes;
  return fmt::format("{}{}{:02}:{:02}", Format(parts, 'T'), minutes < 0 ? '-' : '+', positive / 60,
                     positive % 60);
}

std::optional<uint32_t> ParseTime(const std::string& text, Zone zone, bool last) {
  if (!text.empty() && text[0] == '@') return ParseSeconds(text);
  tm parts{};
  int end = 0;
  if (text.size() < 10 ||
      std::sscanf(text.c_str(), "%4d-%2d-%2d%n", &parts.tm_year, &parts.tm_mon, &parts.tm_mday,
                  &end) != 3 ||
      end != 10) {
    return std::nullopt;
  }
  bool minutes = false;
  bool seconds = false;
  if (text.size() > 10) {
    if (text[10] != ' ' && text[10] != 'T') return std::nullopt;
    const char* const clock = text.c_str() + 11;
    const size_t size = text.size() - 11;
    const int found =
        std::sscanf(clock, "%2d:%2d:%2d", &parts.tm_hour, &parts.tm_min, &parts.tm_sec);
    minutes = found == 2 && size == 5;
    seconds = found == 3 && size == 8;
    if (!minutes && !seconds) return std::nullopt;
  }
  if (last && !seconds) parts.tm_sec = 59;
  if (last && !seconds && !minutes) {
    parts.tm_hour = 23;
    parts.tm_min = 59;
  }
  parts.tm_year -= 1900;
  parts.tm_mon -= 1;
  parts.tm_isdst = -1;
  const tm wanted = parts;
  const time_t time = zone == Zone::kUtc ? timegm(&parts) : mktime(&parts);
  // A 31st of February becomes a day of March. The hour may move where clocks are put forward.
  if (parts.tm_year != wanted.tm_year || parts.tm_mon != wanted.tm_mon ||
      parts.tm_mday != wanted.tm_mday || wanted.tm_hour > 23 || wanted.tm_min > 59 ||
      wanted.tm_sec > 59) {
    return std::nullopt;
  }
  return InRange(time);
}
