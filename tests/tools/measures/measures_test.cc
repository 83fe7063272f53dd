// The table of measures and kinds: docs/measures.md says the same, line by line, and every measure
// is one that an export has, too.
#include "tools/measures/measures.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "tools/exporting/export_columns.h"
#include "tools/showing/dump_file.h"

namespace psltool {
namespace {

std::string Page(const std::string& name) {
  std::ifstream file(std::string(TEST_SOURCE_DIR) + "/../docs/" + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Measures, StandInTheDocsWordForWord) {
  const std::string page = Page("measures.md");
  std::string rows;
  for (const Measure& each : Measures()) {
    rows +=
        fmt::format("| `{}` | {} | {} | `{}` | {} |\n", each.name, each.title,
                    each.unit.empty() ? "that of the file" : each.unit, each.metric, each.meaning);
  }
  // The whole table, so that no row is there that the program has not.
  EXPECT_NE(page.find("|---|---|---|---|---|\n" + rows + "\n"), std::string::npos) << rows;
}

TEST(Measures, KindsStandInTheDocsWithTheirMeasures) {
  const std::string page = Page("measures.md");
  std::string rows;
  for (int i = 0; i < kKinds; ++i) {
    const auto kind = static_cast<Kind>(i);
    std::string measures;
    for (const Measure& each : Measures()) {
      if (!HasMeasure(kind, each)) continue;
      measures += fmt::format("{}`{}`", measures.empty() ? "" : ", ", each.name);
    }
    const unsigned groups = GroupsOfKind(kind);
    rows += fmt::format("| {} | {} | {} | {} | {} |\n", WordOfKind(kind), TitleOf(kind),
                        measures.empty() ? "-" : measures,
                        groups == 0 ? "-" : std::to_string(groups), MeaningOf(kind));
  }
  EXPECT_NE(page.find("|---|---|---|---|---|\n" + rows + "\n"), std::string::npos) << rows;
}

TEST(Measures, StatisticsStandInTheDocsWordForWord) {
  std::string rows;
  for (const Statistic& each : Statistics()) {
    rows += fmt::format("| {} | {} |\n", each.name, each.meaning);
  }
  EXPECT_NE(Page("measures.md").find("|---|---|\n" + rows + "\n"), std::string::npos) << rows;
}

TEST(Measures, AreMetricsOfAnExport) {
  for (const Measure& each : Measures()) {
    EXPECT_TRUE(IsMetric(each.metric)) << each.name;
    const MetricRow* const value = FindMetric(each.value_column());
    ASSERT_NE(value, nullptr) << each.name;
    EXPECT_EQ(value->metric, each.metric);
    EXPECT_EQ(value->statistic, each.together == Together::kLargest ? "max" : "mean") << each.name;
    // The unit of the file is said by neither; the others are the same ones by shorter names.
    EXPECT_EQ(value->unit == "file", each.unit.empty()) << each.name;
    EXPECT_EQ(MeasureOf(each.name), &each);
    EXPECT_EQ(MeasureOf(each.metric), &each);
  }
  EXPECT_EQ(MeasureOf("no-such"), nullptr);
}

TEST(Measures, ExtremesAreThoseOfTheSameMetric) {
  EXPECT_EQ(MeasureOf("ops")->most_column(), "ops_per_s_max");
  EXPECT_EQ(MeasureOf("ops")->least_column(), "ops_per_s_min");
  EXPECT_EQ(MeasureOf("busy")->most_column(), "busy_pct_max");
  EXPECT_EQ(MeasureOf("second")->most_column(), "second_mean_max");
  EXPECT_EQ(MeasureOf("mean")->most_column(), "");
  // The maximum is a value itself, not the extreme of one.
  EXPECT_EQ(MeasureOf("max")->value_column(), "max");
  EXPECT_EQ(MeasureOf("max")->most_column(), "");
}

TEST(Measures, GroupsHaveOneNeutralName) {
  EXPECT_EQ(GroupText("ld", 2, Labels()), "counter group 2");
  EXPECT_EQ(TextOf("ld", {MeasureOf("ops"), 2}, Labels()), "ops of counter group 2");
  EXPECT_EQ(TextOf("ld", {MeasureOf("busy"), 0}, Labels()), "busy");
  EXPECT_EQ(KeyOf({MeasureOf("ops"), 2}), "g2_ops");
  EXPECT_EQ(HeadOf(*MeasureOf("ops"), Labels()), "operations per second (ops/s)");
  EXPECT_EQ(HeadOf(*MeasureOf("mean"), Labels()), "first average (unit of the file)");
}

}  // namespace
}  // namespace psltool
