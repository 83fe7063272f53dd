// Adds up what files say about the resources of a kind, and finds the busiest.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/reading/coverage.h"
#include "tools/showing/dump_file.h"
#include "tools/showing/resource_order.h"

namespace psltool {

enum class TopMeasure : uint8_t { kOps, kBusy, kMean, kMax, kVolume };

// Sums over intervals. Averages are those of all operations, busy ratios those of all the time.
// What is counted is what the archiver counts: valid intervals, those of length 0 with their
// operations.
struct TopSums {
  double operations = 0;
  double milliseconds = 0;
  double first = 0;              // first averages times their operations
  double kvolume = 0;            // second averages times their operations, divided by 1024
  double busy = 0;               // busy percentages times their milliseconds
  double busy_milliseconds = 0;  // of intervals that carry a ratio
  double maximum = 0;
  bool has_maximum = false;
  bool has_volume = false;

  void Add(const TopSums& other) {
    operations += other.operations;
    milliseconds += other.milliseconds;
    first += other.first;
    kvolume += other.kvolume;
    busy += other.busy;
    busy_milliseconds += other.busy_milliseconds;
    maximum = std::max(maximum, other.maximum);
    has_maximum = has_maximum || other.has_maximum;
    has_volume = has_volume || other.has_volume;
  }
  // Nothing: the sums do not tell it.
  std::optional<double> Rate() const;  // operations per second
  std::optional<double> Mean() const;
  std::optional<double> Busy() const;
  std::optional<double> Maximum() const;
  std::optional<double> Volume() const;  // per second
  // What resources are ordered by; cells of a sparkline show rates for kOps.
  std::optional<double> Measure(TopMeasure measure) const;
  // What the measure weighs in a mean of several sums.
  double WeightOf(TopMeasure measure) const;
};

// The largest value of the measure and the record that holds it: a peak that the file carries, or
// what one record amounts to.
struct TopPeak {
  double value = -1;
  RecordPeriod period;

  bool known() const { return value >= 0; }
  void Take(double other, const RecordPeriod& at) {
    if (other <= value) return;
    value = other;
    period = at;
  }
};

struct TopResource {
  std::string array;
  std::string key;
  TopSums all;
  TopPeak peak;
  std::vector<TopSums> cells;
};

// All resources of an array together. Its time is that of the array, not the sum of theirs.
struct TopTotal {
  std::string array;
  size_t resources = 0;
  TopSums all;
  TopPeak peak;
  std::vector<TopSums> cells;
  std::vector<std::pair<double, double>> values;  // of the measure, of each record, with weights
};

struct TopRequest {
  DumpRequest dump;  // one kind; the path is set for each file
  uint32_t group = 1;
  TopMeasure by = TopMeasure::kOps;
  bool ascending = false;
  size_t width = 40;  // most cells of a sparkline
};

// Collects in two passes: the first finds the span of time, the second adds up.
class TopCollector {
 public:
  TopCollector(TopRequest request, Progress& progress)
      : request_(std::move(request)), progress_(progress) {}

  // First pass over a file. What it cannot tell is left to the second. False: the file and one
  // before it hold the same time of an array, which would count twice; reported.
  bool Look(const std::string& path);
  // Second pass; failures are reported.
  DumpEnd Take(const std::string& path);
  // All files have been taken.
  void Finish();

  // All resources that have the measure, the busiest first (or last).
  std::vector<const TopResource*> Ranked() const;
  // By array.
  const std::map<std::string, TopTotal>& totals() const { return totals_; }
  // The time of all records: the begin of the first period and the end of the last, of logs the
  // first and the last stamp. None when there was no record.
  const std::optional<std::pair<uint32_t, uint32_t>>& span() const { return span_; }
  size_t cells() const;
  size_t CellOf(uint32_t stamp) const;

 private:
  class Writer;
  // The resources of an array, in the order in which they came.
  struct Group {
    std::vector<TopResource> resources;
    ResourceNumbers numbers;
  };

  void Note(const RecordPeriod& period);

  TopRequest request_;
  Progress& progress_;
  std::map<std::string, std::vector<FileCover>> parts_;  // by array
  std::optional<std::pair<uint32_t, uint32_t>> span_;
  std::optional<std::pair<uint32_t, uint32_t>> stamped_;  // first and last stamp
  std::vector<uint32_t> stamps_;                          // while they fit into a line
  bool crowded_ = false;                                  // they do not
  std::map<std::string, Group> groups_;                   // by array
  std::map<std::string, TopTotal> totals_;
};

}  // namespace psltool
