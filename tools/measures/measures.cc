// The table of measures and kinds: see the header.
#include "tools/measures/measures.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>

#include "engine/layout/layout.h"
#include "tools/exporting/export_columns.h"
#include "tools/reading/entry_fields.h"
#include "tools/reading/kind_names.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

constexpr auto kTime = Weight::kTime;
constexpr auto kOperations = Weight::kOperations;
constexpr auto kSum = Together::kSum;
constexpr auto kMean = Together::kMean;
constexpr auto kLargest = Together::kLargest;

// Groups first: they are what most people ask for.
// clang-format off
const std::vector<Measure> kMeasures = {
    {"ops", "ops_rate", "operations per second", "ops/s", true, kTime, kSum, 2,
     "Operations of the counter group, divided by the seconds of the interval."},
    {"volume", "volume_rate", "volume per second", "KiB/s", true, kTime, kSum, 2,
     "Operations times their second average, divided by the seconds of the interval and by 1,024 (revision 0x13 and later)."},
    {"mean", "first", "first average", "", true, kOperations, kMean, 0,
     "First average of an operation, as stored; over several intervals that of all operations."},
    {"max", "maximum", "maximum", "", true, kTime, kLargest, 0,
     "Maximum that the counter group carries, as stored; over several intervals the largest."},
    {"second", "second", "second average", "", true, kOperations, kMean, 0,
     "Second average (volume) of an operation, as stored; over several intervals that of all operations, up to 0x12 that of the time."},
    {"busy", "busy", "busy ratio", "%", false, kTime, kMean, 2,
     "Share of the time in which the resource was busy; over several intervals that of the time in which a ratio was told."},
    {"first-ratio", "first_ratio", "first ratio", "%", false, kTime, kMean, 2,
     "First ratio of a cache module; over several intervals that of the time."},
    {"second-ratio", "second_ratio", "second ratio", "%", false, kTime, kMean, 2,
     "Second ratio of a cache module or cache segment; over several intervals that of the time."},
    {"first-max", "first_maximum", "first maximum", "", false, kTime, kLargest, 0,
     "First maximum of a cache module, as stored; over several intervals the largest."},
    {"second-max", "second_maximum", "second maximum", "", false, kTime, kLargest, 0,
     "Second maximum of a cache module, as stored; over several intervals the largest."},
    {"first-rate", "first_rate", "first rate", "", false, kTime, kMean, 0,
     "First rate of a cache module, as stored; over several intervals the mean of the time."},
    {"second-rate", "second_rate", "second rate", "", false, kTime, kMean, 0,
     "Second rate of a cache module, as stored; over several intervals the mean of the time."},
    {"value", "value", "value", "", false, kTime, kMean, 0,
     "Value of a cabinet, as stored; over several intervals the mean of the time."},
};

const std::vector<Statistic> kStatisticsOfMeasures = {
    {"mean", "Weighted: rates, ratios and values by the length of the intervals, averages of an operation by its operations. So it is what one record of the whole span would hold.", true},
    {"peak, maximum, minimum", "The largest and the smallest single interval, where files carry extremes; else the largest and smallest value of a record. That is what archives keep and means lose.", true},
    {"median, 95th percentile", "The smallest value such that intervals of at least 50 % (95 %) of the weight have no larger one, with the same weights as the mean. Intervals are the records of logs, and the hours and days of archives.", true},
    {"band", "Around the line of one resource: from its smallest to its largest single interval. Around a sum of resources: the smallest and largest intervals of all of them added up; the sum itself was never outside."},
    {"weight", "Of a change between two spans: the part of the whole of the kind and counter group that moved, in percent.", true, false},
    {"≈", "From steps of time and rounded to a part of the resource's largest value: a page that has no room for every number of the resource tells it so."},
};
// clang-format on

struct KindMeaning {
  Kind kind;
  std::string_view meaning;
};

constexpr auto kKindMeanings = std::to_array<KindMeaning>({
    {kHd, "Resource that the files call Hd and tell no more of; its busy ratio is counted."},
    {kRd, "Resource that the files call Rd and tell no more of; its busy ratio is counted."},
    {kDd, "Resource that the files call Dd and tell no more of; its busy ratio is counted."},
    {kHp, "Host port: where hosts are connected to the array."},
    {kHpNode, "Node of a host port, with the counters of a host port of its own."},
    {kRp, "Remote port of the array (revision 0x14 and later)."},
    {kMp, "Multi port of the array (revision 0x1D and later)."},
    {kDp, "Disk port: where disks are connected to the array."},
    {kCache, "Module of the array's cache, with two ratios and their maxima."},
    {kCheseg, "Segment of the array's cache."},
    {kLd, "Logical disk: what the array gives to hosts as one disk."},
    {kPd, "Physical disk of the array."},
    {kRank,
     "Rank of physical disks; an array has either ranks or pools (those of 0x14 to 0x18 can have "
     "both)."},
    {kPool,
     "Pool of physical disks; an array has either pools or ranks (those of 0x14 to 0x18 can have "
     "both)."},
    {kConc, "Concurrent copy; files tell whether it is present."},
    {kLdCp, "Copy pair of logical disks; files tell that it is there."},
    {kPoolCp, "Copy pair of pools; files tell that it is there."},
    {kWaittm, "Wait times of a logical disk, as a counter group of their own."},
    {kCab, "Cabinet of the array, with one value."},
});

// The columns that entries of the kind have in any revision.
std::set<std::string> MakeColumns(Kind kind) {
  std::set<std::string> names;
  const auto take = [&](const std::vector<Column>& columns) {
    for (const Column& column : columns) names.insert(column.name);
  };
  if (kind >= kSectionKinds) {
    take(EntryFields(ItemRowOf(kind), false).columns());
    return names;
  }
  for (int revision = kFirstRevision; revision <= kLastRevision; ++revision) {
    PslHeader header = {static_cast<uint8_t>(revision), 'L', {}};
    header.masks.fill(UINT32_MAX);
    const RevisionLayout& layout = LayoutOf(header.revision);
    if (const SectionRow* const section = FindRow(layout.Sections(), kind)) {
      take(EntryFields(header, *section, layout.row.rule, false).columns());
    }
  }
  return names;
}

const std::set<std::string>& ColumnsOfKind(Kind kind) {
  static const std::array<std::set<std::string>, kKinds> all = [] {
    std::array<std::set<std::string>, kKinds> made;
    for (size_t i = 0; i < made.size(); ++i) made[i] = MakeColumns(static_cast<Kind>(i));
    return made;
  }();
  return all[kind];
}

std::string ColumnName(std::string_view column, unsigned group) {
  return group == 0 ? std::string(column) : fmt::format("g{}_{}", group, column);
}

}  // namespace

std::string_view Measure::value_column() const {
  const std::string_view mean = ColumnOf(metric, "mean");
  return mean.empty() ? ColumnOf(metric, "max") : mean;
}

std::string_view Measure::most_column() const {
  return ColumnOf(metric, "mean").empty() ? "" : ColumnOf(metric, "max");
}

std::string_view Measure::least_column() const { return ColumnOf(metric, "min"); }

const std::vector<Measure>& Measures() { return kMeasures; }

const std::vector<Statistic>& Statistics() { return kStatisticsOfMeasures; }

const Measure* MeasureOf(std::string_view name) {
  const auto found = std::find_if(kMeasures.begin(), kMeasures.end(), [&](const Measure& each) {
    return each.name == name || each.metric == name;
  });
  return found == kMeasures.end() ? nullptr : &*found;
}

std::vector<std::string> MeasureNames() {
  std::vector<std::string> names;
  for (const Measure& each : kMeasures) names.emplace_back(each.name);
  return names;
}

bool IsTime(const Measure& measure) {
  return measure.metric == "first" || measure.metric == "maximum";
}

bool SecondIsOverTime(const std::vector<Column>& columns) {
  const auto has = [&](ColumnSort sort) {
    return std::any_of(columns.begin(), columns.end(),
                       [sort](const Column& column) { return column.sort() == sort; });
  };
  return has(Role::kNotValid) && !has(Content::kVolumeRate);
}

std::string UnitOf(const Measure& measure, const Labels& labels) {
  return IsTime(measure) ? labels.unit_of_first() : std::string(measure.unit);
}

std::string HeadOf(const Measure& measure, const Labels& labels) {
  const std::string unit = UnitOf(measure, labels);
  return fmt::format("{} ({})", measure.title, unit.empty() ? "unit of the file" : unit);
}

std::string KeyOf(const MeasureAt& at) { return ColumnName(at.measure->name, at.group); }

std::string GroupText(std::string_view kind, unsigned group, const Labels& labels) {
  return fmt::format("counter group {}{}", group, labels.BehindGroup(kind, group));
}

std::string TextOf(std::string_view kind, const MeasureAt& at, const Labels& labels) {
  if (at.group == 0) return std::string(at.measure->name);
  return fmt::format("{} of {}", at.measure->name, GroupText(kind, at.group, labels));
}

unsigned GroupsOfKind(Kind kind) {
  constexpr unsigned kMost = 6;
  unsigned groups = 0;
  while (groups < kMost && ColumnsOfKind(kind).contains(ColumnName("ops", groups + 1))) ++groups;
  return groups;
}

bool HasMeasure(Kind kind, const Measure& measure) {
  return ColumnsOfKind(kind).contains(ColumnName(measure.value_column(), measure.grouped ? 1 : 0));
}

std::vector<MeasureAt> MeasuresOfKind(Kind kind) {
  std::vector<MeasureAt> all;
  for (const Measure& measure : kMeasures) {
    if (!HasMeasure(kind, measure)) continue;
    if (!measure.grouped) all.push_back({&measure, 0});
    for (unsigned i = 1; measure.grouped && i <= GroupsOfKind(kind); ++i) {
      all.push_back({&measure, static_cast<uint8_t>(i)});
    }
  }
  return all;
}

std::string TitleOf(Kind kind) {
  if (kind == kWaittm) return "wait times";
  const std::string title = NameOf(kind).title;
  return title.substr(0, title.find(" ("));
}

std::string_view MeaningOf(Kind kind) {
  const auto* const found =
      std::find_if(kKindMeanings.begin(), kKindMeanings.end(),
                   [kind](const KindMeaning& row) { return row.kind == kind; });
  return found->meaning;
}

}  // namespace psltool
