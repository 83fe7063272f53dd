// Time stamps as text and back, in local time or in UTC.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

enum class Zone : uint8_t { kLocal, kUtc };

// "2024-03-04 10:05:00".
std::string TimeText(uint32_t stamp, Zone zone);

// "2024-03-04T10:05:00+01:00", in UTC "2024-03-04T10:05:00Z".
std::string IsoTimeText(uint32_t stamp, Zone zone);

// Reads "2024-03-04", "2024-03-04 10:05" or "...:30", a 'T' for the blank, or "@" and a number of
// seconds since 1970. `last`: of what the text leaves open take the last second, not the first.
// Nothing: no such time, or not between 1970 and 2106.
std::optional<uint32_t> ParseTime(const std::string& text, Zone zone, bool last);
