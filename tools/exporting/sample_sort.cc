// Sorting of samples: see the header.
#include "tools/exporting/sample_sort.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <queue>

#include "platform/transfer.h"
#include "tools/output/report.h"
#include "tools/output/unfinished.h"

namespace psltool {

namespace {

constexpr size_t kLeastRoom = 16;  // samples of a run in memory, however many runs there are

bool Before(const Sample& a, const Sample& b) {
  return a.series != b.series ? a.series < b.series : a.stamp < b.stamp;
}

// A file without a name: whatever ends the tool, nothing stays.
int OpenNameless(const std::string& directory) {
  const int fd = open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (fd != -1) return fd;
  // Not every file system knows such files.
  const SignalsHeld held;
  std::string name = directory + "/psltoolXXXXXX";
  const int named = mkostemp(name.data(), O_CLOEXEC);
  if (named != -1) unlink(name.c_str());
  return named;
}

}  // namespace

SampleSort::~SampleSort() {
  if (fd_ != -1) close(fd_);
}

bool SampleSort::Trouble(const char* what) const {
  return Fail(directory_, fmt::format("temporary file: {}: {}", what, std::strerror(errno)));
}

bool SampleSort::Add(const Sample& sample) {
  if (samples_.empty()) samples_.reserve(piece_);
  samples_.push_back(sample);
  return samples_.size() < piece_ || Spill();
}

bool SampleSort::Spill() {
  if (fd_ == -1) fd_ = OpenNameless(directory_);
  if (fd_ == -1) return Trouble("cannot be created");
  std::stable_sort(samples_.begin(), samples_.end(), Before);
  const auto* bytes = reinterpret_cast<const char*>(samples_.data());
  size_t left = samples_.size() * sizeof(Sample);
  runs_.push_back({end_, end_ + left});
  while (left > 0) {
    const ssize_t written = pwrite(fd_, bytes, left, static_cast<off_t>(end_));
    if (written == -1 && errno == EINTR) continue;
    if (written == -1) return Trouble("cannot be written");
    bytes += written;
    end_ += static_cast<uint64_t>(written);
    left -= static_cast<size_t>(written);
  }
  samples_.clear();
  return true;
}

// Reads the next samples of a run; none when it is at its end.
bool SampleSort::Refill(Run& run, size_t room) {
  run.at = 0;
  run.samples.resize(std::min<uint64_t>(room, (run.to - run.from) / sizeof(Sample)));
  const size_t size = run.samples.size() * sizeof(Sample);
  auto* bytes = reinterpret_cast<uint8_t*>(run.samples.data());
  const Transfer read = ReadFrom(fd_, static_cast<int64_t>(run.from), {bytes, size});
  run.from += size;
  errno = read.error != 0 ? read.error : EIO;
  return read.size == size || Trouble("cannot be read");
}

bool SampleSort::Merge(const std::function<bool(const Sample&)>& take) {
  if (runs_.empty()) return MergeOne(take);
  if (!samples_.empty() && !Spill()) return false;
  samples_ = {};
  const size_t room = std::max(kLeastRoom, piece_ / std::max<size_t>(1, runs_.size()));
  // Of samples that agree the earlier run goes first, so that the last one added comes last.
  const auto later = [this](size_t a, size_t b) {
    const Sample& x = runs_[a].samples[runs_[a].at];
    const Sample& y = runs_[b].samples[runs_[b].at];
    return Before(y, x) || (!Before(x, y) && b < a);
  };
  std::priority_queue<size_t, std::vector<size_t>, decltype(later)> heads(later);
  for (size_t i = 0; i < runs_.size(); ++i) {
    if (!Refill(runs_[i], room)) return false;
    heads.push(i);
  }
  std::optional<Sample> held;
  while (!heads.empty()) {
    const size_t number = heads.top();
    heads.pop();
    Run& run = runs_[number];
    const Sample& next = run.samples[run.at];
    const bool passed = equal_ == Equal::kAll || (held && Before(*held, next));
    if (held && passed && !take(*held)) return false;
    held = next;
    if (++run.at == run.samples.size() && !Refill(run, room)) return false;
    if (!run.samples.empty()) heads.push(number);
  }
  return !held || take(*held);
}

// All samples are in memory still.
bool SampleSort::MergeOne(const std::function<bool(const Sample&)>& take) {
  std::stable_sort(samples_.begin(), samples_.end(), Before);
  for (size_t i = 0; i < samples_.size(); ++i) {
    const bool last = i + 1 == samples_.size() || Before(samples_[i], samples_[i + 1]);
    if ((last || equal_ == Equal::kAll) && !take(samples_[i])) return false;
  }
  return true;
}

}  // namespace psltool
