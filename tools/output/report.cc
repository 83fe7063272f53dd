// Reports: see the header.
#include "tools/output/report.h"

#include <fmt/core.h>

#include <cstdio>
#include <string>

#include "tools/output/shown.h"

namespace psltool {

bool Fail(std::string_view what, std::string_view reason) {
  // Where the line cannot be written the exit status is left to tell.
  const std::string line = fmt::format("psltool: {}: {}\n", Shown(what), Shown(reason));
  static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr));
  return false;
}

}  // namespace psltool
