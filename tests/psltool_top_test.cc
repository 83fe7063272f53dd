// `psltool top`: the ranking against sums over what `dump` prints, and how it is shown.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/tempdir.h"
#include "tools/spark.h"

namespace {

using nlohmann::json;

ProgramResult Top(const std::vector<std::string>& more,
                  const std::vector<std::pair<std::string, std::string>>& variables = {}) {
  std::vector<std::string> arguments = {"top"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return RunProgram(PSLTOOL_PATH, arguments, {"", variables});
}

json TopJson(std::vector<std::string> more) {
  more.emplace_back("--json");
  const ProgramResult result = Top(more);
  EXPECT_EQ(result.status, 0) << result.err;
  return json::parse(result.out);
}

struct Sums {
  double operations = 0;
  double seconds = 0;
  double first = 0;
  double busy = 0;
  double busy_seconds = 0;
  double maximum = 0;
};

// By array and key, added up entry by entry.
using Expected = std::map<std::pair<std::string, std::string>, Sums>;
void AddDump(const std::string& path, const std::string& array, std::vector<std::string> more,
             Expected& expected) {
  more.insert(more.begin(), {"dump", path, "--format", "ndjson"});
  const ProgramResult result = RunProgram(PSLTOOL_PATH, more);
  ASSERT_EQ(result.status, 0) << result.err;
  for (const std::string& line : Lines(result.out)) {
    const json entry = json::parse(line);
    if (!entry["valid"].get<bool>()) continue;
    Sums& sums = expected[{array, entry["key"]}];
    const double seconds = entry["interval_ms"].get<double>() / 1000;
    sums.seconds += seconds;
    if (!entry["busy_pct"].is_null()) {
      sums.busy += entry["busy_pct"].get<double>() * seconds;
      sums.busy_seconds += seconds;
    }
    if (entry["g2_first_mean"].is_null()) continue;
    sums.operations += entry["g2_ops"].get<double>();
    sums.first += entry["g2_ops"].get<double>() * entry["g2_first_mean"].get<double>();
    sums.maximum = std::max(sums.maximum, entry["g2_max"].get<double>());
  }
}

bool Near(double a, double b) { return std::abs(a - b) <= 1e-9 * std::max(1.0, std::abs(b)); }

class PsltoolTop : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(RunProgram(PSLTOOL_PATH,
                         {"make", "-q", "--arrays", "2", "--days", "2", "--interval", "1800",
                          "--ld", "5", "--pd", "3"},
                         {dir_.Path(), {}})
                  .status,
              0);
    for (const char* name : {"20240304array01.psl", "20240304array02.psl", "20240305array01.psl",
                             "20240305array02.psl"}) {
      files_.push_back(dir_.Path(name));
    }
  }

  TempDir dir_;
  std::vector<std::string> files_;
};

TEST_F(PsltoolTop, SumsAreThoseOfTheEntries) {
  const std::vector<std::string> span = {"--from", "2024-03-04 09:00", "--to", "2024-03-05 12:00"};
  Expected expected;
  for (const std::string& path : files_) {
    std::vector<std::string> more = span;
    more.insert(more.end(), {"--kind", "ld"});
    AddDump(path, path.substr(path.size() - 11, 7), more, expected);
  }
  ASSERT_EQ(expected.size(), 10U);
  for (const char* by : {"ops", "busy", "mean", "max"}) {
    std::vector<std::string> more = files_;
    more.insert(more.end(), span.begin(), span.end());
    more.insert(more.end(), {"--by", by, "--group", "2", "-n", "7"});
    const json report = TopJson(more);
    ASSERT_EQ(report["resources"].size(), 7U) << by;
    EXPECT_EQ(report["from"], "2024-03-04T09:00:00+00:00");
    const auto measure = [&](const Sums& sums) {
      const std::string word = by;
      return word == "ops"    ? sums.operations
             : word == "busy" ? sums.busy / sums.busy_seconds
             : word == "mean" ? sums.first / sums.operations
                              : sums.maximum;
    };
    std::vector<double> values;
    for (const auto& [name, sums] : expected) values.push_back(measure(sums));
    std::sort(values.rbegin(), values.rend());
    size_t rank = 0;
    for (const json& resource : report["resources"]) {
      const Sums& sums = expected.at({resource["array"], resource["key"]});
      EXPECT_TRUE(Near(measure(sums), values[rank])) << by << " " << rank;
      EXPECT_EQ(resource["rank"], ++rank);
      EXPECT_TRUE(Near(resource["ops"], sums.operations));
      EXPECT_TRUE(Near(resource["ops_per_s"], sums.operations / sums.seconds));
      EXPECT_TRUE(Near(resource["first_mean"], sums.first / sums.operations));
      EXPECT_TRUE(Near(resource["max"], sums.maximum));
      EXPECT_TRUE(Near(resource["busy_pct"], sums.busy / sums.busy_seconds));
      EXPECT_EQ(resource["cells"].size(), 40U);
    }
  }
}

// While every record has a cell of its own, the cells are the rates that `dump` prints.
TEST_F(PsltoolTop, CellsAreTheHistory) {
  const json report = TopJson({files_[0], "--to", "2024-03-04 05:59", "--kind", "pd", "-n", "1"});
  const json& first = report["resources"][0];
  const ProgramResult dump =
      RunProgram(PSLTOOL_PATH, {"dump", files_[0], "--to", "2024-03-04 05:59", "--kind", "pd",
                                "--key", first["key"], "--format", "ndjson"});
  std::vector<json> rates;
  for (const std::string& line : Lines(dump.out)) {
    rates.push_back(json::parse(line)["g1_ops_per_s"]);
  }
  ASSERT_EQ(rates.size(), 12U);
  ASSERT_EQ(first["cells"].size(), 12U);
  for (size_t i = 0; i < rates.size(); ++i) {
    EXPECT_TRUE(Near(first["cells"][i], rates[i].get<double>())) << i;
  }
}

TEST_F(PsltoolTop, BarsAreBlocksWhereTheLocaleHasThem) {
  const std::vector<std::string> options = {files_[0], "-n", "1", "--utc"};
  std::vector<std::string> ascii_options = options;
  ascii_options.emplace_back("--ascii");
  const auto is_ascii = [](const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
  };
  const ProgramResult plain = Top(options);  // LC_ALL=C
  const ProgramResult blocks = Top(options, {{"LC_ALL", "C.UTF-8"}});
  EXPECT_TRUE(is_ascii(plain.out));
  EXPECT_FALSE(is_ascii(blocks.out));
  EXPECT_EQ(Top(ascii_options, {{"LC_ALL", "C.UTF-8"}}).out, plain.out);
  ASSERT_EQ(Lines(plain.out).size(), 3U) << plain.out;
  EXPECT_EQ(Lines(plain.out)[0],
            "ld by ops, counter group 1, from 2024-03-04 00:00:00 to 2024-03-04 23:30:00 (UTC)");
  EXPECT_EQ(Lines(plain.out)[1].substr(0, 20), "rank array         k");
}

TEST(PsltoolSparkline, ScalesToTheLargestAndLeavesGaps) {
  EXPECT_EQ(Sparkline({0.0, 1.0, std::nullopt, 3.5, 7.0}, true), "_. =#");
  EXPECT_EQ(Sparkline({0.0, 7.0}, false), "▁█");
  EXPECT_EQ(Sparkline({0.0, 0.0}, true), "__");
  EXPECT_EQ(Sparkline({}, true), "");
}

// A log and its archive, or a file named twice, hold the same operations.
TEST_F(PsltoolTop, NothingCountsTwice) {
  const ProgramResult twice = Top({files_[0], files_[1], files_[0]});
  EXPECT_EQ(twice.status, 2);
  EXPECT_NE(twice.err.find("holds the same time of array array01 as " + files_[0]),
            std::string::npos)
      << twice.err;
  ASSERT_EQ(RunProgram(QELPRFARC_PATH, {files_[0]}, {dir_.Path(), {}}).status, 0);
  const std::string archive = dir_.Path("20240304array01.psa");
  EXPECT_EQ(Top({files_[0], archive}).status, 2);
  // The archive of one day goes with the log of the next, and holds the same operations.
  const json mixed = TopJson({archive, files_[2]});
  const json logs = TopJson({files_[0], files_[2]});
  ASSERT_FALSE(logs["resources"].empty());
  for (size_t i = 0; i < logs["resources"].size(); ++i) {
    EXPECT_EQ(mixed["resources"][i]["key"], logs["resources"][i]["key"]);
    EXPECT_TRUE(Near(mixed["resources"][i]["ops"], logs["resources"][i]["ops"].get<double>()));
    EXPECT_EQ(mixed["resources"][i]["max"], logs["resources"][i]["max"]);
  }
}

TEST_F(PsltoolTop, WhatCannotBeIsRefusedOrTold) {
  for (const auto& options : std::vector<std::vector<std::string>>{{"--by", "size"},
                                                                   {"-n", "0"},
                                                                   {"--kind", "ld-cp"},
                                                                   {"--group", "9"},
                                                                   {"--group", "6"},
                                                                   {"--from", "soon"}}) {
    std::vector<std::string> more = options;
    more.insert(more.begin(), files_[0]);
    const ProgramResult result = Top(more);
    EXPECT_EQ(result.status, 2) << options[0] << " " << options[1];
    EXPECT_NE(result.err, "");
    EXPECT_EQ(result.out, "");
  }
  EXPECT_EQ(Top({dir_.Path("none.psl")}).status, 2);
  const ProgramResult nothing = Top({files_[0], "--from", "2025-01-01"});
  EXPECT_EQ(nothing.status, 1);
  EXPECT_NE(nothing.err.find("no ld has a value of \"ops\""), std::string::npos) << nothing.err;
  // Kinds without counters have a busy ratio.
  EXPECT_EQ(Top({files_[0], "--kind", "hd", "--by", "busy"}).status, 0);
  const std::string bytes = TempDir::ReadFile(files_[1]);
  dir_.Write("20240304array02.psl", bytes.substr(0, bytes.size() - 3));
  const ProgramResult broken = Top({files_[1]});
  EXPECT_EQ(broken.status, 1);
  EXPECT_EQ(Lines(broken.out).size(), 7U);
  EXPECT_NE(broken.err.find("record length"), std::string::npos);
}

}  // namespace
