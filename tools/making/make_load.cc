// Load curves: see the header.
#include "tools/making/make_load.h"

#include <array>
#include <cstddef>

namespace psltool {

namespace {

using Curve = std::array<double, 25>;  // a point for each full hour, straight lines between them

constexpr Curve kOfficeDay = {0,    0,    0,    0,    0,    0,    0.02, 0.15, 0.55,
                              0.90, 1.00, 0.95, 0.60, 0.55, 0.85, 0.95, 0.90, 0.75,
                              0.40, 0.20, 0.10, 0.05, 0.02, 0,    0};
constexpr Curve kBatchNight = {0.10, 0.50, 0.90, 1.00, 0.80, 0.35, 0.05, 0, 0, 0, 0,    0,   0,
                               0,    0,    0,    0,    0,    0,    0,    0, 0, 0, 0.05, 0.10};
constexpr double kOfficeWeekend = 0.12;
constexpr double kBatchWeekend = 0.60;
constexpr double kFlatDemand = 0.5;
constexpr int64_t kSecondsPerHour = 3600;

double Height(const Curve& curve, int64_t second) {
  if (second < 0) second = 0;
  // A day with a clock change has up to 25 hours; the last one repeats the end of the curve.
  const auto hour = static_cast<size_t>(second / kSecondsPerHour);
  if (hour + 1 >= curve.size()) return curve.back();
  const double part =
      static_cast<double>(second % kSecondsPerHour) / static_cast<double>(kSecondsPerHour);
  return curve[hour] + (curve[hour + 1] - curve[hour]) * part;
}

}  // namespace

Load LoadAt(Profile profile, uint32_t weekday, int64_t second) {
  if (profile != Profile::kOffice) {
    return {0, 0, profile == Profile::kFlat, profile == Profile::kIdle};
  }
  Load load = {Height(kOfficeDay, second), Height(kBatchNight, second), false, false};
  if (weekday == 0 || weekday == 6) {
    load.office *= kOfficeWeekend;
    load.batch *= kBatchWeekend;
  }
  return load;
}

Window WindowAt(uint32_t percent, uint32_t all, uint32_t stamp, uint32_t period) {
  const uint64_t shifted = uint64_t{stamp % period} * all / period;
  return {all, (all * percent + 50) / 100, static_cast<uint32_t>(shifted)};
}

double Demand(Group group, const Load& load) {
  if (load.idle) return 0;
  if (load.flat) return kFlatDemand;
  switch (group) {
    case Group::kAlways:
      return 0.10 + 0.75 * load.office + 0.50 * load.batch;
    case Group::kOffice:
      return load.office;
    case Group::kBatch:
      return load.batch;
    case Group::kSpare:
      break;
  }
  return 0;
}

}  // namespace psltool
