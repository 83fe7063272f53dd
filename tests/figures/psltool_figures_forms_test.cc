// The forms of `psltool export` that arrange rows in ways of their own, against the second
// calculation: a line per resource and time, and the text for time-series engines.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "tests/figures/compare.h"
#include "tests/figures/figure_files.h"
#include "tests/figures/figure_rows.h"
#include "tests/support/lines.h"
#include "tests/support/revision_param.h"
#include "tests/support/tools/openmetrics_text.h"

namespace {

using figures::Comparison;
using figures::Json;
using figures::Values;

std::string NameOf(const std::string& path) {
  return path.substr(path.rfind('/', path.rfind('/') - 1) + 1);
}

using Samples = OpenMetricsText::Samples;

std::string PlaceOf(const Samples::value_type& sample) {
  const auto& [name, stamp, labels] = sample.first;
  std::string text = name + " at " + std::to_string(stamp);
  for (const auto& [label, value] : labels) text += " " + value;
  return text;
}

class PsltoolFiguresForms : public testing::TestWithParam<int> {
 protected:
  void CompareSamples(const Samples& expected, const Samples& exported) {
    for (const auto& sample : expected) {
      const auto found = exported.find(sample.first);
      const Json value = found == exported.end() ? Json() : Json(found->second);
      comparison_.TakeOne(PlaceOf(sample), std::get<0>(sample.first), sample.second, value);
    }
    for (const auto& sample : exported) {
      if (expected.count(sample.first) != 0) continue;
      comparison_.TakeOne(PlaceOf(sample), std::get<0>(sample.first), Json(), sample.second);
    }
  }

  // Cells stand under the name of their metric and statistic.
  void CompareWide(const std::string& path) {
    const ProgramResult result = RunPsltool({"export", "--format", "wide", "--utc", path});
    ASSERT_EQ(result.status, 0) << result.err;
    const std::vector<std::string> lines = Lines(result.out);
    const auto entries = FigureRowsByEntry(path);
    ASSERT_EQ(lines.size(), entries.size() + 1) << path;
    const std::vector<std::string> names = Cells(lines[0]);
    for (size_t i = 0; i < entries.size(); ++i) {
      const std::vector<std::string> cells = Cells(lines[i + 1]);
      ASSERT_EQ(cells.size(), names.size()) << path;
      Values printed;
      for (size_t c = 0; c < cells.size(); ++c) {
        if (c >= kTexts && cells[c].empty()) continue;
        printed[names[c]] = c < kTexts ? Json(cells[c]) : Json(std::stod(cells[c]));
      }
      const TidyRow& first = entries[i].at(0);
      Values expected = {{"time", first.time}, {"array", first.array}, {"kind", first.kind},
                         {"key", first.key},   {"level", first.level}, {"begin", first.begin},
                         {"end", first.end}};
      for (const TidyRow& row : entries[i]) expected[row.metric + "_" + row.statistic] = row.value;
      comparison_.Take(NameOf(path) + ", " + first.time + " " + first.kind + " " + first.key,
                       expected, printed);
    }
  }

  static constexpr size_t kTexts = 7;  // time, array, kind, key, level, begin, end

  Comparison comparison_;
};

TEST_P(PsltoolFiguresForms, EveryValueIsTheCalculations) {
  // One case takes a while: made files for even revisions, random ones for odd ones.
  for (int i = 0; i < FigureSeeds(1); ++i) {
    const int seed = i + GetParam() % 2;
    SCOPED_TRACE("seed " + std::to_string(seed));
    const FigureFiles files(static_cast<uint64_t>(seed), GetParam());
    std::vector<std::string> arguments = {"export", "--format", "openmetrics"};
    Samples expected;
    for (const std::string& path : files.all()) {
      CompareWide(path);
      arguments.push_back(path);
      for (const TidyRow& row : FigureRows(path)) AddSample(row, expected);
    }
    const ProgramResult result = RunPsltool(arguments);
    ASSERT_EQ(result.status, 0) << result.err;
    const OpenMetricsText text = ReadOpenMetrics(result.out);
    ASSERT_EQ(text.error, "");
    CompareSamples(expected, text.samples);
  }
  EXPECT_EQ(comparison_.different(), 0U) << comparison_.Report();
  EXPECT_GT(comparison_.compared(), 2000U);
  RecordProperty("values", std::to_string(comparison_.compared()));
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolFiguresForms, EachRevision(), RevisionParam<int>);

}  // namespace
