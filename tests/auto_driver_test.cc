// The archive driver in automatic runs: temporary names, inputs that fail without ending the run,
// and outputs that must not look complete.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "engine/finfo.h"
#include "tests/support/engine_run.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

namespace {

using spell::Bytes;
using spell::HeaderRecord;
using spell::kDay;
using spell::kNewYear;
using spell::Records;
using spell::Statistics;
using spell::Structure;
using spell::Tags;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// Days are counted from 1 January 2024: 31 is 1 February.
uint32_t Stamp(uint32_t day) { return kNewYear + day * kDay; }

Bytes LogOf(uint8_t revision, uint32_t day) {
  return spell::Log({.revision = revision, .time = Stamp(day)}, {Stamp(day) + 60});
}

Bytes HourArchive(uint8_t revision, uint32_t day) {
  return HeaderRecord({.revision = revision, .level = 'H', .time = Stamp(day)}) +
         Structure(revision, {.time = Stamp(day), .continuation = 1}) +
         Statistics(revision, {.time = Stamp(day) + 3599});
}

Bytes DayArchive(uint8_t revision) { return HeaderRecord({.revision = revision, .level = 'D'}); }

// Two good samples, then a record that is none.
Bytes Broken(const Bytes& good) {
  return good + Records(good).back().bytes + spell::Record("XXX", 0, 0, "");
}

// Automatic runs write to the operation log below the test prefix.
class PrefixAutoDriverTest : public ::testing::Test {
 protected:
  PrefixAutoDriverTest() {
    directory_.MakeDirectory("archive");
    unlink(log_.c_str());
  }

  void PutLog(const std::string& name, const Bytes& bytes) { directory_.Write(name, bytes); }
  void PutArchive(const std::string& name, const Bytes& bytes) {
    directory_.Write("archive/" + name, bytes);
    inputs_.push_back(name);
  }

  EngineOutcome Hour(const std::vector<std::string>& names) {
    return RunAutomatic(directory_, names, 'H');
  }
  EngineOutcome Day(const std::vector<std::string>& names) {
    return RunAutomatic(directory_, names, 'D');
  }

  Bytes Output(const std::string& name) { return directory_.Read("archive/" + name); }

  // Names in "archive" that are no inputs.
  std::vector<std::string> Outputs() {
    std::vector<std::string> outputs;
    for (const std::string& name : directory_.Names("archive")) {
      if (std::find(inputs_.begin(), inputs_.end(), name) == inputs_.end()) {
        outputs.push_back(name);
      }
    }
    return outputs;
  }

  static std::string Broken112(const std::string& name) {
    return "Qelprfarc: 112 Record broken -- " + name;
  }

  std::string Log() const { return TempDir::ReadFile(log_); }

  const std::string log_ = std::string(QELPRFARC_TEST_PREFIX) + "etc/log/operation.log";
  const TimeZone zone_{"UTC"};
  TempDir directory_;
  std::vector<std::string> inputs_;
};

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

// ---- inputs that the header check drops ----

TEST_F(PrefixAutoDriverTest, InputsThatTheCheckDropsCountAsFailed) {
  PutLog("20240101A.psl", LogOf(0x1D, 0));
  PutLog("20240102A.psl", "short");
  PutLog("20240103A.psl", Bytes(300, 'x'));
  PutLog("20240104A.psl", "HDR\x22" + Bytes(300, 'x'));
  PutLog("20240105A.psl", LogOf(0x1D, 4));
  const EngineOutcome outcome =
      Hour({"20240101A.psl", "20240102A.psl", "20240103A.psl", "20240104A.psl", "20240105A.psl"});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(outcome.trace,
              ElementsAre("Qelprfarc: 110 Read error -- 20240102A.psl  func=read errno=0",
                          "Qelprfarc: 101 Not PSL file -- 20240103A.psl",
                          "Qelprfarc: 120 Illegal file format -- 20240104A.psl"));
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa", "20240105A.psa"));
}

TEST_F(PrefixAutoDriverTest, SelectionOfDroppedInputsEndsQuietly) {
  PutLog("20240102A.psl", "short");
  const EngineOutcome outcome = Hour({"20240102A.psl", "20240103A.psl"});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(With("107", outcome.trace), IsEmpty());
  EXPECT_THAT(Outputs(), IsEmpty());
}

TEST_F(PrefixAutoDriverTest, OnlyDayArchivesEndTheSelectionNotTheProcess) {
  PutArchive("202401A.psa", DayArchive(0x1D));
  PutArchive("202401B.psa", DayArchive(0x10));
  const EngineOutcome outcome = Day(inputs_);
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_THAT(outcome.trace, ElementsAre("Qelprfarc: 107 Can't find target file"));
  EXPECT_THAT(outcome.marks, ElementsAre(1, 1));
  EXPECT_EQ(outcome.failed, 0);
}

// ---- broken inputs ----

TEST_F(PrefixAutoDriverTest, BrokenLogLeavesAnEmptyArchiveAndTheDayIsDone) {
  PutLog("20240101A#001.psl", LogOf(0x1D, 0));
  PutLog("20240101A#002.psl", Broken(LogOf(0x1D, 0)));
  PutLog("20240101A#003.psl", LogOf(0x1D, 0));
  PutLog("20240102A.psl", LogOf(0x1D, 1));
  const EngineOutcome outcome =
      Hour({"20240101A#001.psl", "20240101A#002.psl", "20240101A#003.psl", "20240102A.psl"});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(outcome.trace, ElementsAre(Broken112("20240101A#002.psl")));
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa", "20240102A.psa"));
  EXPECT_EQ(Output("20240101A.psa"), "");
  EXPECT_EQ(Tags(Output("20240102A.psa")), "HDR CON STA");
}

TEST_F(PrefixAutoDriverTest, RestOfABrokenDayIsPassedOverWhateverItsRevision) {
  PutLog("20240101A#001.psl", Broken(LogOf(0x1D, 0)));
  PutLog("20240101A#002.psl", LogOf(0x1C, 0));
  PutLog("20240101B.psl", LogOf(0x1C, 0));
  Hour({"20240101A#001.psl", "20240101A#002.psl", "20240101B.psl"});
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa", "20240101B.psa"));
  EXPECT_EQ(Output("20240101A.psa"), "");
}

TEST_F(PrefixAutoDriverTest, BrokenDayThatLacksAnInputKeepsItsTemporaryName) {
  PutLog("20240101A#001.psl", Broken(LogOf(0x1D, 0)));
  Hour({"20240101A#001.psl", "20240101A#002.psl"});
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa_tmp"));
  EXPECT_EQ(Output("20240101A.psa_tmp"), "");
}

TEST_F(PrefixAutoDriverTest, DayArchiveAfterABrokenLastInputKeepsItsTemporaryName) {
  PutArchive("20240101A.psa", HourArchive(0x1D, 0));
  PutArchive("20240102A.psa", Broken(HourArchive(0x1D, 1)));
  const EngineOutcome outcome = Day(inputs_);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(outcome.trace, ElementsAre(Broken112("20240102A.psa")));
  EXPECT_THAT(Outputs(), ElementsAre("202401A.psa_tmp"));
  EXPECT_EQ(Tags(Output("202401A.psa_tmp")), "HDR CON STA");
}

TEST_F(PrefixAutoDriverTest, OutputStaysOpenForTheInputBehindABrokenOne) {
  for (const uint8_t revision : {uint8_t{0x10}, uint8_t{0x18}, uint8_t{0x1C}, uint8_t{0x21}}) {
    inputs_.clear();
    PutArchive("20240101A.psa", HourArchive(revision, 0));
    PutArchive("20240102A.psa", Broken(HourArchive(revision, 1)));
    PutArchive("20240103A.psa", HourArchive(revision, 2));
    const EngineOutcome outcome = Day(inputs_);
    EXPECT_EQ(outcome.failed, 1);
    EXPECT_THAT(Outputs(), ElementsAre("202401A.psa"));
    // The third day is compared with the last good one: two days on, no next-day mark. Nothing of
    // the broken input's period is in it.
    ASSERT_EQ(Tags(Output("202401A.psa")), "HDR CON STA CON STA") << int{revision};
    EXPECT_EQ(spell::DiskOperations(revision, Records(Output("202401A.psa")).at(4).bytes), 10U);
    unlink(directory_.Path("archive/202401A.psa").c_str());
  }
}

TEST_F(PrefixAutoDriverTest, NextDayBehindABrokenRepetitionIsTheNextDay) {
  PutArchive("20240101A.psa", HourArchive(0x1D, 0));
  PutArchive("20240101A#002.psa", Broken(HourArchive(0x1D, 0)));
  PutArchive("20240102A.psa", HourArchive(0x1D, 1));
  Day(inputs_);
  ASSERT_EQ(Tags(Output("202401A.psa")), "HDR CON STA CON STA");
  // Its structure record was skipped, so the slots are those of the broken input, cleared.
  EXPECT_EQ(spell::DiskOperations(0x1D, Records(Output("202401A.psa")).at(4).bytes), 10U);
}

// Compared within its array: with the broken input's own header, not with array A's last record.
TEST_F(PrefixAutoDriverTest, BrokenFirstInputIsWhatItsSuccessorIsComparedWith) {
  PutArchive("20240301A.psa", HourArchive(0x1D, 60));
  PutArchive("20240101B.psa", Broken(HourArchive(0x1D, 0)));
  PutArchive("20240102B.psa", HourArchive(0x1D, 1));
  const EngineOutcome outcome = Day(inputs_);
  EXPECT_THAT(outcome.trace, ElementsAre(Broken112("20240101B.psa")));
  EXPECT_THAT(Outputs(), ElementsAre("202401B.psa", "202403A.psa"));
  EXPECT_EQ(spell::Last(Records(Output("202401B.psa"))).time, Stamp(1) + 3599);
}

TEST_F(PrefixAutoDriverTest, BrokenRecordsOfEachSortAbandonTheInput) {
  const Bytes good = HourArchive(0x1D, 1);
  Bytes count = Statistics(0x1D, {.time = Stamp(1), .logical_disks = 2});
  for (const Bytes& bad :
       {good + "torn", good + spell::FixedRecord("NNC", 79), good + spell::FixedRecord("LDM", 63),
        good + spell::Record("STA", 0, 0, "short"), good + spell::Record("CON", 0, 0, "short"),
        good + count, good + spell::Record("HDR", 0x1D, 0, Bytes(244, '\0'))}) {
    inputs_.clear();
    PutArchive("20240101A.psa", HourArchive(0x1D, 0));
    PutArchive("20240102A.psa", bad);
    PutArchive("20240103A.psa", HourArchive(0x1D, 2));
    const EngineOutcome outcome = Day(inputs_);
    EXPECT_EQ(outcome.status, kReturned);
    EXPECT_EQ(outcome.failed, 1);
    EXPECT_THAT(outcome.trace, ElementsAre(Broken112("20240102A.psa")));
    EXPECT_EQ(spell::Last(Records(Output("202401A.psa"))).time, Stamp(2) + 3599);
  }
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

// ---- outputs that cannot be made or finished ----

TEST_F(PrefixAutoDriverTest, FailedRenameKeepsTheTemporaryNameAndTheRunGoesOn) {
  directory_.MakeDirectory("archive/20240101A.psa");
  PutLog("20240101A.psl", LogOf(0x1D, 0));
  PutLog("20240102A.psl", LogOf(0x1D, 1));
  const EngineOutcome outcome = Hour({"20240101A.psl", "20240102A.psl"});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(outcome.trace,
              ElementsAre("Qelprfarc: 111 Write error -- 20240101A.psa_tmp  func=rename errno=21"));
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

TEST_F(PrefixAutoDriverTest, FailedSyncKeepsTheTemporaryNameAndTheRunGoesOn) {
  ASSERT_EQ(symlink("/dev/null", directory_.Path("archive/20240101A.psa_tmp").c_str()), 0);
  PutLog("20240101A.psl", LogOf(0x1D, 0));
  PutLog("20240102A.psl", LogOf(0x1D, 1));
  const EngineOutcome outcome = Hour({"20240101A.psl", "20240102A.psl"});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_EQ(outcome.failed, 1);
  EXPECT_THAT(outcome.trace,
              ElementsAre("Qelprfarc: 111 Write error -- 20240101A.psa_tmp  func=fsync errno=22"));
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa_tmp", "20240102A.psa"));
}

constexpr char kFailedArchives[] = "08320 Qelprfarc 4 1 Failed in archives of psl(psa) files.";

TEST_F(PrefixAutoDriverTest, FailedWriteEndsTheRunAndRemovesTheOutput) {
  ASSERT_EQ(symlink("/dev/full", directory_.Path("archive/20240101A.psa_tmp").c_str()), 0);
  PutLog("20240101A.psl", LogOf(0x1D, 0));
  const EngineOutcome outcome = Hour({"20240101A.psl"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.trace,
              ElementsAre("Qelprfarc: 111 Write error -- 20240101A.psa_tmp  func=write errno=28"));
  EXPECT_THAT(Outputs(), IsEmpty());
  EXPECT_THAT(Log(), HasSubstr("func=write errno=28 detcode=03070001"));
  EXPECT_THAT(Log(), HasSubstr(kFailedArchives));
}

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
  EXPECT_THAT(Outputs(), ElementsAre("20240101A#002.psa_tmp", "20240101A.psa"));
  EXPECT_THAT(Log(), HasSubstr("func=open errno=21 detcode=03020004"));
  EXPECT_THAT(Log(), HasSubstr(kFailedArchives));
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
