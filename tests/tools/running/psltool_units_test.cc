// psltool units and unit: what is listed, in every form, and what one unit's exit status tells.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/runs/nights.h"
#include "tools/output/shell_word.h"

using namespace psltool;

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(ShellWords, AreTakenAsTheyStandByTheShell) {
  EXPECT_EQ(ShellWord("a/b-1_2.psl"), "a/b-1_2.psl");
  for (const std::string text :
       {"", "a b", "it's", "$HOME `x` \"q\" \\ ; * ~", "a\nb", "-n", "#x"}) {
    const ProgramResult result =
        RunProgram("/bin/sh", {"-c", "printf %s " + ShellWord("/" + text) + " " + ShellWord(text)});
    EXPECT_EQ(result.out, "/" + text + text);
  }
}

class PsltoolUnits : public ::testing::Test {
 protected:
  PsltoolUnits() {
    directory.MakeDirectory("logs");
    MakeLogs(directory.Path("logs"), {"--name", "a", "--start", "2024-02-28", "--days", "3"});
    MakeLogs(directory.Path("logs"),
             {"--name", "b", "--start", "2024-02-29", "--days", "1", "--files-per-day", "2"});
  }

  ProgramResult Psltool(std::vector<std::string> arguments) const {
    return RunProgram(PSLTOOL_PATH, arguments, {.directory = directory.Path(), .variables = {}});
  }
  // The units by their names.
  std::string Names(std::vector<std::string> more) const {
    more.insert(more.begin(), {"units", "--names"});
    const ProgramResult result = Psltool(more);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }
  ProgramResult Unit(const std::string& name) const {
    return Psltool({"unit", "-o", "out", "logs", name});
  }
  // The archives in "out"; a leftover of any other kind, too.
  std::vector<std::string> Made() const { return directory.Names("out"); }

  TempDir directory;
};

TEST_F(PsltoolUnits, OneUnitPerArrayAndDay) {
  const ProgramResult result = Psltool({"units", "--json", "-o", "out", "logs"});
  const json units = json::parse(result.out);
  ASSERT_EQ(units.size(), 4u);
  EXPECT_EQ(units[2].at("unit"), "20240229b");
  EXPECT_EQ(units[2].at("array"), "b");
  EXPECT_EQ(units[2].at("day"), "2024-02-29");
  EXPECT_EQ(units[2].at("state"), "due");
  EXPECT_EQ(units[2].at("inputs"), (json{"20240229b#001.psl", "20240229b#002.psl"}));
  EXPECT_EQ(units[2].at("bytes"), fs::file_size(directory.Path("logs/20240229b#001.psl")) +
                                      fs::file_size(directory.Path("logs/20240229b#002.psl")));
  EXPECT_EQ(units[2].at("output"), directory.Path("out/20240229b.psa"));
}

TEST_F(PsltoolUnits, CommandsRunAnywhereAndMakeWhatTheArchiverMakes) {
  directory.MakeDirectory("by-hand");
  std::vector<std::string> arguments{"-o", directory.Path("by-hand")};
  for (const std::string& name : directory.Names("logs")) {
    arguments.push_back(directory.Path("logs/" + name));
  }
  ASSERT_EQ(RunProgram(QELPRFARC_PATH, arguments).status, 0);
  const ProgramResult commands = Psltool({"units", "-0", "-o", "out", "logs"});
  directory.Write("commands", commands.out);
  const ProgramResult run = RunProgram(
      "/bin/sh", {"-c", "xargs -0 -r -n 1 -P 2 sh -c < '" + directory.Path("commands") + "'"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Made(), directory.Names("by-hand"));
  for (const std::string& name : Made()) {
    EXPECT_EQ(directory.Read("out/" + name), directory.Read("by-hand/" + name)) << name;
  }
}

TEST_F(PsltoolUnits, DirectoriesOfAnyNameGetThrough) {
  const std::string odd = "an 'odd' $(name)\nof two lines";
  fs::rename(directory.Path("logs"), directory.Path(odd));
  const ProgramResult lines = Psltool({"units", "-o", "out", odd});
  EXPECT_EQ(lines.status, 1);
  EXPECT_EQ(lines.out, "");
  EXPECT_THAT(lines.err, HasSubstr("its name or directory holds a line break; use -0"));
  directory.Write("commands", Psltool({"units", "-0", "-o", "out", odd}).out);
  EXPECT_EQ(
      RunProgram("/bin/sh", {"-c", "xargs -0 -n 1 sh -c < " + directory.Path("commands")}).status,
      0);
  EXPECT_EQ(Made().size(), 4u);
  // Such a path is one field of one line in the table.
  const std::string table = Psltool({"units", "--tsv", "--all", "-o", "out", odd}).out;
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 5);
  EXPECT_EQ(std::count(table.begin(), table.end(), '\t'), 5 * 5);
}

TEST_F(PsltoolUnits, DoneIsWhatIsNewerThanItsInputs) {
  EXPECT_EQ(Unit("20240228a").status, 0);
  EXPECT_EQ(Names({"-o", "out", "logs"}), "20240229a\n20240229b\n20240301a\n");
  EXPECT_EQ(Names({"--all", "-o", "out", "logs"}), "20240228a\n20240229a\n20240229b\n20240301a\n");
  const auto made = fs::last_write_time(directory.Path("out/20240228a.psa"));
  fs::last_write_time(directory.Path("logs/20240228a.psl"), made + std::chrono::seconds(1));
  EXPECT_THAT(Names({"-o", "out", "logs"}), HasSubstr("20240228a\n"));
}

TEST_F(PsltoolUnits, ArchiveThatIsNotSoundIsNotDone) {
  ASSERT_EQ(Unit("20240228a").status, 0);
  const std::string path = directory.Path("out/20240228a.psa");
  fs::resize_file(path, fs::file_size(path) - 10);
  // Its header is sound; every record is looked at only with --verify.
  EXPECT_EQ(Names({"-o", "out", "logs"}).find("20240228a"), std::string::npos);
  EXPECT_THAT(Names({"--verify", "-o", "out", "logs"}), HasSubstr("20240228a\n"));
  fs::resize_file(path, 0);
  EXPECT_THAT(Names({"-o", "out", "logs"}), HasSubstr("20240228a\n"));
}

TEST_F(PsltoolUnits, DaysThatAreNotOverWaitUnlessAskedFor) {
  fs::copy(directory.Path("logs/20240228a.psl"), directory.Path("logs/20991231a.psl"));
  EXPECT_EQ(Names({"-o", "out", "logs"}).find("2099"), std::string::npos);
  EXPECT_THAT(Names({"--not-over", "-o", "out", "logs"}), HasSubstr("20991231a\n"));
}

TEST_F(PsltoolUnits, DayLevelTakesHourArchivesByMonth) {
  for (const char* name : {"20240228a", "20240229a", "20240229b", "20240301a"}) {
    ASSERT_EQ(Unit(name).status, 0);
  }
  directory.Write("out/20240227a.psa");  // the mark of a broken day
  const ProgramResult list = Psltool({"units", "--level", "day", "--names", "out"});
  EXPECT_EQ(list.out, "202402a\n202402b\n202403a\n");
  EXPECT_THAT(list.err, HasSubstr("20240227a.psa: is empty, its log was broken"));
  EXPECT_EQ(Psltool({"unit", "--level", "day", "out", "202402a"}).status, 0);
  directory.MakeDirectory("by-hand");
  ASSERT_EQ(RunProgram(QELPRFARC_PATH,
                       {"-d", "-o", directory.Path("by-hand"), directory.Path("out/20240228a.psa"),
                        directory.Path("out/20240229a.psa")})
                .status,
            0);
  EXPECT_EQ(directory.Read("out/202402a.psa"), directory.Read("by-hand/202402a.psa"));
  EXPECT_EQ(Names({"--level", "day", "out"}), "202402b\n202403a\n");
}

// --- One unit -------------------------------------------------------------------------------------

TEST_F(PsltoolUnits, BrokenLogFailsAndLeavesNothing) {
  const std::string path = directory.Path("logs/20240228a.psl");
  fs::resize_file(path, fs::file_size(path) - 10);
  const ProgramResult result = Unit("20240228a");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("Qelprfarc: 112 Record broken"));
  EXPECT_THAT(result.err, HasSubstr("unit 20240228a: the archiver failed"));
  EXPECT_THAT(Made(), IsEmpty());
}

TEST_F(PsltoolUnits, FailureKeepsTheOldArchive) {
  ASSERT_EQ(Unit("20240228a").status, 0);
  const std::string before = directory.Read("out/20240228a.psa");
  const std::string path = directory.Path("logs/20240228a.psl");
  fs::resize_file(path, fs::file_size(path) - 10);
  fs::last_write_time(path, fs::file_time_type::clock::now() + std::chrono::seconds(5));
  EXPECT_EQ(Unit("20240228a").status, 1);
  EXPECT_EQ(directory.Read("out/20240228a.psa"), before);
}

// It was tried again for ever.
TEST_F(PsltoolUnits, LockThatCannotBeLookedAtEndsTheRun) {
  SKIP_WITHOUT_PRELOADING();
  for (const char* call : {"fstat", "stat"}) {
    const ProgramResult result = RunProgram(
        PSLTOOL_PATH, {"unit", "-o", "out", "logs", "20240228a"},
        {.directory = directory.Path(),
         .variables = {{"LD_PRELOAD", DISTURB_PATH},
                       {"DISTURB_FAIL", std::string(call) + ":hour-20240228a.lock:1:99:5"}}});
    EXPECT_EQ(result.status, 2) << call;
    EXPECT_THAT(result.err, HasSubstr("hour-20240228a.lock: Input/output error")) << call;
  }
  EXPECT_EQ(Unit("20240228a").status, 0);
  EXPECT_THAT(Made(), ElementsAre("20240228a.psa"));
}

// A start that could not remove its working directory left it for ever: for the next one the unit
// was done.
TEST_F(PsltoolUnits, RemainsOfAUnitThatIsDoneGo) {
  ASSERT_EQ(Unit("20240228a").status, 0);
  directory.MakeDirectory("out/.units/hour-20240228a/left");
  EXPECT_EQ(Unit("20240228a").status, 0);
  EXPECT_THAT(Made(), ElementsAre("20240228a.psa"));
}

// The archiver ends with 0 here: it made an archive, only not that of the day.
TEST_F(PsltoolUnits, ArchiveOfAnotherDayIsNoSuccess) {
  fs::rename(directory.Path("logs/20240301a.psl"), directory.Path("logs/20240303a.psl"));
  const ProgramResult result = Unit("20240303a");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("the archiver made 20240301a.psa instead of 20240303a.psa"));
  EXPECT_THAT(Made(), IsEmpty());
}

TEST_F(PsltoolUnits, SequelsOfADayBelongToItsUnit) {
  // New firmware at noon: two revisions in one day.
  MakeLogs(directory.Path("logs"), {"--name", "b", "--start", "2024-03-05", "--days", "1",
                                    "--files-per-day", "2", "--revision", "0x20"});
  const TempDir other;
  MakeLogs(other.Path(), {"--name", "b", "--start", "2024-03-05", "--days", "1", "--files-per-day",
                          "2", "--revision", "0x21"});
  fs::copy(other.Path("20240305b#002.psl"), directory.Path("logs/20240305b#002.psl"),
           fs::copy_options::overwrite_existing);
  EXPECT_EQ(Unit("20240305b").status, 0);
  EXPECT_THAT(Made(), ElementsAre("20240305b#002.psa", "20240305b.psa"));
  // The same day of one revision: the sequel of before would be taken for a part of it.
  fs::copy(other.Path("20240305b#001.psl"), directory.Path("logs/20240305b#001.psl"),
           fs::copy_options::overwrite_existing);
  const ProgramResult again = Psltool({"unit", "--again", "-o", "out", "logs", "20240305b"});
  EXPECT_EQ(again.status, 1);
  EXPECT_THAT(again.err, HasSubstr("20240305b#002.psa is left from other inputs"));
}

// A process for each unit is a third of what a small one costs.
TEST_F(PsltoolUnits, SeveralAtOnceAreDoneWhateverBecomesOfEach) {
  const std::string path = directory.Path("logs/20240229a.psl");
  fs::resize_file(path, fs::file_size(path) - 10);
  const ProgramResult result =
      Psltool({"unit", "-o", "out", "logs", "20240228a", "20240229a", "20240229b", "20240301a"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("unit 20240229a: the archiver failed"));
  EXPECT_THAT(result.out, HasSubstr("20240228a.psa: made from 1 input"));
  EXPECT_THAT(Made(), ElementsAre("20240228a.psa", "20240229b.psa", "20240301a.psa"));
  const ProgramResult worse =
      Psltool({"unit", "-o", "out", "logs", "20240227a", "20240229a", "20240228a"});
  EXPECT_EQ(worse.status, 2);
  EXPECT_THAT(worse.out, HasSubstr("20240228a.psa: done already"));
}

// Names are compared with how a unit's files begin, before they are taken apart.
TEST_F(PsltoolUnits, ArraysWhoseNamesBeginAlikeAreToldApart) {
  MakeLogs(directory.Path("logs"), {"--name", "ab", "--start", "2024-02-28", "--days", "2"});
  EXPECT_EQ(Unit("20240228a").status, 0);
  EXPECT_THAT(Made(), ElementsAre("20240228a.psa"));
  EXPECT_EQ(Psltool({"unit", "-o", "out", "logs", "20240228ab", "20240229ab"}).status, 0);
  EXPECT_EQ(Psltool({"unit", "--level", "day", "out", "202402a"}).status, 0);
  EXPECT_THAT(Made(),
              ElementsAre("20240228a.psa", "20240228ab.psa", "20240229ab.psa", "202402a.psa"));
}

TEST_F(PsltoolUnits, TroubleIsToldFromFailure) {
  EXPECT_EQ(Unit("20240227a").status, 2);
  EXPECT_EQ(Psltool({"unit", "-o", "out", "nowhere", "20240228a"}).status, 2);
  EXPECT_FALSE(directory.Exists("out"));
  directory.Write("file");
  EXPECT_EQ(Psltool({"unit", "-o", "file", "logs", "20240228a"}).status, 2);
  const ProgramResult missing =
      Psltool({"unit", "--archiver", "/nowhere/Qelprfarc", "-o", "out", "logs", "20240228a"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_THAT(missing.err, HasSubstr("/nowhere/Qelprfarc: No such file or directory"));
  EXPECT_THAT(Made(), IsEmpty());
}

}  // namespace
