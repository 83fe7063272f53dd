// Names of an export: see the header.
#include "tools/exporting/export_columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace psltool {

namespace {

constexpr std::string_view kCarried = "word_at_";

constexpr auto kMetrics = std::to_array<MetricRow>({
    {"status", "status", "last", "code", "status", "Status word of the entry or item"},
    {"interval_ms", "interval", "sum", "milliseconds", "interval",
     "Length of the interval, in archives of all intervals of the period"},
    {"valid", "valid", "state", "flag", "valid", "1: something was measured"},
    {"compact", "compact", "state", "flag", "compact",
     "1: stored without counters, since it was idle"},
    {"busy_pct", "busy", "mean", "percent", "busy", "Busy ratio"},
    {"busy_pct_max", "busy", "max", "percent", "max_busy", "Largest busy ratio of an interval"},
    {"busy_pct_min", "busy", "min", "percent", "min_busy", "Smallest busy ratio of an interval"},
    {"first_pct", "first_ratio", "mean", "percent", "cache_first", "First ratio of a cache module"},
    {"first_max", "first_maximum", "max", "file", "cache_first_maximum",
     "First maximum of a cache module, as stored"},
    {"second_pct", "second_ratio", "mean", "percent", "cache_second",
     "Second ratio of a cache module or cache segment"},
    {"second_max", "second_maximum", "max", "file", "cache_second_maximum",
     "Second maximum of a cache module, as stored"},
    {"first_rate", "first_rate", "mean", "file", "cache_first_rate",
     "First rate of a cache module, as stored"},
    {"second_rate", "second_rate", "mean", "file", "cache_second_rate",
     "Second rate of a cache module, as stored"},
    {"second_flags", "second_flags", "last", "bits", "cache_second_flags",
     "Flags byte of a cache segment"},
    {"flags", "flags", "last", "bits", "cache_flags", "Flags byte of a cache module"},
    {"item_flag", "item_flag", "last", "bits", "item_flag", "Flag byte of the optional item"},
    {"counted", "counted", "state", "flag", "counted", "1: the interval is counted"},
    {"sticky", "sticky", "state", "flag", "sticky", "Sticky mark of a logical disk"},
    {"mark", "mark", "state", "flag", "mark", "Kept mark of a logical disk, mark of a pool"},
    {"present", "present", "state", "flag", "present", "1: the element is present"},
    {"value", "value", "mean", "file", "cabinet_value", "Value of a cabinet, as stored"},
    {kCarried, "word", "last", "file", "carried_word", "Carried word of the entry, as stored"},
    {"ops", "ops", "sum", "operations", "",
     "Operations of a counter group in the interval or period"},
    {"ops_per_s", "ops_rate", "mean", "operations_per_second", "",
     "Rate of operations of a counter group"},
    {"ops_per_s_max", "ops_rate", "max", "operations_per_second", "max",
     "Largest rate of operations of an interval"},
    {"ops_per_s_min", "ops_rate", "min", "operations_per_second", "min",
     "Smallest rate of operations of an interval"},
    {"first_mean", "first", "mean", "file", "operation_first_average",
     "First average per operation, as stored"},
    {"max", "maximum", "max", "file", "operation_maximum",
     "Maximum of the counter group, as stored"},
    {"second_mean", "second", "mean", "file", "operation_second_average",
     "Second average (volume) per operation, as stored"},
    {"second_mean_max", "second", "max", "file", "max_operation_second_average",
     "Largest second average of an interval, as stored"},
    {"second_mean_min", "second", "min", "file", "min_operation_second_average",
     "Smallest second average of an interval, as stored"},
    {"kvolume_per_s", "volume_rate", "mean", "1024_per_second", "volume",
     "Volume per second: rate of operations times second average"},
    {"kvolume_per_s_max", "volume_rate", "max", "1024_per_second", "max_volume",
     "Largest volume rate of an interval"},
    {"kvolume_per_s_min", "volume_rate", "min", "1024_per_second", "min_volume",
     "Smallest volume rate of an interval"},
});

// The part of a name behind "g1_", or all of it.
std::string_view WithoutGroup(std::string_view name) {
  const bool group =
      name.size() > 3 && name[0] == 'g' && name[1] >= '1' && name[1] <= '6' && name[2] == '_';
  return name.substr(group ? 3 : 0);
}

// True for metrics of counter groups: those of the rows from "ops" on.
bool IsOfGroups(const MetricRow& row) { return &row >= FindMetric("ops"); }

}  // namespace

const MetricRow* FindMetric(std::string_view column) {
  if (column.starts_with(kCarried)) column = kCarried;
  const auto* const row = std::find_if(kMetrics.begin(), kMetrics.end(),
                                       [column](const MetricRow& r) { return r.column == column; });
  return row == kMetrics.end() ? nullptr : row;
}

std::string_view ColumnOf(std::string_view metric, std::string_view statistic) {
  const auto* const row = std::find_if(kMetrics.begin(), kMetrics.end(), [&](const MetricRow& r) {
    return r.metric == metric && r.statistic == statistic;
  });
  return row == kMetrics.end() ? std::string_view() : row->column;
}

std::vector<ExportColumn> ExportColumnsOf(const std::vector<Column>& columns) {
  std::vector<ExportColumn> found;
  for (size_t i = 0; i < columns.size(); ++i) {
    const Column& column = columns[i];
    const std::string prefix = column.group == 0 ? "" : fmt::format("g{}_", column.group);
    const MetricRow* const row = FindMetric(std::string_view(column.name).substr(prefix.size()));
    if (row == nullptr) continue;
    // Carried words are told apart by their offsets.
    const bool carried = row->column == kCarried;
    const unsigned part =
        carried ? std::stoul(column.name.substr(kCarried.size())) & 0xFF : column.group;
    const auto number = static_cast<uint16_t>((row - kMetrics.begin()) << 8 | part);
    found.push_back(
        {i, column.group, number, carried ? column.name : prefix + std::string(row->metric), row});
  }
  return found;
}

bool IsMetric(std::string_view name) {
  if (name.starts_with(kCarried)) {
    const std::string_view number = name.substr(kCarried.size());
    return !number.empty() && number.size() <= 3 &&
           number.find_first_not_of("0123456789") == std::string_view::npos;
  }
  const std::string_view metric = WithoutGroup(name);
  return std::any_of(kMetrics.begin(), kMetrics.end(), [&](const MetricRow& row) {
    return row.metric == metric && row.column != kCarried &&
           (metric.size() == name.size() || IsOfGroups(row));
  });
}

bool IsStatistic(std::string_view name) {
  return std::any_of(kMetrics.begin(), kMetrics.end(),
                     [name](const MetricRow& row) { return row.statistic == name; });
}

bool IsCalled(const ExportColumn& column, std::string_view name) {
  return column.metric == name || (column.group != 0 && column.row->metric == name);
}

std::vector<std::string> MetricNames() {
  std::vector<std::string> names;
  for (const MetricRow& row : kMetrics) {
    std::string name(row.column == kCarried ? "word_at_N" : row.metric);
    if (std::find(names.begin(), names.end(), name) == names.end())
      names.push_back(std::move(name));
  }
  return names;
}

}  // namespace psltool
