// `psltool explain`: its numbers are those of `dump`, its peaks those of the intervals.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/revision_param.h"
#include "tests/support/tempdir.h"

namespace {

using nlohmann::json;

ProgramResult RunThe(const std::string& program, const std::vector<std::string>& arguments) {
  return RunProgram(program, arguments, {"", {{"TZ", "Europe/Berlin"}}});
}

// A day of one small array with an hour archive, and a day archive made of that.
class PsltoolExplain : public testing::TestWithParam<int> {
 protected:
  void Make(const std::string& extended) {
    const ProgramResult made =
        RunThe(PSLTOOL_PATH,
               {"make", "--revision", std::to_string(GetParam()), "--ld", "3", "--pd", "3", "--hp",
                "2", "--interval", "600", "--extended", extended, "-o", dir_.Path("logs")});
    ASSERT_EQ(made.status, 0) << made.err;
    for (const char* level : {"hour", "day"}) {
      dir_.MakeDirectory(level);
      const ProgramResult run = RunThe(
          QELPRFARC_PATH, {"-o", dir_.Path(level), std::string(level) == "hour" ? log_ : hour_});
      ASSERT_EQ(run.status, 0) << run.err;
    }
  }

  static std::vector<json> Dump(const std::string& path, const std::string& kind) {
    const ProgramResult dumped =
        RunThe(PSLTOOL_PATH, {"dump", path, "--kind", kind, "--format", "ndjson"});
    std::vector<json> entries;
    std::istringstream lines(dumped.out);
    for (std::string line; std::getline(lines, line);) entries.push_back(json::parse(line));
    return entries;
  }

  // Explains the entries that `dump` shows of a kind and expects its numbers. Returns how many.
  size_t Compare(const std::string& archive, const std::string& input, const std::string& kind) {
    size_t compared = 0;
    const std::vector<json> entries = Dump(archive, kind);
    for (size_t i = 0; i < entries.size(); i += 1 + entries.size() / 3) {
      const json& entry = entries[i];
      const auto key = entry["key"].get<std::string>();
      const ProgramResult result =
          RunThe(PSLTOOL_PATH,
                 {"explain", "--archive", archive, "--kind", kind, "--key", key, "--at",
                  "@" + std::to_string(entry["stamp"].get<uint32_t>()), "--all", "--json", input});
      EXPECT_EQ(result.status, 0) << kind << " " << key << "\n" << result.err << result.out;
      if (result.status != 0) return compared;
      const json report = json::parse(result.out);
      EXPECT_EQ(report["stamp"], entry["stamp"]);
      for (const json& field : report["fields"]) {
        const auto name = field["field"].get<std::string>();
        EXPECT_EQ(field["value"], entry[name]) << kind << " " << name;
        EXPECT_EQ(field["stored"], entry[name]) << kind << " " << name;
        if (field["rule"] == "max" && field.contains("interval")) CheckPeak(report, field);
        if (field["rule"] == "sum" && name == "g1_ops") CheckSum(report, field);
        ++compared;
      }
    }
    return compared;
  }

  // The interval named holds the value, and none holds more.
  static void CheckPeak(const json& report, const json& field) {
    const auto name = field["field"].get<std::string>();
    const json& intervals = report["intervals"];
    const json& holder = intervals[field["interval"].get<size_t>()];
    if (!holder.contains(name) || holder[name].is_null()) return;
    EXPECT_EQ(holder[name], field["value"]) << name;
    for (const json& interval : intervals) {
      if (interval.contains(name) && !interval[name].is_null()) {
        EXPECT_LE(interval[name], field["value"]) << name;
      }
    }
  }

  static void CheckSum(const json& report, const json& field) {
    double sum = 0;
    for (const json& interval : report["intervals"]) {
      if (!interval["g1_ops"].is_null()) sum += interval["g1_ops"].get<double>();
    }
    EXPECT_EQ(sum, field["value"].get<double>());
  }

  TempDir dir_;
  std::string log_ = dir_.Path("logs/20240304array01.psl");
  std::string hour_ = dir_.Path("hour/20240304array01.psa");
  std::string day_ = dir_.Path("day/202403array01.psa");
};

class PsltoolExplainDump : public PsltoolExplain {};

TEST_P(PsltoolExplainDump, NumbersAreThoseOfDump) {
  Make("none");
  size_t compared = 0;
  for (const char* kind : {"ld", "pd", "hp", "dp"}) compared += Compare(hour_, log_, kind);
  for (const char* kind : {"ld", "hp"}) compared += Compare(day_, hour_, kind);
  EXPECT_GT(compared, 100U);
}

INSTANTIATE_TEST_SUITE_P(Families, PsltoolExplainDump,
                         testing::Values(0x10, 0x11, 0x13, 0x18, 0x1A, 0x21), RevisionParam<int>);

class PsltoolExplainKinds : public PsltoolExplain {};

TEST_P(PsltoolExplainKinds, EveryKindIsExplained) {
  Make("partial");
  for (const char* kind : {"hd", "rd", "dd", "hp", "hpnode", "rp", "mp", "dp", "cache", "cheseg",
                           "ld", "pd", "pool", "conc", "ld-cp", "pool-cp", "cab"}) {
    EXPECT_GT(Compare(hour_, log_, kind), 0U) << kind;
  }
}

TEST_P(PsltoolExplainKinds, TextTellsThePeakInASentence) {
  Make("none");
  const ProgramResult result =
      RunThe(PSLTOOL_PATH, {"explain", "--archive", hour_, "--kind", "ld", "--key", "1", "--at",
                            "2024-03-04 14:30", "--utc", "--field", "g1_max", log_});
  ASSERT_EQ(result.status, 0) << result.err;
  const json entry = Dump(hour_, "ld")[3 * 14 + 1];
  const std::string start =
      "max " + entry["g1_max"].dump() + ": held by the interval ending 2024-03-04 14:";
  EXPECT_NE(result.out.find(start), std::string::npos) << start << "\n" << result.out;
  EXPECT_NE(result.out.find(entry["g1_max"].dump() + "^"), std::string::npos) << result.out;
}

TEST_P(PsltoolExplainKinds, AChangedNumberIsTold) {
  Make("none");
  const json entry =
      json::parse(RunThe(PSLTOOL_PATH,
                         {"dump", hour_, "--kind", "ld", "--key", "1", "--from", "2024-03-04 15:00",
                          "--to", "2024-03-04 15:59", "--format", "ndjson", "--raw", "--utc"})
                      .out);
  std::string bytes = TempDir::ReadFile(hour_);
  const size_t at = entry["offset"].get<size_t>() + 16 + 8 + 3;  // lowest byte of the maximum
  bytes[at] = static_cast<char>(bytes[at] ^ 1);
  dir_.Write("hour/20240304array01.psa", bytes);
  const std::vector<std::string> explain = {
      "explain", "--archive",        hour_,   "--kind", "ld", "--key", "1",
      "--at",    "2024-03-04 15:10", "--utc", log_};
  const ProgramResult result = RunThe(PSLTOOL_PATH, explain);
  EXPECT_EQ(result.status, 1);
  const uint64_t stored = entry["g1_max"].get<uint64_t>() ^ 1;
  EXPECT_NE(result.out.find("  but the archive holds " + std::to_string(stored) + "\n"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("1 field of the entry differs"), std::string::npos) << result.out;
}

TEST_P(PsltoolExplainKinds, WhatIsNotThereIsTold) {
  Make("none");
  const auto explain = [&](const std::string& kind, const std::string& key, const std::string& at,
                           const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {"explain", "--archive", hour_,  "--kind", kind,
                                          "--key",   key,         "--at", at};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunThe(PSLTOOL_PATH, arguments);
  };
  const std::string noon = "2024-03-04 12:00";
  EXPECT_EQ(explain("ld", "1", noon, {log_}).status, 0);
  EXPECT_EQ(explain("ld", "77", noon, {log_}).status, 1);
  EXPECT_EQ(explain("ld", "1", "2025-01-01", {log_}).status, 1);
  EXPECT_EQ(explain("ld", "1", noon, {day_}).status, 1);
  EXPECT_EQ(explain("ld", "x", noon, {log_}).status, 2);
  EXPECT_EQ(explain("ld", "1", "noon", {log_}).status, 2);
  EXPECT_EQ(explain("ld", "1", noon, {log_, "--field", "nothing"}).status, 2);
  EXPECT_EQ(explain("ld", "1", noon, {log_, "--group", "9"}).status, 2);
  EXPECT_EQ(explain("nothing", "1", noon, {log_}).status, 2);
  EXPECT_EQ(explain("ld", "1", noon, {}).status, 2);
}

INSTANTIATE_TEST_SUITE_P(Newest, PsltoolExplainKinds, testing::Values(0x21), RevisionParam<int>);

}  // namespace
