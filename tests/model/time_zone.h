// Time zone of the slow model: local time for revisions below 0x1D, UTC from there on, switched
// through the environment as the archiver does it.
//
// Independent of platform/zone.cc and engine/header.cc, which switch by the same rule.

#ifndef TESTS_MODEL_TIME_ZONE_H_
#define TESTS_MODEL_TIME_ZONE_H_

#include <stdlib.h>
#include <time.h>

#include <cstdint>
#include <optional>
#include <string>

namespace model {

/// Sets `TZ` for its lifetime; no value unsets it.
class ScopedZone {
 public:
  explicit ScopedZone(const std::optional<std::string>& zone) {
    const char* const value = getenv("TZ");
    if (value != nullptr) saved_ = value;
    Set(zone);
  }
  ~ScopedZone() { Set(saved_); }
  ScopedZone(const ScopedZone&) = delete;
  ScopedZone& operator=(const ScopedZone&) = delete;

 private:
  static void Set(const std::optional<std::string>& zone) {
    if (zone) {
      setenv("TZ", zone->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

  std::optional<std::string> saved_;
};

inline std::optional<std::string> EnvironmentZone() {
  const char* const value = getenv("TZ");
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

/// Calendar time of a stamp in the zone that is in force for files of `revision`.
inline tm CalendarTime(uint32_t stamp, int revision) {
  const time_t when = stamp;
  tm result{};
  if (revision >= 0x1D) {
    const ScopedZone utc("UTC");
    localtime_r(&when, &result);
  } else {
    localtime_r(&when, &result);
  }
  return result;
}

}  // namespace model

#endif  // TESTS_MODEL_TIME_ZONE_H_
