// Completion, by asking the shells: what they offer at the end of a command line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"
#include "tools/pages/pages.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

using Words = std::vector<std::string>;

// With a directory of files at hand, in which the shells are asked.
class Completion : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    if (RunProgram("/bin/sh", {"-c", std::string("command -v ") + GetParam()}).status != 0) {
      GTEST_SKIP() << GetParam() << " is not installed";
    }
    const std::string root = std::filesystem::path(TEST_SOURCE_DIR).parent_path();
    const auto pages = psltool::InstalledPages(root);
    for (const auto& [name, text] : pages) {
      const std::filesystem::path path(name);
      if (name.starts_with("completion/" + std::string(GetParam()) + "/")) {
        directory_.MakeDirectory("scripts");
        directory_.Write("scripts/" + path.filename().string(), text);
      }
    }
    directory_.MakeDirectory("files/archive");
    for (const char* name : {"20240304a.psl", "20240305a.psl", "20240304a.psa", "notes.txt"}) {
      directory_.Write(std::string("files/") + name);
    }
  }

  // What is offered for the last word of a line; directories without their final "/".
  Words Offered(const std::string& line) const {
    const std::string shell = GetParam();
    const ProgramResult result =
        RunProgram("/usr/bin/env", {shell, "-c", ScriptOf(shell, line)},
                   {directory_.Path("files"), {{"HOME", directory_.Path()}, {"TERM", "dumb"}}});
    EXPECT_EQ(result.err, "") << line;
    Words words;
    std::istringstream stream(result.out);
    for (std::string word; std::getline(stream, word);) {
      if (const size_t tab = word.find('\t'); tab != std::string::npos) word.resize(tab);
      while (word.ends_with(' ') || word.ends_with('/') || word.ends_with('\r')) word.pop_back();
      if (!word.empty()) words.push_back(word);
    }
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
  }

 private:
  std::string ScriptOf(const std::string& shell, const std::string& line) const {
    const std::string program = line.substr(0, line.find(' '));
    const std::string scripts = directory_.Path("scripts");
    if (shell == "fish") {
      return "source " + scripts + "/" + program + ".fish; complete -C '" + line + "'";
    }
    if (shell == "zsh") {
      return "source " + std::string(TEST_SOURCE_DIR) + "/support/tools/ask_zsh.zsh " + scripts +
             " '" + line + "'";
    }
    // As bash calls it at the press of the key.
    return "source " + scripts + "/" + program + "; COMP_LINE='" + line +
           "'; read -ra COMP_WORDS <<< \"$COMP_LINE\"; [[ $COMP_LINE == *' ' ]] && "
           "COMP_WORDS+=(''); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); "
           "spec=($(complete -p " +
           program +
           ")); ${spec[2]} 2> /dev/null; "
           "for word in \"${COMPREPLY[@]}\"; do echo \"$word\"; done";
  }

  TempDir directory_;
};

TEST_P(Completion, OffersCommands) {
  EXPECT_THAT(Offered("psltool "),
              IsSupersetOf({"info", "show", "top", "make", "segment", "unit"}));
  EXPECT_THAT(Offered("psltool sh"), ElementsAre("show"));
  EXPECT_THAT(Offered("psltool segment "), IsSupersetOf({"make", "remove", "show"}));
  EXPECT_THAT(Offered("psltool segment "), Not(Contains("top")));
}

TEST_P(Completion, OffersTheOptionsOfTheCommand) {
  EXPECT_THAT(Offered("psltool top --"), IsSupersetOf({"--by", "--kind", "--from", "--help"}));
  EXPECT_THAT(Offered("psltool top --"), Not(Contains("--keep-psl")));
  EXPECT_THAT(Offered("psltool segment make --keep-"),
              UnorderedElementsAre("--keep-psl", "--keep-hour", "--keep-day"));
  EXPECT_THAT(Offered("psltool make --keep-"), IsEmpty());
  EXPECT_THAT(Offered("psltool segment make --archiving o"), UnorderedElementsAre("on", "off"));
}

TEST_P(Completion, OffersKindsAndMeasures) {
  EXPECT_THAT(Offered("psltool show --kind "), IsSupersetOf({"ld", "pd", "rank", "pool", "hp"}));
  EXPECT_THAT(Offered("psltool show -k p"), UnorderedElementsAre("pd", "pool"));
  EXPECT_THAT(Offered("psltool top --by "), IsSupersetOf({"busy", "max", "mean", "ops", "volume"}));
  EXPECT_THAT(Offered("psltool top --from y"), ElementsAre("yesterday"));
  EXPECT_THAT(Offered("psltool export --metric o"), ElementsAre("ops", "ops_rate"));
  EXPECT_THAT(Offered("psltool export --metric w"), IsEmpty());  // "word_at_N" is none as it stands
  EXPECT_THAT(Offered("psltool export --stat m"), UnorderedElementsAre("max", "mean", "min"));
}

TEST_P(Completion, OffersFilesByExtension) {
  EXPECT_THAT(Offered("psltool show "),
              UnorderedElementsAre("20240304a.psa", "20240304a.psl", "20240305a.psl", "archive"));
  EXPECT_THAT(Offered("psltool check 20240304"),
              UnorderedElementsAre("20240304a.psa", "20240304a.psl"));
  EXPECT_THAT(Offered("psltool top --kind ld 20240305"), ElementsAre("20240305a.psl"));
  EXPECT_THAT(Offered("psltool seal "), ElementsAre("archive"));
  EXPECT_THAT(Offered("psltool show --labels n"), ElementsAre("notes.txt"));
}

TEST_P(Completion, OffersWhatTheArchiverTakes) {
  EXPECT_THAT(Offered("Qelprfarc "), IsSupersetOf({"20240304a.psl", "20240304a.psa", "archive"}));
  EXPECT_THAT(Offered("Qelprfarc "), Not(Contains("notes.txt")));
  EXPECT_THAT(Offered("Qelprfarc -"), IsSupersetOf({"-o", "-p", "-hour", "-auto2", "-noperiod"}));
  EXPECT_THAT(Offered("Qelprfarc -h"), ElementsAre("-hour"));
  EXPECT_THAT(Offered("Qelprfarc -o "), ElementsAre("archive"));
  EXPECT_THAT(Offered("Qelprfarc -auto -mode "),
              UnorderedElementsAre("svr", "user", "arrayupdate"));
}

INSTANTIATE_TEST_SUITE_P(Shells, Completion, testing::Values("bash", "zsh", "fish"),
                         [](const auto& shell) { return std::string(shell.param); });

}  // namespace
