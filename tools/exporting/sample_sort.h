// Puts any number of samples into order with a fixed amount of memory: pieces are sorted, kept in a
// temporary file and merged.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace psltool {

struct Sample {
  uint64_t series;
  uint32_t stamp;
  double value;
};

class SampleSort {
 public:
  // Of samples that agree in series and stamp: the one that was added last, or all in their order.
  enum class Equal : uint8_t { kLast, kAll };
  static constexpr size_t kPiece = size_t{1} << 18;

  // `directory`: of the temporary file, which has no name. `piece`: samples held in memory.
  explicit SampleSort(std::string directory, Equal equal = Equal::kLast, size_t piece = kPiece)
      : directory_(std::move(directory)), equal_(equal), piece_(piece) {}
  ~SampleSort();
  SampleSort(const SampleSort&) = delete;
  SampleSort& operator=(const SampleSort&) = delete;

  // False: the temporary file cannot be written, reported.
  bool Add(const Sample& sample);
  // Passes the samples on, by series and stamp, until `take` returns false. False: reported, or
  // `take` returned false.
  bool Merge(const std::function<bool(const Sample&)>& take);

 private:
  // A sorted part of the temporary file, read piece by piece.
  struct Run {
    uint64_t from;  // in the file, of what is not read yet
    uint64_t to;
    std::vector<Sample> samples = {};
    size_t at = 0;
  };

  bool Spill();
  bool MergeOne(const std::function<bool(const Sample&)>& take);
  bool Refill(Run& run, size_t room);
  bool Trouble(const char* what) const;

  std::string directory_;
  Equal equal_;
  size_t piece_;
  int fd_ = -1;
  uint64_t end_ = 0;  // of the temporary file
  std::vector<Sample> samples_;
  std::vector<Run> runs_;
};

}  // namespace psltool
