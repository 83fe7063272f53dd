// Until when files are kept: the limits of the three retention classes at one moment, as a value
// that the rules take. Nothing here looks at a clock or at the run.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

// Periods as they stand in ArcDelInfo::savetm, per class (kClassPsl ...); 0: kept for ever.
using RetentionCodes = std::array<int32_t, 3>;

struct Limits {
  int64_t now = 0;
  std::array<std::optional<int64_t>, 3> before = {};  // files dated before it are expired
};

// The limit at `now` of an encoded period; none when it is no period, or has no limit that could be
// told.
std::optional<int64_t> LimitOf(int32_t encoded, int64_t now);

Limits LimitsAt(const RetentionCodes& codes, int64_t now);

// The periods of arcdelinfo, and the limits that GetTimeSpan has computed there for this run.
RetentionCodes RunRetention();
Limits RunLimits();
