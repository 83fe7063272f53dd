// What values of many intervals amount to. The intervals are the records of the span: those of
// logs, and the hours and days of archives.
//
// Median and 95th percentile are weighted like the mean: the smallest value of an interval such
// that intervals of at least a half (95 %) of all the weight have no larger one. So they are always
// values that `dump` prints, and long intervals count for more than short ones. With weights of
// time it reads "for 95 % of the time it was at most", with those of operations "95 % of the
// operations fell into intervals with at most". Intervals without weight have no part in them.
#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "tools/measures/series.h"

namespace psltool {

struct Extreme {
  double value = 0;
  RecordPeriod period;  // in which it was
};

// Grows interval by interval, with a fixed amount of memory.
struct Sums {
  size_t intervals = 0;  // that say something
  double weight = 0;
  double sum = 0;  // of values times weights
  double largest_value = 0;
  std::optional<Extreme> most;  // of single intervals, where files carry them
  std::optional<Extreme> least;

  void Add(const Point& point, const RecordPeriod& period);
  // The value of all intervals together; nothing where they have no weight.
  std::optional<double> Value(const Measure& measure) const;
};

// The values themselves; equal ones are kept once.
class Distribution {
 public:
  void Add(double value, double weight) {
    if (!(weight > 0)) return;
    ++count_;
    values_.emplace_back(value, weight);
    if (values_.size() >= merge_at_) Merge();
  }
  size_t size() const { return count_; }
  // Of weights that are whole numbers the result is exact. Nothing: no value was added.
  std::optional<double> Percentile(double percent);

 private:
  // Sorts the values and adds up the weights of equal ones.
  void Merge();

  std::vector<std::pair<double, double>> values_;  // with their weights
  size_t count_ = 0;
  size_t merge_at_ = 4096;
};

inline constexpr double kMedianPercent = 50;
inline constexpr double kHighPercent = 95;

}  // namespace psltool
