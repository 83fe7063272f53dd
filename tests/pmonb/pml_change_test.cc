// Directories that change between the counting and the listing of the pruning.
#include <cerrno>

#include "tests/pmonb/pml_tree.h"

namespace {

using pml_test::Name;

std::string watched;  // directory
int openings;         // how often it has been opened
void (*at_second_opening)();
int failing_with;

class PmlChanges : public pml_test::PmlTree {
 protected:
  PmlChanges() {
    watched = Dir(0);
    openings = 0;
    pml_system.open_dir = [](const char* path) {
      if (path == watched && ++openings == 2) at_second_opening();
      return opendir(path);
    };
    for (int day = 1; day <= 4; ++day) PutIn(0, Name(20110100 + day));
  }

  int Run(int mode) { return PMONBcomDeletePml(&param_, static_cast<int8_t>(mode)); }

  static void Add(const std::string& name) { Put(watched + "/" + name); }

  PmlDelParam param_ = Param();
};

TEST_F(PmlChanges, FilesThatAppearAreLeftBeyondTheNumberCounted) {
  at_second_opening = [] {
    for (int day = 5; day <= 9; ++day) Add(Name(20110100 + day));
  };
  EXPECT_EQ(Run(3), 0);
  EXPECT_EQ(param_.file_count, 4u);
  EXPECT_EQ(NamesIn(Dir(0)).size(), 5u) << "four were listed, and with term 0 all of them go";
}

TEST_F(PmlChanges, AFullTableLeavesLaterDirectoriesAlone) {
  PutIn(1, Name(20110101));
  at_second_opening = [] { Add(Name(20110105)); };
  EXPECT_EQ(Run(3), 0);
  EXPECT_TRUE(NamesIn(Dir(0)).empty());
  EXPECT_EQ(NamesIn(Dir(1)).size(), 1u);
}

TEST_F(PmlChanges, FilesThatVanishAreNotMissed) {
  at_second_opening = [] { std::filesystem::remove(watched + "/" + Name(20110101)); };
  EXPECT_EQ(Run(3), 0);
  EXPECT_TRUE(NamesIn(Dir(0)).empty());
  EXPECT_EQ(Trace().back(), "Delete File Num 3");
}

TEST_F(PmlChanges, ADirectoryThatVanishesIsPassedOver) {
  PutIn(1, Name(20110101));
  at_second_opening = [] { std::filesystem::remove_all(watched); };
  EXPECT_EQ(Run(3), 0);
  EXPECT_FALSE(std::filesystem::exists(Dir(0)));
  EXPECT_TRUE(NamesIn(Dir(1)).empty());
  EXPECT_EQ(Trace().back(), "Delete File Num 1");
}

// It was passed over like one that has vanished: the oldest logs were taken from what was left, and
// newer ones went than were meant.
TEST_F(PmlChanges, ADirectoryThatCannotBeListedAnyMoreStopsTheRun) {
  for (int day = 11; day <= 20; ++day) PutIn(1, Name(20110100 + day));
  for (const int mode : {3, 4}) {
    for (const int error : {EACCES, EMFILE, EIO, ENOMEM, ENOTDIR}) {
      SCOPED_TRACE(testing::Message() << "mode " << mode << ", errno " << error);
      failing_with = error;
      pml_system.open_dir = [](const char* path) -> DIR* {
        if (path != watched || ++openings != 2) return opendir(path);
        errno = failing_with;
        return nullptr;
      };
      openings = 0;
      param_ = Param();
      param_.delete_count = 4;
      ExpectFailure(param_, Run(mode), 0x01B00014, "opendir", error);
      EXPECT_EQ(NamesIn(Dir(0)).size(), 4u);
      EXPECT_EQ(NamesIn(Dir(1)).size(), 10u);
    }
  }
}

// The first entry of the table stands for "oldest of a directory without files"; nothing may come
// of it when it is unused.
TEST_F(PmlChanges, EverythingMayVanish) {
  for (const int mode : {2, 4, 8}) {
    SCOPED_TRACE(mode);
    for (int day = 1; day <= 8; ++day) PutIn(0, Name(20110100 + day));
    at_second_opening = [] { std::filesystem::remove_all(watched); };
    openings = 0;
    param_ = Param();
    param_.delete_count = 3;
    EXPECT_EQ(Run(mode), 0);
    EXPECT_EQ(param_.total_lo, 80u);
    EXPECT_EQ(param_.file_count, 8u);
    EXPECT_EQ(Trace().back(), "Delete File Num 0");
  }
}

TEST_F(PmlChanges, EachDirectoryIsListedTwice) {
  at_second_opening = [] {};
  EXPECT_EQ(Run(3), 0);
  EXPECT_EQ(openings, 2);
}

}  // namespace
