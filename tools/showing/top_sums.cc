// Sums of `top`: see top_resources.h.
#include "tools/showing/top_resources.h"

namespace psltool {

std::optional<double> TopSums::Rate() const {
  if (!(milliseconds > 0)) return std::nullopt;
  return operations * 1000.0 / milliseconds;
}

std::optional<double> TopSums::Mean() const {
  if (!(operations > 0)) return std::nullopt;
  return first / operations;
}

std::optional<double> TopSums::Busy() const {
  if (!(busy_milliseconds > 0)) return std::nullopt;
  return busy / busy_milliseconds;
}

std::optional<double> TopSums::Maximum() const {
  if (!has_maximum) return std::nullopt;
  return maximum;
}

std::optional<double> TopSums::Volume() const {
  if (!has_volume || !(milliseconds > 0)) return std::nullopt;
  return kvolume * 1000.0 / milliseconds;
}

std::optional<double> TopSums::Measure(TopMeasure measure) const {
  switch (measure) {
    case TopMeasure::kOps:
      return Rate();
    case TopMeasure::kBusy:
      return Busy();
    case TopMeasure::kMean:
      return Mean();
    case TopMeasure::kVolume:
      return Volume();
    case TopMeasure::kMax:
      break;
  }
  return Maximum();
}

double TopSums::WeightOf(TopMeasure measure) const {
  if (measure == TopMeasure::kMean) return operations;
  return measure == TopMeasure::kBusy ? busy_milliseconds : milliseconds;
}

}  // namespace psltool
