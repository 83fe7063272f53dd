// The present: see the header.
#include "tools/reading/clock.h"

#include <charconv>
#include <cstdlib>
#include <ctime>
#include <string_view>

namespace psltool {

int64_t Now() {
  const char* const given = std::getenv("PSLTOOL_NOW");
  std::string_view text = given == nullptr ? "" : given;
  if (text.starts_with('@')) text.remove_prefix(1);
  int64_t now = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), now);
  const bool whole = !text.empty() && error == std::errc() && end == text.data() + text.size();
  return whole ? now : std::time(nullptr);
}

}  // namespace psltool
