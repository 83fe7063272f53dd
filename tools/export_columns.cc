// Names of an export: see the header.
#include "tools/export_columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace {

constexpr std::string_view kCarried = "word_at_";

constexpr auto kMetrics = std::to_array<MetricRow>({
    {"status", "status", "last", "code", "Status word of the entry or item"},
    {"interval_ms", "interval", "sum", "milliseconds", "Length of the intervals measured"},
    {"valid", "valid", "state", "flag", "1: something was measured"},
    {"compact", "compact", "state", "flag", "1: stored without counters, since it was idle"},
    {"busy_pct", "busy", "mean", "percent", "Busy ratio"},
    {"busy_pct_max", "busy", "max", "percent", "Largest busy ratio of an interval"},
    {"busy_pct_min", "busy", "min", "percent", "Smallest busy ratio of an interval"},
    {"first_pct", "first_ratio", "mean", "percent", "First ratio of a cache module"},
    {"first_max", "first_maximum", "max", "file", "First maximum of a cache module"},
    {"second_pct", "second_ratio", "mean", "percent",
     "Second ratio of a cache module or cache segment"},
    {"second_max", "second_maximum", "max", "file", "Second maximum of a cache module"},
    {"first_rate", "first_rate", "mean", "file", "First rate of a cache module, as stored"},
    {"second_rate", "second_rate", "mean", "file", "Second rate of a cache module, as stored"},
    {"second_flags", "second_flags", "last", "bits", "Flags byte of a cache segment"},
    {"flags", "flags", "last", "bits", "Flags byte of a cache module"},
    {"item_flag", "item_flag", "last", "bits", "Flag byte of the optional item"},
    {"counted", "counted", "state", "flag", "1: the interval is counted"},
    {"sticky", "sticky", "state", "flag", "Sticky mark of a logical disk"},
    {"mark", "mark", "state", "flag", "Kept mark of a logical disk, mark of a pool"},
    {"present", "present", "state", "flag", "1: the element is present"},
    {"value", "value", "mean", "file", "Value of a cabinet"},
    {kCarried, "word", "last", "file", "Carried word of the entry"},
    {"ops", "ops", "sum", "operations", "Operations of a counter group"},
    {"ops_per_s", "ops_rate", "mean", "operations_per_second", "Operations per second"},
    {"ops_per_s_max", "ops_rate", "max", "operations_per_second",
     "Largest rate of operations of an interval"},
    {"ops_per_s_min", "ops_rate", "min", "operations_per_second",
     "Smallest rate of operations of an interval"},
    {"first_mean", "first", "mean", "file", "First average per operation"},
    {"max", "maximum", "max", "file", "Maximum of the counter group"},
    {"second_mean", "second", "mean", "file", "Second average (volume) per operation"},
    {"second_mean_max", "second", "max", "file", "Largest second average of an interval"},
    {"second_mean_min", "second", "min", "file", "Smallest second average of an interval"},
    {"kvolume_per_s", "volume_rate", "mean", "1024_per_second", "Volume / 1024 per second"},
    {"kvolume_per_s_max", "volume_rate", "max", "1024_per_second",
     "Largest volume rate of an interval"},
    {"kvolume_per_s_min", "volume_rate", "min", "1024_per_second",
     "Smallest volume rate of an interval"},
});

}  // namespace

const MetricRow* FindMetric(std::string_view column) {
  if (column.starts_with(kCarried)) column = kCarried;
  const auto* const row = std::find_if(kMetrics.begin(), kMetrics.end(),
                                       [column](const MetricRow& r) { return r.column == column; });
  return row == kMetrics.end() ? nullptr : row;
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
