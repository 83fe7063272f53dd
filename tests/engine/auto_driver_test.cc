// The archive driver in automatic runs: temporary and final names, inputs that cannot be opened or
// are passed over, and inputs out of order.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "tests/engine/auto_driver_fixture.h"
#include "tests/support/engine_run.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

namespace {

using spell::Bytes;
using spell::Tags;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_F(PrefixAutoDriverTest, FinishedOutputsHaveTheirFinalNames) {
  PutLog("20240101A#001.psl", LogOf(0x1D, 0));
  PutLog("20240101A#002.psl", LogOf(0x1D, 0));
  PutLog("20240102A.psl", LogOf(0x1C, 1));
  const EngineOutcome outcome = Hour({"20240102A.psl", "20240101A#002.psl", "20240101A#001.psl"});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.failed, 0);
  EXPECT_THAT(outcome.trace, IsEmpty());
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa", "20240102A.psa"));
  EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA CON STA");
}

TEST_F(PrefixAutoDriverTest, DayRunReadsTheArchiveSubdirectory) {
  PutArchive("20240131A.psa", HourArchive(0x1D, 30));
  PutArchive("20240201A.psa", HourArchive(0x1D, 31));
  PutArchive("20240202A.psa", HourArchive(0x1D, 32));
  EXPECT_EQ(Day(inputs_).failed, 0);
  EXPECT_THAT(Outputs(), ElementsAre("202401A.psa", "202402A.psa"));
  EXPECT_EQ(Tags(Output("202402A.psa")), "HDR CON STA STA");
}

TEST_F(PrefixAutoDriverTest, DatesAreLocalForAllRevisions) {
  const TimeZone zone("JST-9");
  Bytes log = LogOf(0x1D, 0);
  spell::SetU32(log, 4, Stamp(0) + 20 * 3600);
  PutLog("20240101A.psl", log);
  const EngineOutcome outcome = Hour({"20240101A.psl"});
  EXPECT_THAT(Outputs(), ElementsAre("20240102A.psa"));
  EXPECT_THAT(outcome.trace, IsEmpty());
}

TEST_F(PrefixAutoDriverTest, MonthsAreCutInLocalTimeForAllRevisions) {
  const TimeZone zone("JST-9");
  Bytes late = HourArchive(0x1D, 30);
  spell::SetU32(late, 4, Stamp(30) + 20 * 3600);  // 1 February in Japan
  PutArchive("20240131A.psa", HourArchive(0x1D, 30));
  PutArchive("20240201A.psa", late);
  Day(inputs_);
  EXPECT_THAT(Outputs(), ElementsAre("202401A.psa", "202402A.psa"));
}

TEST_F(PrefixAutoDriverTest, LeftOverTemporaryOutputIsMadeAnew) {
  directory_.Write("archive/20240101A.psa_tmp", Bytes(9999, 'x'));
  PutLog("20240101A.psl", LogOf(0x1D, 0));
  EXPECT_EQ(Hour({"20240101A.psl"}).failed, 0);
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa"));
  EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA");
}

TEST_F(PrefixAutoDriverTest, SequelsAreRenamedToo) {
  PutLog("20240101A#001.psl", LogOf(0x1C, 0));
  PutLog("20240101A#002.psl", LogOf(0x1D, 0));
  PutLog("20240101A#003.psl", LogOf(0x1C, 0));
  Hour({"20240101A#001.psl", "20240101A#002.psl", "20240101A#003.psl"});
  EXPECT_THAT(Outputs(), ElementsAre("20240101A#002.psa", "20240101A#003.psa", "20240101A.psa"));
}

// ---- inputs that cannot be opened ----

TEST_F(PrefixAutoDriverTest, HourArchiveThatLacksAnInputKeepsItsTemporaryName) {
  PutLog("20240101A#001.psl", LogOf(0x1D, 0));
  PutLog("20240102A.psl", LogOf(0x1D, 1));
  PutLog("20240101B.psl", LogOf(0x1D, 0));
  const EngineOutcome outcome =
      Hour({"20240101A#001.psl", "20240101A#002.psl", "20240102A.psl", "20240101B.psl"});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(outcome.trace,
              ElementsAre("Qelprfarc: 102 Can't open file -- " +
                          directory_.Path("20240101A#002.psl") + "  func=fopen errno=2"));
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa_tmp", "20240101B.psa", "20240102A.psa"));
  EXPECT_EQ(Tags(Output("20240101A.psa_tmp")), "HDR CON STA");
}

TEST_F(PrefixAutoDriverTest, DayArchiveThatLacksAnInputKeepsItsTemporaryName) {
  PutArchive("20240101A.psa", HourArchive(0x1D, 0));
  PutArchive("20240101B.psa", HourArchive(0x1D, 0));
  PutArchive("20240201A.psa", HourArchive(0x1D, 31));
  std::vector<std::string> names = inputs_;
  names.push_back("20240115A.psa");
  const EngineOutcome outcome = Day(names);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(outcome.trace,
              ElementsAre(HasSubstr(directory_.Path("archive/20240115A.psa") + "  func=fopen")));
  EXPECT_THAT(Outputs(), ElementsAre("202401A.psa_tmp", "202401B.psa", "202402A.psa"));
}

// The check is held up at the last input, which is leased to this process, until the input before
// it is gone: the run then fails to open it when its turn comes.
TEST_F(PrefixAutoDriverTest, InputThatVanishesEndsItsDaysOutput) {
  PutLog("20240101A#001.psl", LogOf(0x1D, 0));
  PutLog("20240101A#002.psl", LogOf(0x1D, 0));
  PutLog("20240102A.psl", LogOf(0x1D, 1));
  const auto before = signal(SIGIO, SIG_IGN);
  const int leased = open(directory_.Path("20240102A.psl").c_str(), O_RDWR | O_CLOEXEC);
  if (fcntl(leased, F_SETLEASE, F_WRLCK) != 0) GTEST_SKIP() << "no leases in this file system";
  const pid_t child = ForkChild(
      [](void* context) {
        const EngineOutcome outcome =
            RunAutomatic(*static_cast<const TempDir*>(context),
                         {"20240101A#001.psl", "20240101A#002.psl", "20240102A.psl"}, 'H');
        const bool told = With("102 Can't open file", outcome.trace).size() == 1;
        return outcome.status == kReturned && outcome.failed == 1 && told ? 7 : 8;
      },
      &directory_);
  while (fcntl(leased, F_GETLEASE) == F_WRLCK) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  unlink(directory_.Path("20240101A#002.psl").c_str());
  fcntl(leased, F_SETLEASE, F_UNLCK);
  close(leased);
  EXPECT_EQ(WaitForChild(child), 7);
  signal(SIGIO, before);
  // The next day is not written into the output that waited for the lost input.
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa_tmp", "20240102A.psa"));
  EXPECT_EQ(Tags(Output("20240101A.psa_tmp")), "HDR CON STA");
  EXPECT_EQ(Tags(Output("20240102A.psa")), "HDR CON STA");
}

TEST_F(PrefixAutoDriverTest, PassedOverInputEndsItsDaysOutput) {
  PutLog("20240101A#001.psl", LogOf(0x1D, 0));
  PutLog("20240101A#002.psl", DayArchive(0x1C));
  PutLog("20240102A.psl", LogOf(0x1D, 1));
  EXPECT_EQ(Hour({"20240101A#001.psl", "20240101A#002.psl", "20240102A.psl"}).failed, 0);
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa", "20240102A.psa"));
}

TEST_F(PrefixAutoDriverTest, PassedOverInputDoesNotChangeTheRevision) {
  PutLog("20240101A#001.psl", LogOf(0x1D, 0));
  PutLog("20240101A#002.psl", DayArchive(0x1C));
  PutLog("20240101A#003.psl", LogOf(0x1D, 0));
  const EngineOutcome outcome =
      Hour({"20240101A#001.psl", "20240101A#002.psl", "20240101A#003.psl"});
  EXPECT_THAT(outcome.marks, ElementsAre(0, 1, 0));
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa"));
  EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA CON STA");
}

// ---- order ----

TEST_F(PrefixAutoDriverTest, MonthBeforeTheOutputsIsSkipped) {
  PutArchive("20240201A.psa", HourArchive(0x1D, 31));
  PutArchive("20240202A.psa", HourArchive(0x1D, 5));  // of January
  PutArchive("20240203A.psa", HourArchive(0x1D, 32));
  const EngineOutcome outcome = Day(inputs_);
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(outcome.trace, ElementsAre(Broken112("20240202A.psa")));
  EXPECT_THAT(Outputs(), ElementsAre("202402A.psa"));
  // The third is compared with the first again, and is its next day.
  EXPECT_EQ(Tags(Output("202402A.psa")), "HDR CON STA STA");
}

TEST_F(PrefixAutoDriverTest, OutputEndingWithASkippedInputKeepsItsTemporaryName) {
  PutArchive("20240201A.psa", HourArchive(0x1D, 31));
  PutArchive("20240202A.psa", HourArchive(0x1D, 5));
  EXPECT_EQ(Day(inputs_).failed, 1);
  EXPECT_THAT(Outputs(), ElementsAre("202402A.psa_tmp"));
}

TEST_F(PrefixAutoDriverTest, DayBeforeTheLastInputsIsReadWithoutAMark) {
  PutArchive("20240105A.psa", HourArchive(0x1D, 4));
  PutArchive("20240106A.psa", HourArchive(0x1D, 2));
  const EngineOutcome outcome = Day(inputs_);
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.failed, 0);
  EXPECT_THAT(outcome.trace, ElementsAre(Broken112("20240106A.psa")));
  EXPECT_THAT(Outputs(), ElementsAre("202401A.psa"));
  EXPECT_EQ(Tags(Output("202401A.psa")), "HDR CON STA CON STA");
}

TEST_F(PrefixAutoDriverTest, DayBeforeTheLastInputsDoesNotSpoilTheOutputItFollows) {
  PutArchive("20240105A.psa", HourArchive(0x1D, 4));
  PutArchive("20240106A.psa", HourArchive(0x1C, 2));
  Day(inputs_);
  EXPECT_THAT(Outputs(), ElementsAre("202401A#002.psa", "202401A.psa"));
}

}  // namespace
