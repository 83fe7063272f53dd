// Reports: see the header.
#include "tools/report.h"

#include <fmt/core.h>

#include <cstdio>

bool Fail(std::string_view what, std::string_view reason) {
  fmt::print(stderr, "psltool: {}: {}\n", what, reason);
  return false;
}
