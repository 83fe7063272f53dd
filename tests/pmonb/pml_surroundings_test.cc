// What the pruning and the shared text files meet seldom: a root directory that cannot be asked,
// reports without a need, a full disk under a copy.
#include <cerrno>
#include <fstream>

#include "pmonb/PMONBshareTxt.h"
#include "tests/pmonb/pml_tree.h"

namespace {

using pml_test::Name;

class PmlSurroundings : public pml_test::PmlTree {
 protected:
  // Deletion by age of everything before this century.
  int Run(PmlDelParam* param) {
    PutIn(0, Name(20110101));
    return PMONBcomDeletePml(param, 3);
  }
};

// Whether the directory is the root directory is then not known; it is taken as it is written.
TEST_F(PmlSurroundings, RootDirectoryThatCannotBeAskedHindersNothing) {
  pml_system.status = [](const char* path, struct stat* status) {
    if (strcmp(path, "/") != 0) return stat(path, status);
    errno = EIO;
    return -1;
  };
  PmlDelParam param = Param();
  EXPECT_EQ(Run(&param), 0);
  EXPECT_EQ(param.file_count, 1u);
}

TEST_F(PmlSurroundings, DirectoryOnTheDeviceOfTheRootIsNotTakenForIt) {
  pml_system.status = [](const char* path, struct stat* status) {
    const int result = stat(path, status);
    status->st_dev = 77;
    return result;
  };
  PmlDelParam param = Param();
  EXPECT_EQ(Run(&param), 0);
  EXPECT_EQ(param.file_count, 1u);
}

TEST_F(PmlSurroundings, ReportsSayWhetherThereIsHeadroom) {
  for (const int8_t mode : {int8_t{7}, int8_t{10}}) {
    PmlDelParam param = Param();
    param.limit_lo = 1001;
    param.margin = 1000;
    EXPECT_EQ(PMONBcomDeletePml(&param, mode), kPmlDone) << int{mode};
    param.limit_lo = 1000;
    EXPECT_EQ(PMONBcomDeletePml(&param, mode), kPmlNoHeadroom) << int{mode};
  }
}

TEST_F(PmlSurroundings, TextWithoutDelimitersHasNoTokens) {
  char text[] = "a,b";
  EXPECT_EQ(pmonSubCsvtok(text, nullptr), nullptr);
  EXPECT_EQ(pmonSubCsvtok(nullptr, ","), nullptr) << "and the text is forgotten";
}

TEST_F(PmlSurroundings, CopyWithoutACountOfLines) {
  std::ofstream(root_ + "/from") << "one\ntwo";
  EXPECT_EQ(pmonSubFileMergeAdd((root_ + "/from").c_str(), (root_ + "/to").c_str(), nullptr), 0);
  std::ifstream to(root_ + "/to");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(to), {}), "one\ntwo");
}

// Of a short text the disk says so when the file is closed, of a long one while it is written.
TEST_F(PmlSurroundings, CopyToAFullDiskFails) {
  std::ofstream(root_ + "/short") << "one\n";
  std::ofstream(root_ + "/long") << std::string(1 << 20, 'x');
  for (const char* name : {"/short", "/long"}) {
    int lines = 0;
    EXPECT_NE(pmonSubFileMergeAdd((root_ + name).c_str(), "/dev/full", &lines), 0) << name;
  }
}

}  // namespace
