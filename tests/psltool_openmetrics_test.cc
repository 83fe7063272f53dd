// `psltool export --to openmetrics`: the text is what the standard wants, and holds the values of
// `dump`.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/model/random_source.h"
#include "tests/support/export_rows.h"
#include "tests/support/openmetrics_text.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"
#include "tools/sample_sort.h"

namespace {

ProgramResult Psltool(const std::vector<std::string>& arguments) {
  return RunProgram(PSLTOOL_PATH, arguments);
}

ProgramResult Export(const std::vector<std::string>& more) {
  std::vector<std::string> arguments = {"export", "--to", "openmetrics"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return Psltool(arguments);
}

std::vector<TidyRow> Dumped(const LeveledFile& file) {
  const ProgramResult result = Psltool({"dump", file.path, "--format", "ndjson", "--utc"});
  EXPECT_EQ(result.status, 0) << result.err;
  return RowsOfDump(result.out, "array01", file.level);
}

// Where a row stands in the exposition.
std::tuple<std::string, OpenMetricsText::Labels, uint32_t> PlaceOf(const TidyRow& row) {
  OpenMetricsText::Labels labels = {
      {"array", row.array}, {"level", row.level}, {"kind", row.kind}, {"key", row.key}};
  std::string metric = row.metric;
  if (metric[0] == 'g' && metric[2] == '_') {
    labels["group"] = metric.substr(1, 1);
    metric = metric.substr(3);
  } else if (metric.substr(0, 8) == "word_at_") {
    labels["offset"] = metric.substr(8);
    metric = "word";
  }
  const bool unit =
      row.unit != "code" && row.unit != "flag" && row.unit != "bits" && row.unit != "file";
  return {"psl_" + metric + "_" + row.statistic + (unit ? "_" + row.unit : ""), labels, row.stamp};
}

TEST(OpenMetricsReader, TellsWellFormedTextFromOther) {
  const std::string head = "# TYPE a_s gauge\n# UNIT a_s s\n# HELP a_s x\n";
  EXPECT_EQ(ReadOpenMetrics("# EOF\n").error, "");
  const OpenMetricsText good = ReadOpenMetrics(
      head + "a_s{k=\"\\\"\\\\\\n\"} 1.5 10\na_s{k=\"\\\"\\\\\\n\"} 2e-05 11\na_s 3 1\n# EOF\n");
  EXPECT_EQ(good.error, "");
  EXPECT_EQ(good.samples.at({"a_s", {{"k", "\"\\\n"}}, 11}), 2e-05);
  for (const std::string& bad :
       {head, head + "a_s 1 2\n", head + "# EOF", head + "b 1 2\n# EOF\n",
        head + "a_s 1 2\na_s 1 2\n# EOF\n", head + "a_s 1 2\n# HELP a_s y\n# EOF\n",
        head + "a_s{k=\"1\"} 1 2\na_s 1 2\na_s{k=\"1\"} 1 3\n# EOF\n",
        head + "# TYPE b gauge\nb 1 2\n" + head + "a_s 1 3\n# EOF\n",
        head + "a_s{k=\"\\x\"} 1 2\n# EOF\n", head + "a_s{k=\"1\",k=\"2\"} 1 2\n# EOF\n",
        head + "a_s 1  2\n# EOF\n", head + "# EOF\na_s 1 2\n",
        std::string("# TYPE a gauge\n# UNIT a s\na 1 2\n# EOF\n")}) {
    EXPECT_NE(ReadOpenMetrics(bad).error, "") << bad;
  }
}

class PsltoolOpenMetricsRevision : public testing::TestWithParam<int> {};

TEST_P(PsltoolOpenMetricsRevision, HoldsWhatDumpPrints) {
  TempDir dir;
  const std::vector<LeveledFile> files = MakeAllLevels(dir.Path(), GetParam());
  std::map<std::tuple<std::string, OpenMetricsText::Labels, uint32_t>, double> expected;
  std::vector<std::string> paths;
  for (const LeveledFile& file : files) {
    paths.push_back(file.path);
    for (const TidyRow& row : Dumped(file)) expected[PlaceOf(row)] = row.value;
  }
  const ProgramResult result = Export(paths);
  EXPECT_EQ(result.status, 0) << result.err;
  const OpenMetricsText text = ReadOpenMetrics(result.out);
  ASSERT_EQ(text.error, "");
  EXPECT_TRUE(text.samples == expected);
  EXPECT_GT(expected.size(), 300U);
  for (const auto& [name, family] : text.families) {
    EXPECT_EQ(family.type, "gauge") << name;
    EXPECT_NE(family.help, "") << name;
  }
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolOpenMetricsRevision, testing::Range(0x10, 0x22),
                         RevisionParam<int>);

// Files in any order, and twice the same one: still one sample per stamp, in their order.
TEST(PsltoolOpenMetrics, TheOrderOfTheFilesDoesNotMatter) {
  TempDir dir;
  ASSERT_EQ(RunProgram(PSLTOOL_PATH,
                       {"make", "-q", "--days", "2", "--interval", "21600", "--none", "--ld", "2"},
                       {dir.Path(), {}})
                .status,
            0);
  const std::string first = dir.Path("20240304array01.psl");
  const std::string second = dir.Path("20240305array01.psl");
  const OpenMetricsText rising = ReadOpenMetrics(Export({first, second}).out);
  const OpenMetricsText falling = ReadOpenMetrics(Export({second, first, second}).out);
  EXPECT_EQ(rising.error, "");
  EXPECT_EQ(falling.error, "");
  EXPECT_FALSE(rising.samples.empty());
  EXPECT_TRUE(rising.samples == falling.samples);
}

TEST(PsltoolOpenMetrics, NamesOfArraysAreEscaped) {
  TempDir dir;
  const std::string name = "20240101a\"b\\c\xff.psl";
  dir.Write(name, spell::Log({.revision = 0x1D}, {spell::kNewYear}));
  const OpenMetricsText text = ReadOpenMetrics(Export({dir.Path(name)}).out);
  EXPECT_EQ(text.error, "");
  ASSERT_FALSE(text.samples.empty());
  EXPECT_EQ(std::get<1>(text.samples.begin()->first).at("array"), "a\"b\\c\xEF\xBF\xBD");
}

TEST(PsltoolOpenMetrics, NothingLeavesAWellFormedText) {
  TempDir dir;
  dir.Write("x.psl", spell::Log({.revision = 0x1D}, {spell::kNewYear}));
  EXPECT_EQ(Export({dir.Path("x.psl"), "--from", "2025-01-01"}).out, "# EOF\n");
}

TEST(PsltoolOpenMetrics, ADirectoryThatTakesNoTemporaryFileIsNamed) {
  TempDir dir;
  dir.Write("x.psl", spell::Log({.revision = 0x1D}, {spell::kNewYear}));
  const ProgramResult result =
      RunProgram(PSLTOOL_PATH, {"export", "--to", "openmetrics", dir.Path("x.psl")},
                 {"", {{"TMPDIR", dir.Path("none")}}});
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find(dir.Path("none") + ": temporary file: cannot be created"),
            std::string::npos)
      << result.err;
  EXPECT_EQ(result.out, "");
}

// Pieces of seven samples against the order that a map keeps.
TEST(SampleSort, SortsAndKeepsTheLastOfEqualOnes) {
  TempDir dir;
  model::Random random(3);
  for (const int count : {0, 1, 6, 7, 8, 700}) {
    SampleSort sort(dir.Path(), 7);
    std::map<std::pair<uint64_t, uint32_t>, double> expected;
    for (int i = 0; i < count; ++i) {
      const Sample sample = {random.Below(9) << 40U, static_cast<uint32_t>(random.Below(20)),
                             static_cast<double>(i)};
      ASSERT_TRUE(sort.Add(sample));
      expected[{sample.series, sample.stamp}] = sample.value;
    }
    std::vector<Sample> merged;
    ASSERT_TRUE(sort.Merge([&](const Sample& sample) {
      merged.push_back(sample);
      return true;
    }));
    ASSERT_EQ(merged.size(), expected.size());
    auto at = expected.begin();
    for (const Sample& sample : merged) {
      EXPECT_EQ(std::make_pair(sample.series, sample.stamp), at->first);
      EXPECT_EQ(sample.value, at->second);
      ++at;
    }
  }
  EXPECT_EQ(dir.Names(), std::vector<std::string>{});
}

}  // namespace
