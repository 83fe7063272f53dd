// Values of options and arguments that no command of psltool takes: empty ones, and numbers out of
// range.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"
#include "tools/commands/program.h"

namespace {

// A shell's unset variable asked for all times, for the first unit of a directory, for any
// resource, for proof by no log at all: with status 0.
void ExpectEmptyValuesRefused(const psltool::CommandFacts& command, std::vector<std::string> words,
                              const std::string& directory, int& tried) {
  for (const psltool::CommandFacts& below : command.commands) {
    words.push_back(below.name);
    ExpectEmptyValuesRefused(below, words, directory, tried);
    words.pop_back();
  }
  for (const psltool::OptionFacts& option : command.options) {
    if (option.value.empty() && !option.argument) continue;
    const std::string& name = option.names.back();
    std::vector<std::string> line = words;
    if (!option.argument) line.push_back(name);
    line.emplace_back();
    const ProgramResult result = RunProgram(PSLTOOL_PATH, line, {directory, {}});
    EXPECT_EQ(result.status, 2) << command.name << " " << name;
    EXPECT_NE(result.err.find(name + ": the value is empty"), std::string::npos)
        << command.name << " " << name << "\n"
        << result.err;
    ++tried;
    if (option.argument) words.push_back("x");  // stands before the next one
  }
}

TEST(PsltoolValues, EmptyOnesAreRefused) {
  const TempDir directory;
  int tried = 0;
  ExpectEmptyValuesRefused(psltool::FactsOf(psltool::PsltoolProgram()), {}, directory.Path(),
                           tried);
  EXPECT_GT(tried, 100);
}

TEST(PsltoolValues, NumbersOutOfRangeAreToldInShort) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"make", "--records", "0"}, "--records: Value 0 is not above 0"},
      {{"compare", "--least", "-1"}, "--least: Value -1 is below 0"}};
  for (const auto& [line, why] : cases) {
    const ProgramResult result = RunProgram(PSLTOOL_PATH, line);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err,
              "psltool: " + why + "; psltool " + line[0] + " --help tells the options\n");
  }
}

}  // namespace
