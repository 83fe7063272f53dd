// The archive driver in automatic runs: inputs that the header check drops, and inputs that turn
// out to be broken, which fail without ending the run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>

#include <filesystem>

#include "tests/engine/auto_driver_fixture.h"
#include "tests/support/engine_run.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"
#include "tests/support/sample_records.h"

namespace {

using spell::Bytes;
using spell::Records;
using spell::Statistics;
using spell::Tags;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

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
    std::filesystem::remove(directory_.Path("archive/202401A.psa"));
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

}  // namespace
