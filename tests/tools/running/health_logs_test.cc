// psltool health over trace files and operation logs that hold anything.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/support/tools/health_fixture.h"

namespace {

using ::testing::HasSubstr;

class HealthLogs : public PsltoolHealth {};

// Years and offsets of ten digits made the reckoning overflow; what came out counted as a run, or
// as a failure of that night.
TEST_F(HealthLogs, NumbersThatDoNotFitMakeNoRun) {
  const std::vector<std::string> lines = {
      "-2147483648/03/05 00:30:00.100 77 Qelprfarc:58 $main():arc start",
      "2147483647/03/05 00:30:00.100 77 Qelprfarc:58 $main():arc start",
      "2024/-2147483648/05 00:30:00.100 77 Qelprfarc:58 $main():arc start",
      "2024/13/05 00:30:00.100 77 Qelprfarc:58 $main():arc start",
      "2024/03/05 00:30:00.100 99999999999999999999 Qelprfarc:58 $main():arc start",
      "2024/03/05 2147483647:30:00.100 77 Qelprfarc:58 $main():arc start",
      "1969/03/05 00:30:00.100 77 Qelprfarc:58 $main():arc start",
      "0/0/0 0:0:0.0 0 Qelprfarc:0 $main():arc start"};
  for (const std::string& line : lines) {
    Trace(line + "\n");
    const ProgramResult result = Health();
    EXPECT_EQ(result.status, 1) << line;
    EXPECT_THAT(result.out, HasSubstr("PROBLEM run      no archiving run is known\n")) << line;
  }
}

TEST_F(HealthLogs, NumbersThatDoNotFitMakeNoFailure) {
  const std::string rest = " 08320 Qelprfarc 4 1 Failed in archives of psl(psa) files.\n";
  for (const char* time :
       {"2024-03-05T01:30:00+2147483647:00", "2024-03-05T01:30:00-2147483648:59",
        "2024-03-05T01:30:00+00:2147483647", "-2147483648-03-05T01:30:00+00:00",
        "2024--2147483648-05T01:30:00+00:00", "2024-03-2147483647T01:30:00+00:00"}) {
    OperationLog(time + rest);
    const ProgramResult result = Health();
    EXPECT_EQ(result.status, 0) << time << "\n" << result.out;
  }
  OperationLog("2024-03-05T01:30:00+00:00" + rest);
  EXPECT_EQ(Health().status, 1) << "the line as it should be";
}

TEST_F(HealthLogs, TimesThatDoNotFitAreRefused) {
  for (const char* now : {"@99999999999999", "@9223372036854775807", "@-1"}) {
    EXPECT_EQ(Health({"--now", now}).status, 2) << now;
  }
}

// Whatever the lines hold, there is an answer.
TEST_F(HealthLogs, LinesMadeOfPiecesOfOurs) {
  std::mt19937 random(20240305);
  const std::vector<std::string> pieces = {"2024",
                                           "/",
                                           "-",
                                           "03",
                                           "05",
                                           " ",
                                           ":",
                                           "T",
                                           "00:30:00",
                                           ".100",
                                           "77",
                                           "+01:00",
                                           "08320",
                                           "Qelprfarc",
                                           "4 1 ",
                                           "2147483647",
                                           "-",
                                           "99999999999999999999",
                                           "%s%n",
                                           "$main():arc start",
                                           "$main():arc end",
                                           "$main():root /",
                                           std::string(300, 'x'),
                                           std::string(1, '\0'),
                                           "\x1b[2J",
                                           "\n"};
  const auto pick = [&random](size_t below) {
    return std::uniform_int_distribution<size_t>(0, below - 1)(random);
  };
  for (int round = 0; round < 20; ++round) {
    std::string text;
    for (int i = 0; i < 3000; ++i) {
      const bool sound = pick(40) == 0;
      text += sound ? std::string("\n2024/03/05 00:30:00.100 77 Qelprfarc:58 ") : "";
      text += pieces[pick(pieces.size())];
    }
    Trace(text);
    OperationLog(text);
    const ProgramResult result = Health({"--json"});
    EXPECT_TRUE(result.status == 0 || result.status == 1) << result.err;
    EXPECT_EQ(result.err, "");
  }
}

// --- Two servers on one machine -------------------------------------------------------------------

constexpr char kFailure[] =
    "T00:40:01+00:00 08320 Qelprfarc 4 1 Failed in archives of psl(psa) files.\n";

std::string RunOf(const std::string& root, const std::string& day, const std::string& pid,
                  bool ends_well) {
  const std::string head = day + " 00:40:00.100 " + pid + " Qelprfarc:58 ";
  return head + "$main():arc start\n" + head + "$main():root " + root + "\n" +
         (ends_well ? head + "$main():arc end\n" : "");
}

TEST_F(HealthLogs, RunsOfAnotherRootAreNotOurs) {
  Trace(RunOf("/srv/other/", "2024/03/05", "80", true));
  ExpectProblem("run      no archiving run of this root directory is known");
  const std::string root = directory.Path("root/");
  // Older than the other's, and long ago.
  Trace(RunOf(root, "2024/03/01", "79", true) + RunOf("/srv/other/", "2024/03/05", "80", true));
  ExpectProblem("run      no archiving run for 101 hours, the last on 2024-03-01T00:40:00+00:00");
  Trace(RunOf(root, "2024/03/05", "79", true) + RunOf("/srv/other/", "2024/03/05", "80", false));
  ExpectHealthy("last run 2024-03-05T00:40:00+00:00");
  Trace(RunOf(root, "2024/03/05", "79", false) + RunOf("/srv/other/", "2024/03/05", "80", true));
  ExpectProblem("run      the run of 2024-03-05T00:40:00+00:00 did not end well");
}

TEST_F(HealthLogs, FailuresOfAnotherRootsRunAreNotOurs) {
  const std::string root = directory.Path("root/");
  const std::vector<std::string> longer = {"--max-age", "48"};
  Trace(RunOf(root, "2024/03/04", "79", true) + RunOf("/srv/other/", "2024/03/05", "80", false));
  OperationLog(std::string("2024-03-05") + kFailure);
  EXPECT_EQ(Health(longer).status, 0) << Health(longer).out;
  // At the same time nobody can tell whose they are.
  Trace(RunOf(root, "2024/03/05", "79", true) + RunOf("/srv/other/", "2024/03/05", "80", false));
  ExpectProblem("failure  2024-03-05T00:40:01+00:00 08320 Failed in archives of psl(psa) files.");
  // Nor outside of all runs that are known.
  Trace(RunOf(root, "2024/03/04", "79", true) + RunOf("/srv/other/", "2024/03/05", "80", false));
  OperationLog("2024-03-05T02:00:00+00:00 08094 Qelprfarc 5 0 System call error occurred\n");
  EXPECT_EQ(Health(longer).status, 1);
  EXPECT_THAT(Health(longer).out, HasSubstr("failure  2024-03-05T02:00:00+00:00 08094"));
}

// A process of the same number, days later, does not make the other's run last until then.
TEST_F(HealthLogs, AProcessNumberThatComesBackIsAnotherRun) {
  const std::string root = directory.Path("root/");
  Trace(RunOf("/srv/other/", "2024/03/03", "80", false) + RunOf(root, "2024/03/04", "79", true) +
        "2024/03/05 05:00:00.000 80 Qelprfarc:52 Qelprfarc: 110 Read error -- x\n");
  OperationLog(std::string("2024-03-05") + kFailure);
  ExpectProblem("failure  2024-03-05T00:40:01+00:00 08320 Failed in archives of psl(psa) files.");
}

TEST_F(HealthLogs, ARootIsTheSameHoweverItIsWritten) {
  std::filesystem::create_directory_symlink(directory.Path("root"), directory.Path("link"));
  for (const char* name : {"root", "root/", "root//", "link/", "root/pmon/../"}) {
    Trace(RunOf(directory.Path(name), "2024/03/05", "79", true));
    ExpectHealthy("last run 2024-03-05T00:40:00+00:00");
  }
}

}  // namespace
