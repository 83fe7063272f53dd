// What a report page is made of: for each array the times of its records, and for each kind the
// resources, what their measures amount to, and all values of those that the page tells in full.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "areas/kinds.h"
#include "tools/measures/measures.h"
#include "tools/reading/entry_fields.h"
#include "tools/showing/resource_order.h"

namespace psltool {

// A record that the page takes values from.
struct PageInterval {
  uint32_t stamp = 0;
  uint32_t begin = 0;
  uint32_t end = 0;
  char level = 'L';
};

// A file as the page tells of it.
struct PageFile {
  std::string path;
  char level = '?';
  uint8_t revision = 0;
  uint64_t size = 0;
  size_t records = 0;   // statistics records of the time asked for
  size_t taken = 0;     // of these, those that the page takes values from
  std::string trouble;  // why it could not be read to its end; empty: it could
  // For each of its records the interval that it became, or kPassedOver.
  std::vector<uint32_t> intervals;
  static constexpr uint32_t kPassedOver = UINT32_MAX;
};

// Steps into which a span of time is cut; interval i belongs to step `of[i]`.
struct PageGrid {
  std::vector<uint32_t> begins;
  std::vector<uint32_t> ends;
  std::vector<uint32_t> of;
  bool native = false;  // each interval is a step
  size_t size() const { return begins.size(); }
};

// Values of a measure gathered: over intervals, or over the resources of an interval.
template <class Number>
struct Tally {
  Number sum = 0;                                             // of values times their weights
  Number weight = 0;                                          // of values
  Number largest = std::numeric_limits<Number>::quiet_NaN();  // value
  Number most = std::numeric_limits<Number>::quiet_NaN();     // largest single interval's

  void Take(double value, double its_weight, double its_most) {
    sum += static_cast<Number>(value * its_weight);
    weight += static_cast<Number>(its_weight);
    if (!(largest >= value)) largest = static_cast<Number>(value);
    if (!(most >= its_most)) most = static_cast<Number>(its_most);
  }
  double Value(Together together) const {
    if (together == Together::kLargest) return largest;
    return weight > 0 ? static_cast<double>(sum) / static_cast<double>(weight) : kNoNumber;
  }
};

// A measure of a kind, and where its numbers stand among the page's columns; kNowhere: entries have
// none.
struct PageMeasure {
  static constexpr uint16_t kNowhere = UINT16_MAX;
  MeasureAt at;
  uint16_t value = kNowhere;
  uint16_t most = kNowhere;
  uint16_t least = kNowhere;
  uint16_t weight = kNowhere;
  bool seen = false;  // an entry said it
};

struct PageResource {
  std::string key;
  std::vector<Tally<double>> tallies;  // one for each measure of the kind
  std::vector<double> operations;      // of each counter group
  // Of those that the page tells in full: the numbers of each column of the kind, over the
  // intervals.
  std::vector<std::vector<double>> detail;
};

// What the resources of a kind amount to together, over the intervals.
struct MeasureTotals {
  std::vector<double> sums;
  std::vector<double> weights;
  std::vector<double> most;   // added up where values are, else the largest
  std::vector<double> least;  // added up, else the smallest
};

// Measures whose values each resource has in the steps of a grid: cells by resource, step, measure.
struct RankMatrix {
  std::vector<size_t> measures;  // places among those of the kind
  std::vector<Tally<float>> cells;
};

struct PageKind {
  Kind kind = kNoKind;
  std::vector<PageMeasure> measures;
  size_t groups = 0;
  std::vector<uint16_t> columns;  // of the page, in the order in which entries have them
  std::vector<PageResource> resources;
  ResourceNumbers numbers;
  std::vector<MeasureTotals> totals;            // one for each measure
  std::vector<std::vector<double>> operations;  // of each counter group, over the intervals
  std::vector<double> counted;                  // resources that counted, over the intervals
  std::vector<double> milliseconds;             // that the longest of their entries measured
  std::vector<uint32_t> told_in_full;           // resources, those that matter most first
  PageGrid fine;
  PageGrid coarse;
  RankMatrix fine_ranks;
  RankMatrix coarse_ranks;
  bool wide_ranks = false;  // ranks have room for two bytes
  bool many = false;        // too many to tell all groups of each
};

struct PageArray {
  std::string name;
  std::vector<PageFile> files;
  std::vector<PageInterval> intervals;  // in order, apart from each other
  std::map<Kind, PageKind> kinds;
};

// A column of entries, the same for all files of a page.
struct PageColumn {
  std::string name;
  uint8_t group = 0;
};

struct PageData {
  std::vector<PageColumn> columns;
  std::unordered_map<std::string, uint16_t> column_numbers;
  std::map<std::string, PageArray> arrays;
  std::vector<std::string> notes;

  // Adds the column when it is new.
  uint16_t NumberOf(const std::string& name, uint8_t group) {
    const auto number = static_cast<uint16_t>(columns.size());
    const auto [found, is_new] = column_numbers.try_emplace(name, number);
    if (is_new) columns.push_back({name, group});
    return found->second;
  }
};

}  // namespace psltool
