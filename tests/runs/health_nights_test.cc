// psltool health after real nights: good ones, a broken log and its repair, a killed run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/runs/nights.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class PrefixHealth : public ::testing::Test {
 protected:
  void SetUp() override { SKIP_WITHOUT_PRELOADING(); }

  // Health as of an hour after a run at that time.
  ProgramResult HealthAfterNight(const std::string& day, const Variables& disturb = {}) {
    const std::string text = day + " 00:30:00";
    RunNight(server, ClockAt(text), disturb);
    const SharedSegment shared(server.segment);
    return RunProgram(PSLTOOL_PATH, {"health", "--segment", shared.Id(), "--prefix",
                                     QELPRFARC_TEST_PREFIX, "--now", day + "T01:30:00"});
  }

  TestServer server;
};

TEST_F(PrefixHealth, NightsAndRepairs) {
  const std::string arc = server.directory.Path("arc/");
  MakeLogs(arc, {"--name", "a", "--start", "2061-05-03", "--days", "2"});
  ProgramResult health = HealthAfterNight("2061-05-05");
  EXPECT_EQ(health.status, 0) << health.out << health.err;

  // A log breaks off in the middle.
  MakeLogs(arc, {"--name", "a", "--start", "2061-05-05"});
  std::filesystem::copy(arc + "20610505a.psl", server.directory.Path("whole"));
  std::filesystem::resize_file(arc + "20610505a.psl", 3000);
  health = HealthAfterNight("2061-05-06");
  EXPECT_EQ(health.status, 1);
  EXPECT_THAT(health.out, HasSubstr("08300 There is broken psl(psa) file. file=20610505a.psl\n"));
  EXPECT_THAT(health.out, HasSubstr("08320 Failed in archives of psl(psa) files.\n"));
  EXPECT_THAT(health.out, HasSubstr("PROBLEM broken   archive/20610505a.psa is empty"));

  // The next night is quiet, but the day stays blocked.
  MakeLogs(arc, {"--name", "a", "--start", "2061-05-06"});
  health = HealthAfterNight("2061-05-07");
  EXPECT_EQ(health.status, 1);
  EXPECT_THAT(health.out, Not(HasSubstr("failure")));
  EXPECT_THAT(health.out, HasSubstr("PROBLEM broken   archive/20610505a.psa is empty"));

  // The repair that operations.md tells.
  std::filesystem::rename(server.directory.Path("whole"), arc + "20610505a.psl");
  std::filesystem::remove(arc + "archive/20610505a.psa");
  MakeLogs(arc, {"--name", "a", "--start", "2061-05-07"});
  health = HealthAfterNight("2061-05-08");
  EXPECT_EQ(health.status, 0) << health.out;

  // A killed night, and the one after it.
  MakeLogs(arc, {"--name", "a", "--start", "2061-05-08"});
  health = HealthAfterNight("2061-05-09", {{"DISTURB_SIGNAL", "9"}, {"DISTURB_AT", "30"}});
  EXPECT_EQ(health.status, 1);
  EXPECT_THAT(health.out, HasSubstr("PROBLEM run      the run of 2061-05-09T00:30:00+00:00 did "
                                    "not end well\n"));
  MakeLogs(arc, {"--name", "a", "--start", "2061-05-09"});
  health = HealthAfterNight("2061-05-10");
  EXPECT_EQ(health.status, 0) << health.out;
}

// One server is judged by its own nights, though another one of the machine archives well, and
// later.
TEST_F(PrefixHealth, NightsOfTwoServers) {
  const TestServer other;
  MakeLogs(other.directory.Path("arc/"), {"--name", "b", "--start", "2024-05-03", "--days", "2"});
  RunNight(other, ClockAt("2024-05-05 00:30:00"));
  MakeLogs(server.directory.Path("arc/"), {"--name", "a", "--start", "2024-05-03", "--days", "2"});
  const auto health_of = [](const TestServer& asked) {
    const SharedSegment shared(asked.segment);
    return RunProgram(PSLTOOL_PATH, {"health", "--segment", shared.Id(), "--prefix",
                                     QELPRFARC_TEST_PREFIX, "--now", "2024-05-05T01:30:00"});
  };
  EXPECT_EQ(health_of(other).status, 0) << health_of(other).out;
  EXPECT_THAT(health_of(server).out,
              HasSubstr("PROBLEM run      no archiving run of this root directory is known\n"));

  // A bad night of one, and a good one of the other right behind it.
  std::filesystem::resize_file(server.directory.Path("arc/20240504a.psl"), 3000);
  RunNight(server, ClockAt("2024-05-05 00:35:00"));
  RunNight(other, ClockAt("2024-05-05 00:40:00"));
  EXPECT_EQ(health_of(other).status, 0) << health_of(other).out;
  const ProgramResult bad = health_of(server);
  EXPECT_EQ(bad.status, 1);
  EXPECT_THAT(bad.out, HasSubstr("the run of 2024-05-05T00:35:00+00:00 did not end well\n"));
  EXPECT_THAT(bad.out, HasSubstr("08320 Failed in archives of psl(psa) files.\n"));
}

}  // namespace
