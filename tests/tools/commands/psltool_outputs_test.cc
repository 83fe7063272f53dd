// What psltool is told to write never takes the place of a log or archive: a pattern that expands
// behind -o, or a slip, would cost history.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

class PsltoolOutputs : public testing::TestWithParam<std::vector<std::string>> {
 protected:
  void SetUp() override {
    ASSERT_EQ(
        Psltool({"make", "--start", "2024-03-04", "--records", "2", "--ld", "2", "-q"}).status, 0);
    std::filesystem::copy(dir_.Path(kLog), dir_.Path("renamed"));
    dir_.Write("rules", "ld ops > 1000000\n");
  }
  ProgramResult Psltool(const std::vector<std::string>& arguments) const {
    return RunProgram(PSLTOOL_PATH, arguments, {dir_.Path(), {}});
  }
  // The command with `out` as its output.
  ProgramResult WithOutput(const std::string& out) const {
    std::vector<std::string> arguments = GetParam();
    arguments.insert(arguments.begin() + 2, out);
    return Psltool(arguments);
  }

  static constexpr const char* kLog = "20240304array01.psl";
  TempDir dir_;
};

TEST_P(PsltoolOutputs, ALogIsNeverOverwritten) {
  const std::string log = dir_.Read(kLog);
  const ProgramResult result = WithOutput(kLog);
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "psltool: " + GetParam()[0] + " " + GetParam()[1] + ": " + kLog +
                            " is a log or archive, which is never overwritten\n");
  EXPECT_EQ(dir_.Read(kLog), log);
}

TEST_P(PsltoolOutputs, AnArchiveThatIsNotThereIsNotMade) {
  EXPECT_EQ(WithOutput("20240304array01_1.psa").status, 2);
  EXPECT_FALSE(dir_.Exists("20240304array01_1.psa"));
}

TEST_P(PsltoolOutputs, AnInputUnderAnyNameIsNeverOverwritten) {
  if (GetParam()[0] == "health") return;  // takes no files
  const std::string log = dir_.Read("renamed");
  EXPECT_EQ(WithOutput("./renamed").status, 2);
  EXPECT_EQ(dir_.Read("renamed"), log);
}

TEST_P(PsltoolOutputs, OtherFilesAreReplaced) {
  dir_.Write("out.html", "before");
  const ProgramResult result = WithOutput("out.html");
  EXPECT_LE(result.status, 1) << result.err;
  EXPECT_NE(dir_.Read("out.html"), "before");
}

INSTANTIATE_TEST_SUITE_P(
    Commands, PsltoolOutputs,
    testing::Values(std::vector<std::string>{"export", "-o", "--to", "csv", "renamed"},
                    std::vector<std::string>{"report", "-o", "renamed"},
                    std::vector<std::string>{"limits", "-o", "--rules", "rules", "renamed"},
                    std::vector<std::string>{"compare", "--page", "renamed", "--", "renamed"},
                    std::vector<std::string>{"health", "-o", "--root", ".", "--archive", "."}),
    [](const auto& tested) { return tested.param[0]; });

}  // namespace
