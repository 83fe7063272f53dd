// The first pass: see gather.h.
#include <algorithm>
#include <cmath>
#include <memory>

#include "tools/page/gather.h"
#include "tools/page/page_writer.h"

namespace psltool {

namespace {

// Adds a value to a sum that begins as none. What is not known makes the sum infinite, which stands
// for "unknown" until the end.
void AddOrGiveUp(double& sum, double value) {
  if (std::isnan(value)) {
    sum = INFINITY;
  } else {
    sum = std::isnan(sum) ? value : sum + value;
  }
}

void Settle(std::vector<double>& sums) {
  for (double& each : sums) {
    if (std::isinf(each)) each = kNoNumber;
  }
}

class SumsWriter : public PageWriter {
 public:
  using PageWriter::PageWriter;

 private:
  struct Numbers {
    double value;
    double weight;
    double most;
    double least;
  };

  void Take(PageKind& kind, uint32_t number) override {
    PageResource& resource = kind.resources[number];
    bool any = false;
    for (size_t i = 0; i < kind.measures.size(); ++i) {
      PageMeasure& measure = kind.measures[i];
      const double value = At(measure.value);
      if (std::isnan(value)) continue;
      any = true;
      measure.seen = true;
      const double weight = At(measure.weight);
      const Numbers numbers = {value, std::isnan(weight) ? 0 : weight, MostOf(measure, value),
                               LeastOf(measure, value)};
      resource.tallies[i].Take(value, numbers.weight,
                               std::isnan(numbers.most) ? value : numbers.most);
      TakeTotal(measure.at.measure->together, kind.totals[i], numbers);
    }
    for (size_t group = 0; group < kind.groups; ++group) {
      const double operations = At(OperationsOf(kind, group));
      if (std::isnan(operations)) continue;
      resource.operations[group] += operations;
      kind.operations[group][interval_] += operations;
    }
    if (!any) return;
    kind.counted[interval_] += 1;
    double& longest = kind.milliseconds[interval_];
    longest = std::max(longest, At(milliseconds_));
  }

  void TakeTotal(Together together, MeasureTotals& totals, const Numbers& numbers) const {
    double& sum = totals.sums[interval_];
    double& weight = totals.weights[interval_];
    double& most = totals.most[interval_];
    double& least = totals.least[interval_];
    if (together == Together::kSum) {
      sum += numbers.value;
      weight = 1;
      AddOrGiveUp(most, numbers.most);
      AddOrGiveUp(least, numbers.least);
      return;
    }
    if (together == Together::kMean) {
      sum += numbers.value * numbers.weight;
      weight += numbers.weight;
    } else {
      sum = weight > 0 ? std::max(sum, numbers.value) : numbers.value;
      weight = 1;
    }
    if (!(most >= numbers.most)) most = numbers.most;
    if (!(least <= numbers.least)) least = numbers.least;
  }

  uint16_t OperationsOf(const PageKind& kind, size_t group) {
    std::vector<uint16_t>& places = operations_[kind.kind];
    while (places.size() < kind.groups) {
      places.push_back(PlaceOf(page_, "ops", static_cast<unsigned>(places.size() + 1)));
    }
    return places[group];
  }

  std::map<Kind, std::vector<uint16_t>> operations_;
  uint16_t milliseconds_ = PlaceOf(page_, kIntervalColumn, 0);
};

}  // namespace

DumpEnd GatherSums(const DumpRequest& request, Progress& progress, PageData& page) {
  const auto printed = PslReader::Reports::kPrinted;
  const DumpEnd worst = ReadFiles(request, printed, progress, page, [&](auto& array, auto& file) {
    return std::make_unique<SumsWriter>(page, array, file);
  });
  for (auto& [name, array] : page.arrays) {
    for (auto& [word, kind] : array.kinds) {
      for (MeasureTotals& totals : kind.totals) {
        Settle(totals.most);
        Settle(totals.least);
      }
    }
  }
  return worst;
}

}  // namespace psltool
