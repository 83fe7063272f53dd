// What an audit covers beside entries, and that it ends in an orderly way whatever it is given: any
// byte of an archive counts, damaged archives and inputs are told, never passed.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/layout/layout.h"
#include "tests/model/random_source.h"
#include "tests/model/time_zone.h"
#include "tests/support/revision_param.h"
#include "tests/support/runs/archived_logs.h"
#include "tests/support/tools/audit_run.h"

namespace {

using model::Random;

constexpr const char* kZone = "Europe/Berlin";

class PsltoolAuditBytes : public testing::TestWithParam<int> {
 protected:
  static uint8_t revision() { return static_cast<uint8_t>(GetParam()); }

  // Archives of both levels that agree with their inputs.
  static std::vector<ArchivedFile> Archives(const ArchivedLogs& logs) {
    std::vector<ArchivedFile> archives;
    const auto hours = logs.Archive(logs.logs(), "hour");
    for (const ArchivedFile& hour : hours) archives.push_back(hour);
    if (!hours.empty()) {
      for (const ArchivedFile& day : logs.Archive(PathsOf(hours), "day")) archives.push_back(day);
    }
    std::erase_if(archives, [](const ArchivedFile& file) {
      return RunAudit({{.archive = file.path, .inputs = file.inputs}, AuditRun::kManual})
                 .result.findings != 0;
    });
    return archives;
  }

  // A new file each time: file systems may wait for the disk when one is cut and written anew.
  static void Put(const ArchivedLogs& logs, const std::string& path, const std::string& bytes) {
    std::filesystem::remove(path);
    logs.directory().Write(path.substr(logs.directory().Path().size() + 1), bytes);
  }
};

// Not one byte of file header, structure records, statistics heads, entries, items and copied
// records is passed over; outside framing the finding names the place.
TEST_P(PsltoolAuditBytes, EveryByteCounts) {
  const model::ScopedZone zone(kZone);
  Random random(revision());
  const ArchivedLogs logs(51, revision(), {}, kZone);
  int named = 0;
  int changed = 0;
  for (const ArchivedFile& archive : Archives(logs)) {
    const std::string whole = TempDir::ReadFile(archive.path);
    const AuditRequest request = {{.archive = archive.path, .inputs = archive.inputs},
                                  AuditRun::kManual};
    for (int i = 0; i < 60; ++i) {
      // The places in front, where the heads stand, as often as all others.
      const size_t at =
          random.Below(random.Percent(50) ? std::min<size_t>(whole.size(), 1200) : whole.size());
      std::string bytes = whole;
      bytes[at] = static_cast<char>(bytes[at] ^ (1 << random.Range(0, 7)));
      Put(logs, archive.path, bytes);
      const Audited audited = RunAudit(request);
      ASSERT_FALSE(audited.findings.empty()) << archive.path << " at " << at;
      ++changed;
      for (const AuditFinding& each : audited.findings) {
        if (each.offset <= at && at < each.offset + each.width) {
          ++named;
          break;
        }
      }
    }
    Put(logs, archive.path, whole);
  }
  EXPECT_GT(changed, 100);
  EXPECT_GT(named, changed * 9 / 10);
}

// Archives and inputs cut, overwritten and with bytes put in: every run ends, and none agrees when
// what is left of the archive is not what the inputs make.
TEST_P(PsltoolAuditBytes, DamagedFilesEndInFindings) {
  const model::ScopedZone zone(kZone);
  Random random(revision() + 500U);
  const ArchivedLogs logs(52, revision(), {}, kZone);
  for (const ArchivedFile& archive : Archives(logs)) {
    const AuditRequest request = {{.archive = archive.path, .inputs = archive.inputs}};
    for (const std::string& path : {archive.path, archive.inputs.front()}) {
      const std::string whole = TempDir::ReadFile(path);
      for (int i = 0; i < 25; ++i) {
        std::string bytes = whole;
        const size_t at = random.Below(bytes.size());
        switch (random.Range(0, 3)) {
          case 0:
            bytes.resize(at);
            break;
          case 1:
            bytes.erase(at, 1 + random.Below(100));
            break;
          case 2:
            bytes.insert(at, bytes.substr(random.Below(bytes.size()), 1 + random.Below(100)));
            break;
          default:
            for (int n = 0; n < 4; ++n)
              bytes[random.Below(bytes.size())] = static_cast<char>(random.Byte());
            break;
        }
        Put(logs, path, bytes);
        const Audited audited = RunAudit(request);
        // Damage of an input can stay without effect: free space, maxima below others.
        if (path == archive.path && bytes != whole) {
          EXPECT_FALSE(audited.findings.empty()) << path << ", " << i;
        }
      }
      Put(logs, path, whole);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolAuditBytes, EachRevision(), RevisionParam<int>);

// Runs with "-noperiod" put all inputs in the order given into one archive. "-ext" writes the trace
// file below the prefix.
class PrefixPsltoolAudit : public testing::TestWithParam<int> {};

TEST_P(PrefixPsltoolAudit, RunsWithoutPeriodsAgree) {
  const model::ScopedZone zone(kZone);
  int audited = 0;
  for (uint64_t seed = 60; seed < 63; ++seed) {
    SCOPED_TRACE(seed);
    const ArchivedLogs logs(seed, static_cast<uint8_t>(GetParam()), {}, kZone);
    const std::string archive = logs.directory().Path("given.psa");
    const auto made = logs.Archive(
        logs.logs(), "none", {"-d", "-ext", "-noperiod", "-out", archive}, QELPRFARC_TEST_PATH);
    if (!std::filesystem::exists(archive)) continue;
    const Audited result = RunAudit(
        {{.archive = archive, .inputs = logs.logs(), .no_period = true, .any_name = true}});
    EXPECT_EQ(result.result.findings, 0U) << result.Text();
    EXPECT_EQ(result.result.used, logs.logs());
    ++audited;
  }
  EXPECT_GT(audited, 0);
}

INSTANTIATE_TEST_SUITE_P(Families, PrefixPsltoolAudit,
                         testing::Values(0x10, 0x12, 0x13, 0x17, 0x1B, 0x1E, 0x21),
                         RevisionParam<int>);

}  // namespace
