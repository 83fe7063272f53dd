// Runs that the daemon starts, from outside: configuration, lock, working directory, both archive
// runs and removal in their order.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/runs/daemon_run.h"
#include "tests/support/header_file.h"
#include "tests/support/process.h"
#include "tests/support/runs/server.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;

// Trace lines about the marker files when there are none.
constexpr char kNoMarkerA[] = "err_del_arcupdatefile(ret=4.errno=2)";
constexpr char kNoMarkerB[] = "err_del_execfile(ret=4.errno=2)";

TEST_F(PrefixDaemonRun, RunWithNothingToDo) {
  const ProgramResult result = server.RunAuto();
  ExpectQuiet(result);
  EXPECT_THAT(
      TestServer::TraceOf(result.pid),
      ElementsAre("$main():arc start", RootLine(), "$main():arc end", kNoMarkerA, kNoMarkerB));
}

TEST_F(PrefixDaemonRun, StartLinesNameTheKindOfRun) {
  EXPECT_EQ(TestServer::TraceOf(server.RunAuto({"-force"}).pid).at(0), "$main():arc force start");
  EXPECT_EQ(TestServer::TraceOf(server.Run({"-auto", "-mode", "arrayupdate", "SEGMENT"}).pid).at(0),
            "$main():arc update start");
  EXPECT_EQ(TestServer::TraceOf(server.RunAuto2("0", "0", "0").pid).at(0),
            "$main():arc delete pml start");
}

TEST_F(PrefixDaemonRun, DayRunFollowsTheHourRun) {
  // The log's hour archive exists when the day run looks for inputs.
  MakeLog("20010203A.psl");
  ExpectQuiet(server.RunAuto());
  EXPECT_THAT(files().Names("arc/archive"), ElementsAre("20010203A.psa", "200102A.psa"));
  EXPECT_EQ(files().Read("arc/archive/20010203A.psa").substr(12, 1), "H");
  EXPECT_EQ(files().Read("arc/archive/200102A.psa").substr(12, 1), "D");
  EXPECT_TRUE(files().Exists("arc/20010203A.psl"));
}

TEST_F(PrefixDaemonRun, SecondRunFindsEverythingArchived) {
  MakeLog("20010203A.psl");
  ExpectQuiet(server.RunAuto());
  files().Write("arc/archive/20010203A.psa", files().Read("arc/archive/20010203A.psa") + "kept");
  ExpectQuiet(server.RunAuto());
  EXPECT_THAT(files().Read("arc/archive/20010203A.psa"), EndsWith("kept"));
}

TEST_F(PrefixDaemonRun, DisabledArchivingOnlyRemoves) {
  server.segment.PutArchivingSwitch(0);
  server.segment.PutRetention(0, 1, kDays);
  MakeLog("20010203A.psl");
  files().MakeDirectory("arc/archive");
  const ProgramResult result = server.RunAuto();
  ExpectQuiet(result);
  EXPECT_THAT(files().Names("arc"), ElementsAre("archive"));
  EXPECT_THAT(files().Names("arc/archive"), IsEmpty());
  EXPECT_THAT(TestServer::TraceOf(result.pid), Contains("del 20010203A.psl"));
}

TEST_F(PrefixDaemonRun, ExpiredLogIsArchivedBeforeItIsRemoved) {
  server.segment.PutRetention(0, 1, kDays);
  MakeLog("20010203A.psl");
  ExpectQuiet(server.RunAuto());
  EXPECT_THAT(files().Names("arc"), ElementsAre("archive"));
  EXPECT_THAT(files().Names("arc/archive"), ElementsAre("20010203A.psa", "200102A.psa"));
}

TEST_F(PrefixDaemonRun, ArrayUpdateArchivesAndKeepsTheLog) {
  server.segment.PutArchivingSwitch(0);
  server.segment.PutRetention(0, 1, kDays);
  MakeLog("20010203A.psl");
  ExpectQuiet(server.Run({"-auto", "-mode", "arrayupdate", "SEGMENT"}));
  EXPECT_TRUE(files().Exists("arc/20010203A.psl"));
  EXPECT_TRUE(files().Exists("arc/archive/20010203A.psa"));
}

TEST_F(PrefixDaemonRun, InterruptedArchiveIsReportedAndRemoved) {
  files().MakeDirectory("arc/archive");
  const std::string name = "20010203A" + std::to_string(getpid());
  files().Write("arc/archive/" + name + ".psa_tmp", "x");
  const ProgramResult result = server.RunAuto();
  ExpectQuiet(result);
  EXPECT_THAT(TestServer::TraceOf(result.pid),
              IsSupersetOf({"Qelprfarc: 112 Record broken -- " + name + ".psa",
                            "del " + name + ".psa_tmp"}));
  EXPECT_THAT(LogEntries(),
              Contains("08300 Qelprfarc 5 1 There is broken psl(psa) file. file=" + name + ".psa"));
  EXPECT_THAT(files().Names("arc/archive"), IsEmpty());
}

TEST_F(PrefixDaemonRun, MarkerFilesAreRemoved) {
  files().Write("arc/Qelprf.A");
  files().Write("arc/Qelprf.B", "x");
  const ProgramResult result = server.RunAuto();
  ExpectQuiet(result);
  EXPECT_FALSE(files().Exists("arc/Qelprf.A"));
  EXPECT_FALSE(files().Exists("arc/Qelprf.B"));
  EXPECT_THAT(TestServer::TraceOf(result.pid),
              ElementsAre("$main():arc start", RootLine(), "$main():arc end"));
}

TEST_F(PrefixDaemonRun, CoreFileIsMovedAsideAndReplacesTheOlderOne) {
  const std::string place = "root/core/Qelprfd/Qelprfarc";
  files().MakeDirectory(place);
  files().Write(place + "/core", "new");
  files().Write(place + "/core.old", "old");
  ExpectQuiet(server.RunAuto());
  EXPECT_THAT(files().Names(place), ElementsAre("core.old"));
  EXPECT_EQ(files().Read(place + "/core.old"), "new");
}

TEST_F(PrefixDaemonRun, WorkingDirectoryIsCreated) {
  ExpectQuiet(server.RunAuto());
  EXPECT_TRUE(files().Exists("root/core/Qelprfd/Qelprfarc"));
}

// --- Failures -------------------------------------------------------------------------------------

TEST_F(PrefixDaemonRun, MissingParentOfTheWorkingDirectoryEndsTheRun) {
  std::filesystem::remove_all(files().Path("root/core"));
  MakeLog("20010203A.psl");
  const ProgramResult result = server.RunAuto();
  ExpectQuiet(result);
  EXPECT_THAT(TestServer::TraceOf(result.pid), ElementsAre("$main():arc start", RootLine()));
  EXPECT_THAT(LogEntries(),
              IsSupersetOf({"08094 Qelprfarc 5 0 System call error occurred func=mkdir errno=2 "
                            "detcode=03010007",
                            "08320 Qelprfarc 4 1 Failed in archives of psl(psa) files."}));
  EXPECT_FALSE(files().Exists("arc/archive"));
}

TEST_F(PrefixDaemonRun, WorkingDirectoryThatIsAFileEndsTheRun) {
  files().Write("root/core/Qelprfd/Qelprfarc");
  ExpectQuiet(server.RunAuto());
  EXPECT_THAT(LogEntries(), Contains("08094 Qelprfarc 5 0 System call error occurred func=chdir "
                                     "errno=20 detcode=03010008"));
}

TEST_F(PrefixDaemonRun, CoreWithoutStatusEndsTheRun) {
  files().MakeDirectory("root/core/Qelprfd/Qelprfarc");
  // A link to itself has no status, whoever asks.
  ASSERT_EQ(symlink("core", files().Path("root/core/Qelprfd/Qelprfarc/core").c_str()), 0);
  ExpectQuiet(server.RunAuto());
  EXPECT_THAT(LogEntries(), Contains("08094 Qelprfarc 5 0 System call error occurred func=stat "
                                     "errno=40 detcode=03010009"));
}

TEST_F(PrefixDaemonRun, MissingLockFileIsCreatedAndStays) {
  ExpectQuiet(server.RunAuto());
  EXPECT_TRUE(files().Exists("root/pmon/arclock"));
}

TEST_F(PrefixDaemonRun, LockHeldByAnotherProcessIsMessage114And2ndArchiverDoesNothing) {
  MakeLog("20010203A.psl");
  const int fd =
      open(files().Path("root/pmon/arclock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  ASSERT_EQ(fcntl(fd, F_SETLK, &lock), 0);
  // As a pruning run, so that all messages go to the trace.
  const ProgramResult pruning = server.RunAuto2("0", "0", "0");
  ExpectQuiet(pruning);
  EXPECT_THAT(TestServer::TraceOf(pruning.pid),
              ElementsAre("$main():arc delete pml start", "Failed in archives of psl(psa) files."));
  const ProgramResult archiving = server.RunAuto();
  ExpectQuiet(archiving);
  EXPECT_THAT(TestServer::TraceOf(archiving.pid), ElementsAre("$main():arc start", RootLine()));
  EXPECT_THAT(LogEntries(), Contains("08320 Qelprfarc 4 1 Failed in archives of psl(psa) files."));
  EXPECT_FALSE(files().Exists("arc/archive"));
  close(fd);
}

TEST_F(PrefixDaemonRun, MissingLockDirectoryIsMessage113And114) {
  std::filesystem::remove(files().Path("root/pmon"));
  const ProgramResult result = server.RunAuto2("0", "0", "0");
  ExpectQuiet(result);
  EXPECT_THAT(TestServer::TraceOf(result.pid),
              ElementsAre("$main():arc delete pml start",
                          "System call error occurred func=open errno=2 detcode=030c0001",
                          "Failed in archives of psl(psa) files."));
}

TEST_F(PrefixDaemonRun, RefusedConfigurationIsMessage115UnlessForced) {
  server.segment.PutArchivingSwitch(2);
  ProgramResult result = server.RunAuto();
  ExpectQuiet(result);
  EXPECT_THAT(TestServer::TraceOf(result.pid), IsEmpty());
  EXPECT_THAT(LogEntries(),
              IsSupersetOf({"08099 Qelprfarc 5 1 Program error occurred detcode=0301000a",
                            "08320 Qelprfarc 4 1 Failed in deletion of psl(psa) files."}));
  result = server.RunAuto({"-force"});
  EXPECT_THAT(TestServer::TraceOf(result.pid), Contains("$main():arc end"));
}

TEST_F(PrefixDaemonRun, RefusedConfigurationOfAPruningRunGoesToStandardError) {
  server.segment.PutArchivingSwitch(2);
  const ProgramResult result = server.RunAuto2("0", "0", "0");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "Program error occurred detcode=0301000a\nFailed in deletion of psl(psa) files.\n");
}

TEST_F(PrefixDaemonRun, MissingSegmentIsMessage113) {
  const ProgramResult result =
      server.Run({"-auto2", "0", "0", "0", "-mode", "arrayupdate", "2147483647"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "System call error occurred func=shmat errno=22 detcode=03010004\n"
            "Failed in deletion of psl(psa) files.\n");
}

TEST_F(PrefixDaemonRun, UserModeIsMessage115) {
  files().Write("conf");
  const ProgramResult result =
      server.Run({"-auto2", "0", "0", "0", "-mode", "user", files().Path("conf")});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "Program error occurred detcode=0301000b\nFailed in deletion of psl(psa) files.\n");
}

TEST_F(PrefixDaemonRun, ArchiveDirectoryThatCannotBeCreatedEndsWithStatus1) {
  files().Write("arc/archive");
  MakeLog("20010203A.psl");
  const ProgramResult result = server.RunAuto();
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(LogEntries(),
              IsSupersetOf({"08094 Qelprfarc 5 0 System call error occurred func=mkdir errno=17 "
                            "detcode=030d0001",
                            "08320 Qelprfarc 4 1 Failed in archives of psl(psa) files."}));
}

TEST_F(PrefixDaemonRun, FailedArchivingLeavesNoEndLine) {
  // A header cut short is rejected, and the run goes on.
  server.directory.Write("arc/20010203A.psl", HeaderBytes({}).substr(0, 20));
  files().Write("arc/Qelprf.A");
  files().Write("arc/Qelprf.B");
  const ProgramResult result = server.RunAuto();
  ExpectQuiet(result);
  EXPECT_THAT(TestServer::TraceOf(result.pid), Not(Contains("$main():arc end")));
  EXPECT_THAT(LogEntries(), Contains("08320 Qelprfarc 4 1 Failed in archives of psl(psa) files."));
  EXPECT_FALSE(files().Exists("arc/Qelprf.A"));
}

}  // namespace
