// A line on the terminal that tells how far a longer run is. Nothing is shown in the first two
// seconds, and nothing at all when standard error is not a terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace psltool {

class Progress {
 public:
  // `wanted` false: never shown.
  explicit Progress(bool wanted = true);
  ~Progress() { Clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(const std::string& path, uint64_t done, uint64_t all);
  // Takes the line away, before something else is printed.
  void Clear();

 private:
  bool shown_;
  bool line_ = false;
  std::chrono::steady_clock::time_point due_;
};

}  // namespace psltool
