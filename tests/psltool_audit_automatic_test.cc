// Archives of automatic runs, which go by the stamps of records where manual runs go by the dates
// of headers: the audit finds out which rules were in force.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tests/support/audit_run.h"
#include "tests/support/process.h"
#include "tests/support/server.h"

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
  AuditWishes wishes;
  wishes.archive = arc + "/archive/202403array01.psa";
  wishes.inputs = {arc + "/archive/20240304array01.psa", arc + "/archive/20240305array01.psa"};
  const Audited found = RunAudit(wishes);
  EXPECT_EQ(found.result.findings, 0U) << found.Text();
  wishes.run = AuditRun::kAutomatic;
  EXPECT_EQ(RunAudit(wishes).result.findings, 0U);
  wishes.run = AuditRun::kManual;
  const Audited manual = RunAudit(wishes);
  if (LayoutOf(static_cast<uint8_t>(GetParam())).row.keeps_header) {
    EXPECT_EQ(found.result.run, RunKind::kAutomatic);
    EXPECT_NE(manual.result.findings, 0U);
  } else {
    EXPECT_EQ(manual.result.findings, 0U) << manual.Text();
  }
}

INSTANTIATE_TEST_SUITE_P(Families, PrefixPsltoolAuditAutomatic,
                         testing::Values(0x17, 0x19, 0x1A, 0x1D, 0x21));

}  // namespace
