// The archive driver in manual runs: which inputs go into which output, how outputs are cut, named
// and finished, and what is left when something fails.
#include "engine/QelprfarcMain.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
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
using spell::Found;
using spell::GetU8;
using spell::kDay;
using spell::kNewYear;
using spell::Records;
using spell::Statistics;
using spell::Structure;
using spell::Tags;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A date of 2024 and the stamp of its midnight.
struct Date {
  int month, day;
  uint32_t Stamp() const {
    uint32_t days = static_cast<uint32_t>(day) - 1;
    constexpr uint32_t kLengths[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (int i = 1; i < month; ++i) days += kLengths[i - 1];
    return kNewYear + days * kDay;
  }
};

spell::Header HeaderOf(uint8_t revision, char level, Date date) {
  return {.revision = revision,
          .level = level,
          .time = date.Stamp(),
          .month = date.month,
          .day = date.day};
}

// A log of two samples in one hour.
Bytes LogOf(uint8_t revision, Date date) {
  return spell::Log(HeaderOf(revision, 'L', date), {date.Stamp() + 60, date.Stamp() + 120});
}

// An hour archive of two hours whose structure record may be continued.
Bytes HourArchive(uint8_t revision, Date date, uint32_t logical_disks = 1) {
  const uint32_t time = date.Stamp();
  return HeaderRecord(HeaderOf(revision, 'H', date)) +
         Structure(revision, {.time = time, .continuation = 1, .logical_disks = logical_disks}) +
         Statistics(revision, {.time = time + 3599, .logical_disks = logical_disks}) +
         Statistics(revision, {.time = time + 7199, .logical_disks = logical_disks});
}

class DriverTest : public ::testing::Test {
 protected:
  DriverTest() { directory_.MakeDirectory("out"); }

  std::string Put(const std::string& name, const Bytes& bytes) {
    directory_.Write(name, bytes);
    return directory_.Path(name);
  }

  EngineOutcome Run(const std::vector<std::string>& inputs, ManualSettings settings = {}) {
    if (settings.directory.empty()) settings.directory = directory_.Path("out/");
    return RunManual(inputs, settings);
  }

  Bytes Output(const std::string& name) { return directory_.Read("out/" + name); }
  std::vector<std::string> Outputs() { return directory_.Names("out"); }

  const TimeZone zone_{"UTC"};
  TempDir directory_;
};

// ---- hour archives ----

TEST_F(DriverTest, LogsOfOneDayAndArrayShareAnHourArchive) {
  for (const uint8_t revision : {uint8_t{0x10}, uint8_t{0x1C}, uint8_t{0x1D}, uint8_t{0x21}}) {
    const EngineOutcome outcome = Run({Put("20240101A#001.psl", LogOf(revision, {1, 1})),
                                       Put("20240101A#002.psl", LogOf(revision, {1, 1})),
                                       Put("20240102A.psl", LogOf(revision, {1, 2})),
                                       Put("20240102B.psl", LogOf(revision, {1, 2}))});
    EXPECT_EQ(outcome.status, kReturned);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa", "20240102A.psa", "20240102B.psa"));
    // The last, partial period of each input is a record of its own.
    EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA CON STA") << int{revision};
    EXPECT_EQ(Tags(Output("20240102A.psa")), "HDR CON STA");
    EXPECT_EQ(Output("20240101A.psa").at(12), 'H');
  }
}

TEST_F(DriverTest, InputsAreTakenInTheOrderOfArrayDateAndSequence) {
  Bytes first = LogOf(0x1D, {1, 1});
  Bytes second = LogOf(0x1D, {1, 1});
  spell::SetU8(second, 256 + 3, 0x99);  // flag byte of its structure record
  const std::string b = Put("20240101A#002.psl", second);
  const std::string a = Put("20240101A.psl", first);
  EXPECT_EQ(Run({b, a}).status, kReturned);
  EXPECT_EQ(Records(Output("20240101A.psa")).at(3).flag, 0x99);
  // "-noperiod" keeps the order given.
  EXPECT_EQ(Run({b, a}, {.noperiod = true}).status, kReturned);
  EXPECT_EQ(Records(Output("20240101A.psa")).at(1).flag, 0x99);
}

TEST_F(DriverTest, VerboseRunsTellTheInputsOfEachOutput) {
  const std::string a = Put("20240101A.psl", LogOf(0x1D, {1, 1}));
  const std::string b = Put("20240101A#002.psl", LogOf(0x1D, {1, 1}));
  const std::string c = Put("20240102A.psl", LogOf(0x1D, {1, 2}));
  EXPECT_EQ(Run({c, b, a}, {.verbose = true}).out,
            a + " --> 20240101A.psa\n" + b + " --> 20240101A.psa\n" + c + " --> 20240102A.psa\n");
}

TEST_F(DriverTest, InputsOfDifferentDirectoriesAreNotOfTheSameDay) {
  directory_.MakeDirectory("x");
  directory_.MakeDirectory("y");
  const EngineOutcome outcome = Run(
      {Put("x/20240101A.psl", LogOf(0x1D, {1, 1})), Put("y/20240101A.psl", LogOf(0x1D, {1, 1}))});
  // The second would overwrite the archive of the first.
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "Qelprfarc: 102 Can't open file -- " +
                             directory_.Path("out/20240101A.psa") + "  func=open errno=17\n");
  EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA");
}

// "#" in the name of a directory once made all days in it one day.
TEST_F(DriverTest, NumberSignOfADirectorySeparatesNoDays) {
  directory_.MakeDirectory("d#1");
  const EngineOutcome outcome = Run({Put("d#1/20240101A.psl", LogOf(0x1D, {1, 1})),
                                     Put("d#1/20240102A.psl", LogOf(0x1D, {1, 2}))});
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa", "20240102A.psa"));
}

// ---- day archives ----

TEST_F(DriverTest, DayArchiveIsCutWhenTheMonthAdvances) {
  for (const uint8_t revision : {uint8_t{0x13}, uint8_t{0x1C}, uint8_t{0x1D}}) {
    const EngineOutcome outcome = Run({Put("20240131A.psa", HourArchive(revision, {1, 31})),
                                       Put("20240201A.psa", HourArchive(revision, {2, 1})),
                                       Put("20240202A.psa", HourArchive(revision, {2, 2})),
                                       Put("20240501A.psa", HourArchive(revision, {5, 1}))});
    EXPECT_EQ(outcome.status, kReturned);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(Outputs(), ElementsAre("202401A.psa", "202402A.psa", "202405A.psa"));
    EXPECT_EQ(Tags(Output("202401A.psa")), "HDR CON STA") << int{revision};
    EXPECT_EQ(Tags(Output("202402A.psa")), "HDR CON STA STA");
    EXPECT_EQ(Tags(Output("202405A.psa")), "HDR CON STA");
    EXPECT_EQ(Output("202402A.psa").at(12), 'D');
  }
}

TEST_F(DriverTest, TurnOfTheYearIsOneMonth) {
  Bytes december = HourArchive(0x1C, {1, 1});
  spell::SetU32(december, 4, kNewYear - kDay);
  const size_t records = 256 + spell::GetU32(december, 256 + 8);
  spell::SetU32(december, records + 4, kNewYear - 10);
  const size_t last = records + spell::GetU32(december, records + 8);
  spell::SetU32(december, last + 4, kNewYear - 5);
  EXPECT_EQ(
      Run({Put("20231231A.psa", december), Put("20240101A.psa", HourArchive(0x1C, {1, 1}))}).status,
      kReturned);
  EXPECT_THAT(Outputs(), ElementsAre("202312A.psa", "202401A.psa"));
}

TEST_F(DriverTest, NextDayWithTheSameConfigurationSkipsItsStructureRecord) {
  for (const uint8_t revision : {uint8_t{0x10}, uint8_t{0x18}, uint8_t{0x1C}, uint8_t{0x21}}) {
    Run({Put("20240301A.psa", HourArchive(revision, {3, 1})),
         Put("20240302A.psa", HourArchive(revision, {3, 2})),
         Put("20240303A.psa", HourArchive(revision, {3, 3}))});
    EXPECT_EQ(Tags(Output("202403A.psa")), "HDR CON STA STA STA") << int{revision};
    EXPECT_EQ(GetU8(Records(Output("202403A.psa")).at(1).bytes, 12), 1U);
  }
}

TEST_F(DriverTest, SkippedDayGetsNoNextDayMark) {
  for (const uint8_t revision : {uint8_t{0x10}, uint8_t{0x1C}, uint8_t{0x1D}}) {
    Run({Put("20240301A.psa", HourArchive(revision, {3, 1})),
         Put("20240303A.psa", HourArchive(revision, {3, 3}))});
    const Bytes output = Output("202403A.psa");
    ASSERT_EQ(Tags(output), "HDR CON STA CON STA") << int{revision};
    EXPECT_EQ(GetU8(Records(output)[1].bytes, 12), 1U);
    EXPECT_EQ(GetU8(Records(output)[3].bytes, 12), 0U);
  }
}

TEST_F(DriverTest, SameDayGetsNoNextDayMark) {
  Run({Put("20240301A.psa", HourArchive(0x1D, {3, 1})),
       Put("20240301A#002.psa", HourArchive(0x1D, {3, 1}))});
  EXPECT_EQ(Tags(Output("202403A.psa")), "HDR CON STA CON STA");
}

TEST_F(DriverTest, ChangedConfigurationIsWrittenOnTheNextDayToo) {
  Run({Put("20240301A.psa", HourArchive(0x1D, {3, 1})),
       Put("20240302A.psa", HourArchive(0x1D, {3, 2}, 2))});
  const Bytes output = Output("202403A.psa");
  ASSERT_EQ(Tags(output), "HDR CON STA CON STA");
  EXPECT_EQ(GetU8(Records(output)[3].bytes, 12), 0U);
}

TEST_F(DriverTest, AnotherArrayGetsItsOwnDayArchive) {
  EXPECT_EQ(Run({Put("20240301A.psa", HourArchive(0x1D, {3, 1})),
                 Put("20240229B.psa", HourArchive(0x1D, {2, 29})),
                 Put("20240302A.psa", HourArchive(0x1D, {3, 2}))})
                .status,
            kReturned);
  EXPECT_THAT(Outputs(), ElementsAre("202402B.psa", "202403A.psa"));
  EXPECT_EQ(Tags(Output("202403A.psa")), "HDR CON STA STA");
}

TEST_F(DriverTest, NoperiodPutsEverythingIntoOneOutput) {
  EXPECT_EQ(Run({Put("20240301A.psa", HourArchive(0x1D, {3, 1})),
                 Put("20240131B.psa", HourArchive(0x1D, {1, 31})),
                 Put("20240505C.psa", HourArchive(0x1D, {5, 5}))},
                {.noperiod = true})
                .status,
            kReturned);
  EXPECT_THAT(Outputs(), ElementsAre("202403A.psa"));
  EXPECT_EQ(Tags(Output("202403A.psa")), "HDR CON STA STA STA");
}

TEST_F(DriverTest, MonthBeforeTheOutputsEndsTheRun) {
  for (const uint8_t revision : {uint8_t{0x1C}, uint8_t{0x1D}}) {
    const std::string late = Put("20240302A.psa", HourArchive(revision, {2, 28}));
    const EngineOutcome outcome = Run({Put("20240101A.psa", HourArchive(revision, {1, 1})),
                                       Put("20240301A.psa", HourArchive(revision, {3, 1})), late});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "Qelprfarc: 112 Record broken -- " + late + "\n");
    // The output in progress is removed, the finished one stays.
    EXPECT_THAT(Outputs(), ElementsAre("202401A.psa"));
  }
}

TEST_F(DriverTest, DayBeforeTheLastInputsEndsTheRun) {
  for (const uint8_t revision : {uint8_t{0x1C}, uint8_t{0x1D}}) {
    const std::string late = Put("20240310A.psa", HourArchive(revision, {3, 4}));
    const EngineOutcome outcome = Run({Put("20240305A.psa", HourArchive(revision, {3, 5})), late});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "Qelprfarc: 112 Record broken -- " + late + "\n");
    EXPECT_THAT(Outputs(), IsEmpty());
  }
}

// ---- time zones ----

TEST_F(DriverTest, NewRevisionsAreNamedByTheirHeaderAndOldOnesByLocalTime) {
  const TimeZone zone("JST-9");
  Bytes fresh = LogOf(0x1D, {1, 1});
  Bytes old = LogOf(0x1C, {1, 1});
  spell::SetU32(fresh, 4, kNewYear + 20 * 3600);
  spell::SetU32(old, 4, kNewYear + 20 * 3600);
  Run({Put("20240101A.psl", fresh), Put("20240101B.psl", old)});
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa", "20240102B.psa"));
}

// Behind an older file the stamps of a newer one are compared with its dates, in UTC.
TEST_F(DriverTest, PeriodsOfNewRevisionsAreCutInUtc) {
  const TimeZone zone("JST-9");
  Bytes fresh = HourArchive(0x1D, {1, 31});
  spell::SetU32(fresh, 4, Date{1, 31}.Stamp() + 20 * 3600);  // 1 February in Japan
  const EngineOutcome outcome =
      Run({Put("20240130A.psa", HourArchive(0x1C, {1, 30})), Put("20240131A.psa", fresh)});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_THAT(Outputs(), ElementsAre("202401A#002.psa", "202401A.psa"));
  EXPECT_THAT(With("TZ ", outcome.trace),
              ElementsAre("TZ Local to UTC", "TZ UTC to Local", "TZ Local to UTC"));
}

TEST_F(DriverTest, PeriodsOfOldRevisionsAreCutInLocalTime) {
  const TimeZone zone("JST-9");
  Bytes late = HourArchive(0x1C, {1, 31});
  spell::SetU32(late, 4, Date{1, 31}.Stamp() + 20 * 3600);
  Run({Put("20240131A.psa", HourArchive(0x1C, {1, 31})), Put("20240201A.psa", late)});
  EXPECT_THAT(Outputs(), ElementsAre("202401A.psa", "202402A.psa"));
}

// ---- revision changes ----

TEST_F(DriverTest, AnotherRevisionGoesIntoASequel) {
  const EngineOutcome outcome = Run(
      {Put("20240101A#001.psl", LogOf(0x1C, {1, 1})), Put("20240101A#002.psl", LogOf(0x1D, {1, 1})),
       Put("20240101A#003.psl", LogOf(0x1D, {1, 1})), Put("20240101A#004.psl", LogOf(0x1C, {1, 1})),
       Put("20240102A.psl", LogOf(0x1D, {1, 2}))});
  EXPECT_EQ(outcome.status, kReturned);
  EXPECT_THAT(Outputs(), ElementsAre("20240101A#002.psa", "20240101A#003.psa", "20240101A.psa",
                                     "20240102A.psa"));
  EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA");
  EXPECT_EQ(Tags(Output("20240101A#002.psa")), "HDR CON STA CON STA");
  EXPECT_EQ(Output("20240101A#002.psa").at(3), 0x1D);
  EXPECT_EQ(Output("20240101A#003.psa").at(3), 0x1C);
}

TEST_F(DriverTest, SequelsOfADayArchive) {
  Run({Put("20240101A.psa", HourArchive(0x1D, {1, 1})),
       Put("20240102A.psa", HourArchive(0x1F, {1, 2})),
       Put("20240103A.psa", HourArchive(0x1F, {1, 3})),
       Put("20240201A.psa", HourArchive(0x1D, {2, 1}))});
  EXPECT_THAT(Outputs(), ElementsAre("202401A#002.psa", "202401A.psa", "202402A.psa"));
  EXPECT_EQ(Tags(Output("202401A#002.psa")), "HDR CON STA STA");
}

TEST_F(DriverTest, SequelsOfAnOutputPath) {
  const std::vector<std::string> inputs = {Put("20240101A#001.psl", LogOf(0x1C, {1, 1})),
                                           Put("20240101A#002.psl", LogOf(0x1D, {1, 1})),
                                           Put("20240101A#003.psl", LogOf(0x1C, {1, 1}))};
  Run(inputs, {.outpath = directory_.Path("out/mine.bin")});
  EXPECT_THAT(Outputs(), ElementsAre("mine#002.bin", "mine#003.psa", "mine.bin"));
  directory_.MakeDirectory("dir.d");
  Run(inputs, {.outpath = directory_.Path("dir.d/mine")});
  EXPECT_THAT(directory_.Names("dir.d"), ElementsAre("mine", "mine#002", "mine#003.psa"));
}

// ---- inputs that are not archived ----

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
  while (fcntl(leased, F_GETLEASE) == F_WRLCK) {
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

// ---- outputs ----

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

// A link, because the run removes what it could not write.
TEST_F(DriverTest, FullDiskEndsTheRunAndRemovesTheOutput) {
  const std::string path = directory_.Path("out/full.psa");
  ASSERT_EQ(symlink("/dev/full", path.c_str()), 0);
  const EngineOutcome outcome = Run({Put("20240101A.psl", LogOf(0x1D, {1, 1}))}, {.outpath = path});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "Qelprfarc: 111 Write error -- 20240101A.psa  func=write errno=28\n");
  EXPECT_FALSE(directory_.Exists("out/full.psa"));
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
  EXPECT_FALSE(directory_.Exists("out/full.psa"));
  EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

TEST_F(DriverTest, MemoryFreeClearsTheLists) {
  Run({Put("20240101A.psl", LogOf(0x21, {1, 1}))});
  EXPECT_EQ(TargetList, nullptr);
  EXPECT_EQ(Ntarget, 0);
  EXPECT_EQ(Flist, nullptr);
  EXPECT_EQ(FlistBuf, nullptr);
  EXPECT_EQ(finfo.header_read, nullptr);
  EXPECT_EQ(finfo.header_written, nullptr);
  EXPECT_EQ(finfo.target_marks, nullptr);
  MemoryFree();  // a second time
}

}  // namespace
