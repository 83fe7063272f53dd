// Adds up what files say about the resources of a kind, and finds the busiest.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/dump_file.h"

enum class TopMeasure : uint8_t { kOps, kBusy, kMean, kMax };

// Sums over intervals. Averages are those of all operations, busy ratios those of all the time.
struct TopSums {
  double operations = 0;
  double milliseconds = 0;       // of valid intervals
  double first = 0;              // first averages times their operations
  double busy = 0;               // busy percentages times their milliseconds
  double busy_milliseconds = 0;  // of intervals that carry a ratio
  std::optional<double> maximum;

  void Add(const TopSums& other);
  // Nothing: the sums do not tell it.
  std::optional<double> Rate() const;  // operations per second
  std::optional<double> Mean() const;
  std::optional<double> Busy() const;
  // What resources are ordered by; cells of a sparkline show rates for kOps.
  std::optional<double> Measure(TopMeasure measure) const;
};

struct TopResource {
  std::string array;
  std::string key;
  TopSums all;
  std::vector<TopSums> cells;
};

struct TopWishes {
  DumpWishes dump;  // one kind; the path is set for each file
  uint32_t group = 1;
  TopMeasure by = TopMeasure::kOps;
  size_t width = 40;  // most cells of a sparkline
};

// Collects in two passes: the first finds the span of time, the second adds up.
class TopCollector {
 public:
  TopCollector(TopWishes wishes, Progress& progress)
      : wishes_(std::move(wishes)), progress_(progress) {}

  // First pass over a file. What it cannot tell is left to the second. False: the file and one
  // before it hold the same time of an array, which would count twice; reported.
  bool Look(const std::string& path);
  // Second pass; failures are reported.
  DumpEnd Take(const std::string& path);

  // All resources, the busiest first, those without the measure last.
  std::vector<const TopResource*> Ranked() const;
  // The stamps of the first and the last record; none when there was no record.
  const std::optional<std::pair<uint32_t, uint32_t>>& span() const { return span_; }
  size_t cells() const;

 private:
  class Writer;
  struct Part {
    std::string path;
    uint32_t first;
    uint32_t last;
  };

  size_t CellOf(uint32_t stamp) const;
  void Note(uint32_t stamp);

  TopWishes wishes_;
  Progress& progress_;
  std::map<std::string, std::vector<Part>> parts_;  // by array
  std::optional<std::pair<uint32_t, uint32_t>> span_;
  std::vector<uint32_t> stamps_;  // the different ones, while they fit into a line
  bool crowded_ = false;          // they do not
  std::map<std::pair<std::string, std::string>, TopResource> resources_;
};
