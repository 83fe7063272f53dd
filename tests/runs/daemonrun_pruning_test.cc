// Pruning runs that the daemon starts, from outside, and the limit of an embedded volume.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "archiver/prune.h"
#include "tests/runs/daemon_run.h"
#include "tests/support/process.h"
#include "tests/support/runs/nights.h"
#include "tests/support/runs/server.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;

class PrefixPruning : public PrefixDaemonRun {
 protected:
  PrefixPruning() {
    server.segment.PutArchivingSwitch(0);
    files().MakeDirectory("pml/00");
  }

  void MakePml(const std::string& date) const {
    files().Write("pml/00/" + date + "x#001_001.pml", "12345");
  }

  // Trace of a run that deletes the three oldest of nine logs, while calls fail.
  std::vector<std::string> TraceWithFailing(const std::string& rules) const {
    for (int day = 1; day <= 9; ++day) MakePml("2021010" + std::to_string(day));
    const SharedSegment shared(server.segment);
    ProgramSettings settings;
    settings.variables = {{"LD_PRELOAD", DISTURB_PATH}, {"DISTURB_FAIL", rules}};
    const ProgramResult result = RunProgram(
        QELPRFARC_TEST_PATH, {"-mode", "svr", shared.Id(), "-auto2", "0", "0", "3"}, settings);
    ExpectQuiet(result);
    return TestServer::TraceOf(result.pid);
  }
};

TEST_F(PrefixPruning, NothingToDoWithNumbers0) {
  MakePml("20210101");
  const ProgramResult result = server.RunAuto2("0", "0", "0");
  ExpectQuiet(result);
  EXPECT_THAT(TestServer::TraceOf(result.pid),
              ElementsAre("$main():arc delete pml start", "$main():arc delete pml end"));
  EXPECT_EQ(files().Names("pml/00").size(), 1u);
}

TEST_F(PrefixPruning, OldestFilesAreDeleted) {
  for (int day = 1; day <= 8; ++day) MakePml("2021010" + std::to_string(day));
  ExpectQuiet(server.RunAuto2("0", "0", "3"));
  EXPECT_EQ(files().Names("pml/00").front(), "20210104x#001_001.pml");
}

TEST_F(PrefixPruning, AgeComesBeforeNumber) {
  for (int day = 1; day <= 9; ++day) MakePml("2021010" + std::to_string(day));
  // Five days back from the newest leaves five files, too few for the second call.
  ExpectQuiet(server.RunAuto2("0", "5", "3"));
  EXPECT_EQ(files().Names("pml/00").front(), "20210105x#001_001.pml");
}

TEST_F(PrefixPruning, FailuresOfEachCallAreTraced) {
  std::filesystem::remove_all(files().Path("pml"));
  const ProgramResult result = server.RunAuto2("0", "5", "3");
  ExpectQuiet(result);
  EXPECT_THAT(TestServer::TraceOf(result.pid),
              ElementsAre("$main():arc delete pml start",
                          "DELETE_PML_TERM : retval=4 detail=0x01b0000d errno=2",
                          "DELETE_PML_OLDEST : retval=4 detail=0x01b0000d errno=2",
                          "$main():arc delete pml end"));
}

// It was taken for the end of the directory: of what had been listed the oldest went.
TEST_F(PrefixPruning, AListingThatBreaksOffDeletesNothing) {
  SKIP_WITHOUT_PRELOADING();
  const std::vector<std::pair<std::string, std::string>> failures = {
      {"readdir:/pml:2:2:5", "0x01b00017"},
      {"readdir:/pml/00:8:8:5", "0x01b0000a"},
      {"readdir:/pml/00:15:15:5", "0x01b00014"}};
  for (const auto& [rule, detail] : failures) {
    SCOPED_TRACE(rule);
    EXPECT_THAT(TraceWithFailing(rule),
                ElementsAre("$main():arc delete pml start",
                            "DELETE_PML_OLDEST : retval=4 detail=" + detail + " errno=5",
                            "$main():arc delete pml end"));
    EXPECT_EQ(files().Names("pml/00").size(), 9u);
  }
}

TEST_F(PrefixPruning, ALogThatCannotBeDeletedIsNamed) {
  SKIP_WITHOUT_PRELOADING();
  const std::string pml = files().Path("pml/00/");
  // Logs go in the order of the directory.
  EXPECT_THAT(TraceWithFailing("unlink:20210102x#001_001.pml:1:9:13"),
              IsSupersetOf({"DeletePml : failed task=delete name=" + pml +
                                "20210102x#001_001.pml reason=Permission denied",
                            std::string("DELETE_PML_OLDEST : retval=4 detail=0x01b00014 errno=13"),
                            std::string("$main():arc delete pml end")}));
  EXPECT_TRUE(files().Exists("pml/00/20210102x#001_001.pml"));
}

// An empty directory in the configuration gets its "/" like the others.
TEST_F(PrefixPruning, AnEmptyDirectoryIsNotTheRoot) {
  server.segment.PutText(9184, "");
  const ProgramResult result = server.RunAuto2("0", "5", "3");
  ExpectQuiet(result);
  EXPECT_THAT(TestServer::TraceOf(result.pid),
              ElementsAre("$main():arc delete pml start",
                          "DELETE_PML_TERM : retval=4 detail=0x01b0000d errno=2",
                          "DELETE_PML_OLDEST : retval=4 detail=0x01b0000d errno=2",
                          "$main():arc delete pml end"));
}

TEST_F(PrefixPruning, EmbeddedVolumeIsPrunedThenStagedFilesAreMoved) {
  server.segment.Put<int32_t>(9168, 1000);
  MakePml("20210101");
  files().MakeDirectory("root/.trace3");
  files().Write("root/.trace3/20210102x#001_001.pml", "1");
  files().Write("root/.trace3/20210103x#001_001.pml", "1");
  const SharedSegment shared(server.segment);
  ProgramSettings settings;
  settings.variables = {{"QelPMON_EMBSYSVOL", "yes"}};
  const ProgramResult result = RunProgram(
      QELPRFARC_TEST_PATH, {"-mode", "svr", shared.Id(), "-auto2", "1", "0", "0"}, settings);
  ExpectQuiet(result);
  EXPECT_THAT(files().Names("pml/00"),
              ElementsAre("20210101x#001_001.pml", "20210102x#001_001.pml"));
  EXPECT_THAT(files().Names("root/.trace3"), ElementsAre("20210103x#001_001.pml"));
}

TEST_F(PrefixPruning, AbsentEmbeddedVolumeStopsBeforeTheMove) {
  server.segment.Put<int32_t>(9168, 1000);
  const SharedSegment shared(server.segment);
  ProgramSettings settings;
  settings.variables = {{"QelPMON_EMBSYSVOL", "no"}};
  const ProgramResult result = RunProgram(
      QELPRFARC_TEST_PATH, {"-mode", "svr", shared.Id(), "-auto2", "1", "0", "0"}, settings);
  ExpectQuiet(result);
  const std::vector<std::string> trace = TestServer::TraceOf(result.pid);
  ASSERT_EQ(trace.size(), 3u);
  EXPECT_THAT(trace[1], HasSubstr("EMB_DELETE_PML : retval=2 "));
  EXPECT_EQ(trace[2], "$main():arc delete pml end");
}

TEST_F(PrefixPruning, EnabledArchivingOnlyCreatesTheArchiveDirectory) {
  server.segment.PutArchivingSwitch(1);
  MakeLog("20010203A.psl");
  ExpectQuiet(server.RunAuto2("0", "0", "0"));
  EXPECT_THAT(files().Names("arc"), ElementsAre("20010203A.psl", "archive"));
  EXPECT_THAT(files().Names("arc/archive"), IsEmpty());
}

TEST_F(PrefixPruning, NothingIsRemovedFromTheArchive) {
  server.segment.PutRetention(0, 1, kDays);
  MakeLog("20010203A.psl");
  files().MakeDirectory("arc/archive");
  files().Write("arc/archive/20010203A.psa_tmp");
  files().Write("arc/Qelprf.A");
  ExpectQuiet(server.RunAuto2("0", "0", "0"));
  EXPECT_TRUE(files().Exists("arc/20010203A.psl"));
  EXPECT_TRUE(files().Exists("arc/archive/20010203A.psa_tmp"));
  EXPECT_TRUE(files().Exists("arc/Qelprf.A"));
}

TEST(EmbeddedVolume, LimitIsTheCapacityInBytes) {
  EXPECT_EQ(EmbeddedLimit(1).low, 1048576u);
  EXPECT_EQ(EmbeddedLimit(1).high, 0u);
  EXPECT_EQ(EmbeddedLimit(4095).low, 4293918720u);
  EXPECT_EQ(EmbeddedLimit(4095).high, 0u);
}

TEST(EmbeddedVolume, SmallVolumesKeepAReserve) {
  EXPECT_EQ(EmbeddedLimit(160).low, 140u * 1048576u);
  EXPECT_EQ(EmbeddedLimit(200).low, 170u * 1048576u);
  EXPECT_EQ(EmbeddedLimit(161).low, 161u * 1048576u);
}

TEST(EmbeddedVolume, LargeLimitsAreSplit) {
  EXPECT_EQ(EmbeddedLimit(4096).low, 0u);
  EXPECT_EQ(EmbeddedLimit(4096).high, 1u);
  EXPECT_EQ(EmbeddedLimit(10000).low, 1895825408u);  // 10,485,760,000 - 2 * 2^32
  EXPECT_EQ(EmbeddedLimit(10000).high, 2u);
  EXPECT_EQ(EmbeddedLimit(2147483647).high, 524287u);
  EXPECT_EQ(EmbeddedLimit(2147483647).low, 4293918720u);
}

}  // namespace
