// Text as a list of its lines, and a line of CSV without quotes as a list of its cells.
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

inline std::vector<std::string> Cells(const std::string& line) {
  std::vector<std::string> cells(1);
  for (const char c : line) {
    if (c == ',') {
      cells.emplace_back();
    } else {
      cells.back() += c;
    }
  }
  return cells;
}
