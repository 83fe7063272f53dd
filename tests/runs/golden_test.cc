// Archives small logs, one of each revision family, with the program itself and compares what comes
// out byte for byte with archives that were reviewed by hand (data/golden/README.md).
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

namespace fs = std::filesystem;

const char* const kFolder = TEST_SOURCE_DIR "/data/golden";

// Names of the folders below kFolder, one of each log.
std::vector<std::string> GoldenFolders() {
  std::vector<std::string> folders;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(kFolder, error)) {
    if (entry.is_directory() && entry.path().filename().string().starts_with("rev")) {
      folders.push_back(entry.path().filename().string());
    }
  }
  std::sort(folders.begin(), folders.end());
  return folders;
}

// The files of one folder: DATEarray.psl, DATEarray.psa and MONTHarray.psa.
struct GoldenFiles {
  explicit GoldenFiles(const std::string& folder) {
    const fs::path directory = fs::path(kFolder) / folder;
    for (const auto& entry : fs::directory_iterator(directory)) {
      if (entry.path().extension() == ".psl") log = entry.path();
    }
    const std::string array =
        log.stem().string().substr(std::min<size_t>(8, log.stem().string().size()));
    hour = fs::path(log).replace_extension(".psa");
    day = directory / (log.filename().string().substr(0, 6) + array + ".psa");
  }
  fs::path log, hour, day;
};

// Where two files differ first, in words.
std::string FirstDifference(const std::string& made, const std::string& golden) {
  const size_t shared = std::min(made.size(), golden.size());
  size_t at = 0;
  while (at < shared && made[at] == golden[at]) ++at;
  return "made " + std::to_string(made.size()) + " bytes, golden " + std::to_string(golden.size()) +
         ", first difference at " + std::to_string(at);
}

// Archives `input`, copied into a directory of its own, and expects `golden` as the only output,
// under its name.
void ExpectArchive(const fs::path& input, const fs::path& golden) {
  ASSERT_TRUE(fs::is_regular_file(input)) << input;
  ASSERT_TRUE(fs::is_regular_file(golden)) << golden;
  TempDir directory;
  directory.MakeDirectory("out");
  const std::string name = input.filename().string();
  fs::copy_file(input, directory.Path(name));
  const ProgramResult result = RunProgram(QELPRFARC_PATH, {"-o", "out", name},
                                          {.directory = directory.Path(), .variables = {}});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  ASSERT_EQ(directory.Names("out"), std::vector<std::string>{golden.filename().string()});
  const std::string made = directory.Read("out/" + golden.filename().string());
  const std::string expected = TempDir::ReadFile(golden.string());
  ASSERT_FALSE(expected.empty());
  EXPECT_TRUE(made == expected) << golden << ": " << FirstDifference(made, expected);
}

class Golden : public testing::TestWithParam<std::string> {};
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Golden);

TEST_P(Golden, HourArchive) {
  const GoldenFiles files(GetParam());
  ExpectArchive(files.log, files.hour);
}

// From the golden hour archive, so that a wrong hour archive does not hide a right day archive.
TEST_P(Golden, DayArchive) {
  const GoldenFiles files(GetParam());
  ExpectArchive(files.hour, files.day);
}

TEST_P(Golden, HasItsWalkThrough) {
  EXPECT_TRUE(fs::is_regular_file(fs::path(kFolder) / (GetParam() + ".md")));
}

INSTANTIATE_TEST_SUITE_P(Files, Golden, testing::ValuesIn(GoldenFolders()),
                         [](const auto& folder) { return folder.param; });

// An empty or missing folder must not pass for want of tests.
TEST(GoldenFolder, HoldsEveryFamily) {
  EXPECT_EQ(GoldenFolders(), (std::vector<std::string>{"rev10", "rev11", "rev12", "rev13", "rev15",
                                                       "rev19", "rev1A", "rev1C", "rev21"}));
}

}  // namespace
