// Archives of automatic runs, which go by the stamps of records where manual runs go by the dates
// of headers: the audit finds out which rules were in force.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tests/support/engine_run.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/run_state.h"
#include "tests/support/runs/server.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/audit_run.h"

namespace {

class PrefixPsltoolAuditAutomatic : public testing::TestWithParam<int> {};

TEST_P(PrefixPsltoolAuditAutomatic, ANightsArchivesAgree) {
  TestServer server;
  const std::string arc = server.directory.Path("arc");
  const ProgramResult made = RunProgram(
      PSLTOOL_PATH, {"make", "--revision", std::to_string(GetParam()), "--days", "3", "--ld", "3",
                     "--pd", "3", "--hp", "2", "--interval", "1800", "-o", arc});
  ASSERT_EQ(made.status, 0) << made.err;
  ASSERT_EQ(server.RunAuto().status, 0);
  const ProgramResult audit = RunProgram(
      PSLTOOL_PATH, {"audit", "--all", arc + "/archive", "--logs", arc, "--run", "automatic"});
  EXPECT_EQ(audit.status, 0) << audit.out;
  EXPECT_NE(audit.out.find("4 archives: 4 agree"), std::string::npos) << audit.out;
}

// The last interval of a day ends at midnight: by its stamp it is of the next day, so that the next
// day's log is of the same day as the record in front, and its structure record stays.
TEST_P(PrefixPsltoolAuditAutomatic, RulesOfAutomaticRunsAreFound) {
  TestServer server;
  const std::string arc = server.directory.Path("arc");
  const ProgramResult made = RunProgram(
      PSLTOOL_PATH, {"make", "--revision", std::to_string(GetParam()), "--days", "2", "--ld", "3",
                     "--pd", "3", "--hp", "2", "--interval", "1800", "-o", arc});
  ASSERT_EQ(made.status, 0) << made.err;
  std::string log = server.directory.Read("arc/20240304array01.psl");
  size_t last = 0;
  for (size_t at = 0; at < log.size(); at += Load32(log.data() + at + kAtLength)) last = at;
  Store32(log.data() + last + kAtTime, Load32(log.data() + last + kAtTime) + 1800);
  server.directory.Write("arc/20240304array01.psl", log);
  ASSERT_EQ(server.RunAuto().status, 0);
  AuditRequest request;
  request.archive = arc + "/archive/202403array01.psa";
  request.inputs = {arc + "/archive/20240304array01.psa", arc + "/archive/20240305array01.psa"};
  const Audited found = RunAudit(request);
  EXPECT_EQ(found.result.findings, 0U) << found.Text();
  request.run = AuditRun::kAutomatic;
  EXPECT_EQ(RunAudit(request).result.findings, 0U);
  request.run = AuditRun::kManual;
  const Audited manual = RunAudit(request);
  if (LayoutOf(static_cast<uint8_t>(GetParam())).row.keeps_header) {
    EXPECT_EQ(found.result.run, RunKind::kAutomatic);
    EXPECT_NE(manual.result.findings, 0U);
  } else {
    EXPECT_EQ(manual.result.findings, 0U) << manual.Text();
  }
}

// The hour archive of one day came after the day archive, which read that day's log and the hour
// archives of the others: the audit took the hour archives of all, or the logs of all.
TEST(PrefixPsltoolAuditMixed, DaysWhoseHourArchivesCameLaterAreTriedAgainstTheirLogs) {
  const TimeZone zone("UTC");
  const TempDir directory;
  const ProgramResult made =
      RunProgram(PSLTOOL_PATH, {"make", "--days", "3", "--ld", "3", "--pd", "3", "--hp", "2",
                                "--interval", "1800", "-o", directory.Path()});
  ASSERT_EQ(made.status, 0) << made.err;
  const std::vector<std::string> logs = directory.Names();
  const std::string month = "archive/202403array01.psa";
  directory.MakeDirectory("archive");
  ASSERT_EQ(RunAutomatic(directory, logs, 'H').failed, 0);
  ASSERT_EQ(RunAutomatic(directory, directory.Names("archive"), 'D').failed, 0);
  const std::string of_hours = directory.Read(month);
  std::filesystem::remove(directory.Path(month));
  ASSERT_EQ(RunAutomatic(directory,
                         {"20240305array01.psl", "20240304array01.psa", "20240306array01.psa"}, 'D')
                .failed,
            0);
  ASSERT_GT(directory.Read(month).size(), 0U);
  ASSERT_NE(directory.Read(month), of_hours);
  const auto audit = [&] {
    return RunProgram(PSLTOOL_PATH, {"audit", "--all", directory.Path("archive"), "--logs",
                                     directory.Path(), "--run", "automatic"});
  };
  const ProgramResult result = audit();
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_NE(result.out.find("4 archives: 4 agree"), std::string::npos) << result.out;
  // What is damaged is found all the same.
  std::string bytes = directory.Read(month);
  bytes[bytes.size() - 100] = static_cast<char>(bytes[bytes.size() - 100] ^ 1);
  directory.Write(month, bytes);
  EXPECT_NE(audit().out.find("202403array01.psa: 1 finding: "), std::string::npos) << audit().out;
}

// ---- a broken first input ----

// An hour archive of every kind with copy pairs and a cabinet. Without wait times its structure
// record is skipped where it continues the one before.
spell::Bytes HourArchiveWithPairs(uint8_t revision, uint32_t day) {
  const uint32_t stamp = spell::kNewYear + day * spell::kDay;
  spell::Bytes structure =
      spell::Structure(revision, {.time = stamp, .continuation = 1, .all_kinds = true});
  spell::SetU8(structure, spell::HeadSize(revision) + kBasicFlags, 0);
  spell::Bytes statistics = spell::Statistics(revision, {.time = stamp + 60, .all_kinds = true});
  size_t item = spell::GetU32(statistics, 20);
  for (uint32_t i = 0; i < spell::GetU16(statistics, 18); ++i) {
    if (spell::GetU8(statistics, item + kItemType) == 33) {
      spell::SetU8(statistics, item + kItemType, 99);  // of a kind that is passed over
    }
    item += spell::GetU32(statistics, item + kItemLength);
  }
  return spell::HeaderRecord({.revision = revision, .level = 'H', .time = stamp}) + structure +
         statistics;
}

class PrefixBrokenFirstInput : public testing::TestWithParam<int> {};

// The archive tells nothing of the broken day but its structure record, so the next day's record
// has to tell the pairs that the broken day told already.
TEST_P(PrefixBrokenFirstInput, ItsPairsAreToldByTheNextDay) {
  const auto revision = static_cast<uint8_t>(GetParam());
  const TimeZone zone("UTC");
  const TempDir directory;
  directory.MakeDirectory("archive");
  directory.Write("archive/20240101A.psa",
                  HourArchiveWithPairs(revision, 0) + spell::Record("XXX", 0, 0, ""));
  directory.Write("archive/20240102A.psa", HourArchiveWithPairs(revision, 1));
  ASSERT_EQ(RunAutomatic(directory, {"20240101A.psa", "20240102A.psa"}, 'D').failed, 1);
  const spell::Bytes archive = directory.Read("archive/202401A.psa");
  ASSERT_EQ(spell::Tags(archive), "HDR CON STA");
  const spell::Bytes record = spell::Records(archive).at(2).bytes;
  size_t item = spell::GetU32(record, 20);
  for (uint32_t i = 0; i < spell::GetU16(record, 18); ++i) {
    EXPECT_EQ(spell::GetU16(record, item + kItemCount), 1U)
        << "type " << spell::GetU8(record, item + kItemType);
    item += spell::GetU32(record, item + kItemLength);
  }
  AuditRequest request;
  request.archive = directory.Path("archive/202401A.psa");
  request.inputs = {directory.Path("archive/20240101A.psa"),
                    directory.Path("archive/20240102A.psa")};
  request.run = AuditRun::kAutomatic;
  const Audited audit = RunAudit(request);
  EXPECT_FALSE(audit.findings.empty());  // the input is broken
  for (const AuditFinding& finding : audit.findings) {
    EXPECT_EQ(finding.path, request.inputs[0]) << audit.Text();
  }
}

INSTANTIATE_TEST_SUITE_P(WithPairs, PrefixBrokenFirstInput, testing::Values(0x1B, 0x1C, 0x1D, 0x21),
                         RevisionParam<int>);

INSTANTIATE_TEST_SUITE_P(Families, PrefixPsltoolAuditAutomatic,
                         testing::Values(0x17, 0x19, 0x1A, 0x1D, 0x21), RevisionParam<int>);

}  // namespace
