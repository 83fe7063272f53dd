// `psltool check` as a command: how findings are listed, its options, and its exit statuses.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

namespace {

ProgramResult Check(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "check");
  return RunProgram(PSLTOOL_PATH, arguments);
}

TEST(PsltoolCheckCommand, CleanFilesMakeStatus0) {
  TempDir dir;
  dir.MakeDirectory("below");
  dir.Write("below/a.psl", spell::Log({}, {spell::kNewYear}));
  dir.Write("b.psl", spell::Log({}, {spell::kNewYear}));
  dir.Write("notes.txt", "no log");
  const ProgramResult result = Check({dir.Path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "2 files, 0 with findings: 0 errors, 0 warnings\n");
  EXPECT_EQ(result.err, "");
}

TEST(PsltoolCheckCommand, AFindingIsALineWithItsOffset) {
  TempDir dir;
  const std::string log = spell::Log({}, {spell::kNewYear});
  dir.Write("a.psl", log + "STA");
  const ProgramResult result = Check({dir.Path("a.psl")});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            dir.Path("a.psl") + ":" + std::to_string(log.size()) +
                ": error: record 3: 3 bytes behind the last record are too few for a record "
                "[tail]\n1 file, 1 with findings: 1 error, 0 warnings\n");
}

TEST(PsltoolCheckCommand, WarningsCountWhenStrict) {
  TempDir dir;
  dir.Write("a.psl", spell::Log({}, {spell::kNewYear + 60, spell::kNewYear}));
  EXPECT_EQ(Check({dir.Path("a.psl")}).status, 0);
  const ProgramResult strict = Check({"--strict", dir.Path("a.psl")});
  EXPECT_EQ(strict.status, 1);
  EXPECT_NE(strict.out.find("2024-01-01 00:00:00 UTC is 60 s before"), std::string::npos)
      << strict.out;
}

TEST(PsltoolCheckCommand, WhatCannotBeReadMakesStatus2) {
  TempDir dir;
  dir.Write("broken.psl", "");
  const ProgramResult missing = Check({dir.Path("missing.psl"), dir.Path("broken.psl")});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.err, "psltool: " + dir.Path("missing.psl") +
                             ": cannot be opened: No such file or directory\n");
  EXPECT_NE(missing.out.find("[file-empty]"), std::string::npos);
  EXPECT_NE(missing.out.find("\n1 file, 1 with findings: 1 error, 0 warnings; 1 could not be "
                             "read\n"),
            std::string::npos)
      << missing.out;
  EXPECT_EQ(Check({}).status, 2);
  EXPECT_EQ(Check({"--nonsense", dir.Path()}).status, 2);
}

TEST(PsltoolCheckCommand, JsonTellsTheSame) {
  TempDir dir;
  const std::string log = spell::Log({}, {spell::kNewYear});
  dir.Write("a\xFF.psl", log + "STA");  // a name that is not UTF-8
  const ProgramResult result = Check({"--json", dir.Path()});
  EXPECT_EQ(result.status, 1);
  const auto json = nlohmann::json::parse(result.out);
  ASSERT_EQ(json["files"].size(), 1U);
  EXPECT_EQ(json["errors"], 1);
  const auto& file = json["files"][0];
  EXPECT_EQ(file["revision"], "0x1D");
  EXPECT_EQ(file["level"], "L");
  EXPECT_EQ(file["records"], 2);
  ASSERT_EQ(file["findings"].size(), 1U);
  EXPECT_EQ(file["findings"][0]["offset"], log.size());
  EXPECT_EQ(file["findings"][0]["class"], "tail");
  EXPECT_EQ(file["findings"][0]["record"], 3);
}

// A log of so many records, each stamped before the one in front of it.
spell::Bytes BackwardLog(uint32_t records) {
  std::vector<uint32_t> times;
  for (uint32_t i = records; i > 0; --i) times.push_back(spell::kNewYear + i);
  return spell::Log({}, times);
}

TEST(PsltoolCheckCommand, AClassIsListedTenTimesUnlessAsked) {
  TempDir dir;
  dir.Write("a.psl", BackwardLog(15));
  const std::string few = Check({dir.Path("a.psl")}).out;
  EXPECT_NE(few.find("4 more findings of class stamp-back"), std::string::npos) << few;
  const std::string all = Check({"--all", dir.Path("a.psl")}).out;
  EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 15);
  EXPECT_NE(few.find("14 warnings"), std::string::npos);
  EXPECT_EQ(Check({"--quiet", "--strict", dir.Path("a.psl")}).out, "");
}

TEST(PsltoolCheckCommand, AFullDiskIsTold) {
  TempDir dir;
  dir.Write("a.psl", spell::Log({}, {spell::kNewYear}));
  const ProgramResult result = RunProgram(
      "/bin/sh", {"-c", "exec \"$0\" check \"$1\" > /dev/full", PSLTOOL_PATH, dir.Path("a.psl")});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "psltool: standard output: cannot be written\n");
}

TEST(PsltoolCheckCommand, ADirectoryWithoutLogsIsNotSound) {
  TempDir dir;
  dir.MakeDirectory("empty");
  dir.Write("empty/notes.txt", "no log");
  for (const auto& options : std::vector<std::vector<std::string>>{{}, {"--json"}, {"-q"}}) {
    std::vector<std::string> arguments = options;
    arguments.push_back(dir.Path("empty"));
    const ProgramResult result = Check(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "psltool: " + dir.Path("empty") + ": holds no log (.psl) and no archive (.psa)\n");
  }
  // Beside others an empty one is no trouble: archives may be still to come.
  dir.Write("a.psl", spell::Log({}, {spell::kNewYear}));
  const ProgramResult both = Check({dir.Path("empty"), dir.Path("a.psl")});
  EXPECT_EQ(both.status, 0);
  EXPECT_EQ(both.err, "");
}

TEST(PsltoolCheckCommand, OneFindingMoreIsOne) {
  TempDir dir;
  dir.Write("a.psl", BackwardLog(12));
  const std::string out = Check({dir.Path("a.psl")}).out;
  EXPECT_NE(out.find(": 1 more finding of class stamp-back\n"), std::string::npos) << out;
}

}  // namespace
