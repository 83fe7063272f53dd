// The switches of every mode of the pruning: range, volume check, staging, counting, creation.
#include "tests/pmonb/pml_tree.h"

namespace {

using pml_test::Name;

std::set<std::string> opened;
int volume_checks;

struct Row {
  int mode;
  bool all_directories;
  bool volume_check;
  bool staging;
  bool no_counting;
  bool create;
};

class PmlModeRows : public pml_test::PmlTree, public ::testing::WithParamInterface<Row> {
 protected:
  PmlModeRows() {
    opened.clear();
    volume_checks = 0;
    pml_system.open_dir = [](const char* path) {
      opened.insert(path);
      return opendir(path);
    };
    pml_system.check_volume = [](const char*, PmlErrorBlock*) {
      ++volume_checks;
      return 0;
    };
    param_.dir_no = 0x2A;
    PutIn(0x29, Name(20110101), 1);
    PutIn(0x2A, Name(20110102), 2);
    PutIn(0x2B, Name(20110103), 4);
    Stage(Name(20110104), 8);
    param_.limit_lo = 1000;  // no mode needs to act for size
    param_.term = 1000;      // nor for age
  }

  int Run(int mode) { return PMONBcomDeletePml(&param_, static_cast<int8_t>(mode)); }

  PmlDelParam param_ = Param();
};

TEST_P(PmlModeRows, RangeStagingAndCounting) {
  const Row& row = GetParam();
  param_.total_lo = 111;
  param_.file_count = 1;
  EXPECT_EQ(Run(row.mode), 0);
  const uint32_t counted = row.staging ? 8 : row.all_directories ? 7 : 2;
  EXPECT_EQ(param_.total_lo, row.no_counting ? 111u : counted);
  EXPECT_EQ(param_.file_count, row.no_counting || !row.all_directories ? 1u : 3u);
}

TEST_P(PmlModeRows, VolumesAreChecked) {
  Run(GetParam().mode);
  EXPECT_EQ(volume_checks, GetParam().volume_check ? 2 : 0);
}

TEST_P(PmlModeRows, SubdirectoriesAreScannedUnlessStaged) {
  Run(GetParam().mode);
  EXPECT_EQ(param_.scan_flags, GetParam().staging ? 0 : 1);
  EXPECT_EQ(opened.contains(root_ + "/pml"), !GetParam().staging);
  for (unsigned number = 0; number < 256; ++number) {
    const bool exists = !GetParam().staging && number >= 0x29 && number <= 0x2B;
    EXPECT_EQ(param_.dir_flags[number], exists ? 4 : 0) << number;
  }
}

TEST_P(PmlModeRows, AMissingSubdirectoryIsMadeOrLeftMissing) {
  param_.dir_no = 0xFE;
  const mode_t previous = umask(0);
  Run(GetParam().mode);
  umask(previous);
  EXPECT_EQ(std::filesystem::exists(Dir(0xFE)), GetParam().create);
  EXPECT_FALSE(std::filesystem::exists(Dir(0xFF)));
  if (!GetParam().create) return;
  struct stat status {};
  ASSERT_EQ(stat(Dir(0xFE).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0755u);
  EXPECT_EQ(param_.file_count, 0u);
}

TEST_P(PmlModeRows, OneSubdirectoryMustBeWithinRange) {
  param_.dir_no = 256;
  PutIn(256, "abc.pml");
  const std::set<std::string> before = Everything();
  const int result = Run(GetParam().mode);
  if (GetParam().all_directories) {
    EXPECT_EQ(result, 0);
  } else {
    EXPECT_EQ(result, 5);
    EXPECT_EQ(param_.detail, 0x01B00002u);
    EXPECT_STREQ(param_.err_func, "param");
  }
  EXPECT_EQ(Everything(), before);
}

INSTANTIATE_TEST_SUITE_P(
    AllModes, PmlModeRows,
    ::testing::Values(
        //  mode   all volume staging no-counting create
        Row{1, false, false, false, false, true}, Row{2, false, false, false, false, true},
        Row{3, true, false, false, false, false}, Row{4, true, false, false, false, false},
        Row{5, true, false, false, false, false}, Row{6, false, false, false, true, false},
        Row{7, false, true, true, false, true}, Row{8, false, true, false, false, false},
        Row{9, false, true, true, false, true}, Row{10, false, true, true, true, false}),
    [](const auto& tested) { return "Mode" + std::to_string(tested.param.mode); });

}  // namespace
