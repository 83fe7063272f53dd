// `psltool audit` over archives that the program made of random logs: every archive of every
// revision and level agrees.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/model/time_zone.h"
#include "tests/support/revision_param.h"
#include "tests/support/runs/archived_logs.h"
#include "tests/support/tools/audit_run.h"
#include "tests/support/tools/psl_check.h"
#include "tools/audit/audit_directory.h"

using namespace psltool;

namespace {

constexpr const char* kZones[] = {"UTC", "Europe/Berlin", "America/Los_Angeles", "Asia/Kolkata"};

class PsltoolAuditRandom : public testing::TestWithParam<int> {
 protected:
  static uint8_t revision() { return static_cast<uint8_t>(GetParam()); }

  // Each archive beside its own inputs, and beside those of the whole run.
  void ExpectAgreement(const std::vector<std::string>& run, const std::vector<ArchivedFile>& files,
                       bool no_period = false) {
    for (const ArchivedFile& file : files) {
      AuditRequest request = {
          {.archive = file.path, .inputs = run, .no_period = no_period, .whole_run = true},
          AuditRun::kManual};
      const Audited whole = RunAudit(request);
      EXPECT_EQ(whole.result.findings, 0U) << whole.Text();
      EXPECT_EQ(whole.result.used.size(), file.inputs.size());
      EXPECT_EQ(whole.result.bytes, std::filesystem::file_size(file.path));
      ++archives_;
      entries_ += whole.result.entries;
      request.inputs = file.inputs;
      request.whole_run = false;
      const Audited own = RunAudit(request);
      // A disk that is not configured, first in the archive, goes to the disk that was found last
      // in the one before: only the whole run tells which.
      if (own.result.findings != 0 && AnyUnknownDisk(file.inputs)) {
        ++unsure_;
        continue;
      }
      EXPECT_EQ(own.result.findings, 0U) << own.Text();
      EXPECT_EQ(own.result.used, file.inputs);
    }
  }

  // The hour archives of the directory, sequels among them, find their logs by name.
  void ExpectDirectoryAgrees(const ArchivedLogs& logs, size_t archives) {
    if (archives == 0) return;
    Progress progress(false);
    size_t visited = 0;
    AuditDirectory(
        {logs.directory().Path("hour"), logs.directory().Path("logs")},
        [&](const AuditedFile& file) {
          ++visited;
          EXPECT_FALSE(file.no_inputs) << file.path;
          if (file.result.findings == 0 || AnyUnknownDisk(file.result.used)) return;
          EXPECT_EQ(file.result.findings, 0U) << Audited{file.result, file.findings}.Text();
        },
        progress);
    EXPECT_EQ(visited, archives);
  }

  static bool AnyUnknownDisk(const std::vector<std::string>& inputs) {
    for (const std::string& input : inputs) {
      for (const Finding& finding : CheckPath(input).findings) {
        if (std::string(finding.code) == "key-unknown") return true;
      }
    }
    return false;
  }

  void CheckCases(const model::CaseOptions& options, uint64_t from, uint64_t to) {
    for (uint64_t seed = from; seed < to && !HasFailure(); ++seed) {
      const std::string zone = kZones[seed % std::size(kZones)];
      const model::ScopedZone scope(zone);
      SCOPED_TRACE("seed " + std::to_string(seed) + ", zone " + zone);
      const ArchivedLogs logs(seed, revision(), options, zone);
      const auto hours = logs.Archive(logs.logs(), "hour");
      ExpectAgreement(logs.logs(), hours);
      ExpectDirectoryAgrees(logs, hours.size());
      if (!hours.empty()) ExpectAgreement(PathsOf(hours), logs.Archive(PathsOf(hours), "day"));
      ExpectAgreement(logs.logs(), logs.Archive(logs.logs(), "straight", {"-d"}));
    }
  }

  uint64_t archives_ = 0;
  uint64_t unsure_ = 0;
  uint64_t entries_ = 0;
};

int Cases() {
  const char* const text = std::getenv("PSLTOOL_AUDIT_CASES");
  return text == nullptr ? 3 : std::atoi(text);
}

TEST_P(PsltoolAuditRandom, ArchivesOfEveryLevelAgree) {
  CheckCases({}, 1, 1 + static_cast<uint64_t>(Cases()));
  EXPECT_GT(archives_, 5U);
  EXPECT_GT(entries_, 200U);
  EXPECT_LT(unsure_, archives_ / 4);
}

TEST_P(PsltoolAuditRandom, SequelsOfMixedRevisionsAgree) {
  model::CaseOptions options;
  options.mixed_revisions = true;
  CheckCases(options, 101, 101 + static_cast<uint64_t>(Cases()));
  EXPECT_GT(archives_, 5U);
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolAuditRandom, EachRevision(), RevisionParam<int>);

}  // namespace
