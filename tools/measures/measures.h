// What people look at of resources: one table of measures, each with its name, unit, the columns of
// a dump from which it is taken, how intervals and resources go together, and one line that says
// what it means; and a line for each kind of resources and each statistic. Commands, charts and
// pages ask here; docs/measures.md is held to it by a test.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "areas/kinds.h"
#include "tools/reading/entry_fields.h"
#include "tools/reading/labels.h"

namespace psltool {

// What the values of several intervals weigh in their mean, median and percentiles.
enum class Weight : uint8_t {
  kTime,        // the length of the interval
  kOperations,  // the operations of the counter group in it
};

// How the values of several intervals, or of several resources at one time, become one.
enum class Together : uint8_t {
  kSum,      // resources: added up; intervals: the mean by weight
  kMean,     // both: the mean by weight
  kLargest,  // both: the largest
};

struct Measure {
  std::string_view name;    // "ops": in command lines
  std::string_view metric;  // of exports, whose statistics are its value and its extremes
  std::string_view title;   // above columns and axes
  std::string_view unit;    // behind numbers; empty: that of the file, which it does not tell
  bool grouped;             // there is one for each counter group
  Weight weight;
  Together together;
  int digits;  // behind the point in tables
  std::string_view meaning;

  // Columns of a dump, of counter groups without "g1_"; empty where there is none.
  std::string_view value_column() const;
  std::string_view most_column() const;   // largest single interval of a period
  std::string_view least_column() const;  // smallest
};

const std::vector<Measure>& Measures();
// By its name or by that of its metric; null: there is none.
const Measure* MeasureOf(std::string_view name);
std::vector<std::string> MeasureNames();
// True for first averages and maxima, whose unit a site can tell with its labels.
bool IsTime(const Measure& measure);
// Up to 0x12 the second average of these columns is one over time, and no volume is made of it. (Of
// wait times it is one of operations, too, though no volume is made of it.)
bool SecondIsOverTime(const std::vector<Column>& columns);
// "ops/s"; "us" where a site says so; "" for that of the file.
std::string UnitOf(const Measure& measure, const Labels& labels);
// Above columns and axes: "operations per second (ops/s)", "first average (unit of the file)".
std::string HeadOf(const Measure& measure, const Labels& labels);

// One measure of one counter group, or (group 0) of the entry as a whole.
struct MeasureAt {
  const Measure* measure;
  uint8_t group;

  bool operator==(const MeasureAt&) const = default;
};
// "busy", "g1_ops": as members of JSON texts.
std::string KeyOf(const MeasureAt& at);
// What a counter group is called, files having no names for them: "counter group 1", or with the
// name of a site "counter group 1 (random reads)".
std::string GroupText(std::string_view kind, unsigned group, const Labels& labels);
// "busy", "ops of counter group 1".
std::string TextOf(std::string_view kind, const MeasureAt& at, const Labels& labels);

// Counter groups that entries of the kind have, in the revision that has most.
unsigned GroupsOfKind(Kind kind);
// True when entries of the kind say it, in any revision.
bool HasMeasure(Kind kind, const Measure& measure);
// The measures of a kind, in the order of the table; each of all its groups.
std::vector<MeasureAt> MeasuresOfKind(Kind kind);

// What several intervals amount to: the words for it, and one line that says what they mean.
struct Statistic {
  std::string_view name;
  std::string_view meaning;
  bool in_comparisons = false;  // comparisons use the word
  bool in_reports = true;
};
const std::vector<Statistic>& Statistics();

// "ld" of the command line as people call it, "logical disks", and what it is in a line.
std::string TitleOf(Kind kind);
std::string_view MeaningOf(Kind kind);

}  // namespace psltool
