// Times in commands: records of archives are chosen and printed by the period that they stand for.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

using nlohmann::json;

// Three days of an array, by UTC days as manual runs have them.
class PsltoolPeriod : public testing::Test {
 protected:
  void SetUp() override {
    Run(PSLTOOL_PATH, {"make", "-q", "--days", "3", "--interval", "900", "--ld", "2"});
    for (const char* day : {"20240304", "20240305", "20240306"}) {
      Run(QELPRFARC_PATH, {"-o", "hour", std::string(day) + "array01.psl"});
    }
    Run(QELPRFARC_PATH, {"-o", "day", "hour/20240304array01.psa", "hour/20240305array01.psa",
                         "hour/20240306array01.psa"});
  }

  void Run(const char* program, const std::vector<std::string>& arguments) {
    if (arguments[0] == "-o") dir_.MakeDirectory(arguments[1]);
    const ProgramResult result = RunProgram(program, arguments, {dir_.Path(), {}});
    ASSERT_EQ(result.status, 0) << result.err;
  }

  ProgramResult Tool(std::vector<std::string> arguments, const std::string& zone) const {
    return RunProgram(PSLTOOL_PATH, arguments, {dir_.Path(), {{"TZ", zone}}});
  }

  // The records that a dump of disk 1 gives, as objects.
  std::vector<json> Dump(const std::string& file, std::vector<std::string> more,
                         const std::string& zone) const {
    more.insert(more.begin(), {"dump", file, "--kind", "ld", "--key", "1", "--format", "ndjson"});
    const ProgramResult result = Tool(more, zone);
    EXPECT_EQ(result.status, 0) << result.err;
    std::vector<json> records;
    for (const std::string& line : Lines(result.out)) records.push_back(json::parse(line));
    return records;
  }

  TempDir dir_;
};

double OperationsOf(const std::vector<json>& records) {
  double sum = 0;
  for (const json& record : records) sum += record["g1_ops"].get<double>();
  return sum;
}

// The day before was put out for the date asked for wherever its last stamp lies on that date.
TEST_F(PsltoolPeriod, ADateAsksADayArchiveForThatDay) {
  const double operations = OperationsOf(Dump("20240305array01.psl", {}, "UTC"));
  for (const char* zone :
       {"UTC", "Europe/Berlin", "Asia/Tokyo", "America/New_York", "Pacific/Auckland"}) {
    for (const char* utc : {"", "--utc"}) {
      std::vector<std::string> span = {"--from", "2024-03-05", "--to", "2024-03-05"};
      if (*utc != '\0') span.emplace_back(utc);
      const std::vector<json> records = Dump("day/202403array01.psa", span, zone);
      ASSERT_EQ(records.size(), 1U) << zone << utc;
      EXPECT_EQ(OperationsOf(records), operations) << zone << utc;
    }
  }
  const std::vector<json> records =
      Dump("day/202403array01.psa", {"--from", "2024-03-05", "--to", "2024-03-05"}, "Asia/Tokyo");
  EXPECT_EQ(records[0]["time"], "2024-03-06T08:45:00+09:00");
  EXPECT_EQ(records[0]["begin"], "2024-03-05T09:00:00+09:00");
  EXPECT_EQ(records[0]["end"], "2024-03-06T09:00:00+09:00");
}

TEST_F(PsltoolPeriod, AnHourAsksAnHourArchiveForThatHour) {
  const std::string file = "hour/20240304array01.psa";
  const auto stamps = [&](const std::vector<std::string>& span, const std::string& zone) {
    std::vector<std::string> times;
    for (const json& record : Dump(file, span, zone)) times.push_back(record["begin"]);
    return times;
  };
  using Times = std::vector<std::string>;
  const Times ten = {"2024-03-04T10:00:00+00:00"};
  EXPECT_EQ(stamps({"--from", "2024-03-04 10:00", "--to", "2024-03-04 11:00"}, "UTC"), ten);
  EXPECT_EQ(stamps({"--from", "2024-03-04 10:00", "--to", "2024-03-04 10:59"}, "UTC"), ten);
  EXPECT_EQ(stamps({"--from", "2024-03-04 09:30", "--to", "2024-03-04 11:30"}, "UTC"), ten);
  EXPECT_EQ(stamps({"--from", "2024-03-04 10:00-11:00", "--to", "2024-03-04 10:00-11:00"}, "UTC"),
            ten);
  EXPECT_EQ(stamps({"--from", "2024-03-04 15:30", "--to", "2024-03-04 16:29"}, "Asia/Kolkata"),
            Times{"2024-03-04T15:30:00+05:30"});
  const ProgramResult half =
      Tool({"dump", file, "--from", "2024-03-04 10:30", "--to", "2024-03-04 10:50"}, "UTC");
  EXPECT_EQ(half.status, 1);
  EXPECT_NE(half.err.find("no record lies in the time"), std::string::npos) << half.err;
}

// Logs are asked for by the ends of their intervals, as ever.
TEST_F(PsltoolPeriod, IntervalsOfLogsAreChosenByTheirEnds) {
  const std::vector<json> records = Dump(
      "20240304array01.psl", {"--from", "2024-03-04 10:00", "--to", "2024-03-04 10:15"}, "UTC");
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0]["begin"], "2024-03-04T09:45:00+00:00");
  EXPECT_EQ(records[0]["end"], "2024-03-04T10:00:00+00:00");
  EXPECT_EQ(records[1]["begin"], "2024-03-04T10:00:00+00:00");
}

TEST_F(PsltoolPeriod, TablesTellThePeriod) {
  const auto first_words = [&](const std::string& file) {
    const ProgramResult result =
        Tool({"dump", file, "--kind", "pool", "--key", "0", "--utc"}, "UTC");
    EXPECT_EQ(result.status, 0) << result.err;
    std::vector<std::string> lines = Lines(result.out);
    lines.resize(2);
    for (std::string& line : lines) line.erase(line.find("  ", 10));
    return lines;
  };
  using Words = std::vector<std::string>;
  EXPECT_EQ(first_words("day/202403array01.psa"), (Words{"period (UTC)", "2024-03-04"}));
  EXPECT_EQ(first_words("hour/20240304array01.psa").at(1).substr(0, 22), "2024-03-04 00:00-01:00");
}

TEST_F(PsltoolPeriod, ExportsChooseTheSameRecords) {
  for (const char* form : {"csv", "ndjson"}) {
    const ProgramResult result =
        Tool({"export", "--to", form, "--kind", "ld", "--key", "1", "--from", "2024-03-05", "--to",
              "2024-03-05", "day/202403array01.psa"},
             "Asia/Tokyo");
    EXPECT_EQ(result.status, 0) << result.err;
    std::set<std::string> times;
    for (const std::string& line : Lines(result.out)) {
      if (line.starts_with("time,")) continue;
      times.insert(line.substr(line.find("2024-"), 25));
      EXPECT_NE(line.find("2024-03-05T09:00:00+09:00"), std::string::npos) << line;
      EXPECT_NE(line.find("2024-03-06T09:00:00+09:00"), std::string::npos) << line;
    }
    EXPECT_EQ(times, std::set<std::string>{"2024-03-06T08:45:00+09:00"}) << form;
  }
}

// It explained the first record with a later stamp: at 10:50 the hour from 11:00, and east of
// Greenwich the day before.
TEST_F(PsltoolPeriod, ATimeIsExplainedByTheRecordThatStandsForIt) {
  const auto begin = [&](const std::string& archive, const std::string& input,
                         const std::string& at, const std::string& zone) {
    const ProgramResult result = Tool({"explain", "--archive", archive, "--kind", "ld", "--key",
                                       "1", "--at", at, "--json", input},
                                      zone);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.status == 0 ? json::parse(result.out)["begin"].get<std::string>() : "";
  };
  const std::string hour = "hour/20240304array01.psa";
  const std::string log = "20240304array01.psl";
  EXPECT_EQ(begin(hour, log, "2024-03-04 10:50", "UTC"), "2024-03-04T10:00:00+00:00");
  EXPECT_EQ(begin(hour, log, "2024-03-04 10:00", "UTC"), "2024-03-04T10:00:00+00:00");
  EXPECT_EQ(begin(hour, log, "2024-03-04 10:00-11:00", "UTC"), "2024-03-04T10:00:00+00:00");
  EXPECT_EQ(begin("day/202403array01.psa", "hour/20240305array01.psa", "2024-03-05", "Asia/Tokyo"),
            "2024-03-05T09:00:00+09:00");
  const ProgramResult table = Tool({"explain", "--archive", "day/202403array01.psa", "--kind", "ld",
                                    "--key", "1", "--at", "2024-03-05", "hour/20240305array01.psa"},
                                   "UTC");
  EXPECT_EQ(table.status, 0) << table.err;
  EXPECT_NE(table.out.find(" (STA) of 2024-03-05, ld 1\n"), std::string::npos) << table.out;
  EXPECT_NE(table.out.find("\n2024-03-05 10:00-11:00 "), std::string::npos) << table.out;
  EXPECT_NE(table.out.find("held by the record of 2024-03-05 "), std::string::npos) << table.out;
  const ProgramResult none = Tool(
      {"explain", "--archive", hour, "--kind", "ld", "--key", "1", "--at", "2024-03-05 00:10", log},
      "UTC");
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.err, "psltool: " + hour +
                          ": no record stands for 2024-03-05 00:10:00; the last one is of "
                          "2024-03-04 23:00-24:00\n");
}

TEST_F(PsltoolPeriod, InfoTellsTheFirstAndTheLastPeriod) {
  const ProgramResult day = Tool({"info", "day/202403array01.psa"}, "Asia/Tokyo");
  EXPECT_NE(day.out.find("  first (local)      2024-03-04\n  last (local)       2024-03-06\n"),
            std::string::npos)
      << day.out;
  const ProgramResult hour = Tool({"info", "--utc", "hour/20240304array01.psa"}, "Asia/Tokyo");
  EXPECT_NE(hour.out.find("  first (UTC)        2024-03-04 00:00-01:00\n"), std::string::npos)
      << hour.out;
  const json report =
      json::parse(Tool({"info", "--json", "hour/20240304array01.psa"}, "UTC").out)[0];
  EXPECT_EQ(report["begin"], "2024-03-04T00:00:00+00:00");
  EXPECT_EQ(report["end"], "2024-03-05T00:00:00+00:00");
}

}  // namespace
