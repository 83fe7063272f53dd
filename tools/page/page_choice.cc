// What a page keeps: see the header.
#include "tools/page/page_choice.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "tools/page/page_grid.h"

namespace psltool {

namespace {

constexpr size_t kFewSteps = 4;  // fewer say too little to be worth their room

struct Place {
  PageArray* array;
  PageKind* kind;
};

std::vector<Place> KindsOf(PageData& page) {
  std::vector<Place> places;
  for (auto& [name, array] : page.arrays) {
    for (auto& [word, kind] : array.kinds) places.push_back({&array, &kind});
  }
  return places;
}

bool IsFirst(const MeasureAt& at) { return at.group <= 1; }

// Measures that every resource is ranked by: those that people ask for first in fine steps.
void ChooseMeasures(PageKind& kind) {
  for (size_t i = 0; i < kind.measures.size(); ++i) {
    const PageMeasure& measure = kind.measures[i];
    if (!measure.seen || (kind.resources.size() > kSomeResources && !IsFirst(measure.at))) continue;
    const bool fine =
        measure.at.group == 0 || (measure.at.group == 1 && measure.at.measure->name == "ops");
    (fine ? kind.fine_ranks : kind.coarse_ranks).measures.push_back(i);
  }
}

size_t BytesOfStep(const PageKind& kind, const RankMatrix& ranks) {
  size_t bytes = 0;
  for (const size_t i : ranks.measures) {
    bytes += kind.measures[i].most == PageMeasure::kNowhere ? 1 : 2;
  }
  return bytes * kind.resources.size();
}

void LayOut(const PageArray& array, size_t room, size_t bytes_of_step, Zone zone, PageGrid& grid,
            RankMatrix& ranks, size_t resources) {
  if (bytes_of_step == 0) return;
  grid = MakeGrid(array.intervals, room / bytes_of_step, zone);
  if (!grid.native && grid.size() < kFewSteps) grid = {};
  ranks.cells.resize(resources * grid.size() * ranks.measures.size());
}

void LayOutRanks(const PageLimits& limits, Zone zone, std::vector<Place>& places) {
  size_t resources = 0;
  for (const Place& each : places) resources += each.kind->resources.size();
  for (const Place& each : places) {
    PageKind& kind = *each.kind;
    const size_t count = kind.resources.size();
    if (count == 0) continue;
    // Small kinds beside a large one get more than their share, which costs next to nothing.
    const size_t least = limits.rank_bytes / std::max<size_t>(64, 2 * places.size());
    const size_t room = std::max(limits.rank_bytes * count / resources, least);
    const size_t fine = BytesOfStep(kind, kind.fine_ranks);
    const size_t coarse = BytesOfStep(kind, kind.coarse_ranks);
    const size_t steps = each.array->intervals.size();
    kind.wide_ranks = (fine + coarse) * steps * 2 <= room;
    const bool all = (fine + coarse) * steps <= room;
    const size_t fine_room = all ? fine * steps : room * 3 / 5;
    const size_t coarse_room = all ? coarse * steps : room * 2 / 5;
    LayOut(*each.array, fine_room, fine, zone, kind.fine, kind.fine_ranks, count);
    LayOut(*each.array, coarse_room, coarse, zone, kind.coarse, kind.coarse_ranks, count);
  }
}

// The resources of a kind, those that matter most first: in turn the next by each of its measures
// of the first group, by the mean and by the largest value.
std::vector<uint32_t> InOrder(const PageKind& kind) {
  std::vector<std::vector<uint32_t>> lists;
  const auto add = [&](auto value) {
    std::vector<uint32_t> list(kind.resources.size());
    std::iota(list.begin(), list.end(), 0);
    std::vector<double> values;
    for (const PageResource& each : kind.resources) {
      const double number = value(each);
      values.push_back(std::isnan(number) ? -1 : number);
    }
    std::stable_sort(list.begin(), list.end(),
                     [&](uint32_t a, uint32_t b) { return values[a] > values[b]; });
    lists.push_back(std::move(list));
  };
  for (size_t i = 0; i < kind.measures.size(); ++i) {
    const PageMeasure& measure = kind.measures[i];
    if (!measure.seen || !IsFirst(measure.at)) continue;
    const Together together = measure.at.measure->together;
    add([=](const PageResource& each) { return each.tallies[i].Value(together); });
    if (together == Together::kLargest) continue;
    add([=](const PageResource& each) { return each.tallies[i].most; });
  }
  std::vector<uint32_t> order;
  std::vector<bool> taken(kind.resources.size());
  for (size_t at = 0; at < kind.resources.size(); ++at) {
    for (const auto& list : lists) {
      if (taken[list[at]]) continue;
      taken[list[at]] = true;
      order.push_back(list[at]);
    }
    if (lists.empty()) order.push_back(static_cast<uint32_t>(at));
  }
  return order;
}

void MakeRoom(PageKind& kind, uint32_t resource, size_t intervals) {
  kind.told_in_full.push_back(resource);
  kind.resources[resource].detail.assign(kind.columns.size(),
                                         std::vector<double>(intervals, kNoNumber));
}

// In turn one of each kind, until the room is used up.
void ChooseInFull(const PageLimits& limits, std::vector<Place>& places) {
  std::vector<std::vector<uint32_t>> orders;
  for (const Place& each : places) orders.push_back(InOrder(*each.kind));
  size_t used = 0;
  for (size_t at = 0; at < kMostInFull; ++at) {
    bool any = false;
    for (size_t i = 0; i < places.size(); ++i) {
      if (at >= orders[i].size()) continue;
      const size_t intervals = places[i].array->intervals.size();
      used += places[i].kind->columns.size() * intervals * sizeof(double);
      if (used > limits.detail_bytes) return;
      MakeRoom(*places[i].kind, orders[i][at], intervals);
      any = true;
    }
    if (!any) return;
  }
}

}  // namespace

void ChooseContent(const PageLimits& limits, Zone zone, PageData& page) {
  std::vector<Place> places = KindsOf(page);
  for (const Place& each : places) {
    each.kind->many = each.kind->resources.size() > kManyResources;
    ChooseMeasures(*each.kind);
  }
  LayOutRanks(limits, zone, places);
  ChooseInFull(limits, places);
}

}  // namespace psltool
