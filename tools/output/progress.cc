// Progress: see the header.
#include "tools/output/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

#include "tools/output/shown.h"

namespace psltool {

namespace {

constexpr auto kQuietTime = std::chrono::seconds(2);
constexpr auto kPause = std::chrono::milliseconds(200);

// Progress is a comfort: a terminal that is gone is no failure.
void Put(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
  static_cast<void>(std::fflush(stderr));
}

}  // namespace

Progress::Progress(bool wanted)
    : shown_(wanted && isatty(STDERR_FILENO) == 1),
      due_(std::chrono::steady_clock::now() + kQuietTime) {}

void Progress::Show(const std::string& path, uint64_t done, uint64_t all) {
  if (!shown_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < due_) return;
  due_ = now + kPause;
  line_ = true;
  const double percent =
      all == 0 ? 100.0 : static_cast<double>(done) * 100.0 / static_cast<double>(all);
  Put(fmt::format("\r{} {:3.0f}%\x1b[K", Shown(path), percent));
}

void Progress::Clear() {
  if (line_) Put("\r\x1b[K");
  line_ = false;
}

}  // namespace psltool
