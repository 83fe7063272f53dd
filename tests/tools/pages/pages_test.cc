// Manual pages and the pages docs/commands/ against what --help prints: whatever one of them tells,
// the others tell, too. --help is read as people read it, the pages are asked for their source.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"
#include "tools/pages/pages.h"

namespace {

namespace fs = std::filesystem;

using Names = std::set<std::string>;

const std::string kRoot = fs::path(TEST_SOURCE_DIR).parent_path().string();

struct HelpPage {
  Names options;
  Names commands;
  std::string words;  // of the whole text, single blanks between them
};

std::string OneLine(const std::string& text) {
  std::istringstream stream(text);
  std::string line;
  for (std::string word; stream >> word;) line += word + " ";
  return line;
}

// Of "psltool WORDS --help". Options begin their line with two blanks and "-".
HelpPage HelpOf(std::vector<std::string> words) {
  words.emplace_back("--help");
  const ProgramResult result = RunProgram(PSLTOOL_PATH, words);
  EXPECT_EQ(result.status, 0) << result.err;
  HelpPage page;
  page.words = OneLine(result.out);
  std::istringstream stream(result.out);
  const std::regex option("^  (-[^ ]+)");
  const std::regex command("^  ([a-z][a-z-]+) {3,}[A-Z]");
  std::smatch match;
  for (std::string line; std::getline(stream, line);) {
    if (std::regex_search(line, match, option)) {
      std::istringstream names(match[1]);
      // "--no-read{false}" sets something to "no".
      for (std::string name; std::getline(names, name, ',');) {
        page.options.insert(name.substr(0, name.find('{')));
      }
    } else if (std::regex_search(line, match, command) && line.find("REQUIRED") > line.size()) {
      page.commands.insert(match[1]);
    }
  }
  return page;
}

std::string Unescaped(const std::string& roff) {
  return std::regex_replace(std::regex_replace(roff, std::regex(R"(\\f[BIR])"), ""),
                            std::regex(R"(\\(-|&))"), "$1");
}

// The names of options in what `entry` finds of a page.
Names OptionsIn(const std::string& page, const std::regex& entry) {
  Names names;
  for (std::sregex_iterator at(page.begin(), page.end(), entry), end; at != end; ++at) {
    std::istringstream words((*at)[1]);
    for (std::string word; words >> word && word.starts_with('-');) {
      names.insert(word.ends_with(',') ? word.substr(0, word.size() - 1) : word);
    }
  }
  return names;
}

// Those that stand in the entries of lists.
Names OptionsOfMan(const std::string& page) {
  return OptionsIn(Unescaped(page), std::regex("\n\\.TP\n(-[^\n]*)"));
}

Names OptionsOfDocs(const std::string& page) {
  return OptionsIn(page, std::regex("\n\\| `(-[^`]*)`"));
}

// With those of the commands below it; --help and --version are told once, in psltool(1).
Names AllOptions(const std::string& command) {
  const HelpPage help = HelpOf({command});
  Names options = help.options;
  for (const std::string& below : help.commands) {
    const HelpPage more = HelpOf({command, below});
    options.insert(more.options.begin(), more.options.end());
  }
  for (const char* common : {"-h", "--help", "--version"}) options.erase(common);
  return options;
}

TEST(Pages, EveryCommandHasAManualPageAndADocsPageWithItsOptions) {
  const auto installed = psltool::InstalledPages(kRoot);
  const auto docs = psltool::DocsPages(kRoot);
  const Names commands = HelpOf({}).commands;
  ASSERT_GE(commands.size(), 16U);
  for (const std::string& command : commands) {
    const Names options = AllOptions(command);
    const auto man = installed.find("man/man1/psltool-" + command + ".1");
    ASSERT_NE(man, installed.end()) << command;
    EXPECT_EQ(OptionsOfMan(man->second), options) << command;
    const auto page = docs.find("docs/commands/" + command + ".md");
    ASSERT_NE(page, docs.end()) << command;
    EXPECT_EQ(OptionsOfDocs(page->second), options) << command;
  }
  EXPECT_EQ(docs.size(), commands.size() + 1);
  EXPECT_EQ(OptionsOfMan(installed.at("man/man1/psltool.1")), HelpOf({}).options);
}

// Exit statuses and examples, word by word.
TEST(Pages, TheyTellTheStatusesAndExamplesOfTheHelp) {
  const auto installed = psltool::InstalledPages(kRoot);
  const auto docs = psltool::DocsPages(kRoot);
  for (const std::string& command : HelpOf({}).commands) {
    const std::string help = HelpOf({command}).words;
    const size_t statuses = help.find("Exit status: ") + 13;
    const size_t examples = help.find(" Example", statuses);
    ASSERT_LT(examples, help.size()) << command;
    const std::string told = help.substr(statuses, examples - statuses);
    const std::string shown = help.substr(help.find(": ", examples) + 2);
    const std::string page = OneLine(docs.at("docs/commands/" + command + ".md"));
    EXPECT_NE(page.find(told), std::string::npos) << command << ": " << told;
    EXPECT_NE(page.find(shown), std::string::npos) << command << ": " << shown;
    std::string man = installed.at("man/man1/psltool-" + command + ".1");
    for (const auto& [from, to] : {std::pair{R"(\(aq)", "'"}, {R"(\\)", "\\"}, {R"(\(ti)", "~"}}) {
      for (size_t at = 0; (at = man.find(from, at)) != std::string::npos;) {
        man.replace(at, std::string(from).size(), to);
      }
    }
    const std::string text = OneLine(Unescaped(man));
    EXPECT_NE(text.find(told), std::string::npos) << command << ": " << told;
  }
}

TEST(Pages, TheCheckoutHasTheDocsPagesAsTheyAre) {
  const auto docs = psltool::DocsPages(kRoot);
  Names expected;
  for (const auto& [name, text] : docs) {
    expected.insert(fs::path(name).filename());
    // The program tells its own prefix, this one that of the tests.
    const std::string said =
        std::regex_replace(text, std::regex(QELPRFARC_TEST_PREFIX), "/opt/Qelsvr/");
    EXPECT_EQ(TempDir::ReadFile(kRoot + "/" + name), said)
        << name << " is not what the program says; scripts/pages writes it anew";
  }
  Names there;
  for (const auto& entry : fs::directory_iterator(kRoot + "/docs/commands")) {
    there.insert(entry.path().filename());
  }
  EXPECT_EQ(there, expected) << "scripts/pages writes them anew";
}

// The first commands of qelprfarc(7) as somebody types them, in an empty directory. One of them
// wrote into a directory that nobody had made.
TEST(Pages, TheFirstCommandsOfTheManualWork) {
  const std::string page = Unescaped(psltool::InstalledPages(kRoot).at("man/man7/qelprfarc.7"));
  const size_t begin = page.find(".nf\n", page.find(".SS By hand")) + 4;
  const std::string commands = page.substr(begin, page.find(".fi", begin) - begin);
  ASSERT_GE(std::count(commands.begin(), commands.end(), '\n'), 4);
  const TempDir directory;
  const std::string programs = fs::path(PSLTOOL_PATH).parent_path();
  const ProgramResult result =
      RunProgram("/bin/sh", {"-ec", "PATH=" + programs + ":$PATH; TZ=UTC; export TZ\n" + commands},
                 {directory.Path(), {}});
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("2 files, 0 with findings"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("hour archive"), std::string::npos) << result.out;
}

// --- What checkers of manual pages say -------------------------------------------------------------

class PagesLint : public testing::Test {
 protected:
  PagesLint() {
    for (const auto& [name, text] : psltool::InstalledPages(kRoot)) {
      if (name.starts_with("man/")) {
        files_.push_back(fs::path(name).filename());
        directory_.Write(files_.back(), text);
      }
    }
  }
  static bool Has(const char* program) {
    return RunProgram("/bin/sh", {"-c", std::string("command -v ") + program}).status == 0;
  }
  ProgramResult Sh(const std::string& command) const {
    return RunProgram("/bin/sh", {"-c", command}, {directory_.Path(), {}});
  }

  TempDir directory_;
  std::vector<std::string> files_;
};

TEST_F(PagesLint, MandocIsSilent) {
  if (!Has("mandoc")) GTEST_SKIP() << "no mandoc (package mandoc)";
  const ProgramResult result = Sh("mandoc -T lint -W warning *.[157]");
  EXPECT_EQ(result.out + result.err, "");
  EXPECT_EQ(result.status, 0);
}

TEST_F(PagesLint, ManIsSilent) {
  if (!Has("man") || !Has("groff")) GTEST_SKIP() << "no man or groff (packages man-db, groff)";
  for (const std::string& file : files_) {
    const ProgramResult result =
        Sh("MANROFFSEQ='' MANWIDTH=80 LC_ALL=C.UTF-8 man --warnings -E UTF-8 -l -Tutf8 -Z ./" +
           file + " > /dev/null");
    EXPECT_EQ(result.err, "") << file;
    EXPECT_EQ(result.status, 0) << file;
  }
}

// As a reader has them before him: names and options are whole, whatever line they end, and lines
// are not stretched to the margin with blanks.
TEST_F(PagesLint, WordsAreWholeOnTheScreen) {
  if (!Has("man") || !Has("groff")) GTEST_SKIP() << "no man or groff (packages man-db, groff)";
  for (const std::string& file : files_) {
    const ProgramResult result = Sh("MANWIDTH=80 LC_ALL=C.UTF-8 man -P cat -l ./" + file);
    ASSERT_EQ(result.status, 0) << file << result.err;
    EXPECT_EQ(result.out.find("\u2010\n"), std::string::npos) << file;
    if (file == "psl.5") continue;  // has tables
    const std::string prose = result.out.substr(0, result.out.find("\nEXAMPLES"));
    std::smatch stretched;
    EXPECT_FALSE(std::regex_search(prose, stretched, std::regex("[a-z,]  +[a-z]+")))
        << file << ": " << stretched.str();
  }
}

}  // namespace
