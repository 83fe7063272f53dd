// Lines of a file: see the header.
#include "tools/reading/text_lines.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tools/output/report.h"

namespace psltool {

bool EachLine(const std::string& path,
              const std::function<std::string(const std::string& line, size_t number)>& take) {
  const auto unreadable = [&path](int error) {
    return Fail(path, fmt::format("cannot be read: {}", std::strerror(error)));
  };
  std::ifstream file(path);
  if (!file) return unreadable(errno);
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) return unreadable(EISDIR);
  std::string line;
  for (size_t number = 1; std::getline(file, line); ++number) {
    const std::string trouble = take(line, number);
    if (!trouble.empty()) return Fail(fmt::format("{}:{}", path, number), trouble);
  }
  return !file.bad() || unreadable(errno);
}

}  // namespace psltool
