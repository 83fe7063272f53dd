// Two spans side by side: what rose, what fell, what appeared and what went, by how much it
// matters.
//
// What a change weighs is the part of the whole that moved, from 0 to 1:
//   rates, volumes     |after - before| / all of the kind and group of the array, in the span where
//                      that is more
//   ratios             |after - before| / 100
//   averages of an     |after - before| x operations per second, of the span with fewer, / the same
//   operation          product of all of the kind and group, in the span where that is more
//   maxima, the rest   |after - before| / the largest of the kind and group
// Values are the means of the spans, of maxima the largest. A resource that one span does not hold
// counts as 0 there.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/measures/series.h"
#include "tools/measures/statistics.h"

namespace psltool {

// Which intervals of the spans are compared with which.
enum class Matching : uint8_t {
  kNone,
  kHours,  // of the day
  kWeekdays,
  kBoth,
};

struct CompareRequest {
  SeriesRequest before;
  SeriesRequest after;
  Matching matching = Matching::kNone;
  double least = 5;    // percent: smaller changes of a value are none
  size_t number = 20;  // of changes that are told in full
};

enum class Change : uint8_t { kRose, kFell, kAppeared, kWent };
const char* WordOf(Change change);

// What one measure of a resource amounts to in one of the spans.
struct SpanValues {
  std::optional<double> value;
  std::optional<double> most;  // of single intervals where files carry it
  std::optional<double> median;
  std::optional<double> high;  // 95th percentile
  size_t intervals = 0;
};

struct ChangeRow {
  Change change;
  std::string array;
  Kind kind;
  std::string key;
  MeasureAt at;
  double weight;
  SpanValues before;
  SpanValues after;

  // In percent of before; nothing where that is 0 or not there.
  std::optional<double> Percent() const;
};

struct ComparedSpan {
  std::optional<uint32_t> first;  // begin of the first record that counts
  std::optional<uint32_t> last;   // end of the last
  uint64_t records = 0;           // that count
  uint64_t unmatched = 0;         // that have no counterpart in the other span
};

struct Comparison {
  ComparedSpan before;
  ComparedSpan after;
  std::map<std::pair<Kind, Change>, size_t> counts;  // of all changes
  std::vector<ChangeRow> rows;                       // the weightiest first
  int status = 0;                                    // exit status of the reading
};

// False: files of one span tell the same time twice; reported.
bool Compare(const CompareRequest& request, const std::vector<std::string>& before,
             const std::vector<std::string>& after, Progress& progress, Comparison& comparison);

}  // namespace psltool
