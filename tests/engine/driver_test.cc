// The archive driver in manual runs: which inputs go into which output, and how outputs are cut and
// named.
#include "engine/QelprfarcMain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "tests/support/driver_fixture.h"
#include "tests/support/engine_run.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"

namespace {

using spell::Bytes;
using spell::GetU8;
using spell::kDay;
using spell::kNewYear;
using spell::Records;
using spell::Tags;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

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
  EXPECT_EQ(Tags(Output("202403A.psa")), "HDR CON STA CON STA CON STA");
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

// ---- what a run leaves ----

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
