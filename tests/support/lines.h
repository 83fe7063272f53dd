// Text as a list of its lines.
#pragma once

#include <sstream>
#include <string>
#include <vector>

inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}
