// The archive driver in manual runs: outputs that may not or cannot be made, what is left of them,
// and runs of the program as a whole.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tests/support/driver_fixture.h"
#include "tests/support/engine_run.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

namespace {

using spell::Bytes;
using spell::Tags;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(DriverTest, OutNamesTheFileItself) {
  EXPECT_EQ(Run({Put("20240101A.psl", LogOf(0x1D, {1, 1}))},
                {.directory = "/nowhere/", .outpath = directory_.Path("out/x")})
                .status,
            kReturned);
  EXPECT_THAT(Outputs(), ElementsAre("x"));
}

TEST_F(DriverTest, DirectoryOfAnOutputMustExist) {
  const std::string path = directory_.Path("no/such/x.psa");
  const EngineOutcome outcome = Run({Put("20240101A.psl", LogOf(0x1D, {1, 1}))}, {.outpath = path});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "Qelprfarc: 102 Can't open file -- " + path + "  func=open errno=2\n");
}

// Cut to what the program can hold it would be the path of another file.
TEST_F(DriverTest, OutputPathThatIsTooLongIsRefused) {
  std::string path = directory_.Path("out/");
  while (path.size() < 1000) path += "./";
  path += std::string(60, 'n');
  const EngineOutcome outcome = Run({Put("20240101A.psl", LogOf(0x1D, {1, 1}))}, {.outpath = path});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err.rfind("Qelprfarc: 102 Can't open file -- ", 0), 0U) << outcome.err;
  EXPECT_THAT(Outputs(), IsEmpty());
}

TEST_F(DriverTest, OutputThatIsAnInputIsRefusedBeforeItIsTouched) {
  const Bytes log = LogOf(0x1D, {1, 1});
  const std::string input = Put("20240101A.psl", log);
  const std::string other = Put("20240102A.psl", log);
  directory_.MakeDirectory("links");
  ASSERT_EQ(symlink(input.c_str(), directory_.Path("links/soft").c_str()), 0);
  ASSERT_EQ(link(other.c_str(), directory_.Path("links/hard").c_str()), 0);
  for (const std::string& path :
       {input, other, directory_.Path("links/soft"), directory_.Path("links/hard")}) {
    const EngineOutcome outcome = Run({input, other}, {.outpath = path});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "Qelprfarc: 102 Can't open file -- " + path + "  func=open errno=17\n");
    EXPECT_EQ(directory_.Read("20240101A.psl"), log);
    EXPECT_EQ(directory_.Read("20240102A.psl"), log);
  }
}

// What was an input of a run is not one of the next.
TEST_F(DriverTest, InputsOfAnEarlierRunAreNoInputs) {
  const std::string first = Put("20240101A.psl", LogOf(0x1D, {1, 1}));
  const std::string second = Put("20240102A.psl", LogOf(0x1D, {1, 2}));
  EXPECT_EQ(Run({first}).status, kReturned);
  EXPECT_EQ(Run({second}, {.outpath = first}).status, kReturned);
  EXPECT_EQ(Tags(directory_.Read("20240101A.psl")), "HDR CON STA");
}

TEST_F(DriverTest, OutputThatIsAPassedOverInputIsRefused) {
  const Bytes day = HeaderRecord(HeaderOf(0x1D, 'D', {1, 1}));
  const std::string passed = Put("202401A.psa", day);
  const EngineOutcome outcome = Run({passed, Put("20240103A.psa", HourArchive(0x1D, {1, 3}))},
                                    {.outpath = passed, .noperiod = true});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "Qelprfarc: 102 Can't open file -- " + passed + "  func=open errno=17\n");
  EXPECT_EQ(directory_.Read("202401A.psa"), day);
}

TEST_F(DriverTest, PathThatThisRunHasFinishedIsRefused) {
  const std::string path = directory_.Path("out/one.psa");
  const EngineOutcome outcome =
      Run({Put("20240101A.psl", LogOf(0x1D, {1, 1})), Put("20240102A.psl", LogOf(0x1D, {1, 2}))},
          {.outpath = path});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "Qelprfarc: 102 Can't open file -- " + path + "  func=open errno=17\n");
  EXPECT_EQ(Tags(Output("one.psa")), "HDR CON STA");
}

TEST_F(DriverTest, ArchiveOfAnEarlierRunIsReplaced) {
  Put("out/20240101A.psa", Bytes(5000, 'x'));
  EXPECT_EQ(Run({Put("20240101A.psl", LogOf(0x1D, {1, 1}))}).status, kReturned);
  EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA");
}

// Once, whatever "-out" named was removed: links, pipes and devices.
TEST_F(DriverTest, FullDiskEndsTheRunAndLeavesALinkAlone) {
  const std::string path = directory_.Path("out/full.psa");
  ASSERT_EQ(symlink("/dev/full", path.c_str()), 0);
  const EngineOutcome outcome = Run({Put("20240101A.psl", LogOf(0x1D, {1, 1}))}, {.outpath = path});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "Qelprfarc: 111 Write error -- 20240101A.psa  func=write errno=28\n");
  EXPECT_TRUE(std::filesystem::is_symlink(path));
}

// The limit falls into the middle of a record, whose write stores less than asked.
TEST_F(DriverTest, PartlyWrittenRecordEndsTheRun) {
  const std::string input = Put("20240101A.psl", LogOf(0x1D, {1, 1}));
  for (const rlim_t limit : {100, 256, 300}) {
    const std::string path = directory_.Path("out/message");
    const int status = RunInChild([&] {
      signal(SIGXFSZ, SIG_IGN);
      const rlimit limits = {limit, limit};
      if (setrlimit(RLIMIT_FSIZE, &limits) != 0) return 90;
      const EngineOutcome outcome = Run({input});
      const int message = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
      if (write(message, outcome.err.data(), outcome.err.size()) < 0) return 91;
      return outcome.status;
    });
    EXPECT_EQ(status, 1);
    // Nothing could be stored at all behind 256 bytes, a part in the other cases.
    EXPECT_EQ(TempDir::ReadFile(path), "Qelprfarc: 111 Write error -- 20240101A.psa  func=write " +
                                           std::string(limit == 256 ? "errno=27\n" : "errno=28\n"));
    EXPECT_FALSE(directory_.Exists("out/20240101A.psa"));
  }
}

// ---- the program as a whole ----

TEST_F(DriverTest, ProgramArchivesIntoTheDirectoryGiven) {
  const std::string input = Put("20240101A.psl", LogOf(0x21, {1, 1}));
  const ProgramResult result =
      RunProgram(QELPRFARC_PATH, {"-v", "-o", directory_.Path("out"), input});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, input + " --> 20240101A.psa\n");
  EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA");
}

TEST_F(DriverTest, ProgramMakesDayArchivesFromLogsWhenAsked) {
  const ProgramResult result =
      RunProgram(QELPRFARC_PATH,
                 {"-o", directory_.Path("out"), "-d", Put("20240101A.psl", LogOf(0x21, {1, 1})),
                  Put("20240102A.psl", LogOf(0x21, {1, 2}))});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(Outputs(), ElementsAre("202401A.psa"));
  EXPECT_EQ(Output("202401A.psa").at(12), 'D');
}

TEST_F(DriverTest, ProgramRemovesTheOutputOfABrokenInput) {
  const std::string input = Put("20240101A.psl", LogOf(0x21, {1, 1}) + "torn");
  const ProgramResult result = RunProgram(QELPRFARC_PATH, {"-o", directory_.Path("out"), input});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "Qelprfarc: 112 Record broken -- " + input + "\n");
  EXPECT_THAT(Outputs(), IsEmpty());
}

TEST_F(DriverTest, ProgramRefusesAFullDisk) {
  const std::string path = directory_.Path("out/full.psa");
  ASSERT_EQ(symlink("/dev/full", path.c_str()), 0);
  const ProgramResult result = RunProgram(
      QELPRFARC_TEST_PATH, {"-ext", "-out", path, "-v", Put("20240101A.psl", LogOf(0x21, {1, 1}))});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(std::filesystem::is_symlink(path));
  EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

}  // namespace
