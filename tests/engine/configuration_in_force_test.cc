// Which structure record is in force: of the array and the revision at hand, and how much of it a
// new output still knows. Each is archived by the program as a whole and compared with bytes by
// hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/driver_fixture.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/tools/audit_run.h"

namespace {

using spell::Bytes;
using spell::Tags;
using ::testing::ElementsAre;

class ConfigurationInForce : public DriverTest {
 protected:
  ProgramResult Archive(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"-o", directory_.Path("out")});
    return RunProgram(QELPRFARC_PATH, arguments);
  }

  // The audit computes the archive by rules of its own.
  void ExpectAuditAgrees(const std::string& archive, const std::vector<std::string>& inputs,
                         bool no_period = false) {
    const AuditRequest request = {{.archive = directory_.Path("out/" + archive),
                                   .inputs = inputs,
                                   .no_period = no_period,
                                   .whole_run = true},
                                  AuditRun::kManual};
    const Audited audited = RunAudit(request);
    EXPECT_EQ(audited.result.findings, 0U) << audited.Text();
  }

  static Bytes WithoutStructure(uint8_t revision, Date date, char level = 'L') {
    return spell::HeaderRecord(HeaderOf(revision, level, date)) +
           spell::Statistics(revision, {.time = date.Stamp() + 60});
  }
};

// Once, three disks of B were summed into the one disk of A, with status 0.
TEST_F(ConfigurationInForce, LogOfAnotherArrayDoesNotTakeTheTablesBeforeIt) {
  Put("20240101A.psl", LogOf(0x1D, {1, 1}));
  const std::string other = Put("20240101B.psl", WithoutStructure(0x1D, {1, 1}));
  const ProgramResult result = Archive({directory_.Path("20240101A.psl"), other});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "Qelprfarc: 112 Record broken -- " + other + "\n");
  EXPECT_THAT(Outputs(), ElementsAre("20240101A.psa"));
}

TEST_F(ConfigurationInForce, SameArrayGoesOnWithTheTablesOfItsFileBefore) {
  const ProgramResult result = Archive({Put("20240101A#001.psl", LogOf(0x1D, {1, 1})),
                                        Put("20240101A#002.psl", WithoutStructure(0x1D, {1, 1}))});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA STA");
}

// The array is what the order of the inputs takes for it: "A.x" is not "A", though the archives of
// both have the same name.
TEST_F(ConfigurationInForce, ArrayIsThatOfTheSortOrder) {
  Put("20240101A.x.psl", LogOf(0x1D, {1, 1}));  // the first in this order
  const std::string other = Put("20240102A.psl", WithoutStructure(0x1D, {1, 2}));
  const ProgramResult result = Archive({"-d", directory_.Path("20240101A.x.psl"), other});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "Qelprfarc: 112 Record broken -- " + other + "\n");
}

// In one output, too: without periods inputs of all arrays follow each other.
TEST_F(ConfigurationInForce, RunWithoutPeriodsDropsTheTablesOfAnotherArray) {
  const std::string first = Put("20240101A.psa", HourArchive(0x1D, {1, 1}));
  const std::string other = Put("20240102B.psa", WithoutStructure(0x1D, {1, 2}, 'H'));
  const EngineOutcome outcome = Run({first, other}, {.noperiod = true});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "Qelprfarc: 112 Record broken -- " + other + "\n");
}

// Nor is the record of another array left out as one that changes nothing.
TEST_F(ConfigurationInForce, EqualStructureOfAnotherArrayIsWritten) {
  const std::vector<std::string> inputs = {Put("20240101A.psa", HourArchive(0x1D, {1, 1})),
                                           Put("20240102B.psa", HourArchive(0x1D, {1, 2})),
                                           Put("20240103B.psa", HourArchive(0x1D, {1, 3}))};
  const EngineOutcome outcome = Run(inputs, {.noperiod = true});
  EXPECT_EQ(outcome.status, kReturned) << outcome.err;
  EXPECT_EQ(Tags(Output("202401A.psa")), "HDR CON STA CON STA STA");
  ExpectAuditAgrees("202401A.psa", inputs, true);
}

// A file of another revision between two others takes the tables away, though it uses none.
TEST_F(ConfigurationInForce, FileOfAnotherRevisionDropsTheTables) {
  const std::string last = Put("20240101A#003.psl", WithoutStructure(0x1D, {1, 1}));
  const ProgramResult result =
      Archive({Put("20240101A#001.psl", LogOf(0x1D, {1, 1})),
               Put("20240101A#002.psl", spell::HeaderRecord(HeaderOf(0x1C, 'L', {1, 1}))), last});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "Qelprfarc: 112 Record broken -- " + last + "\n");
}

// ---- a new output ----

// Hour archives of the last day of January, of 1 February without a structure record, and of 2
// February with it: the second output begins with the tables of the first. Returns the continuation
// flag that its structure record gets.
class CountsOfItems : public ConfigurationInForce {
 protected:
  int FlagInTheNewOutput(const Bytes& structure) {
    const auto file = [](Date date, const Bytes& record) {
      return spell::HeaderRecord(HeaderOf(0x1D, 'H', date)) + record +
             spell::Statistics(0x1D, {.time = date.Stamp() + 3599});
    };
    const std::vector<std::string> inputs = {Put("20240131A.psa", file({1, 31}, structure)),
                                             Put("20240201A.psa", file({2, 1}, "")),
                                             Put("20240202A.psa", file({2, 2}, structure))};
    const EngineOutcome outcome = Run(inputs);
    EXPECT_EQ(outcome.status, kReturned) << outcome.err;
    const auto records = spell::Records(Output("202402A.psa"));
    EXPECT_EQ(Tags(Output("202402A.psa")), "HDR STA CON STA");
    ExpectAuditAgrees("202402A.psa", inputs);
    return records.size() > 2 ? records[2].bytes[12] : -1;
  }

  // Basic information stands behind the head of 256 bytes, the word of pairs at 100 in it.
  static Bytes StructureWithPairs(uint32_t word) {
    Bytes bytes = spell::Structure(0x1D, {.continuation = 1});
    spell::SetU16(bytes, 256 + 100, word);
    return bytes;
  }
};

// Once, the count of the output before was still compared with.
TEST_F(CountsOfItems, AreForgottenSoThatTheRecordIsTakenForChanged) {
  EXPECT_EQ(FlagInTheNewOutput(StructureWithPairs(0x8002)), 0);
}

TEST_F(CountsOfItems, OfNothingOrAbsentAreStillTheSame) {
  EXPECT_EQ(FlagInTheNewOutput(StructureWithPairs(0x8000)), 1);
  EXPECT_EQ(FlagInTheNewOutput(StructureWithPairs(0)), 1);
}

// ---- basic information ----

class BasicInformation : public ConfigurationInForce, public ::testing::WithParamInterface<int> {};

// Once, an offset below 12 broke the record. The 112 bytes are then those of the head itself.
TEST_P(BasicInformation, MayLieAnywhereInItsRecord) {
  const auto revision = static_cast<uint8_t>(GetParam());
  for (const uint32_t offset : {0U, 5U, 11U}) {
    Bytes structure = spell::Structure(revision);
    spell::SetU32(structure, 20, offset);
    spell::SetU8(structure, offset + 97, 0);  // no wait times, no second key
    const Bytes expected = structure.substr(offset, 112);
    const std::string input =
        Put("20240101A.psl", spell::HeaderRecord(HeaderOf(revision, 'L', {1, 1})) + structure);
    const ProgramResult result = Archive({input});
    EXPECT_EQ(result.status, 0) << result.err;
    const auto records = spell::Records(Output("20240101A.psa"));
    ASSERT_EQ(records.size(), 2U);
    const size_t head = spell::HeadSize(revision);
    EXPECT_EQ(records[1].bytes.substr(head, 112), expected);
    EXPECT_EQ(spell::GetU32(records[1].bytes, 20), head);
    ExpectAuditAgrees("20240101A.psa", {input});
  }
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, BasicInformation, EachRevision(), RevisionParam<int>);

}  // namespace
