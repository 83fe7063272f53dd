// Keys: see the header.
#include "tools/reading/resource_key.h"

#include <charconv>

namespace psltool {

std::optional<ResourceKey> ParseKey(const KeyBytes& key, const std::string& text) {
  std::vector<uint32_t> parts;
  const char* at = text.data();
  const char* const end = at + text.size();
  while (true) {
    uint32_t part = 0;
    const auto [stop, error] = std::from_chars(at, end, part);
    if (error != std::errc()) return std::nullopt;
    parts.push_back(part);
    if (stop == end) break;
    if (*stop != '.') return std::nullopt;
    at = stop + 1;
  }
  ResourceKey result;
  if (key.number) {
    if (parts.size() != 1 || parts[0] > 0xFFFF) return std::nullopt;
    result.bytes = {static_cast<uint8_t>(parts[0] >> 8), static_cast<uint8_t>(parts[0] & 0xFF)};
    return result;
  }
  // A key may be given by its first bytes, since not every array uses the last one.
  if (parts.size() > key.count) return std::nullopt;
  for (const uint32_t part : parts) {
    if (part > 0xFF) return std::nullopt;
    result.bytes.push_back(static_cast<uint8_t>(part));
  }
  return result;
}

}  // namespace psltool
