// The scripts for Slurm, with a stand-in for sbatch: how units are shared out, what is submitted,
// and what a task writes down. scripts/try-slurm runs them under the real one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/runs/nights.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class SlurmScripts : public ::testing::Test {
 protected:
  SlurmScripts() {
    directory.MakeDirectory("logs");
    directory.MakeDirectory("bin");
    for (int length = 1; length <= 6; ++length) MakeArray(length);
    // Writes its arguments down and gives the jobs numbers from 1 on.
    directory.Write("bin/sbatch",
                    "#!/bin/sh\necho \"$LEVEL: $*\" >> \"$CALLS\"\ngrep -c '' \"$CALLS\"\n");
    fs::permissions(directory.Path("bin/sbatch"), fs::perms::owner_all);
  }

  // Two days of an array whose logs have `length` times four records.
  void MakeArray(int length) const {
    MakeLogs(directory.Path("logs"),
             {"--name", "a" + std::to_string(length), "--start", "2024-02-28", "--days", "2",
              "--interval", "600", "--records", std::to_string(4 * length)});
  }
  ProgramResult Run(const std::string& script, const std::vector<std::string>& arguments,
                    std::vector<std::pair<std::string, std::string>> more = {}) const {
    std::vector<std::pair<std::string, std::string>> variables = {
        {"PATH", directory.Path("bin") + ":/usr/bin:/bin"},
        {"PSLTOOL", PSLTOOL_PATH},
        {"CALLS", directory.Path("calls")},
        {"OUTPUT", directory.Path("out")},
        {"LOGS", directory.Path("logs")},
        {"WORK", directory.Path("work")}};
    variables.insert(variables.end(), more.begin(), more.end());
    return RunProgram(fs::path(TEST_SOURCE_DIR).parent_path() / "packaging" / script, arguments,
                      {.directory = directory.Path(), .variables = variables});
  }
  std::vector<std::string> Share(int task) const {
    std::istringstream text(directory.Read("work/hour." + std::to_string(task)));
    std::vector<std::string> units;
    for (std::string line; std::getline(text, line);) units.push_back(line);
    return units;
  }
  ProgramResult Submit() const {
    return Run("qelprfarc-submit", {"-n", "3", "-o", "out", "-w", "work", "logs", "--", "-p", "x"});
  }

  TempDir directory;
};

TEST_F(SlurmScripts, UnitsAreSharedOutByBytes) {
  ASSERT_EQ(Submit().status, 0);
  std::set<std::string> all;
  std::vector<uintmax_t> bytes;
  for (int task = 0; task < 3; ++task) {
    uintmax_t sum = 0;
    for (const std::string& unit : Share(task)) {
      EXPECT_TRUE(all.insert(unit).second) << unit;
      sum += fs::file_size(directory.Path("logs/" + unit + ".psl"));
    }
    bytes.push_back(sum);
  }
  EXPECT_EQ(all.size(), 12u);
  // The lengths are 1 to 6, two of each: three shares of 14.
  const auto [least, most] = std::minmax_element(bytes.begin(), bytes.end());
  EXPECT_LT(*most, *least + *least / 10);
}

TEST_F(SlurmScripts, DayLevelWaitsForAllHourArchives) {
  ASSERT_EQ(Submit().status, 0);
  std::istringstream calls(directory.Read("calls"));
  std::vector<std::string> jobs;
  for (std::string line; std::getline(calls, line);) jobs.push_back(line);
  ASSERT_EQ(jobs.size(), 3u);
  EXPECT_THAT(jobs[0], HasSubstr("hour: --parsable"));
  EXPECT_THAT(jobs[0], HasSubstr("--array=0-2"));
  EXPECT_THAT(jobs[0], HasSubstr("-p x "));
  EXPECT_THAT(jobs[1], HasSubstr("--dependency=afterok:1 --kill-on-invalid-dep=yes"));
  EXPECT_THAT(jobs[1], HasSubstr("--plan-day"));
  EXPECT_THAT(jobs[2], HasSubstr("day: --parsable"));
  EXPECT_THAT(jobs[2], HasSubstr("--dependency=afterok:2 --kill-on-invalid-dep=yes --array=0-2"));
}

TEST_F(SlurmScripts, TaskListsWhatFailedAndGoesOn) {
  ASSERT_EQ(Submit().status, 0);
  const std::vector<std::string> units = Share(1);
  const std::string log = directory.Path("logs/" + units.front() + ".psl");
  const auto size = fs::file_size(log);
  fs::resize_file(log, size - 10);
  const std::vector<std::pair<std::string, std::string>> task = {{"LEVEL", "hour"},
                                                                 {"SLURM_ARRAY_TASK_ID", "1"},
                                                                 {"SLURM_JOB_ID", "7"},
                                                                 {"SLURMD_NODENAME", "n2"}};
  EXPECT_EQ(Run("qelprfarc-units.sbatch", {}, task).status, 1);
  EXPECT_EQ(directory.Read("work/hour.failed.1"), units.front() + "\t1\tn2\t7\n");
  EXPECT_EQ(directory.Names("out").size(), units.size() - 1);
  // The log was delivered again, and the task requeued.
  MakeArray(units.front().back() - '0');
  EXPECT_EQ(Run("qelprfarc-units.sbatch", {}, task).status, 0);
  EXPECT_FALSE(directory.Exists("work/hour.failed.1"));
  EXPECT_EQ(directory.Names("out").size(), units.size());
}

TEST_F(SlurmScripts, WrongCommandLinesSubmitNothing) {
  EXPECT_EQ(Run("qelprfarc-submit", {"-n", "0", "logs"}).status, 2);
  EXPECT_EQ(Run("qelprfarc-submit", {"-d", "later", "logs"}).status, 2);
  EXPECT_EQ(Run("qelprfarc-submit", {"nowhere"}).status, 2);
  EXPECT_EQ(Run("qelprfarc-submit", {}).status, 2);
  EXPECT_FALSE(directory.Exists("calls"));
}

}  // namespace
