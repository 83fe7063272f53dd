// What is installed beside the programs: units, the settings that they read, the script between
// them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

using ::testing::HasSubstr;

const std::string kPackaging =
    (std::filesystem::path(TEST_SOURCE_DIR).parent_path() / "packaging").string();

// As configured for this build, beside its programs.
const std::string kUnits =
    (std::filesystem::path(PSLTOOL_PATH).parent_path().parent_path() / "units/").string();

std::set<std::string> VariablesIn(const std::string& text) {
  std::set<std::string> names;
  const std::regex name("QELPRFARC_[A-Z]+");
  for (std::sregex_iterator at(text.begin(), text.end(), name), end; at != end; ++at) {
    names.insert(at->str());
  }
  return names;
}

class Units : public ::testing::TestWithParam<const char*> {};

TEST_P(Units, AreShutInAsFarAsTheDocumentationSays) {
  if (RunProgram("/bin/sh", {"-c", "command -v systemd-analyze"}).status != 0) {
    GTEST_SKIP() << "no systemd-analyze (package systemd)";
  }
  const std::string unit = kUnits + GetParam();
  // The threshold is ten times the exposure.
  const ProgramResult result = RunProgram(
      "/usr/bin/env",
      {"systemd-analyze", "security", "--no-pager", "--offline=yes", "--threshold=30", unit});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  const std::regex level("exposure level for [^:]*: ([0-9.]+)");
  std::smatch match;
  ASSERT_TRUE(std::regex_search(result.out, match, level)) << result.out;
  const std::string page = TempDir::ReadFile(kPackaging + "/../docs/install.md");
  EXPECT_THAT(page, HasSubstr("| `" + std::string(GetParam()) + "` | " + match[1].str() + " |"));
}

INSTANTIATE_TEST_SUITE_P(All, Units,
                         ::testing::Values("qelprfarc.service", "qelprfarc-segment.service",
                                           "qelprfarc-unit@.service"),
                         [](const auto& unit) {
                           return std::regex_replace(std::string(unit.param), std::regex("[^a-z]"),
                                                     "_");
                         });

// Whoever sets one that nobody reads, or looks for one that no page tells of, is misled.
TEST(UnitSettings, AreTheSameInFileManualPageAndScript) {
  std::set<std::string> read = VariablesIn(TempDir::ReadFile(kPackaging + "/qelprfarc-segment"));
  const std::string unit = TempDir::ReadFile(kPackaging + "/qelprfarc-unit@.service.in");
  read.merge(VariablesIn(unit));
  // Neither is a setting: the one is made by the script, the other is for its tests.
  for (const char* inner :
       {"QELPRFARC_SEGMENT", "QELPRFARC_USER", "QELPRFARC_LIBEXEC", "QELPRFARC_SANDBOX"}) {
    read.erase(inner);
  }
  EXPECT_EQ(read.size(), 6U);
  EXPECT_EQ(VariablesIn(TempDir::ReadFile(kPackaging + "/qelprfarc.conf")), read);
  EXPECT_EQ(VariablesIn(TempDir::ReadFile(kPackaging + "/man/qelprfarc.conf.5.in")), read);
}

class UnitScript : public ::testing::Test {
 protected:
  ProgramResult Run(const std::string& word, const std::string& archive) const {
    return RunProgram(kPackaging + "/qelprfarc-segment", {word},
                      {place.Path(),
                       {{"PSLTOOL", PSLTOOL_PATH},
                        {"QELPRFARC_ARCHIVE", archive},
                        {"QELPRFARC_USER", "root"},
                        {"QELSVR_PREFIX", place.Path("prefix/")},
                        {"RUNTIME_DIRECTORY", place.Path()},
                        {"STATE_DIRECTORY", place.Path()}}});
  }

  TempDir place;
};

// 1 to 254 skip a unit, 255 makes it fail.
TEST_F(UnitScript, AUnitIsSkippedWithoutADirectoryAndFailsWithOneThatIsNotThere) {
  const ProgramResult off = Run("configured", "");
  EXPECT_EQ(off.status, 1);
  EXPECT_EQ(off.out, "archiving is off: QELPRFARC_ARCHIVE is not set in qelprfarc.conf\n");
  EXPECT_EQ(Run("ready", "").status, 1);
  EXPECT_EQ(Run("configured", place.Path("none")).status, 0);
  const ProgramResult gone = Run("ready", place.Path("none"));
  EXPECT_EQ(gone.status, 255);
  EXPECT_THAT(gone.err, HasSubstr("none, QELPRFARC_ARCHIVE of qelprfarc.conf, is not there"));
  EXPECT_EQ(Run("ready", place.Path()).status, 0);
}

TEST_F(UnitScript, PrepareMakesWhatIsNotThereAndLeavesTheRest) {
  if (geteuid() != 0) GTEST_SKIP() << "gives directories to users, as root";
  place.MakeDirectory("prefix/etc/log");
  std::filesystem::permissions(place.Path("prefix/etc/log"), std::filesystem::perms::owner_all);
  ASSERT_EQ(Run("prepare", place.Path("a/b c")).err, "");
  EXPECT_TRUE(place.Exists("prefix/etc/trace"));
  EXPECT_TRUE(std::filesystem::is_directory(place.Path("a/b c")));
  EXPECT_EQ(std::filesystem::status(place.Path("prefix/etc/log")).permissions(),
            std::filesystem::perms::owner_all);
  EXPECT_EQ(Run("prepare", "").status, 0);
}

}  // namespace
