// What the columns of a dump are called in an export: metric, statistic and unit of each.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/reading/entry_fields.h"

namespace psltool {

struct MetricRow {
  std::string_view column;     // of a dump, without "g1_"
  std::string_view metric;     // "ops_rate"
  std::string_view statistic;  // how the interval's or period's value came about: mean, max, ...
  std::string_view unit;
  std::string_view family;  // in OpenMetrics, without "psl_" and without the unit: "max_busy"
  std::string_view help;
};

// The row of a column's name, or null: "key" is none, nor are the raw words.
const MetricRow* FindMetric(std::string_view column);
// The column of a metric's statistic; empty: there is none.
std::string_view ColumnOf(std::string_view metric, std::string_view statistic);

// True for the metric of a row, with the group in front or without: "g1_ops_rate", "ops_rate", and
// "word_at_16".
bool IsMetric(std::string_view name);
// All metrics without groups, for messages: "word_at_N" among them.
std::vector<std::string> MetricNames();
std::vector<std::string> StatisticNames();

// What an export calls a column.
struct ExportColumn {
  size_t at = 0;  // among the columns of its entries
  uint8_t group = 0;
  uint16_t number = 0;  // of metric and statistic, the same in all files
  std::string metric;   // "g1_ops_rate", "word_at_16"
  const MetricRow* row = nullptr;
};

// True when `name`, one that `IsMetric` takes, means the column.
bool IsCalled(const ExportColumn& column, std::string_view name);

// The columns that make rows, in their order.
std::vector<ExportColumn> ExportColumnsOf(const std::vector<Column>& columns);

}  // namespace psltool
