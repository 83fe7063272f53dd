// The archive driver in automatic runs: outputs that cannot be made or finished and must not look
// complete, and what the operation log says of failures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/engine/auto_driver_fixture.h"
#include "tests/support/engine_run.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"

namespace {

using spell::Bytes;
using spell::Tags;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_F(PrefixAutoDriverTest, FailedRenameKeepsTheTemporaryNameAndTheRunGoesOn) {
  directory_.MakeDirectory("archive/20240101A.psa");
  PutLog("20240101A.psl", LogOf(0x1D, 0));
  PutLog("20240102A.psl", LogOf(0x1D, 1));
  const EngineOutcome outcome = Hour({"20240101A.psl", "20240102A.psl"});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(outcome.trace,
              ElementsAre("Qelprfarc: 111 Write error -- 20240101A.psa_tmp  func=rename errno=17"));
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa", "20240101A.psa_tmp", "20240102A.psa"));
  EXPECT_EQ(Tags(Output("20240101A.psa_tmp")), "HDR CON STA");
}

// The month of an array "15A" and a day of an array "A" have the same archive name: once, the day
// archive was renamed over the hour archive, which was still to be read.
TEST_F(PrefixAutoDriverTest, FinishedArchiveNeverReplacesAnInputOfTheRun) {
  PutArchive("2024010115A.psa", HourArchive(0x1D, 0));
  PutArchive("20240115A.psa", HourArchive(0x1D, 14));
  const Bytes before = Output("20240115A.psa");
  const EngineOutcome outcome = Day(inputs_);
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(outcome.trace, ElementsAre("Qelprfarc: 111 Write error -- 20240115A.psa_tmp  "
                                         "func=rename errno=17"));
  EXPECT_EQ(Output("20240115A.psa"), before);
  EXPECT_THAT(Outputs(), ElementsAre("20240115A.psa_tmp", "202401A.psa"));
}

constexpr char kFailedArchives[] = "08320 Qelprfarc 4 1 Failed in archives of psl(psa) files.";

TEST_F(PrefixAutoDriverTest, OutputThatCannotBeCreatedEndsTheRun) {
  directory_.MakeDirectory("archive/20240101A.psa_tmp");
  PutLog("20240101A.psl", LogOf(0x1D, 0));
  const EngineOutcome outcome = Hour({"20240101A.psl"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.trace,
              ElementsAre("Qelprfarc: 102 Can't open file -- " +
                          directory_.Path("archive/20240101A.psa_tmp") + "  func=open errno=21"));
  EXPECT_THAT(Log(), HasSubstr("func=open errno=21 detcode=03020003"));
  EXPECT_THAT(Log(), HasSubstr(kFailedArchives));
}

TEST_F(PrefixAutoDriverTest, SequelThatCannotBeCreatedEndsTheRun) {
  directory_.MakeDirectory("archive/20240101A#002.psa_tmp");
  PutLog("20240101A#001.psl", LogOf(0x1C, 0));
  PutLog("20240101A#002.psl", LogOf(0x1D, 0));
  EXPECT_EQ(Hour({"20240101A#001.psl", "20240101A#002.psl"}).status, 1);
  // Neither of the two: the first would stand for the day.
  EXPECT_THAT(Outputs(), ElementsAre("20240101A#002.psa_tmp"));
  EXPECT_THAT(Log(), HasSubstr("func=open errno=21 detcode=03020004"));
  EXPECT_THAT(Log(), HasSubstr(kFailedArchives));
}

// Once, the first got its name, stood for the whole month, and nobody made the second any more.
TEST_F(PrefixAutoDriverTest, MonthWhoseSequelEndsBrokenGetsNoNameAtAll) {
  PutArchive("20240101A.psa", HourArchive(0x1C, 0));
  PutArchive("20240102A.psa", HourArchive(0x1D, 1));
  PutArchive("20240103A.psa", Broken(HourArchive(0x1D, 2)));
  PutArchive("20240101B.psa", HourArchive(0x1D, 0));
  EXPECT_EQ(Day(inputs_).failed, 1);
  EXPECT_THAT(Outputs(), ElementsAre("202401A#002.psa_tmp", "202401A.psa_tmp", "202401B.psa"));
}

TEST_F(PrefixAutoDriverTest, NamesAreTakenBackWhereOneCannotBeGiven) {
  directory_.MakeDirectory("archive/20240101A#002.psa");
  PutLog("20240101A#001.psl", LogOf(0x1C, 0));
  PutLog("20240101A#002.psl", LogOf(0x1D, 0));
  PutLog("20240102A.psl", LogOf(0x1D, 1));
  const EngineOutcome outcome = Hour({"20240101A#001.psl", "20240101A#002.psl", "20240102A.psl"});
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(outcome.trace, ElementsAre("Qelprfarc: 111 Write error -- 20240101A#002.psa_tmp  "
                                         "func=rename errno=17"));
  EXPECT_THAT(Outputs(), ElementsAre("20240101A#002.psa", "20240101A#002.psa_tmp",
                                     "20240101A.psa_tmp", "20240102A.psa"));
}

TEST_F(PrefixAutoDriverTest, UnopenedInputIsLoggedWithItsDetail) {
  Hour({"20240101A.psl"});
  EXPECT_THAT(Log(), HasSubstr("08094 Qelprfarc 5 0 System call error occurred func=fopen errno=2 "
                               "detcode=03020001"));
}

TEST_F(PrefixAutoDriverTest, BrokenInputIsLogged) {
  PutLog("20240101A.psl", Broken(LogOf(0x1D, 0)));
  Hour({"20240101A.psl"});
  EXPECT_THAT(Log(), HasSubstr("08300 Qelprfarc 5 1 There is broken psl(psa) file. "
                               "file=20240101A.psl\n"));
}

}  // namespace
