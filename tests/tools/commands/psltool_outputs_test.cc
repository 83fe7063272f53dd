// What psltool is told to write never takes the place of a log or archive: a pattern that expands
// behind -o, or a slip, would cost history.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

const std::vector<std::string> kMake = {"make", "--start", "2024-03-04", "--records",
                                        "2",    "--ld",    "2",          "-q"};

class PsltoolOutputs : public testing::TestWithParam<std::vector<std::string>> {
 protected:
  void SetUp() override {
    ASSERT_EQ(Psltool(kMake).status, 0);
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

// An archive under its temporary name is that of a run in progress.
TEST_P(PsltoolOutputs, AnArchiveThatIsNotThereIsNotMade) {
  for (const char* name :
       {"20240304array01_1.psa", "20240304array01.psa_tmp", "20240304array01#001_001.pml"}) {
    EXPECT_EQ(WithOutput(name).status, 2) << name;
    EXPECT_FALSE(dir_.Exists(name));
  }
}

TEST_P(PsltoolOutputs, AnInputUnderAnyNameIsNeverOverwritten) {
  if (GetParam()[0] == "health") return;  // takes no files
  const std::string log = dir_.Read("renamed");
  EXPECT_EQ(WithOutput("./renamed").status, 2);
  EXPECT_EQ(dir_.Read("renamed"), log);
}

TEST_P(PsltoolOutputs, OtherFilesAreReplaced) {
  dir_.MakeDirectory("old.psa_tmp");
  for (const char* name : {"out.html", "old.psa_tmp/out.html"}) {
    dir_.Write(name, "before");
    const ProgramResult result = WithOutput(name);
    EXPECT_LE(result.status, 1) << result.err;
    EXPECT_NE(dir_.Read(name), "before");
  }
}

class PsltoolOtherOutputs : public PsltoolOutputs {};

TEST_F(PsltoolOtherOutputs, APictureIsNotDrawnOverItsLog) {
  std::filesystem::rename(dir_.Path(kLog), dir_.Path("log.svg"));
  const std::string log = dir_.Read("log.svg");
  EXPECT_EQ(Psltool({"chart", "log.svg", "-o", "./log.svg"}).status, 2);
  EXPECT_EQ(dir_.Read("log.svg"), log);
}

TEST_F(PsltoolOtherOutputs, RulesAndLabelsAreInputs) {
  EXPECT_EQ(Psltool({"limits", kLog, "--rules", "rules", "-o", "rules"}).status, 2);
  EXPECT_EQ(dir_.Read("rules"), "ld ops > 1000000\n");
  dir_.Write("labels", "group ld 1 reads\n");
  const std::vector<std::vector<std::string>> lines = {
      {"export", kLog, "--to", "csv", "-o", "labels"},
      {"report", kLog, "-o", "labels"},
      {"compare", kLog, "--page", "labels", "--", kLog},
      {"limits", kLog, "--rules", "rules", "-o", "labels"}};
  for (const std::vector<std::string>& line : lines) {
    const ProgramResult result =
        RunProgram(PSLTOOL_PATH, line, {dir_.Path(), {{"PSLTOOL_LABELS", "labels"}}});
    EXPECT_EQ(result.status, 2) << line[0];
    EXPECT_NE(result.err.find(": labels is an input, which is never overwritten\n"),
              std::string::npos)
        << result.err;
    EXPECT_EQ(dir_.Read("labels"), "group ld 1 reads\n") << line[0];
  }
}

TEST_F(PsltoolOtherOutputs, TheLogThatLendsItsStructureIsNotReplaced) {
  const std::string log = dir_.Read(kLog);
  const ProgramResult result =
      Psltool({"salvage", "renamed", "--structure", kLog, "-o", kLog, "--force"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err,
            std::string("psltool: ") + kLog + ": is the file that lends its structure record\n");
  EXPECT_EQ(dir_.Read(kLog), log);
}

// It may be a log of an array that does exist.
TEST_F(PsltoolOtherOutputs, MadeLogsReplaceNoneUnlessAsked) {
  dir_.Write(kLog, "a real one");
  const ProgramResult refused = Psltool(kMake);
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.err, std::string("psltool: ./") + kLog + ": exists; --force replaces it\n");
  EXPECT_EQ(dir_.Read(kLog), "a real one");
  std::vector<std::string> forced = kMake;
  forced.emplace_back("--force");
  EXPECT_EQ(Psltool(forced).status, 0);
  EXPECT_EQ(dir_.Read(kLog), dir_.Read("renamed"));
}

TEST_F(PsltoolOtherOutputs, NoLogIsMadeWhenOneOfThemIsThere) {
  dir_.MakeDirectory("logs");
  dir_.Write("logs/20240306array01.psl", "a real one");
  EXPECT_EQ(Psltool({"make", "-q", "--days", "3", "--records", "1", "-o", "logs"}).err,
            "psltool: logs/20240306array01.psl: exists; --force replaces it\n");
  EXPECT_EQ(dir_.Names("logs"), std::vector<std::string>{"20240306array01.psl"});
  EXPECT_EQ(dir_.Read("logs/20240306array01.psl"), "a real one");
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
