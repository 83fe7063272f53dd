// Sums over the entries of many records: what `top` tells of a resource and of all of an array.

#ifndef TESTS_FIGURES_SUMS_H_
#define TESTS_FIGURES_SUMS_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/figures/entries.h"
#include "tests/figures/periods.h"

namespace figures {

/// The question: one kind, one counter group, one measure ("ops", "busy", "mean", "max", "volume").
struct Question {
  std::string kind;
  std::size_t group = 1;
  std::string by = "ops";
};

/// What was counted. An entry of length 0 counts, as it does in archives.
struct Sums {
  double operations = 0;
  double milliseconds = 0;
  double first = 0;   // first averages by operations
  double volume = 0;  // second averages by operations
  double busy = 0;    // percent by milliseconds
  double busy_milliseconds = 0;
  bool has_volume = false;
  bool counts = false;  // entries have the counter group
  std::optional<double> maximum;

  void Add(const Sums& other);
  /// "ops" in operations per second; nothing where it cannot be told.
  std::optional<double> Measure(const std::string& by) const;
  /// What the measure counts for among those of other records.
  double Weight(const std::string& by) const;
};

struct Peak {
  std::optional<double> value;
  uint32_t stamp = 0;
};

struct Total {
  Sums all;
  Peak peak;
  std::map<uint32_t, Sums> stamps;  // by the stamps of records
  std::vector<Sums> records;        // one by one
};

/// A record with what it counts for.
struct ChosenRecord {
  std::string array;
  uint32_t stamp = 0;
  const StatisticsRecord* record = nullptr;
};

/// By array and key. Resources of which nothing was counted are there with sums of 0.
std::map<std::pair<std::string, std::string>, Total> SumsOf(
    const std::vector<ChosenRecord>& records, const Question& question);

/// All resources of each array together: of a record the time counts once.
std::map<std::string, Total> TotalsOf(const std::vector<ChosenRecord>& records,
                                      const Question& question);

/// The value that records of so many percent of the weight do not pass, each of them one value;
/// nothing of kinds that do not count what was asked for.
std::optional<double> PercentileOf(const Total& total, const Question& question, double percent);

/// The measure over time: a cell for each stamp while there are at most `width`, else as many equal
/// parts of the span.
std::vector<std::optional<double>> CellsOf(const std::vector<ChosenRecord>& records,
                                           const Total& total, const Question& question,
                                           std::size_t width);

}  // namespace figures

#endif  // TESTS_FIGURES_SUMS_H_
