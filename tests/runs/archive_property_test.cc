// Whole archive runs against an independent slow model: random logs of every format revision are
// archived by the built program, its hour archives are archived again into day archives, and every
// file it leaves has to be the model's, byte for byte. A failure names revision, seed and zone; the
// same numbers make the same case again.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "tests/model/input_names.h"
#include "tests/model/random_logs.h"
#include "tests/model/slow_archiver.h"
#include "tests/model/time_zone.h"
#include "tests/support/revision_param.h"
#include "tests/support/runs/model_run.h"

#if !defined(QELPRFARC_PATH) || !defined(QELPRFARC_TEST_PATH)
#error "both have to name the program under test, the second built with a prefix for tests"
#endif

namespace {

using model::CaseOptions;
using model::InputFile;
using model::RunOptions;
using model::RunResult;

constexpr int kDefaultCases = 40;  // per revision, beside a quarter of it for each other suite
constexpr int kFailuresShown = 3;  // per suite and revision; more would not help
constexpr const char* kZones[] = {"UTC", "Europe/Berlin", "America/Los_Angeles", "Asia/Kolkata"};

int CaseCount() {
  const char* const text = std::getenv("QELPRFARC_PROPERTY_CASES");
  const int count = text == nullptr ? 0 : std::atoi(text);
  return count > 0 ? count : kDefaultCases;
}

// Enough that the suites about special logs meet what they are about.
int QuarterCount() { return std::max(CaseCount() / 4, 10); }

std::vector<InputFile> AsInputs(const RunResult& result) {
  std::vector<InputFile> inputs;
  for (const auto& [name, bytes] : result.files) inputs.push_back({name, bytes});
  return inputs;
}

// One program run against the model; the model's result is returned for the next level.
RunResult CheckRun(const std::string& program, const std::vector<InputFile>& inputs,
                   const RunOptions& options, const std::string& zone, const std::string& what) {
  const RunResult expected = model::RunArchiver(inputs, options);
  const ArchiverRun actual = RunArchiverOn(program, inputs, options, zone);
  const std::string difference = Difference(expected, actual);
  EXPECT_TRUE(difference.empty()) << what << ": " << difference;
  return expected;
}

struct Tally {
  int failed = 0;      // cases with a difference
  int succeeding = 0;  // cases whose hour run and day run both end with status 0
  int day_runs = 0;
};

void CheckCase(int revision, uint64_t seed, const CaseOptions& case_options, Tally& tally) {
  const std::string zone = kZones[seed % std::size(kZones)];
  const model::ScopedZone scope(zone);
  char label[96];
  std::snprintf(label, sizeof label, "revision 0x%02X, seed %llu, zone %s",
                static_cast<unsigned>(revision), static_cast<unsigned long long>(seed),
                zone.c_str());
  SCOPED_TRACE(label);
  const std::vector<InputFile> logs =
      model::MakeRandomLogs(seed, static_cast<uint8_t>(revision), case_options);
  const RunResult hours = CheckRun(QELPRFARC_PATH, logs, {}, zone, "hour archives");
  bool succeeding = hours.status == 0;
  if (!hours.files.empty()) {
    const RunResult days = CheckRun(QELPRFARC_PATH, AsInputs(hours), {}, zone, "day archives");
    succeeding = succeeding && days.status == 0;
    if (!days.files.empty()) ++tally.day_runs;
  }
  if (seed % 3 == 0) {
    RunOptions day;
    day.day = true;
    CheckRun(QELPRFARC_PATH, logs, day, zone, "day archives made from logs");
  }
  if (succeeding) ++tally.succeeding;
}

Tally CheckCases(int revision, int cases, const CaseOptions& options) {
  Tally tally;
  const auto* const result = testing::UnitTest::GetInstance()->current_test_info()->result();
  for (int i = 1; i <= cases && tally.failed < kFailuresShown; ++i) {
    const int parts_before = result->total_part_count();
    CheckCase(revision, static_cast<uint64_t>(i), options, tally);
    if (result->total_part_count() != parts_before) ++tally.failed;
  }
  return tally;
}

class ArchiveProperty : public testing::TestWithParam<int> {};

TEST_P(ArchiveProperty, ArchivesAreTheModels) {
  const int cases = CaseCount();
  const Tally tally = CheckCases(GetParam(), cases, {});
  // The generator makes valid logs: most runs succeed, or the comparison would say little.
  if (tally.failed == 0) {
    EXPECT_GE(tally.succeeding, cases * 9 / 10);
  }
}

TEST_P(ArchiveProperty, MixedRevisionsMakeTheModelsSequels) {
  CaseOptions options;
  options.mixed_revisions = true;
  const int cases = QuarterCount();
  const Tally tally = CheckCases(GetParam(), cases, options);
  if (tally.failed == 0) {
    EXPECT_GT(tally.day_runs, 0);
  }
}

TEST_P(ArchiveProperty, BrokenLogsLeaveTheModelsFiles) {
  CaseOptions options;
  options.faults = true;
  const int cases = QuarterCount();
  const Tally tally = CheckCases(GetParam(), cases, options);
  if (tally.failed == 0) {
    EXPECT_LT(tally.succeeding, cases);
  }
}

TEST_P(ArchiveProperty, LargeArraysMakeTheModelsArchives) {
  CaseOptions options;
  options.large = true;
  const int cases = std::max(CaseCount() / 10, 4);  // they are long
  const Tally tally = CheckCases(GetParam(), cases, options);
  if (tally.failed == 0) {
    EXPECT_GE(tally.succeeding, cases * 9 / 10);
  }
}

// The input without its structure records.
InputFile WithoutStructure(const InputFile& input) {
  const std::size_t header = input.bytes[3] < 0x19 ? 80 : 256;
  model::Bytes kept = model::Slice(input.bytes, 0, header);
  for (std::size_t at = header; at < input.bytes.size();) {
    const std::size_t length = model::Get32(input.bytes, at + 8);
    if (input.bytes[at] != 'C') model::Append(kept, model::Slice(input.bytes, at, length));
    at += length;
  }
  return {input.name, kept};
}

// Inputs that go on with the structure record of one before, of their own array and revision or of
// another: which is in force decides about every byte behind.
std::vector<InputFile> WithFewerStructures(uint64_t seed, std::vector<InputFile> inputs) {
  std::sort(inputs.begin(), inputs.end(), [](const InputFile& a, const InputFile& b) {
    return model::SortKey(a.name) < model::SortKey(b.name);
  });
  for (std::size_t i = 1; i < inputs.size(); ++i) {
    const bool same_array = inputs[i].name.substr(8) == inputs[i - 1].name.substr(8);
    // Of another array most runs would end there.
    if ((seed + i) % 2 == 0 && (same_array || seed % 4 == 0))
      inputs[i] = WithoutStructure(inputs[i]);
  }
  return inputs;
}

TEST_P(ArchiveProperty, ConfigurationInForceIsTheModels) {
  int days_made = 0;
  for (int i = 1; i <= QuarterCount() && !HasFailure(); ++i) {
    const auto seed = static_cast<uint64_t>(i);
    SCOPED_TRACE(i);
    const std::string zone = kZones[seed % std::size(kZones)];
    const model::ScopedZone scope(zone);
    CaseOptions options;
    options.mixed_revisions = i % 3 == 0;
    const std::vector<InputFile> logs =
        model::MakeRandomLogs(seed, static_cast<uint8_t>(GetParam()), options);
    CheckRun(QELPRFARC_PATH, WithFewerStructures(seed, logs), {}, zone, "hour archives");
    const RunResult hours = model::RunArchiver(logs, {});
    if (hours.files.empty()) continue;
    const RunResult days = CheckRun(QELPRFARC_PATH, WithFewerStructures(seed, AsInputs(hours)), {},
                                    zone, "day archives");
    days_made += days.status == 0 ? 1 : 0;
  }
  EXPECT_GT(days_made, 0);
}

// "-noperiod" comes with "-ext", which writes the trace file below the prefix; so the program's
// twin with a prefix of the tests' own is run.
class PrefixArchiveProperty : public testing::TestWithParam<int> {};

TEST_P(PrefixArchiveProperty, RunsWithoutPeriodsAreTheModels) {
  const std::string zone = kZones[1];
  const model::ScopedZone scope(zone);
  RunOptions options;
  options.no_period = true;
  for (int seed = 1; seed <= QuarterCount() && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    const std::vector<InputFile> logs = model::MakeRandomLogs(
        static_cast<uint64_t>(seed), static_cast<uint8_t>(GetParam()), CaseOptions());
    CheckRun(QELPRFARC_TEST_PATH, logs, options, zone, "hour archives without periods");
    const RunResult hours = model::RunArchiver(logs, {});
    std::vector<InputFile> inputs = AsInputs(hours);
    if (inputs.empty()) continue;
    const RunResult days =
        CheckRun(QELPRFARC_TEST_PATH, inputs, options, zone, "day archives without periods");
    if (days.files.empty()) continue;
    CheckRun(QELPRFARC_TEST_PATH, WithFewerStructures(static_cast<uint64_t>(seed), inputs), options,
             zone, "fewer structure records");
    // A day archive among the inputs is passed over silently or refused, by its revision.
    inputs.insert(inputs.begin(), {"29990101other.psa", days.files.begin()->second});
    CheckRun(QELPRFARC_TEST_PATH, inputs, options, zone, "a day archive among the inputs");
  }
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, ArchiveProperty, EachRevision(), RevisionParam<int>);
INSTANTIATE_TEST_SUITE_P(EveryRevision, PrefixArchiveProperty, EachRevision(), RevisionParam<int>);

}  // namespace
