// Every detail code of the pruning: caused for real where a directory tree can do it, by a failing
// call elsewhere.
#include <cerrno>
#include <utility>

#include "tests/pmonb/pml_tree.h"

namespace {

using pml_test::Name;

std::string chosen_path;  // whose call fails
int calls_left;           // how many calls of the kind succeed before

class PmlFailures : public pml_test::PmlTree {
 protected:
  PmlFailures() {
    PutIn(0, Name(20110101));
    PutIn(0, Name(20110102));
    chosen_path.clear();
    calls_left = 0;
  }

  int Run(int mode) { return PMONBcomDeletePml(&param_, static_cast<int8_t>(mode)); }

  // The n-th close of a directory fails.
  void FailClose(int n) {
    calls_left = n;
    pml_system.close_dir = [](DIR* directory) {
      closedir(directory);
      if (--calls_left != 0) return 0;
      errno = EIO;
      return -1;
    };
  }

  // Of the n-th directory only one entry is read.
  void FailRead(int n) {
    calls_left = n;
    static DIR* failing;
    static int entries;
    failing = nullptr;
    pml_system.open_dir = [](const char* path) {
      DIR* const directory = opendir(path);
      if (--calls_left == 0) {
        failing = directory;
        entries = 1;
      }
      return directory;
    };
    pml_system.read_dir = [](DIR* directory) -> dirent* {
      if (directory != failing || entries-- > 0) return readdir(directory);
      errno = EIO;
      return nullptr;
    };
  }

  // The n-th allocation fails.
  void FailAllocation(int n) {
    calls_left = n;
    pml_system.allocate = [](size_t count, size_t size) -> void* {
      if (--calls_left != 0) return calloc(count, size);
      errno = ENOMEM;
      return nullptr;
    };
  }

  PmlDelParam param_ = Param();
};

TEST_F(PmlFailures, ScanCannotOpenTheDirectory) {
  snprintf(param_.base_dir, sizeof param_.base_dir, "%s/missing/", root_.c_str());
  for (const int mode : {1, 2, 3, 4, 5, 6, 8}) {
    ExpectFailure(param_, Run(mode), 0x01B0000D, "opendir", ENOENT);
    EXPECT_EQ(param_.scan_flags, 0);
  }
  EXPECT_FALSE(std::filesystem::exists(root_ + "/missing"));
}

TEST_F(PmlFailures, ScanCannotCloseTheDirectory) {
  FailClose(1);
  ExpectFailure(param_, Run(3), 0x01B00017, "closedir", EIO);
}

TEST_F(PmlFailures, SubdirectoryCannotBeMade) {
  snprintf(param_.base_dir, sizeof param_.base_dir, "%s/missing/", root_.c_str());
  for (const int mode : {7, 9}) {
    ExpectFailure(param_, Run(mode), 0x01B00005, "mkdir", ENOENT);
  }
}

TEST_F(PmlFailures, SubdirectoryStatusFails) {
  Put(root_ + "/file");
  snprintf(param_.base_dir, sizeof param_.base_dir, "%s/file/", root_.c_str());
  for (const int mode : {7, 9}) {
    ExpectFailure(param_, Run(mode), 0x01B00006, "stat", ENOTDIR);
  }
  param_.scan_flags = 1;
  for (const int mode : {1, 2, 3, 4, 8}) {
    ExpectFailure(param_, Run(mode), 0x01B00006, "stat", ENOTDIR);
  }
}

TEST_F(PmlFailures, SubdirectoryIsAPlainFile) {
  std::filesystem::remove_all(Dir(0));
  Put(Dir(0));
  for (const int mode : {1, 2, 3, 4, 5, 7, 8, 9}) {
    ExpectFailure(param_, Run(mode), 0x01B00007, "stat", ENOTDIR);
  }
}

TEST_F(PmlFailures, CountingCannotOpenTheDirectory) {
  std::filesystem::remove_all(staging_);
  ExpectFailure(param_, Run(9), 0x01B00008, "opendir", ENOENT);
  ExpectFailure(param_, Run(7), 0x01B00008, "opendir", ENOENT);
}

TEST_F(PmlFailures, CountingCannotQueryAFile) {
  std::filesystem::create_symlink("nowhere", Dir(0) + "/" + Name(20110103));
  for (const int mode : {1, 2, 3, 4, 5, 8}) {
    ExpectFailure(param_, Run(mode), 0x01B00009, "stat", ENOENT);
  }
  EXPECT_EQ(NamesIn(Dir(0)).size(), 3u);
}

TEST_F(PmlFailures, CountingCannotCloseTheDirectory) {
  FailClose(2);
  ExpectFailure(param_, Run(3), 0x01B0000A, "closedir", EIO);
}

// What broke off was once taken for the end: newer files went in the place of older ones that had
// not been listed.
TEST_F(PmlFailures, AListingThatBreaksOffIsNoShortDirectory) {
  for (int day = 3; day <= 9; ++day) PutIn(0, Name(20110100 + day));
  const std::set<std::string> all = Everything();
  for (const int mode : {2, 3, 4, 8}) {
    SCOPED_TRACE(mode);
    const auto run_with_broken = [&](int directory) {
      param_ = Param();
      param_.delete_count = 3;
      FailRead(directory);
      return Run(mode);
    };
    ExpectFailure(param_, run_with_broken(1), 0x01B00017, "readdir", EIO);
    EXPECT_EQ(param_.scan_flags, 0) << "to be done again";
    ExpectFailure(param_, run_with_broken(2), 0x01B0000A, "readdir", EIO);
    ExpectFailure(param_, run_with_broken(3), 0x01B00014, "readdir", EIO);
  }
  EXPECT_EQ(Everything(), all);
  EXPECT_TRUE(Trace().empty());
}

TEST_F(PmlFailures, AStagedListingThatBreaksOff) {
  for (int day = 3; day <= 5; ++day) Stage(Name(20110100 + day));
  const std::set<std::string> all = Everything();
  FailRead(1);
  ExpectFailure(param_, Run(9), 0x01B0000A, "readdir", EIO);
  FailRead(2);
  ExpectFailure(param_, Run(9), 0x01B00014, "readdir", EIO);
  EXPECT_EQ(Everything(), all);
}

TEST_F(PmlFailures, FileTableCannotBeAllocated) {
  FailAllocation(1);
  ExpectFailure(param_, Run(3), 0x01B0000B, "calloc", ENOMEM);
}

TEST_F(PmlFailures, DirectoryTableCannotBeAllocatedIsReportedByTheCleanUp) {
  FailAllocation(2);
  ExpectFailure(param_, Run(3), 0x01B00013, "calloc", ENOMEM);
}

TEST_F(PmlFailures, CandidatesCannotBeAllocated) {
  for (const int mode : {2, 6, 8}) {
    param_.file_count = 2;
    param_.total_lo = 20;
    FailAllocation(3);
    ExpectFailure(param_, Run(mode), 0x01B00014, "calloc", ENOMEM);
  }
  for (int day = 3; day < 9; ++day) PutIn(0, Name(20110100 + day));
  FailAllocation(3);
  ExpectFailure(param_, Run(4), 0x01B00014, "calloc", ENOMEM);
  EXPECT_EQ(NamesIn(Dir(0)).size(), 8u);
}

TEST_F(PmlFailures, TheTablesHaveRoomForTheFilesAndTheDirectories) {
  static std::vector<std::pair<size_t, size_t>> asked;
  asked.clear();
  pml_system.allocate = [](size_t count, size_t size) {
    asked.emplace_back(count, size);
    return calloc(count, size);
  };
  EXPECT_EQ(Run(3), 0);
  ASSERT_EQ(asked.size(), 2u);
  EXPECT_EQ(asked[0].first, 2u + 256u);
  EXPECT_EQ(asked[1].first, 256u);
  asked.clear();
  param_.file_count = 0xFFFFFFFF;
  param_.total_lo = 1;
  pml_system.allocate = [](size_t count, size_t size) -> void* {
    asked.emplace_back(count, size);
    errno = ENOMEM;
    return nullptr;
  };
  ExpectFailure(param_, Run(6), 0x01B0000B, "calloc", ENOMEM);
  EXPECT_EQ(asked[0].first, size_t{0xFFFFFFFF} + 1);
}

TEST_F(PmlFailures, ListingCannotQueryAFile) {
  // The file is counted, and gone when the second pass asks for it.
  chosen_path = Dir(0) + "/" + Name(20110101);
  calls_left = 2;
  pml_system.status = [](const char* path, struct stat* status) {
    if (path == chosen_path && --calls_left == 0) unlink(path);
    return stat(path, status);
  };
  ExpectFailure(param_, Run(3), 0x01B00014, "stat", ENOENT);
  EXPECT_TRUE(std::filesystem::exists(Dir(0) + "/" + Name(20110102)));
}

TEST_F(PmlFailures, ListingCannotCloseTheDirectory) {
  FailClose(3);
  ExpectFailure(param_, Run(3), 0x01B00014, "closedir", EIO);
  EXPECT_EQ(NamesIn(Dir(0)).size(), 2u);
}

TEST_F(PmlFailures, ListingMeetsANullName) {
  pml_system.check_name = [](const char*) { return -2; };
  ExpectFailure(param_, Run(3), 0x01B00014, "program error", 0);
  EXPECT_EQ(NamesIn(Dir(0)).size(), 2u);
}

TEST_F(PmlFailures, RemovingFailsAndWhatWasRemovedBeforeStaysRemoved) {
  PutIn(1, Name(20110103));
  chosen_path = Dir(1) + "/" + Name(20110103);
  pml_system.remove_file = [](const char* path) {
    if (path != chosen_path) return unlink(path);
    errno = EACCES;
    return -1;
  };
  ExpectFailure(param_, Run(3), 0x01B00014, "remove", EACCES);
  EXPECT_TRUE(NamesIn(Dir(0)).empty());
  EXPECT_EQ(NamesIn(Dir(1)).size(), 1u);
  const std::vector<std::string> trace = Trace();
  ASSERT_EQ(trace.size(), 3u) << "the two removals and the failure, no closing line";
  EXPECT_EQ(trace.back(),
            "DeletePml : failed task=delete name=" + chosen_path + " reason=Permission denied");
}

TEST_F(PmlFailures, AFileThatVanishesBeforeItsRemoval) {
  pml_system.remove_file = [](const char* path) {
    unlink(path);
    return unlink(path);
  };
  ExpectFailure(param_, Run(3), 0x01B00014, "remove", ENOENT);
}

TEST_F(PmlFailures, MovingFails) {
  Stage(Name(20110103));
  Stage(Name(20110104));
  std::filesystem::create_directories(Dir(0) + "/" + Name(20110103));
  EXPECT_EQ(Run(9), 4);
  EXPECT_EQ(param_.detail, 0x01B00014u);
  EXPECT_STREQ(param_.err_func, "move");
  EXPECT_EQ(NamesIn(staging_).size(), 2u);
  EXPECT_EQ(Trace(), std::vector<std::string>{
                         "DeletePml : failed task=move name=" + staging_ + "/" + Name(20110103) +
                         " reason=rename: File exists; move command: status 1"});
}

// A rename, or the move command, would give the log the missing directory's name.
TEST_F(PmlFailures, MovingFailsWhenTheSubdirectoryHasGone) {
  Stage(Name(20110103));
  Stage(Name(20110104));
  chosen_path = Dir(0);
  static const auto rename_file = pml_system.rename_file;
  pml_system.rename_file = [](const char* source, const char* target) {
    std::filesystem::remove_all(chosen_path);
    return rename_file(source, target);
  };
  EXPECT_EQ(Run(9), 4);
  EXPECT_STREQ(param_.err_func, "move");
  EXPECT_FALSE(std::filesystem::exists(Dir(0)));
  EXPECT_EQ(NamesIn(staging_).size(), 2u);
}

// One record serves several calls: a failure leaves it usable.
TEST_F(PmlFailures, TheNextCallWithTheSameRecordRuns) {
  FailAllocation(1);
  EXPECT_EQ(Run(3), 4);
  EXPECT_EQ(Run(3), 0);
  EXPECT_TRUE(NamesIn(Dir(0)).empty());
}

}  // namespace
