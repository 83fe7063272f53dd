// The archive driver in manual runs: inputs that are passed over, and inputs that end the run.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "tests/support/driver_fixture.h"
#include "tests/support/engine_run.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"

namespace {

using spell::Bytes;
using spell::Tags;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// ---- passed over ----

TEST_F(DriverTest, OnlyDayArchivesAreNoTargets) {
  const Bytes day = HeaderRecord(HeaderOf(0x1D, 'D', {1, 1}));
  Put("out/202401A.psa", day);
  Put("out/202402A.psa", day);
  const EngineOutcome outcome =
      Run({"202401A.psa", "202402A.psa"}, {.level = 'D', .by_directory = true});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "Qelprfarc: 107 Can't find target file\n");
  EXPECT_THAT(outcome.marks, ElementsAre(1, 1));
  EXPECT_EQ(Outputs().size(), 2U);
}

TEST_F(DriverTest, DayArchivesAmongOthersAreMarkedAndPassedOver) {
  Put("out/202401AB.psa", HeaderRecord(HeaderOf(0x1F, 'D', {1, 1})) + "not read");
  Put("out/20240103B.psa", HourArchive(0x1D, {1, 3}));
  Put("out/20240104B.psa", HourArchive(0x1D, {1, 4}));
  const EngineOutcome outcome = Run({"20240103B.psa", "202401AB.psa", "20240104B.psa"},
                                    {.level = 'D', .by_directory = true, .verbose = true});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.err, "");
  const std::string path = directory_.Path("out/");
  EXPECT_EQ(outcome.out,
            path + "20240103B.psa --> 202401B.psa\n" + path + "20240104B.psa --> 202401B.psa\n");
  EXPECT_EQ(Tags(Output("202401B.psa")), "HDR CON STA STA");
  // The day archive sorts first: its array is "B" and its date "202401A".
  EXPECT_EQ(std::count(outcome.marks.begin(), outcome.marks.end(), 1), 1);
}

// The revision of an input that was passed over does not count.
TEST_F(DriverTest, PassedOverInputDoesNotCutTheOutput) {
  // Sorts between the two: its array is "B" with the date "202401zz".
  Put("out/20240103B.psa", HourArchive(0x1D, {1, 3}));
  Put("out/202401zzB.psa", HeaderRecord(HeaderOf(0x21, 'D', {1, 1})));
  Put("out/20240204B.psa", HourArchive(0x1D, {2, 4}));
  EXPECT_EQ(Run({"20240103B.psa", "202401zzB.psa", "20240204B.psa"},
                {.level = 'D', .by_directory = true, .noperiod = true})
                .status,
            kReturned);
  EXPECT_EQ(Tags(Output("202401B.psa")), "HDR CON STA STA");
  EXPECT_FALSE(directory_.Exists("out/202401B#002.psa"));
}

TEST_F(DriverTest, DayArchiveBehindOthersIsPassedOver) {
  Put("out/20240103B.psa", HourArchive(0x1D, {1, 3}));
  Put("out/202401zzB.psa", HeaderRecord(HeaderOf(0x21, 'D', {1, 1})));
  Put("out/20240204B.psa", HourArchive(0x1D, {2, 4}));
  const EngineOutcome outcome = Run({"20240103B.psa", "202401zzB.psa", "20240204B.psa"},
                                    {.level = 'D', .by_directory = true});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(Tags(Output("202401B.psa")), "HDR CON STA");
  EXPECT_EQ(Tags(Output("202402B.psa")), "HDR CON STA");
  EXPECT_THAT(outcome.marks, ElementsAre(0, 1, 0));
}

TEST_F(DriverTest, NoperiodPassesOverDayArchivesSilently) {
  const std::string day = Put("202401A.psa", HeaderRecord(HeaderOf(0x1D, 'D', {1, 1})));
  EngineOutcome outcome = Run({day}, {.noperiod = true});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(Outputs(), IsEmpty());
  outcome = Run({day, Put("20240103B.psa", HourArchive(0x1D, {1, 3}))},
                {.noperiod = true, .verbose = true});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_THAT(Outputs(), ElementsAre("202401B.psa"));
}

// ---- refused, missing ----

TEST_F(DriverTest, InputThatIsRefusedEndsTheRunBeforeAnythingIsWritten) {
  const std::string good = Put("20240101A.psl", LogOf(0x1D, {1, 1}));
  struct Case {
    Bytes content;
    std::string message;
  };
  for (const Case& refused : {Case{"garbage, not a file of ours", "101 Not PSL file"},
                              Case{"HDR\x22 and so on", "120 Illegal file format"},
                              Case{HeaderRecord(HeaderOf(0x1D, 'D', {1, 1})), "108 No more"}}) {
    const std::string bad = Put("20240102A.psl", refused.content);
    const EngineOutcome outcome = Run({good, bad});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err.rfind("Qelprfarc: " + refused.message, 0), 0U) << outcome.err;
    EXPECT_THAT(Outputs(), IsEmpty());
  }
}

TEST_F(DriverTest, NameWithoutAnArrayEndsTheRun) {
  const std::string input = Put("short.psl", LogOf(0x1D, {1, 1}));
  const EngineOutcome outcome = Run({input});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "Qelprfarc: 101 Not PSL file -- " + input + "\n");
  EXPECT_THAT(Outputs(), IsEmpty());
}

TEST_F(DriverTest, MissingInputEndsTheRun) {
  const std::string missing = directory_.Path("20240102A.psl");
  const EngineOutcome outcome = Run({Put("20240101A.psl", LogOf(0x1D, {1, 1})), missing});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "Qelprfarc: 102 Can't open file -- " + missing + "  func=fopen errno=2\n");
  EXPECT_THAT(Outputs(), IsEmpty());
}

TEST_F(DriverTest, DirectoryAsAnInputEndsTheRun) {
  directory_.MakeDirectory("20240101A.psl");
  const EngineOutcome outcome = Run({directory_.Path("20240101A.psl")});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err.rfind("Qelprfarc: 110 Read error -- ", 0), 0U) << outcome.err;
  // It is no short file: the system says why it cannot be read.
  EXPECT_EQ(outcome.err.find(" errno=0\n"), std::string::npos) << outcome.err;
  EXPECT_THAT(Outputs(), IsEmpty());
}

// An input that vanishes between the check and its turn. The check is held up at the last input,
// which is leased to this process, until the one before it is gone.
TEST_F(DriverTest, InputThatVanishesEndsTheRunAndLeavesTheOutput) {
  const std::string first = Put("20240101A.psa", HourArchive(0x1D, {1, 1}));
  const std::string second = Put("20240102A.psa", HourArchive(0x1D, {1, 2}));
  const std::string last = Put("20240103A.psa", HourArchive(0x1D, {1, 3}));
  const auto before = signal(SIGIO, SIG_IGN);
  const int leased = open(last.c_str(), O_RDWR | O_CLOEXEC);
  if (fcntl(leased, F_SETLEASE, F_WRLCK) != 0) GTEST_SKIP() << "no leases in this file system";
  RunningProgram program(QELPRFARC_PATH, {"-o", directory_.Path("out"), first, second, last});
  const auto runs = [&] {
    siginfo_t ended = {};
    return waitid(P_PID, static_cast<id_t>(program.pid()), &ended, WEXITED | WNOHANG | WNOWAIT) ==
               0 &&
           ended.si_pid == 0;
  };
  while (runs() && fcntl(leased, F_GETLEASE) == F_WRLCK) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  unlink(second.c_str());
  fcntl(leased, F_SETLEASE, F_UNLCK);
  close(leased);
  const ProgramResult result = program.Wait();
  signal(SIGIO, before);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "Qelprfarc: 102 Can't open file -- " + second + "  func=fopen errno=2\n");
  EXPECT_EQ(Tags(Output("202401A.psa")), "HDR CON STA");
}

}  // namespace
