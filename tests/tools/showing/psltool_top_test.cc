// `psltool top`: the ranking against sums over what `dump` prints, and how it is shown.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/export_rows.h"
#include "tools/showing/spark.h"

using namespace psltool;

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
  double kvolume = 0;
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
    sums.kvolume += entry["g2_kvolume_per_s"].get<double>() * seconds;
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
  for (const char* by : {"ops", "busy", "mean", "max", "volume"}) {
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
             : word == "max"  ? sums.maximum
                              : sums.kvolume / sums.seconds;
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
      EXPECT_TRUE(Near(resource["kvolume_per_s"], sums.kvolume / sums.seconds));
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
  ASSERT_EQ(Lines(plain.out).size(), 4U) << plain.out;
  EXPECT_EQ(Lines(plain.out)[0],
            "ld by ops, counter group 1, from 2024-03-04 00:00:00 to 2024-03-04 23:30:00 (UTC)");
  EXPECT_EQ(Lines(plain.out)[1].substr(0, 21), "rank array     key   ");
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
  EXPECT_EQ(Lines(broken.out).size(), 8U);
  EXPECT_NE(broken.err.find("record length"), std::string::npos);
}

// A record of an archive covers its hour or day up to its stamp: only its stamp was looked at, so
// that it counted beside the intervals inside.
TEST_F(PsltoolTop, RecordsThatMeetAreRefused) {
  const ProgramSettings here = {dir_.Path(), {}};
  for (const char* level : {"hour", "day"}) dir_.MakeDirectory(level);
  const std::string first = dir_.Path("hour/20240304array01.psa");
  const std::string second = dir_.Path("hour/20240305array01.psa");
  const std::string month = dir_.Path("day/202403array01.psa");
  ASSERT_EQ(RunProgram(QELPRFARC_PATH, {"-o", "hour", files_[0], files_[2]}, here).status, 0);
  ASSERT_EQ(RunProgram(QELPRFARC_PATH, {"-o", "day", first}, here).status, 0);
  const auto refused = [](const std::vector<std::string>& arguments) {
    const ProgramResult result = Top(arguments);
    EXPECT_TRUE(result.status == 2 || result.status == 0) << result.err;
    EXPECT_EQ(result.status == 2, result.err.find("would count twice") != std::string::npos);
    return result.status == 2;
  };
  // The day and its hours or intervals, in both orders.
  EXPECT_TRUE(refused({month, first}));
  EXPECT_TRUE(refused({first, month}));
  EXPECT_TRUE(refused({month, files_[0]}));
  EXPECT_TRUE(refused({month, files_[0], "--to", "2024-03-04"}));
  // An hour and its intervals.
  EXPECT_TRUE(
      refused({first, files_[0], "--from", "2024-03-04 10:00", "--to", "2024-03-04 10:59"}));
  EXPECT_TRUE(
      refused({first, files_[0], "--from", "2024-03-04 10:00", "--to", "2024-03-04 11:00"}));
  // What follows one another does not meet.
  EXPECT_FALSE(refused({month, files_[2]}));
  EXPECT_FALSE(refused({month, second}));
  EXPECT_FALSE(refused({first, second}));
  EXPECT_FALSE(refused({files_[0], second}));
  // Other arrays are no matter.
  EXPECT_FALSE(refused({month, files_[1]}));
}

TEST_F(PsltoolTop, TheLeastBusyAndThePeakAreTold) {
  const json down = TopJson({files_[0], "--by", "volume"});
  const json up = TopJson({files_[0], "--by", "volume", "--ascending"});
  EXPECT_EQ(up["order"], "ascending");
  const size_t count = down["resources"].size();
  ASSERT_EQ(count, 5U);
  for (size_t i = 0; i < count; ++i) {
    EXPECT_EQ(up["resources"][i]["key"], down["resources"][count - 1 - i]["key"]);
  }
  // The peak is the largest value of a record, and stands there.
  for (const auto& [by, member] : std::map<std::string, std::string>{
           {"ops", "g1_ops_per_s"}, {"busy", "busy_pct"}, {"volume", "g1_kvolume_per_s"}}) {
    const json top = TopJson({files_[0], "--by", by, "--utc"})["resources"][0];
    const ProgramResult dump = RunProgram(
        PSLTOOL_PATH,
        {"dump", files_[0], "--kind", "ld", "--key", top["key"], "--utc", "--format", "ndjson"});
    json peak;
    for (const std::string& line : Lines(dump.out)) {
      const json entry = json::parse(line);
      if (peak.is_null() || entry[member] > peak[member]) peak = entry;
    }
    EXPECT_EQ(top["peak"]["value"].get<double>(), peak[member].get<double>()) << by;
    for (const char* time : {"time", "stamp", "begin", "end"}) {
      EXPECT_EQ(top["peak"][time], peak[time]) << by << " " << time;
    }
  }
}

TEST_F(PsltoolTop, TotalsAreThoseOfAllResourcesOfAnArray) {
  const json report = TopJson({files_[0], files_[1], "-n", "3", "--group", "2"});
  ASSERT_EQ(report["totals"].size(), 2U);
  for (const json& total : report["totals"]) {
    const std::string array = total["array"];
    Expected expected;
    AddDump(dir_.Path("20240304" + array + ".psl"), array, {"--kind", "ld"}, expected);
    Sums all;
    for (const auto& [name, sums] : expected) {
      all.operations += sums.operations;
      all.first += sums.first;
      all.kvolume += sums.kvolume;
      all.busy += sums.busy;
      all.busy_seconds += sums.busy_seconds;
      all.maximum = std::max(all.maximum, sums.maximum);
    }
    EXPECT_EQ(total["resources"], 5);
    EXPECT_TRUE(Near(total["ops"], all.operations));
    // Of the array's time, which is not the sum of the disks'.
    EXPECT_TRUE(Near(total["ops_per_s"], all.operations / 86400));
    EXPECT_TRUE(Near(total["kvolume_per_s"], all.kvolume / 86400));
    EXPECT_TRUE(Near(total["first_mean"], all.first / all.operations));
    EXPECT_TRUE(Near(total["busy_pct"], all.busy / all.busy_seconds));
    EXPECT_EQ(total["max"], all.maximum);
  }
}

// It ended with status 0.
TEST_F(PsltoolTop, NothingToRankIsToldInAllForms) {
  for (const bool as_json : {false, true}) {
    std::vector<std::string> options = {files_[0], "--from", "2025-01-01"};
    if (as_json) options.emplace_back("--json");
    const ProgramResult result = Top(options);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "psltool: top: no ld has a value of \"ops\" in the files and times asked for\n");
    const json report = as_json ? json::parse(result.out) : json::object();
    EXPECT_TRUE(report.value("resources", json::array()).empty());
  }
}

// Of every kind and counter group the numbers that `dump` prints, added up.
class PsltoolTopRevision : public testing::TestWithParam<int> {};

TEST_P(PsltoolTopRevision, SumsAreThoseOfDump) {
  TempDir dir;
  for (const LeveledFile& file : MakeAllLevels(dir.Path(), GetParam())) {
    const ProgramResult dump = RunProgram(PSLTOOL_PATH, {"dump", file.path, "--format", "ndjson"});
    ASSERT_EQ(dump.status, 0) << dump.err;
    // By kind, group and key: operations and the largest maximum.
    std::map<std::pair<std::string, std::string>, std::map<std::string, std::pair<double, double>>>
        expected;
    for (const std::string& line : Lines(dump.out)) {
      const json entry = json::parse(line);
      for (const auto& [member, value] : entry.items()) {
        if (!member.ends_with("_ops") || value.is_null()) continue;
        auto& [operations, maximum] = expected[{entry["kind"], member.substr(1, 1)}][entry["key"]];
        operations += value.get<double>();
        const json& largest = entry[member.substr(0, 3) + "max"];
        if (!largest.is_null()) maximum = std::max(maximum, largest.get<double>());
      }
    }
    EXPECT_GT(expected.size(), 5U);
    for (const auto& [name, resources] : expected) {
      const json report =
          TopJson({file.path, "--kind", name.first, "--group", name.second, "-n", "100"});
      ASSERT_EQ(report["resources"].size(), resources.size()) << name.first;
      for (const json& resource : report["resources"]) {
        const auto& [operations, maximum] = resources.at(resource["key"]);
        EXPECT_TRUE(Near(resource["ops"], operations)) << name.first << name.second;
        EXPECT_EQ(resource["max"].is_null() ? 0 : resource["max"].get<double>(), maximum);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Revisions, PsltoolTopRevision,
                         testing::Values(0x10, 0x11, 0x13, 0x18, 0x1C, 0x21), RevisionParam<int>);

}  // namespace
