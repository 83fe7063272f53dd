// Retention as the configuration of automatic runs encodes it: a unit, to which the count is added.
#pragma once

#include <cstdint>

inline constexpr int32_t kDays = 0x10000000;
inline constexpr int32_t kMonths = 0x20000000;
inline constexpr int32_t kYears = 0x40000000;
