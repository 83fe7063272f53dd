// Steps of time: see the header.
#include "tools/page/page_grid.h"

namespace psltool {

namespace {

constexpr int64_t kLengths[] = {1, 2, 3, 4, 6, 8, 12, 24, 48, 72, 168, 336, 672, 1344, 2688};

PageGrid NativeGrid(const std::vector<PageInterval>& intervals) {
  PageGrid grid;
  grid.native = true;
  for (const PageInterval& each : intervals) {
    grid.of.push_back(static_cast<uint32_t>(grid.begins.size()));
    grid.begins.push_back(each.begin);
    grid.ends.push_back(each.end);
  }
  return grid;
}

// Steps of some hours, counted from the midnight in front of the first interval. Empty steps are
// left out.
PageGrid GridOf(const std::vector<PageInterval>& intervals, int64_t hours, Zone zone) {
  const int64_t length = hours * kSecondsOfHour;
  const Civil first = CivilAt(intervals.front().begin, zone);
  const Civil origin = first - first % kSecondsOfDay;
  PageGrid grid;
  int64_t last = -1;
  for (const PageInterval& each : intervals) {
    // A record of a log belongs to where its interval begins, as one of an archive does.
    const int64_t step = (CivilAt(each.begin, zone) - origin) / length;
    if (step != last) {
      grid.begins.push_back(each.begin);
      grid.ends.push_back(each.end);
      last = step;
    }
    grid.ends.back() = each.end;
    grid.of.push_back(static_cast<uint32_t>(grid.begins.size() - 1));
  }
  return grid;
}

}  // namespace

PageGrid MakeGrid(const std::vector<PageInterval>& intervals, size_t most, Zone zone) {
  if (intervals.empty() || most < 2) return {};
  if (intervals.size() <= most) return NativeGrid(intervals);
  for (const int64_t hours : kLengths) {
    PageGrid grid = GridOf(intervals, hours, zone);
    if (grid.size() <= most) return grid;
  }
  return {};
}

}  // namespace psltool
