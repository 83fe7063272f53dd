// What one measure of a resource amounts to over many intervals, from the entries alone: mean,
// extremes, median and 95th percentile. Slow and plain, by other ways than the product's.

#ifndef TESTS_FIGURES_SPANS_H_
#define TESTS_FIGURES_SPANS_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "tests/figures/entries.h"
#include "tests/figures/periods.h"

namespace figures {

struct Interval {
  Period period;
  uint32_t length = 0;  // of the entry, milliseconds
  double value = 0;
  double most = 0;  // of single intervals, else the value
  double least = 0;
  uint64_t weight = 0;  // milliseconds or operations
};

/// Array, kind, key, measure ("busy", "ops"), group (0: of the entry).
using SeriesName = std::tuple<std::string, std::string, std::string, std::string, int>;
using SeriesMap = std::map<SeriesName, std::vector<Interval>>;

/// Adds the intervals of a file to the series.
void AddSeries(const std::string& array, const File& file, const std::vector<Period>& periods,
               SeriesMap& series);

/// Tries every value: the smallest that is not below those of so much of the weight.
std::optional<double> PercentileOf(const std::vector<Interval>& intervals, unsigned percent);

}  // namespace figures

#endif  // TESTS_FIGURES_SPANS_H_
