// What people are told of the archiver's options: the table of the parser is what README and the
// rules of archiving say, and the parser takes each of its rows.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>

#include "archiver/options.h"
#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

const std::string kRoot = std::filesystem::path(TEST_SOURCE_DIR).parent_path().string();

std::set<std::string> OptionsInRowsOf(const std::string& page, const std::string& mark) {
  std::set<std::string> options;
  const std::string text = TempDir::ReadFile(kRoot + "/" + page);
  const std::regex row("\n\\| (" + mark + "-[^|]*)\\|");
  const std::regex option("-[a-z0-9]+");
  for (std::sregex_iterator at(text.begin(), text.end(), row), end; at != end; ++at) {
    const std::string cell = (*at)[1];
    for (std::sregex_iterator name(cell.begin(), cell.end(), option); name != end; ++name) {
      options.insert(name->str());
    }
  }
  return options;
}

TEST(OptionTexts, AreThoseOfTheDocumentation) {
  std::set<std::string> all;
  for (const OptionText& option : OptionTexts()) {
    EXPECT_TRUE(all.insert(option.name).second) << option.name;
    EXPECT_TRUE(std::string(option.text).ends_with(".")) << option.name;
  }
  EXPECT_EQ(all.size(), 15U);
  // The rules have rows of their own for "-ver", and tell "-force" with "-mode".
  std::set<std::string> rules = OptionsInRowsOf("docs/archiving.md", "\"");
  rules.insert("-force");
  EXPECT_EQ(rules, all);
}

TEST(OptionTexts, TheParserTakesEachRow) {
  for (const OptionText& option : OptionTexts()) {
    const std::string name = option.name;
    if (name == "-ver" || name == "-force") continue;  // no options by themselves
    // Without a value or with a mixture: the usage text, but never "Invalid option".
    const ProgramResult result = RunProgram(QELPRFARC_PATH, {name, "-auto", "-v"});
    EXPECT_EQ(result.status, 1) << name;
    EXPECT_EQ(result.err.find("104 Invalid option -- " + name), std::string::npos) << name;
  }
  const ProgramResult force = RunProgram(QELPRFARC_PATH, {"-force"});
  EXPECT_EQ(force.err.substr(0, 38), "Qelprfarc: 104 Invalid option -- -forc");
}

// The words that completion offers are those that the rules know.
TEST(OptionTexts, WordsBehindModeAreThoseOfTheRules) {
  const std::string text = TempDir::ReadFile(kRoot + "/docs/archiving.md");
  std::set<std::string> known;
  const std::regex mode("-mode ([a-z]+)");
  for (std::sregex_iterator at(text.begin(), text.end(), mode), end; at != end; ++at) {
    known.insert((*at)[1]);
  }
  EXPECT_EQ(std::set<std::string>(ModeWords().begin(), ModeWords().end()), known);
}

}  // namespace
