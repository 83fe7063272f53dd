// Writing commands of psltool that cannot look at what stands in the place of their output: it is
// left alone. And what they need meanwhile: nothing stays of it.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/process.h"
#include "tests/support/runs/nights.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

namespace {

class PsltoolWriteFaults : public ::testing::Test {
 protected:
  PsltoolWriteFaults() { directory.Write("20240101a.psl", spell::Log({}, {spell::kNewYear})); }

  // With the rule no status of the file can be had.
  void ExpectLeftAlone(const std::vector<std::string>& arguments, const std::string& output) const {
    const std::string before = directory.Read(output);
    ASSERT_NE(before, "");
    ProgramSettings settings;
    settings.variables = {{"LD_PRELOAD", DISTURB_PATH},
                          {"DISTURB_FAIL", "stat:" + output + ":1:99:5"}};
    const ProgramResult run = RunProgram(PSLTOOL_PATH, arguments, settings);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "psltool: " + directory.Path(output) + ": Input/output error\n");
    EXPECT_TRUE(directory.Read(output) == before);
    EXPECT_EQ(directory.Names().size(), 2U);
  }

  TempDir directory;
};

// A database that held years was replaced by a new one with the files of one call.
TEST_F(PsltoolWriteFaults, ADatabaseIsNotTakenForANewOne) {
  SKIP_WITHOUT_PRELOADING();
  const std::vector<std::string> arguments = {"export",
                                              "--format",
                                              "sqlite",
                                              "-o",
                                              directory.Path("history.db"),
                                              directory.Path("20240101a.psl")};
  ASSERT_EQ(RunProgram(PSLTOOL_PATH, arguments).status, 0);
  ExpectLeftAlone(arguments, "history.db");
}

// It was replaced as if --force had been given.
TEST_F(PsltoolWriteFaults, ASavedFileIsNotReplaced) {
  SKIP_WITHOUT_PRELOADING();
  directory.Write("saved.psl", "saved by hand");
  ExpectLeftAlone({"salvage", directory.Path("20240101a.psl"), "-o", directory.Path("saved.psl")},
                  "saved.psl");
}

// Where files without a name cannot be had, samples are sorted in one that loses its name at once.
// A signal before that left it there.
TEST_F(PsltoolWriteFaults, ASignalLeavesNoFileOfSamples) {
  SKIP_WITHOUT_PRELOADING();
  TempDir dir;
  ASSERT_EQ(RunProgram(PSLTOOL_PATH, {"make", "-q", "--none", "--ld", "400", "--records", "120",
                                      "-o", dir.Path()})
                .status,
            0);
  const std::vector<std::string> before = dir.Names();
  ProgramSettings settings;
  settings.variables = {{"LD_PRELOAD", DISTURB_PATH},
                        {"DISTURB_FAIL", "open:" + dir.Path() + ":1:99:95"},
                        {"DISTURB_CALLS", "unlink"},
                        {"DISTURB_AT", "1"},
                        {"DISTURB_SIGNAL", "15"}};
  const ProgramResult run = RunProgram(
      PSLTOOL_PATH,
      {"export", "--to", "openmetrics", "-o", dir.Path("out.txt"), dir.Path(before.at(0))},
      settings);
  EXPECT_EQ(run.status, 128 + 15) << run.err;
  EXPECT_EQ(dir.Names(), before);
}

}  // namespace
