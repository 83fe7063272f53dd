// Statistics: see the header.
#include "tools/measures/statistics.h"

#include <algorithm>
#include <cmath>

namespace psltool {

void Sums::Add(const Point& point, const RecordPeriod& period) {
  if (std::isnan(point.value)) return;
  ++intervals;
  weight += point.weight;
  sum += point.value * point.weight;
  largest_value = intervals == 1 ? point.value : std::max(largest_value, point.value);
  if (!most || point.most > most->value) most = Extreme{point.most, period};
  if (!least || point.least < least->value) least = Extreme{point.least, period};
}

std::optional<double> Sums::Value(const Measure& measure) const {
  if (intervals == 0) return std::nullopt;
  if (measure.together == Together::kLargest) return largest_value;
  if (!(weight > 0)) return std::nullopt;
  return sum / weight;
}

std::optional<double> Distribution::Percentile(double percent) {
  constexpr double kWhole = 100;
  if (values_.empty()) return std::nullopt;
  if (!sorted_) std::sort(values_.begin(), values_.end());
  sorted_ = true;
  double all = 0;
  for (const auto& [value, weight] : values_) all += weight;
  double before = 0;
  for (const auto& [value, weight] : values_) {
    before += weight;
    if (before * kWhole >= percent * all) return value;
  }
  return values_.back().first;
}

}  // namespace psltool
