// Names of an export: see the header.
#include "tools/exporting/export_columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace psltool {

namespace {

constexpr std::string_view kCarried = RowOf(Role::kCarried).name;

// What exports call the columns of a dump. Unit and statistic follow from the rows of the fields
// and contents; a field that has no row here goes by its own name.
struct NameRow {
  std::string_view column, metric, family, help;
};
constexpr auto kNames = std::to_array<NameRow>({
    {"status", "status", "status", "Status word of the entry or item"},
    {"interval_ms", "interval", "interval",
     "Length of the interval, in archives of all intervals of the period"},
    {"valid", "valid", "valid", "1: something was measured"},
    {"compact", "compact", "compact", "1: stored without counters, since it was idle"},
    {"busy_pct", "busy", "busy", "Busy ratio"},
    {"busy_pct_max", "busy", "max_busy", "Largest busy ratio of an interval"},
    {"busy_pct_min", "busy", "min_busy", "Smallest busy ratio of an interval"},
    {"first_pct", "first_ratio", "cache_first", "First ratio of a cache module"},
    {"first_max", "first_maximum", "cache_first_maximum",
     "First maximum of a cache module, as stored"},
    {"second_pct", "second_ratio", "cache_second",
     "Second ratio of a cache module or cache segment"},
    {"second_max", "second_maximum", "cache_second_maximum",
     "Second maximum of a cache module, as stored"},
    {"first_rate", "first_rate", "cache_first_rate", "First rate of a cache module, as stored"},
    {"second_rate", "second_rate", "cache_second_rate", "Second rate of a cache module, as stored"},
    {"second_flags", "second_flags", "cache_second_flags", "Flags byte of a cache segment"},
    {"flags", "flags", "cache_flags", "Flags byte of a cache module"},
    {"item_flag", "item_flag", "item_flag", "Flag byte of the optional item"},
    {"counted", "counted", "counted", "1: the interval is counted"},
    {"sticky", "sticky", "sticky", "Sticky mark of a logical disk"},
    {"mark", "mark", "mark", "Kept mark of a logical disk, mark of a pool"},
    {"present", "present", "present", "1: the element is present"},
    {"value", "value", "cabinet_value", "Value of a cabinet, as stored"},
    {kCarried, "word", "carried_word", "Carried word of the entry, as stored"},
    {"ops", "ops", "", "Operations of a counter group in the interval or period"},
    {"ops_per_s", "ops_rate", "", "Rate of operations of a counter group"},
    {"ops_per_s_max", "ops_rate", "max", "Largest rate of operations of an interval"},
    {"ops_per_s_min", "ops_rate", "min", "Smallest rate of operations of an interval"},
    {"first_mean", "first", "operation_first_average", "First average per operation, as stored"},
    {"max", "maximum", "operation_maximum", "Maximum of the counter group, as stored"},
    {"second_mean", "second", "operation_second_average",
     "Second average (volume) per operation, as stored"},
    {"second_mean_max", "second", "max_operation_second_average",
     "Largest second average of an interval, as stored"},
    {"second_mean_min", "second", "min_operation_second_average",
     "Smallest second average of an interval, as stored"},
    {"kvolume_per_s", "volume_rate", "volume",
     "Volume per second: rate of operations times second average"},
    {"kvolume_per_s_max", "volume_rate", "max_volume", "Largest volume rate of an interval"},
    {"kvolume_per_s_min", "volume_rate", "min_volume", "Smallest volume rate of an interval"},
});

constexpr bool IsNamed(std::string_view column) {
  return std::any_of(kNames.begin(), kNames.end(),
                     [column](const NameRow& row) { return row.column == column; });
}

// The row of a column's name; of a name that is none's the build fails.
constexpr ContentRow RowOfColumn(std::string_view name) {
  for (const ContentRow& row : kContentRows) {
    if (!row.unit.empty() && row.name == name) return row;
  }
  for (size_t role = 0; role < std::size(kRoleRows); ++role) {
    const ContentRow row = RowOf(static_cast<Role>(role));
    if (HasColumn(static_cast<Role>(role)) && row.name == name) return row;
  }
  throw "no such column";
}

// How the value of an interval or period came about.
constexpr std::string_view StatisticOf(const ContentRow& row) {
  if (row.unit == UnitName(FieldUnit::kSet)) return "state";
  switch (row.gathered) {
    case Gathered::kSum:
      return "sum";
    case Gathered::kMean:
      return "mean";
    case Gathered::kMax:
      return "max";
    case Gathered::kMin:
      return "min";
    default:
      return row.unit.ends_with("per_second") ? "mean" : "last";
  }
}

constexpr MetricRow MetricOf(const NameRow& name) {
  const ContentRow row = RowOfColumn(name.column);
  return {name.column, name.metric, StatisticOf(row), row.unit, name.family, name.help};
}

// Fields without a name of their own. Roles that share a name are told once.
constexpr bool LacksName(size_t role) {
  if (!HasColumn(static_cast<Role>(role)) || IsNamed(kRoleRows[role].name)) return false;
  for (size_t i = 0; i < role; ++i) {
    if (std::string_view(kRoleRows[i].name) == kRoleRows[role].name) return false;
  }
  return true;
}
constexpr size_t Nameless() {
  size_t count = 0;
  for (size_t role = 0; role < std::size(kRoleRows); ++role) count += LacksName(role) ? 1 : 0;
  return count;
}

constexpr std::array<MetricRow, kNames.size() + Nameless()> MakeMetrics() {
  std::array<MetricRow, kNames.size() + Nameless()> metrics;
  size_t count = 0;
  for (const NameRow& name : kNames) metrics[count++] = MetricOf(name);
  for (size_t role = 0; role < std::size(kRoleRows); ++role) {
    if (!LacksName(role)) continue;
    const std::string_view name = kRoleRows[role].name;
    metrics[count++] = MetricOf({name, name, name, "A field of the entry, as stored"});
  }
  return metrics;
}
constexpr auto kMetrics = MakeMetrics();

// The part of a name behind "g1_", or all of it.
std::string_view WithoutGroup(std::string_view name) {
  const bool group =
      name.size() > 3 && name[0] == 'g' && name[1] >= '1' && name[1] <= '6' && name[2] == '_';
  return name.substr(group ? 3 : 0);
}

// True for metrics of counter groups.
bool IsOfGroups(const MetricRow& row) {
  const auto* const first = &RowOf(Content::kOps);
  const auto* const last = &RowOf(Content::kSecondMeanMin);
  return std::any_of(first, last + 1, [&](const ContentRow& r) { return r.name == row.column; });
}

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
    const MetricRow* const row = FindMetric(column.base());
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

std::vector<std::string> StatisticNames() {
  std::vector<std::string> names;
  for (const MetricRow& row : kMetrics) {
    if (std::find(names.begin(), names.end(), row.statistic) == names.end())
      names.emplace_back(row.statistic);
  }
  return names;
}

}  // namespace psltool
