// The records of a made log or of its archive, by their framing alone.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/record_bytes.h"

// The records behind the file header, in order. Stops the test when the framing is wrong.
inline std::vector<std::string> Records(const std::string& file) {
  std::vector<std::string> records;
  for (size_t at = 0; at < file.size();) {
    const size_t length = spell::GetU32(file, at + 8);
    if (length < 12 || length > file.size() - at) throw std::runtime_error("framing");
    records.push_back(file.substr(at, length));
    at += length;
  }
  return records;
}

inline size_t CountOf(const std::vector<std::string>& records, std::string_view tag) {
  size_t count = 0;
  for (const std::string& record : records) count += record.substr(0, 3) == tag ? 1 : 0;
  return count;
}
