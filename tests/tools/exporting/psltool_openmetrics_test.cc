// `psltool export --to openmetrics`: the text is what the standard wants, and holds the values of
// `dump`.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/model/random_source.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/export_rows.h"
#include "tests/support/tools/openmetrics_text.h"
#include "tools/exporting/sample_sort.h"

using namespace psltool;

namespace {

using Samples = OpenMetricsText::Samples;

ProgramResult ExportOpenMetrics(const std::vector<std::string>& more) {
  std::vector<std::string> arguments = {"export", "--to", "openmetrics"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return RunProgram(PSLTOOL_PATH, arguments);
}

std::vector<TidyRow> Dumped(const LeveledFile& file) {
  const ProgramResult result =
      RunProgram(PSLTOOL_PATH, {"dump", file.path, "--format", "ndjson", "--utc"});
  EXPECT_EQ(result.status, 0) << result.err;
  return RowsOfDump(result.out, "array01", file.level);
}

TEST(OpenMetricsReader, TellsWellFormedTextFromOther) {
  const std::string head = "# TYPE a_s gauge\n# UNIT a_s s\n# HELP a_s x\n";
  EXPECT_EQ(ReadOpenMetrics("# EOF\n").error, "");
  const OpenMetricsText good = ReadOpenMetrics(
      head + "a_s{k=\"\\\"\\\\\\n\"} 1.5 10\na_s{k=\"\\\"\\\\\\n\"} 2e-05 11\na_s 3 1\n# EOF\n");
  EXPECT_EQ(good.error, "");
  EXPECT_EQ(good.samples.at({"a_s", 11, {{"k", "\"\\\n"}}}), 2e-05);
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
  Samples expected;
  std::vector<std::string> paths;
  for (const LeveledFile& file : files) {
    paths.push_back(file.path);
    for (const TidyRow& row : Dumped(file)) AddSample(row, expected);
  }
  const ProgramResult result = ExportOpenMetrics(paths);
  EXPECT_EQ(result.status, 0) << result.err;
  const OpenMetricsText text = ReadOpenMetrics(result.out);
  ASSERT_EQ(text.error, "");
  EXPECT_TRUE(text.samples == expected);
  EXPECT_GT(expected.size(), 300U);
  for (const auto& [name, family] : text.families) {
    EXPECT_EQ(family.type, "gauge") << name;
    EXPECT_NE(family.help, "") << name;
    if (family.unit.empty()) continue;
    EXPECT_TRUE(name.ends_with("_" + family.unit)) << name;
  }
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolOpenMetricsRevision, EachRevision(),
                         RevisionParam<int>);

// The path of the engine's tool; "": there is none.
std::string Promtool() {
  const std::string path = RunProgram("/bin/sh", {"-c", "command -v promtool"}).out;
  return path.substr(0, path.find('\n'));
}

// The tool of a time-series engine takes every name, help text and unit without a word.
// Milliseconds and percentages once were not to its taste.
TEST_P(PsltoolOpenMetricsRevision, AnEngineHasNothingToSay) {
  const std::string promtool = Promtool();
  if (promtool.empty()) GTEST_SKIP() << "no promtool (package prometheus)";
  TempDir dir;
  std::vector<std::string> more = {"-o", dir.Path("x.om")};
  for (const LeveledFile& file : MakeAllLevels(dir.Path(), GetParam())) more.push_back(file.path);
  ASSERT_EQ(ExportOpenMetrics(more).status, 0);
  const ProgramResult result = RunProgram(
      "/bin/sh", {"-c", "exec \"$0\" check metrics < \"$1\"", promtool, dir.Path("x.om")});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out + result.err, "");
}

// Reads lines like {__name__="psl_valid", array="a"} 1 1709510400000.
Samples ReadBlocks(const std::string& text) {
  Samples samples;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    OpenMetricsText::Labels labels;
    size_t at = 1;
    while (line.at(at) != '}') {
      const size_t equals = line.find("=\"", at);
      const size_t quote = line.find('"', equals + 2);
      labels[line.substr(at, equals - at)] = line.substr(equals + 2, quote - equals - 2);
      at = quote + 1;
      if (line[at] == ',') at += 2;
    }
    std::istringstream numbers(line.substr(at + 1));
    std::string value;
    uint64_t milliseconds = 0;
    numbers >> value >> milliseconds;
    const std::string name = labels.at("__name__");
    labels.erase("__name__");
    samples[{name, static_cast<uint32_t>(milliseconds / 1000), labels}] = std::stod(value);
  }
  return samples;
}

// Blocks that the engine makes of the text hold what the text says.
TEST(PsltoolOpenMetrics, BlocksOfAnEngineHoldTheSamples) {
  const std::string promtool = Promtool();
  if (promtool.empty()) GTEST_SKIP() << "no promtool (package prometheus)";
  TempDir dir;
  std::vector<std::string> more = {"-o", dir.Path("x.om")};
  for (const LeveledFile& file : MakeAllLevels(dir.Path(), 0x21)) more.push_back(file.path);
  ASSERT_EQ(ExportOpenMetrics(more).status, 0);
  const OpenMetricsText text = ReadOpenMetrics(dir.Read("x.om"));
  ASSERT_EQ(text.error, "");
  const ProgramResult made = RunProgram(
      promtool, {"tsdb", "create-blocks-from", "openmetrics", dir.Path("x.om"), dir.Path("data")});
  ASSERT_EQ(made.status, 0) << made.err;
  dir.MakeDirectory("data/wal");  // of an engine that has run; the tool wants to see one
  const ProgramResult dumped = RunProgram(promtool, {"tsdb", "dump", dir.Path("data")});
  ASSERT_EQ(dumped.status, 0) << dumped.err;
  EXPECT_GT(text.samples.size(), 1000U);
  EXPECT_TRUE(ReadBlocks(dumped.out) == text.samples);
}

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
  const OpenMetricsText rising = ReadOpenMetrics(ExportOpenMetrics({first, second}).out);
  const OpenMetricsText falling = ReadOpenMetrics(ExportOpenMetrics({second, first, second}).out);
  EXPECT_EQ(rising.error, "");
  EXPECT_EQ(falling.error, "");
  EXPECT_FALSE(rising.samples.empty());
  EXPECT_TRUE(rising.samples == falling.samples);
}

TEST(PsltoolOpenMetrics, NamesOfArraysAreEscaped) {
  TempDir dir;
  const std::string name = "20240101a\"b\\c\xff.psl";
  dir.Write(name, spell::Log({.revision = 0x1D}, {spell::kNewYear}));
  const OpenMetricsText text = ReadOpenMetrics(ExportOpenMetrics({dir.Path(name)}).out);
  EXPECT_EQ(text.error, "");
  ASSERT_FALSE(text.samples.empty());
  EXPECT_EQ(std::get<2>(text.samples.begin()->first).at("array"), "a\"b\\c\xEF\xBF\xBD");
}

TEST(PsltoolOpenMetrics, NothingLeavesAWellFormedText) {
  TempDir dir;
  dir.Write("x.psl", spell::Log({.revision = 0x1D}, {spell::kNewYear}));
  EXPECT_EQ(ExportOpenMetrics({dir.Path("x.psl"), "--from", "2025-01-01"}).out, "# EOF\n");
}

// More samples than are kept in memory.
TEST(PsltoolOpenMetrics, ADirectoryThatTakesNoTemporaryFileIsNamed) {
  TempDir dir;
  ASSERT_EQ(RunProgram(PSLTOOL_PATH, {"make", "-q", "--interval", "300", "--none", "--ld", "40"},
                       {dir.Path(), {}})
                .status,
            0);
  std::filesystem::rename(dir.Path("20240304array01.psl"), dir.Path("x.psl"));
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
    SampleSort sort(dir.Path(), SampleSort::Equal::kLast, 7);
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

// Those of a database: of equal ones all stay, in the order in which they came.
TEST(SampleSort, SortsAndKeepsAllOfEqualOnes) {
  TempDir dir;
  for (const size_t piece : {size_t{7}, size_t{1000}}) {
    model::Random random(4);
    SampleSort sort(dir.Path(), SampleSort::Equal::kAll, piece);
    std::map<std::pair<uint64_t, uint32_t>, std::vector<double>> expected;
    for (int i = 0; i < 300; ++i) {
      const Sample sample = {random.Below(5), static_cast<uint32_t>(random.Below(9)),
                             static_cast<double>(i)};
      ASSERT_TRUE(sort.Add(sample));
      expected[{sample.series, sample.stamp}].push_back(sample.value);
    }
    std::map<std::pair<uint64_t, uint32_t>, std::vector<double>> merged;
    std::pair<uint64_t, uint32_t> last;
    ASSERT_TRUE(sort.Merge([&](const Sample& sample) {
      const std::pair<uint64_t, uint32_t> place = {sample.series, sample.stamp};
      EXPECT_LE(last, place);
      last = place;
      merged[place].push_back(sample.value);
      return true;
    }));
    EXPECT_EQ(merged, expected);
  }
}

}  // namespace
