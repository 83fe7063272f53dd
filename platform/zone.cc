// The time zone of the process: see the header. The C library knows one zone at a time, that of the
// variable TZ.
#include "platform/zone.h"

#include <cstdio>
#include <cstdlib>

namespace {

struct ZoneVariable {
  bool set;
  char value[256];
};

ZoneVariable own_zone;
bool switched = false;

ZoneVariable Current() {
  const char* value = std::getenv("TZ");
  ZoneVariable zone{};
  zone.set = value != nullptr;
  std::snprintf(zone.value, sizeof zone.value, "%s", zone.set ? value : "");
  return zone;
}

void Apply(const ZoneVariable& zone) {
  if (zone.set) {
    ::setenv("TZ", zone.value, 1);
  } else {
    ::unsetenv("TZ");
  }
  ::tzset();
}

struct tm LocalTime(time_t time) {
  // localtime, not localtime_r: it follows changes of TZ.
  const struct tm* local = std::localtime(&time);
  // Not reached: the year of a clock fits.
  return local != nullptr ? *local : tm{};
}

}  // namespace

void SwitchToUtc() {
  own_zone = Current();
  switched = true;
  ::setenv("TZ", "UTC", 1);
  ::tzset();
}

void SwitchBackFromUtc() {
  Apply(own_zone);
  switched = false;
}

struct tm TimeInOwnZone(time_t time) {
  if (!switched) return LocalTime(time);
  const ZoneVariable in_force = Current();
  Apply(own_zone);
  const struct tm own = LocalTime(time);
  Apply(in_force);
  return own;
}
