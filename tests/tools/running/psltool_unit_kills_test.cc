// psltool unit killed at every step, started twice at once, and disturbed while it works: a later
// start always ends with the same archive, and nothing unfinished is ever seen under its name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>

#include "tests/support/runs/nights.h"

namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char kUnit[] = "20240228a";

class LongPsltoolUnitKills : public ::testing::Test {
 protected:
  void SetUp() override {
    SKIP_WITHOUT_PRELOADING();
    directory.MakeDirectory("logs");
    MakeLogs(directory.Path("logs"),
             {"--name", "a", "--start", "2024-02-28", "--days", "1", "--files-per-day", "2"});
    ASSERT_EQ(Unit("wanted").status, 0);
    wanted = directory.Read("wanted/20240228a.psa");
    ASSERT_FALSE(wanted.empty());
  }

  std::vector<std::string> Arguments(const std::string& out) const {
    return {"unit", "-q", "-o", directory.Path(out), directory.Path("logs"), kUnit};
  }
  static ProgramSettings Disturbed(const Variables& disturb) {
    ProgramSettings settings;
    settings.variables = disturb;
    if (!disturb.empty()) settings.variables.emplace_back("LD_PRELOAD", DISTURB_PATH);
    return settings;
  }
  ProgramResult Unit(const std::string& out, const Variables& disturb = {}) const {
    return RunProgram(PSLTOOL_PATH, Arguments(out), Disturbed(disturb));
  }
  // An archive has its name only when it is whole; that it is written is seen by the steps.
  std::pair<std::string, std::string> Steps() const {
    return {"DISTURB_STEPS", directory.Path("steps")};
  }
  void WaitUntilTheArchiverWrites() const {
    const std::string step = "w " + directory.Path("out/.units/hour-20240228a/");
    while (directory.Read("steps").find(step) == std::string::npos) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  // Nothing but the archive, and that whole.
  void ExpectDone(const std::string& out) const {
    EXPECT_THAT(directory.Names(out), ElementsAre("20240228a.psa"));
    EXPECT_EQ(directory.Read(out + "/20240228a.psa"), wanted);
  }

  TempDir directory;
  std::string wanted;
};

TEST_F(LongPsltoolUnitKills, EveryKillIsMadeUpForByTheNextStart) {
  // The number reaches the archiver as well: psltool and the archiver each die at their n-th call.
  bool unharmed = false;
  int kills = 0;
  for (int at = 1; at < 400 && !unharmed; at += 1 + at / 20) {
    SCOPED_TRACE(at);
    const ProgramResult killed =
        Unit("out", {{"DISTURB_SIGNAL", "9"}, {"DISTURB_AT", std::to_string(at)}});
    unharmed = killed.status == 0;
    kills += unharmed ? 0 : 1;
    const std::string left = directory.Read("out/20240228a.psa");
    EXPECT_TRUE(left.empty() || left == wanted);
    ASSERT_EQ(Unit("out").status, 0);
    ExpectDone("out");
    fs::remove_all(directory.Path("out"));
  }
  EXPECT_TRUE(unharmed);
  EXPECT_GT(kills, 20);
}

TEST_F(LongPsltoolUnitKills, TwoStartsAtOnceAgree) {
  // The first reads slowly, so that the second finds it at work.
  RunningProgram first(PSLTOOL_PATH, Arguments("out"), Disturbed({{"DISTURB_READ_DELAY", "3000"}}));
  while (!directory.Exists("out/.units/hour-20240228a")) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(Unit("out").status, 0);
  EXPECT_EQ(first.Wait().status, 0);
  ExpectDone("out");
}

TEST_F(LongPsltoolUnitKills, ManyStartsOfOneUnitAgree) {
  // The word that xargs replaces must be none that a temporary directory's name can hold.
  const std::string command = std::string("seq 12 | xargs -P 6 -I @number@ ") + PSLTOOL_PATH +
                              " unit -q -o " + directory.Path("out") + " " +
                              directory.Path("logs") + " " + kUnit;
  EXPECT_EQ(RunProgram("/bin/sh", {"-c", command}).status, 0);
  ExpectDone("out");
}

TEST_F(LongPsltoolUnitKills, ArchiverDiesWithItsParent) {
  RunningProgram first(PSLTOOL_PATH, Arguments("out"),
                       Disturbed({{"DISTURB_READ_DELAY", "20000"}, Steps()}));
  WaitUntilTheArchiverWrites();
  kill(first.pid(), SIGKILL);
  // Its lock is free again: this start would wait for it.
  EXPECT_EQ(Unit("out").status, 0);
  EXPECT_EQ(first.Wait().status, 128 + SIGKILL);
  ExpectDone("out");
}

TEST_F(LongPsltoolUnitKills, LogThatGrowsMeanwhileIsNoSuccess) {
  RunningProgram first(PSLTOOL_PATH, Arguments("out"),
                       Disturbed({{"DISTURB_READ_DELAY", "10000"}, Steps()}));
  WaitUntilTheArchiverWrites();
  fs::last_write_time(directory.Path("logs/20240228a#001.psl"), fs::file_time_type::clock::now());
  const ProgramResult result = first.Wait();
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("its inputs changed meanwhile; start it again"));
  EXPECT_EQ(Unit("out").status, 0);
  EXPECT_THAT(directory.Names("out"), ElementsAre("20240228a.psa"));
}

}  // namespace
