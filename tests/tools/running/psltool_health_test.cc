// psltool health: every kind of finding, from files written by hand.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/tools/health_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

TEST_F(PsltoolHealth, QuietNight) {
  const ProgramResult result = Health();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "archiving is healthy: last run 2024-03-05T00:30:00+00:00 (5 h ago)\n");
}

TEST_F(PsltoolHealth, JsonOfAQuietNight) {
  const ProgramResult result = Health({"--json"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out,
            "{\n"
            "  \"healthy\": true,\n"
            "  \"now\": \"2024-03-05T06:00:00+00:00\",\n"
            "  \"last_run\": {\n"
            "    \"start\": \"2024-03-05T00:30:00+00:00\",\n"
            "    \"age_seconds\": 19800,\n"
            "    \"process\": 77,\n"
            "    \"ended_well\": true\n"
            "  },\n"
            "  \"running\": null,\n"
            "  \"findings\": []\n"
            "}\n");
}

TEST_F(PsltoolHealth, JsonNamesTheFindings) {
  directory.Write("arc/archive/20240302a.psa_tmp");
  const ProgramResult result = Health({"--json"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out, HasSubstr("\"problem\": true,\n      \"kind\": \"leftover\",\n"
                                    "      \"text\": \"archive/20240302a.psa_tmp was left by an "
                                    "interrupted run\"\n"));
}

// --- Runs -----------------------------------------------------------------------------------------

TEST_F(PsltoolHealth, NoRunAtAll) {
  std::filesystem::remove(directory.Path("prefix/etc/trace/Qelprfarc.trc"));
  ExpectProblem("run      no archiving run is known");
}

TEST_F(PsltoolHealth, LastRunIsTooLongAgo) {
  EXPECT_EQ(Health({"--now", "2024-03-06T02:30:00", "--days", "0"}).status, 0);
  const ProgramResult late = Health({"--now", "2024-03-06T02:30:01", "--days", "0"});
  EXPECT_EQ(late.status, 1);
  EXPECT_THAT(late.out, HasSubstr("PROBLEM run      no archiving run for 26 hours, the last on "
                                  "2024-03-05T00:30:00+00:00\n"));
  EXPECT_EQ(Health({"--now", "2024-03-07T00:30:00", "--max-age", "48"}).status, 0);
}

TEST_F(PsltoolHealth, RunWithoutEnd) {
  Trace("2024/03/05 00:30:00.100 77 Qelprfarc:58 $main():arc start\n");
  ExpectProblem("run      the run of 2024-03-05T00:30:00+00:00 did not end well");
}

TEST_F(PsltoolHealth, EndOfAnEarlierRunOfTheSameProcessNumberIsNotItsEnd) {
  Trace(
      std::string("2024/03/04 00:30:00.100 78 Qelprfarc:58 $main():arc start\n"
                  "2024/03/04 00:30:00.200 78 Qelprfarc:181 $main():arc end\n"
                  "2024/03/05 00:30:00.100 78 Qelprfarc:58 $main():arc force start\n"));
  ExpectProblem("run      the run of 2024-03-05T00:30:00+00:00 did not end well");
}

TEST_F(PsltoolHealth, PruningRunsAndOtherLinesAreNoRuns) {
  Trace(std::string(kGoodRun) +
        "2024/03/05 01:00:00.000 79 Qelprfarc:52 $main():arc delete pml start\n"
        "2024/03/05 01:00:00.000 79 PMONBcomDeletePml:1 $main():arc start\n"
        "2024/03/05 01:00:00.000 79 Qelprfarc:1 del $main():arc start\n"
        "nonsense\n");
  ExpectHealthy("last run 2024-03-05T00:30:00+00:00");
}

TEST_F(PsltoolHealth, RunInARotatedTrace) {
  std::filesystem::rename(directory.Path("prefix/etc/trace/Qelprfarc.trc"),
                          directory.Path("prefix/etc/trace/Qelprfarc.trc.1"));
  ExpectHealthy("last run 2024-03-05T00:30:00+00:00");
}

TEST_F(PsltoolHealth, RunsAfterNowDoNotCount) {
  const ProgramResult result = Health({"--now", "2024-03-04T06:00:00"});
  EXPECT_THAT(result.out, HasSubstr("PROBLEM run      no archiving run is known\n"));
}

class LockOfThisProcess {
 public:
  explicit LockOfThisProcess(const std::string& path)
      : fd_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(fd_, F_SETLK, &lock) != 0) throw std::runtime_error("fcntl");
  }
  ~LockOfThisProcess() { close(fd_); }
  LockOfThisProcess(const LockOfThisProcess&) = delete;
  LockOfThisProcess& operator=(const LockOfThisProcess&) = delete;

 private:
  int fd_;
};

TEST_F(PsltoolHealth, RunningArchiverIsJudgedByTheRunBefore) {
  const LockOfThisProcess lock(directory.Path("root/pmon/arclock"));
  const std::string pid = std::to_string(getpid());
  Trace(kGoodRun + ("2024/03/05 05:59:00.000 " + pid) + " Qelprfarc:58 $main():arc start\n");
  directory.Write("arc/archive/20240302a.psa_tmp");
  ExpectHealthy("note    run      process " + pid +
                " has been archiving since 2024-03-05T05:59:00+00:00\n"
                "note    leftover archive/20240302a.psa_tmp is being written\n");
}

TEST_F(PsltoolHealth, HangingArchiver) {
  const LockOfThisProcess lock(directory.Path("root/pmon/arclock"));
  const std::string pid = std::to_string(getpid());
  Trace("2024/03/04 23:59:59.000 " + pid + " Qelprfarc:58 $main():arc start\n");
  ExpectProblem("run      process " + pid + " has been archiving since 2024-03-04T23:59:59+00:00");
}

TEST_F(PsltoolHealth, HourThatComesTwiceIsTakenAsTheFirst) {
  // Autumn in Berlin: what the second 02:30 would hide, 40 minutes after the first, is seen.
  Trace(
      "2024/10/27 02:30:00.100 77 Qelprfarc:58 $main():arc start\n"
      "2024/10/27 02:30:00.200 77 Qelprfarc:181 $main():arc end\n");
  OperationLog("2024-10-27T02:45:00+02:00 08320 Qelprfarc 4 1 Failed in archives of x.\n");
  const ProgramResult result =
      Health({"--now", "2024-10-27T06:00:00", "--days", "0"}, "Europe/Berlin");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out, HasSubstr("last run 2024-10-27T02:30:00+02:00"));
  EXPECT_THAT(result.out, HasSubstr("failure"));
}

// --- Failures -------------------------------------------------------------------------------------

TEST_F(PsltoolHealth, FailuresSinceTheLastGoodRun) {
  OperationLog(
      "2024-03-05T00:29:59+00:00 08320 Qelprfarc 4 1 Failed in archives of psl(psa) files.\n"
      "2024-03-05T01:30:00+01:00 08094 Qelprfarc 5 0 System call error occurred func=unlink "
      "errno=13 detcode=03080001\n"
      "2024-03-05T06:00:01+00:00 08320 Qelprfarc 4 1 Failed in deletion of psl(psa) files.\n");
  ExpectProblem(
      "failure  2024-03-05T00:30:00+00:00 08094 System call error occurred func=unlink errno=13 "
      "detcode=03080001");
  EXPECT_THAT(Health().out, Not(HasSubstr("08320")));
}

TEST_F(PsltoolHealth, FailuresBehindABadRunReachBackToTheLastGoodOne) {
  Trace(std::string(kGoodRun) +
        "2024/03/05 03:00:00.000 80 Qelprfarc:58 $main():arc start\n"
        "2024/03/05 04:00:00.000 81 Qelprfarc:58 $main():arc start\n");
  OperationLog(
      "2024-03-05T03:00:05+00:00 08300 Qelprfarc 5 1 There is broken psl(psa) file. "
      "file=20240304a.psl\n");
  ExpectProblem(
      "failure  2024-03-05T03:00:05+00:00 08300 There is broken psl(psa) file. "
      "file=20240304a.psl");
}

TEST_F(PsltoolHealth, RemainsOfAnInterruptedRunThatWereMendedAreANote) {
  const std::string entry =
      "2024-03-05T00:30:00+00:00 08300 Qelprfarc 5 1 There is broken psl(psa) file. "
      "file=20240304a.psa\n";
  OperationLog(entry);
  ExpectHealthy("(left by an interrupted run)\n");
  OperationLog(entry +
               "2024-03-05T00:30:00+00:00 08320 Qelprfarc 4 1 Failed in archives of psl(psa) "
               "files.\n");
  EXPECT_EQ(Health().status, 1);
}

TEST_F(PsltoolHealth, EntriesOfOtherProgramsAreNotRead) {
  OperationLog("2024-03-05T00:30:00+00:00 08320 Other 4 1 Failed in archives of psl(psa) files.\n");
  ExpectHealthy();
}

// --- Files ----------------------------------------------------------------------------------------

TEST_F(PsltoolHealth, EmptyArchiveBlocksItsDayWhileTheLogIsThere) {
  directory.Write("arc/archive/20240302a.psa");
  ExpectHealthy(
      "note    broken   archive/20240302a.psa is empty, its log was broken; the log is "
      "gone, so the empty archive can be deleted\n");
  AddLog("20240302a#002");
  ExpectProblem(
      "broken   archive/20240302a.psa is empty, its log was broken; mend the log and delete the "
      "empty archive to redo the day");
}

TEST_F(PsltoolHealth, LogThatIsNotArchived) {
  AddLog("20240302a");
  ExpectProblem("missing  20240302a.psl is not archived");
}

TEST_F(PsltoolHealth, LogOfTheRunningDayIsNotDue) {
  AddLog("20240305a");
  ExpectHealthy();
}

TEST_F(PsltoolHealth, LogAfterTheLastRunIsNotDueBeforeTheNext) {
  // The day has ended, but no run came since.
  AddLog("20240305a");
  EXPECT_EQ(Health({"--now", "2024-03-06T00:10:00"}).status, 0);
}

TEST_F(PsltoolHealth, LogsThatAreNoLogs) {
  directory.Write("arc/20240302b.psl");
  directory.Write("arc/20240302c.psl", "HDR");
  const ProgramResult result = Health();
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out, HasSubstr("PROBLEM missing  20240302b.psl is empty\n"
                                    "PROBLEM missing  20240302c.psl has no header\n"));
}

TEST_F(PsltoolHealth, OldRevisionsAreOnlyNoted) {
  AddLog("20240303old", 0x16);
  AddLog("20240304old", 0x16);
  ExpectHealthy(
      "note    skipped  2 logs of old are of a revision below 0x17; these are archived by "
      "hand\n");
}

TEST_F(PsltoolHealth, MonthWithoutItsDayArchive) {
  AddArchive("20240131m");
  ExpectProblem(
      "missing  archive/202401m.psa is not made, though the month is over and has hour archives");
  AddArchive("202401m", 'D');
  ExpectHealthy();
}

TEST_F(PsltoolHealth, DayWithoutAnything) {
  AddArchive("20240301a");
  ExpectProblem("nodata   20240302a: no log and no archive");
}

TEST_F(PsltoolHealth, ArrayThatWasGivenUpIsForgottenAfterAWeek) {
  AddArchive("20240226b");
  AddArchive("202402b", 'D');
  ExpectHealthy();
  AddArchive("20240227b");
  const ProgramResult result = Health();
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out, HasSubstr("nodata   20240228b: no log and no archive\n"));
  EXPECT_EQ(Health({"--days", "6"}).status, 0);
}

TEST_F(PsltoolHealth, OtherFilesAreNoConcern) {
  directory.Write("arc/notes.txt");
  directory.Write("arc/20240230a.psl");
  directory.Write("arc/archive/README");
  ExpectHealthy();
}

// --- Configuration --------------------------------------------------------------------------------

TEST_F(PsltoolHealth, SegmentSaysWhatIsKept) {
  SegmentBytes bytes;
  bytes.PutDirectories(directory.Path("root"), directory.Path("arc"), "/pml");
  bytes.PutArchivingSwitch(1);
  bytes.PutRetention(1, 1, 1);  // hour archives one month: the limit is 5 February
  AddLog("20240204s");
  const auto health = [&] {
    const SharedSegment shared(bytes);
    return RunProgram(PSLTOOL_PATH, {"health", "--segment", shared.Id(), "--prefix",
                                     directory.Path("prefix"), "--now", "2024-03-05T06:00:00"});
  };
  EXPECT_EQ(health().status, 0) << health().out;
  AddLog("20240205s");
  EXPECT_THAT(health().out, HasSubstr("20240205s.psl is not archived"));
  EXPECT_THAT(health().out, Not(HasSubstr("20240204s.psl")));
  bytes.PutArchivingSwitch(0);
  EXPECT_EQ(health().status, 0) << "runs that only delete leave logs alone";
}

TEST_F(PsltoolHealth, WhatCannotBeFoundOutIsStatus2) {
  EXPECT_EQ(RunProgram(PSLTOOL_PATH, {"health"}).status, 2);
  EXPECT_EQ(RunProgram(PSLTOOL_PATH, {"health", "--root", "/r"}).status, 2);
  EXPECT_EQ(RunProgram(PSLTOOL_PATH, {"health", "--nonsense"}).status, 2);
  const ProgramResult missing = RunProgram(PSLTOOL_PATH, {"health", "--segment", "2147483647"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_THAT(missing.err, HasSubstr("segment 2147483647: there is no segment 2147483647; "));
  EXPECT_EQ(Health({"--now", "soon"}).status, 2);
  EXPECT_EQ(Health({"--max-age", "0"}).status, 2);
  const SharedSegment refused{SegmentBytes(4096)};
  EXPECT_EQ(RunProgram(PSLTOOL_PATH, {"health", "--segment", refused.Id()}).status, 2);
  std::filesystem::remove_all(directory.Path("arc"));
  const ProgramResult result = Health();
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, StartsWith("psltool: " + directory.Path("arc") + ": "));
}

}  // namespace
