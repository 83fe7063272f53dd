// Parts of a record that should not share bytes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/reading/finding.h"

namespace psltool {

class Extents {
 public:
  void Add(uint64_t from, uint64_t size, std::string name, uint64_t field_at) {
    if (size != 0) parts_.push_back({from, from + size, std::move(name), field_at});
  }

  // Warns once for each part that begins inside the one before it.
  void Warn(RecordReport& report) {
    std::stable_sort(parts_.begin(), parts_.end(),
                     [](const Part& a, const Part& b) { return a.from < b.from; });
    for (size_t i = 1; i < parts_.size(); ++i) {
      const Part& before = parts_[i - 1];
      const Part& part = parts_[i];
      if (part.from >= before.to) continue;
      report.Warn("overlap", part.field_at, part.name, "shares bytes with " + before.name);
    }
  }

 private:
  struct Part {
    uint64_t from, to;
    std::string name;
    uint64_t field_at;  // of its offset in the record's head
  };
  std::vector<Part> parts_;
};

}  // namespace psltool
