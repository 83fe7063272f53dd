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

void Distribution::Merge() {
  std::sort(values_.begin(), values_.end());
  size_t kept = 0;
  for (size_t i = 1; i < values_.size(); ++i) {
    if (values_[i].first == values_[kept].first) {
      values_[kept].second += values_[i].second;
    } else {
      values_[++kept] = values_[i];
    }
  }
  values_.resize(values_.empty() ? 0 : kept + 1);
  merge_at_ = std::max(merge_at_, 2 * values_.size());
}

std::optional<double> Distribution::Percentile(double percent) {
  constexpr double kWhole = 100;
  if (values_.empty()) return std::nullopt;
  Merge();
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
