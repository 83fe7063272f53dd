// What the tests of psltool plan share: the directories of a server, and plans for them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/header_file.h"
#include "tests/support/process.h"
#include "tests/support/tempdir.h"

class PsltoolPlan : public ::testing::Test {
 protected:
  PsltoolPlan() {
    for (const char* name : {"root/pmon", "root/core/Qelprfd", "arc/archive", "pml"}) {
      directory.MakeDirectory(name);
    }
  }

  void AddLog(const std::string& name, uint32_t time, uint8_t revision = 0x1D) const {
    HeaderFile header;
    header.revision = revision;
    header.time = time;
    directory.Write("arc/" + name, HeaderBytes(header));
  }
  void AddArchive(const std::string& name, char level) const {
    HeaderFile header;
    header.level = level;
    directory.Write("arc/archive/" + name, HeaderBytes(header));
  }

  ProgramResult Plan(const std::vector<std::string>& more,
                     const std::string& at = "2024-03-05 00:30",
                     const std::string& override_value = "") const {
    std::vector<std::string> arguments{"plan",
                                       "--root",
                                       directory.Path("root"),
                                       "--archive",
                                       directory.Path("arc"),
                                       "--pml",
                                       directory.Path("pml"),
                                       "--at",
                                       at};
    arguments.insert(arguments.end(), more.begin(), more.end());
    ProgramSettings settings;
    settings.variables = variables;
    if (!override_value.empty()) {
      settings.variables.emplace_back("QelPMON_EMBSYSVOL", override_value);
    }
    return RunProgram(PSLTOOL_PATH, arguments, settings);
  }
  nlohmann::json JsonPlan(std::vector<std::string> more, const std::string& at = "2024-03-05 00:30",
                          const std::string& override_value = "") const {
    more.emplace_back("--json");
    const ProgramResult result = Plan(more, at, override_value);
    EXPECT_EQ(result.err, "");
    return nlohmann::json::parse(result.out);
  }

  // "class: reason" of a file in one of the lists.
  static std::string ReasonOf(const nlohmann::json& files, const std::string& path) {
    for (const nlohmann::json& file : files) {
      if (file.at("path") != path) continue;
      return std::string(file.at("class")) + ": " + std::string(file.at("reason"));
    }
    return "not there";
  }

  TempDir directory;
  std::vector<std::pair<std::string, std::string>> variables;  // of psltool, further ones
};
