// What the tests of psltool health share: directories of a server with one quiet night, made by
// hand.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/header_file.h"
#include "tests/support/runs/nights.h"

inline constexpr char kGoodRun[] =
    "2024/03/05 00:30:00.100 77 Qelprfarc:58 $main():arc start\n"
    "2024/03/05 00:30:00.200 77 Qelprfarc:181 $main():arc end\n";

class PsltoolHealth : public ::testing::Test {
 protected:
  PsltoolHealth() {
    for (const char* name : {"root/pmon", "arc/archive", "prefix/etc/log", "prefix/etc/trace"}) {
      directory.MakeDirectory(name);
    }
    directory.Write("prefix/etc/trace/Qelprfarc.trc", kGoodRun);
    AddArchive("20240303a");
    AddArchive("20240304a");
  }

  void AddArchive(const std::string& name, char level = 'H') const {
    HeaderFile header;
    header.level = level;
    directory.Write("arc/archive/" + name + ".psa", HeaderBytes(header));
  }
  void AddLog(const std::string& name, uint8_t revision = 0x1D) const {
    HeaderFile header;
    header.revision = revision;
    directory.Write("arc/" + name + ".psl", HeaderBytes(header));
  }
  void Trace(const std::string& text) const {
    directory.Write("prefix/etc/trace/Qelprfarc.trc", text);
  }
  void OperationLog(const std::string& text) const {
    directory.Write("prefix/etc/log/operation.log", text);
  }

  ProgramResult Health(const std::vector<std::string>& more = {},
                       const std::string& zone = "UTC") const {
    std::vector<std::string> arguments{"health", "--root", directory.Path("root"), "--prefix",
                                       directory.Path("prefix")};
    if (std::find(more.begin(), more.end(), "--archive") == more.end()) {
      arguments.insert(arguments.end(), {"--archive", directory.Path("arc")});
    }
    if (std::find(more.begin(), more.end(), "--now") == more.end()) {
      arguments.insert(arguments.end(), {"--now", "2024-03-05T06:00:00"});
    }
    arguments.insert(arguments.end(), more.begin(), more.end());
    ProgramSettings settings;
    settings.variables = {{"TZ", zone}};
    if (!disturb.empty()) {
      settings.variables.emplace_back("LD_PRELOAD", DISTURB_PATH);
      settings.variables.emplace_back("DISTURB_FAIL", disturb);
    }
    return RunProgram(PSLTOOL_PATH, arguments, settings);
  }
  void ExpectProblem(const std::string& line) const {
    const ProgramResult result = Health();
    EXPECT_EQ(result.status, 1) << result.out << result.err;
    EXPECT_THAT(result.out, ::testing::HasSubstr("PROBLEM " + line + "\n"));
    EXPECT_THAT(result.out, ::testing::StartsWith("archiving is NOT healthy: "));
  }
  void ExpectHealthy(const std::string& note = "") const {
    const ProgramResult result = Health();
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_THAT(result.out, ::testing::HasSubstr(note));
    EXPECT_THAT(result.out, ::testing::Not(::testing::HasSubstr("PROBLEM")));
  }

  TempDir directory;
  std::string disturb;  // calls that fail in the program
};
