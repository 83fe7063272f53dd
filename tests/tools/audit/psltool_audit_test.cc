// `psltool audit` as a program: what it says and with which status it ends, for archives that agree
// and for inputs that are not those of the archive.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

using nlohmann::json;

ProgramResult Tool(std::vector<std::string> arguments) {
  return RunProgram(PSLTOOL_PATH, arguments, {"", {{"TZ", "Europe/Berlin"}}});
}

// Two days of two small arrays, each day in four logs, archived to both levels.
class PsltoolAudit : public testing::Test {
 protected:
  void SetUp() override { Make({"--revision", "0x21"}); }

  void Make(std::vector<std::string> more) {
    std::vector<std::string> make = {"make",
                                     "--days",
                                     "2",
                                     "--arrays",
                                     "2",
                                     "--ld",
                                     "3",
                                     "--pd",
                                     "3",
                                     "--hp",
                                     "2",
                                     "--files-per-day",
                                     "4",
                                     "--interval",
                                     "1800",
                                     "-o",
                                     dir_.Path("logs")};
    make.insert(make.end(), more.begin(), more.end());
    const ProgramResult made = Tool(make);
    ASSERT_EQ(made.status, 0) << made.err;
    Archive(Files("logs"), "hour", {});
    Archive(Files("hour"), "day", {});
  }

  void Archive(const std::vector<std::string>& inputs, const std::string& into,
               std::vector<std::string> arguments) {
    dir_.MakeDirectory(into);
    arguments.insert(arguments.end(), {"-o", dir_.Path(into)});
    arguments.insert(arguments.end(), inputs.begin(), inputs.end());
    const ProgramResult run =
        RunProgram(QELPRFARC_PATH, arguments, {"", {{"TZ", "Europe/Berlin"}}});
    ASSERT_EQ(run.status, 0) << run.err;
  }

  // Paths of the files in a subdirectory whose names hold the text.
  std::vector<std::string> Files(const std::string& in, const std::string& text = "") const {
    std::vector<std::string> paths;
    for (const std::string& name : dir_.Names(in)) {
      if (name.find(text) != std::string::npos) paths.push_back(dir_.Path(in + "/" + name));
    }
    return paths;
  }

  ProgramResult Audit(const std::string& archive, std::vector<std::string> inputs,
                      const std::vector<std::string>& options = {}) const {
    inputs.insert(inputs.begin(), {"audit", "--archive", dir_.Path(archive)});
    inputs.insert(inputs.end(), options.begin(), options.end());
    return Tool(inputs);
  }

  TempDir dir_;
};

TEST_F(PsltoolAudit, ArchivesOfBothLevelsAgree) {
  const ProgramResult hour = Audit("hour/20240304array01.psa", Files("logs", "20240304array01"));
  EXPECT_EQ(hour.status, 0) << hour.out << hour.err;
  EXPECT_NE(hour.out.find("20240304array01.psa: agrees: "), std::string::npos) << hour.out;
  EXPECT_NE(hour.out.find(" against 4 inputs\n"), std::string::npos) << hour.out;
  const ProgramResult day = Audit("day/202403array02.psa", Files("hour", "array02"));
  EXPECT_EQ(day.status, 0) << day.out << day.err;
}

TEST_F(PsltoolAudit, InputsInAnyOrderAreSorted) {
  std::vector<std::string> logs = Files("logs", "20240304array01");
  std::swap(logs[0], logs[3]);
  std::swap(logs[1], logs[2]);
  const ProgramResult result = Audit("hour/20240304array01.psa", logs);
  EXPECT_EQ(result.status, 0) << result.out;
}

TEST_F(PsltoolAudit, AMissingInputIsTold) {
  std::vector<std::string> logs = Files("logs", "20240304array01");
  logs.erase(logs.begin() + 2);
  const ProgramResult result = Audit("hour/20240304array01.psa", logs);
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("no input makes this record: an input is missing or incomplete "
                            "[record-without-input]"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("findings"), std::string::npos) << result.out;
}

TEST_F(PsltoolAudit, AMissingDayIsTold) {
  const ProgramResult result =
      Audit("day/202403array01.psa", {dir_.Path("hour/20240305array01.psa")});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("[record-without-input]"), std::string::npos) << result.out;
}

// One interval that the archive took and the log has lost.
TEST_F(PsltoolAudit, AMissingIntervalIsTold) {
  std::vector<std::string> logs = Files("logs", "20240304array01");
  const std::string whole = TempDir::ReadFile(logs[1]);
  size_t at = 0;
  for (int statistics = 0; statistics < 2;) {
    if (at != 0 && whole.compare(at, 3, "STA") == 0) ++statistics;
    if (statistics == 2) break;
    const auto* length = reinterpret_cast<const unsigned char*>(whole.data() + at + 8);
    at += (size_t{length[0]} << 24) | (size_t{length[1]} << 16) | (size_t{length[2]} << 8) |
          length[3];
  }
  const auto* length = reinterpret_cast<const unsigned char*>(whole.data() + at + 8);
  const size_t size = (size_t{length[1]} << 16) | (size_t{length[2]} << 8) | length[3];
  dir_.Write("logs/" + logs[1].substr(logs[1].rfind('/') + 1),
             whole.substr(0, at) + whole.substr(at + size));
  const ProgramResult result = Audit("hour/20240304array01.psa", logs);
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("hd 0, interval_ms: stored 3600000, expected 1800000 [field]"),
            std::string::npos)
      << result.out;
}

TEST_F(PsltoolAudit, ATruncatedLogIsTold) {
  const std::vector<std::string> logs = Files("logs", "20240304array01");
  const std::string whole = TempDir::ReadFile(logs[3]);
  dir_.Write("logs/" + logs[3].substr(logs[3].rfind('/') + 1), whole.substr(0, whole.size() - 100));
  const ProgramResult result = Audit("hour/20240304array01.psa", logs);
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("bytes, but the file ends after "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("[record-length]"), std::string::npos) << result.out;
}

TEST_F(PsltoolAudit, AnotherArrayIsTold) {
  const ProgramResult result = Audit("hour/20240304array01.psa", Files("logs", "20240304array02"));
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("goes into 20240304array02.psa, not into this archive "
                            "[input-foreign]"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("none of the inputs goes into this archive [inputs-none]"),
            std::string::npos)
      << result.out;
}

TEST_F(PsltoolAudit, InputsOfOtherDaysAreTold) {
  std::vector<std::string> logs = Files("logs", "20240304array01");
  logs.push_back(Files("logs", "20240305array01").front());
  const ProgramResult result = Audit("hour/20240304array01.psa", logs);
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("1 finding: "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("[input-foreign]"), std::string::npos) << result.out;
  EXPECT_EQ(Audit("hour/20240304array01.psa", logs, {"--whole-run"}).status, 0);
}

TEST_F(PsltoolAudit, ADayArchiveIsNoInput) {
  const ProgramResult result = Audit("day/202403array01.psa", {dir_.Path("day/202403array01.psa")});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("a day archive is no input [input-level]"), std::string::npos)
      << result.out;
}

TEST_F(PsltoolAudit, AnEmptyArchiveIsTold) {
  dir_.Write("hour/20240304array01.psa");
  const ProgramResult result = Audit("hour/20240304array01.psa", Files("logs", "20240304array01"));
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("the archive is empty"), std::string::npos) << result.out;
}

TEST_F(PsltoolAudit, ACutArchiveIsTold) {
  const std::string whole = dir_.Read("hour/20240304array01.psa");
  dir_.Write("hour/20240304array01.psa", whole.substr(0, whole.size() - 8));
  const ProgramResult result = Audit("hour/20240304array01.psa", Files("logs", "20240304array01"));
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("[record-length]"), std::string::npos) << result.out;
}

TEST_F(PsltoolAudit, ArchivesMadeWithOutNeedTheirOption) {
  dir_.MakeDirectory("other");
  dir_.Write("other/named.psa", dir_.Read("hour/20240304array01.psa"));
  const auto logs = Files("logs", "20240304array01");
  EXPECT_EQ(Audit("other/named.psa", logs).status, 1);
  EXPECT_EQ(Audit("other/named.psa", logs, {"--any-name"}).status, 0);
}

TEST_F(PsltoolAudit, FilesThatCannotBeReadAndWrongLinesHaveTheirStatus) {
  const auto logs = Files("logs", "20240304array01");
  const ProgramResult no_log = Audit("hour/20240304array01.psa", {dir_.Path("none.psl")});
  EXPECT_EQ(no_log.status, 2);
  EXPECT_NE(no_log.err.find("none.psl: cannot be opened"), std::string::npos) << no_log.err;
  EXPECT_EQ(Audit("none.psa", logs).status, 2);
  EXPECT_EQ(Audit("hour/20240304array01.psa", {}).status, 2);
  EXPECT_EQ(Tool({"audit", "--all", dir_.Path("none")}).status, 2);
  EXPECT_EQ(Tool({"audit", "--all", dir_.Path("hour"), logs[0]}).status, 2);
  EXPECT_EQ(Tool({"audit", "--all", dir_.Path(), "--archive", "x.psa"}).status, 2);
  EXPECT_EQ(Tool({"audit"}).status, 2);
  EXPECT_EQ(Audit("hour/20240304array01.psa", logs, {"--logs", dir_.Path("logs")}).status, 2);
}

TEST_F(PsltoolAudit, JsonNamesFileRecordResourceAndField) {
  std::string bytes = dir_.Read("hour/20240304array01.psa");
  const size_t at = bytes.size() - 7;  // in the last item, of cabinets
  bytes[at] = static_cast<char>(bytes[at] ^ 0x10);
  dir_.Write("hour/20240304array01.psa", bytes);
  const ProgramResult result =
      Audit("hour/20240304array01.psa", Files("logs", "20240304array01"), {"--json", "--utc"});
  EXPECT_EQ(result.status, 1);
  const json report = json::parse(result.out);
  EXPECT_EQ(report["with_findings"], 1);
  const json& archive = report["archives"][0];
  EXPECT_EQ(archive["verdict"], "findings");
  EXPECT_EQ(archive["revision"], "0x21");
  EXPECT_EQ(archive["inputs"].size(), 4U);
  const json& finding = archive["findings"][0];
  EXPECT_EQ(finding["class"], "field");
  EXPECT_EQ(finding["tag"], "STA");
  EXPECT_EQ(finding["time"], "2024-03-04T23:30:00Z");
  EXPECT_EQ(finding["kind"], "cab");
  EXPECT_EQ(finding["key"], "0.1");
  EXPECT_EQ(finding["field"], "value");
  EXPECT_EQ(finding["offset"], bytes.size() - 8);
  EXPECT_EQ(finding["width"], 4);
  const uint64_t stored = std::stoull(finding["stored"].get<std::string>());
  const uint64_t expected = std::stoull(finding["expected"].get<std::string>());
  EXPECT_EQ(stored ^ expected, 0x100000U);
}

TEST_F(PsltoolAudit, AllAuditsADirectoryAgainstWhatIsLeft) {
  const std::vector<std::string> all = {"audit", "--all", dir_.Path("hour"), "--logs",
                                        dir_.Path("logs")};
  const ProgramResult clean = Tool(all);
  EXPECT_EQ(clean.status, 0) << clean.out << clean.err;
  EXPECT_NE(clean.out.find("4 archives: 4 agree, 0 with findings, 0 without inputs left"),
            std::string::npos)
      << clean.out;
  for (const std::string& log : Files("logs", "20240305array02")) std::filesystem::remove(log);
  const ProgramResult without = Tool(all);
  EXPECT_EQ(without.status, 0);
  EXPECT_NE(without.out.find("20240305array02.psa: no inputs left\n"), std::string::npos)
      << without.out;
  EXPECT_NE(without.out.find("4 archives: 3 agree, 0 with findings, 1 without inputs left"),
            std::string::npos)
      << without.out;
  std::vector<std::string> strict = all;
  strict.push_back("--strict");
  EXPECT_EQ(Tool(strict).status, 1);
  std::filesystem::remove(Files("logs", "20240304array01#003").front());
  const ProgramResult partial = Tool(all);
  EXPECT_EQ(partial.status, 1);
  EXPECT_NE(partial.out.find("2 agree, 1 with findings, 1 without"), std::string::npos)
      << partial.out;
}

// Hour and day archives in one directory, as automatic runs leave them.
TEST_F(PsltoolAudit, AllFindsTheHourArchivesOfDayArchives) {
  for (const std::string& name : dir_.Names("day")) {
    dir_.Write("hour/" + name, dir_.Read("day/" + name));
  }
  const ProgramResult result =
      Tool({"audit", "--all", dir_.Path("hour"), "--logs", dir_.Path("logs"), "--json"});
  EXPECT_EQ(result.status, 0) << result.out;
  const json report = json::parse(result.out);
  EXPECT_EQ(report["agree"], 6);
  // In byte order the day archives stand behind the hour archives.
  EXPECT_EQ(report["archives"][4]["inputs"].size(), 2U);
}

TEST_F(PsltoolAudit, AllFindsTheLogsOfDayArchivesMadeStraight) {
  Archive(Files("logs"), "straight", {"-d"});
  for (const std::string& name : dir_.Names("straight")) {
    dir_.Write("hour/" + name, dir_.Read("straight/" + name));
  }
  const ProgramResult result =
      Tool({"audit", "--all", dir_.Path("hour"), "--logs", dir_.Path("logs"), "--json"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_EQ(json::parse(result.out)["archives"][4]["inputs"].size(), 8U);
}

// Of a directory among the inputs those are taken that go into the archive.
TEST_F(PsltoolAudit, InputsAreFoundInDirectories) {
  EXPECT_EQ(Audit("hour/20240304array01.psa", {dir_.Path("logs")}).out,
            Audit("hour/20240304array01.psa", Files("logs", "20240304array01")).out);
  EXPECT_EQ(Audit("hour/20240304array01.psa", {dir_.Path("logs")}).status, 0);
  const ProgramResult day = Audit("day/202403array02.psa", {dir_.Path("hour")});
  EXPECT_EQ(day.status, 0) << day.out;
  EXPECT_EQ(day.out, Audit("day/202403array02.psa", Files("hour", "array02")).out);
  const ProgramResult none = Audit("hour/20240304array01.psa", {dir_.Path("day")});
  EXPECT_EQ(none.status, 2);
  EXPECT_NE(none.err.find("holds nothing that goes into "), std::string::npos) << none.err;
  const ProgramResult explained =
      Tool({"explain", "--archive", dir_.Path("hour/20240304array01.psa"), "--kind", "ld", "--key",
            "1", "--at", "2024-03-04", dir_.Path("logs")});
  EXPECT_EQ(explained.status, 0) << explained.err;
}

TEST_F(PsltoolAudit, AllOfADirectoryWithoutArchivesIsNotProved) {
  for (const std::string options : {"", "--json"}) {
    std::vector<std::string> arguments = {"audit", "--all", dir_.Path("logs")};
    if (!options.empty()) arguments.push_back(options);
    const ProgramResult result = Tool(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "psltool: " + dir_.Path("logs") + ": holds no archive (.psa): nothing to audit\n");
  }
}

TEST_F(PsltoolAudit, ListsTheFirstFindingsOfAClass) {
  const auto logs = Files("logs", "20240305array01");
  dir_.Write("hour/20240305array01.psa", dir_.Read("hour/20240304array01.psa"));
  const ProgramResult some = Audit("hour/20240305array01.psa", logs);
  EXPECT_NE(some.out.find(" more findings of class "), std::string::npos) << some.out;
  const ProgramResult all = Audit("hour/20240305array01.psa", logs, {"--full"});
  EXPECT_EQ(all.out.find(" more findings of class "), std::string::npos);
  EXPECT_GT(all.out.size(), some.out.size());
}

}  // namespace
