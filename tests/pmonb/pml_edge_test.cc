// Odd dates, odd names, links, odd directories and sizes beyond 32 bits.
#include <algorithm>
#include <cerrno>

#include "tests/pmonb/pml_tree.h"

namespace {

using pml_test::Name;
using Names = std::set<std::string>;

class PmlEdges : public pml_test::PmlTree {
 protected:
  int Run(int mode) { return PMONBcomDeletePml(&param_, static_cast<int8_t>(mode)); }

  // What a run by age with `term` leaves of files with these dates, all in one directory.
  Names LeftByAge(std::initializer_list<int> dates, uint32_t term) {
    std::filesystem::remove_all(Dir(0));
    for (const int date : dates) PutIn(0, Name(date));
    param_ = Param();
    param_.term = term;
    EXPECT_EQ(Run(3), 0);
    return NamesIn(Dir(0));
  }

  PmlDelParam param_ = Param();
};

// --- Dates ---------------------------------------------------------------------------------------

TEST_F(PmlEdges, FiveDigitDatesAreCutAtOtherPlaces) {
  // 050131 is "50131": year 2050, month 13, day 1. Everything of 2005 lies before it.
  EXPECT_EQ(LeftByAge({20050101, 20050131}, 7), Names{});
  // 051231 is "51231": year 2051, month 23, day 1, which is November 2052.
  EXPECT_EQ(LeftByAge({20050101, 20051231}, 10000), Names{});
  // 001231 is "1231": year 2012, month 31, day 0, which is the last of June 2014.
  EXPECT_EQ(LeftByAge({20000101, 20001231}, 1000), Names{});
  // 000101 is "101": year 2010, month 1, day 0: 31 December 2009.
  EXPECT_EQ(LeftByAge({20000101}, 1000), Names{});
  // 20000000 is "0": month 0, day 0 of 2000 lies before 2000.
  EXPECT_EQ(LeftByAge({20000000}, 0), Names{Name(20000000)});
}

TEST_F(PmlEdges, TheCenturyIsDropped) {
  EXPECT_EQ(LeftByAge({20110101, 19110131}, 10), Names{Name(19110131)});
  // 1999 counts as 2099.
  EXPECT_EQ(LeftByAge({20110101, 19991231}, 10), Names{Name(19991231)});
}

TEST_F(PmlEdges, DatesThatAreNoneAreNormalised) {
  // 31 February 2011 is 3 March, three days before is 28 February.
  EXPECT_EQ(LeftByAge({20110228, 20110229, 20110231}, 3), (Names{Name(20110229), Name(20110231)}));
  // Two days before is 1 March, after all of them.
  EXPECT_EQ(LeftByAge({20110228, 20110229, 20110231}, 2), Names{});
  // Day 99 of month 99 of 2010 lies in 2018.
  EXPECT_EQ(LeftByAge({20100101, 20109999}, 1), Names{});
}

TEST_F(PmlEdges, LeapDaysAndYearEndsAreCounted) {
  EXPECT_EQ(LeftByAge({20120228, 20120229, 20120301}, 1), Names{Name(20120301)});
  EXPECT_EQ(LeftByAge({20110228, 20110301}, 1), Names{Name(20110301)});
  EXPECT_EQ(LeftByAge({20101231, 20110101}, 1), Names{Name(20110101)});
}

TEST_F(PmlEdges, AThresholdBefore2000DeletesNothing) {
  // 1 January 2010 less 3653 days is 1 January 2000, one day more is 1999.
  EXPECT_EQ(LeftByAge({20000101, 20100101}, 3653), Names{Name(20100101)});
  const Names both = {Name(20000101), Name(20100101)};
  EXPECT_EQ(LeftByAge({20000101, 20100101}, 3654), both);
  for (const uint32_t term : {40000u, 0x7FFFFFFFu, 0x80000000u, 0x80000001u, 0xFFFFFFFFu}) {
    EXPECT_EQ(LeftByAge({20000101, 20100101}, term), both) << term;
  }
}

TEST_F(PmlEdges, AFailedConversionSelectsEveryFile) {
  pml_system.make_time = [](tm*) { return time_t{-1}; };
  EXPECT_EQ(LeftByAge({20110101, 20991231}, 10000), Names{});
  // One second before 1970 is a time like any other.
  pml_system.make_time = [](tm* calendar) {
    mktime(calendar);
    return time_t{-1};
  };
  EXPECT_EQ(LeftByAge({20110101, 20110131}, 10), Names{Name(20110131)});
}

TEST_F(PmlEdges, ForeignNamesAreNeverTheNewest) {
  PutIn(0, Name(20110101));
  PutIn(0, Name(20110102));
  PutIn(0, "20991231.pml");
  param_.term = 1;
  EXPECT_EQ(Run(3), 0);
  EXPECT_EQ(NamesIn(Dir(0)), Names{Name(20110102)});
}

// --- Order of names ------------------------------------------------------------------------------

TEST_F(PmlEdges, OnlyTheLastTwoDigitsOfTheNumbersCount) {
  PutIn(0, Name(20110101, 1, 2));
  PutIn(0, Name(20110101, 101, 2));
  PutIn(0, Name(20110101, 102, 1));
  PutIn(0, Name(20110101, 200, 999));
  param_.limit_lo = 30;
  EXPECT_EQ(Run(8), 0);
  EXPECT_FALSE(NamesIn(Dir(0)).contains(Name(20110101, 200, 999))) << "00 before 01";
  // 001_002 and 101_002 are equal: the one listed first goes first.
  std::string first;
  for (const auto& entry : std::filesystem::directory_iterator(Dir(0))) {
    const std::string name = entry.path().filename().string();
    if (name != Name(20110101, 102, 1)) {
      first = name;
      break;
    }
  }
  param_.limit_lo = 20;
  EXPECT_EQ(Run(8), 0);
  EXPECT_FALSE(NamesIn(Dir(0)).contains(first));
  EXPECT_EQ(NamesIn(Dir(0)).size(), 2u);
}

TEST_F(PmlEdges, NumbersAreTakenBehindTheFirstHashAndTheLastUnderscore) {
  const std::string older = "20110101b_99_#001_001.pml";
  const std::string newer = "20110101a_00_#001_002.pml";
  PutIn(0, older);
  PutIn(0, newer);
  param_.limit_lo = 10;
  EXPECT_EQ(Run(8), 0);
  EXPECT_EQ(NamesIn(Dir(0)), Names{newer});
}

// --- Names, links, other kinds of file -----------------------------------------------------------

// Paths of more than 327 characters were left alone once, and on an embedded volume every run then
// deleted all valid logs for the room that such a file took.
TEST_F(PmlEdges, ForeignNamesGoWhateverTheLengthOfTheirPath) {
  while (base_.size() < 100) base_ += "deep/";
  std::filesystem::create_directories(base_);
  const size_t room = 327 - (Dir(0).size() + 1) - 4;
  const std::string just = std::string(room, 'b') + ".pml";
  const std::string over = std::string(room + 1, 'b') + ".pml";
  const std::string cut = over.substr(0, over.size() - 1);  // what a cut path would name
  for (const int mode : {2, 3, 4, 8}) {
    SCOPED_TRACE(mode);
    const Names foreign = {std::string(251, 'a') + ".pml", just, over};
    for (const std::string& name : foreign) PutIn(0, name, 100);
    PutIn(0, cut);
    for (int day = 1; day <= 6; ++day) PutIn(0, Name(20110100 + day));
    param_ = Param();
    param_.term = 1000;
    param_.limit_lo = 359;
    std::ofstream(sgmtr_dmpfile, std::ios::trunc);
    EXPECT_EQ(Run(mode), 0);
    EXPECT_TRUE(std::filesystem::exists(Dir(0) + "/" + cut));
    for (const std::string& name : foreign) {
      EXPECT_FALSE(std::filesystem::exists(Dir(0) + "/" + name)) << name;
      const std::vector<std::string> trace = Trace();
      const std::string line = "DeletePml : task=delete name=" + Dir(0) + "/" + name + " size=100";
      EXPECT_EQ(std::count(trace.begin(), trace.end(), line), 1) << name;
    }
  }
  // What is left fits the limit, so the next run takes nothing.
  const Names left = NamesIn(Dir(0));
  EXPECT_GE(left.size(), 6u);
  param_ = Param();
  param_.limit_lo = 359;
  EXPECT_EQ(Run(8), 0);
  EXPECT_EQ(NamesIn(Dir(0)), left);
}

// Only the staging directory can be so far down that a name of the right shape is part of a path of
// more than 327 characters.
TEST_F(PmlEdges, StagedFilesMoveWhateverTheLengthOfTheirPath) {
  // 270 characters and ".trace3/" make 278.
  while (trace_dir_.size() + 10 < 270) trace_dir_ += "ddddddddd/";
  trace_dir_ += std::string(270 - trace_dir_.size() - 1, 'e') + "/";
  staging_ = trace_dir_ + ".trace3";
  std::filesystem::create_directories(staging_);
  std::filesystem::create_directories(Dir(0));
  param_ = Param();
  const std::string array(52 - 20, 'a');  // names of 52 characters
  Stage(Name(20110101, 1, 1, array));
  Stage(Name(20110102, 1, 1, array));
  Stage(Name(20110101, 1, 2));
  EXPECT_EQ(Run(9), 0);
  EXPECT_EQ(NamesIn(Dir(0)), (Names{Name(20110101, 1, 1, array), Name(20110101, 1, 2)}));
  EXPECT_EQ(NamesIn(staging_), Names{Name(20110102, 1, 1, array)});
  EXPECT_EQ(param_.file_count, 3u);
}

TEST_F(PmlEdges, OfALinkTheLinkItselfGoes) {
  Put(root_ + "/precious", 30);
  std::filesystem::create_directories(root_ + "/valuable");
  Put(root_ + "/valuable/file.pml");
  std::filesystem::create_directories(Dir(0));
  std::filesystem::create_symlink(root_ + "/precious", Dir(0) + "/" + Name(20110101));
  std::filesystem::create_symlink(root_ + "/precious", Dir(0) + "/abc.pml");
  std::filesystem::create_directory_symlink(root_ + "/valuable", Dir(0) + "/dir.pml");
  EXPECT_EQ(Run(3), 0);
  EXPECT_EQ(param_.file_count, 2u) << "the link to a directory is none of the files";
  EXPECT_EQ(param_.total_lo, 60u);
  EXPECT_EQ(NamesIn(Dir(0)), Names{"dir.pml"});
  EXPECT_EQ(std::filesystem::file_size(root_ + "/precious"), 30u);
  EXPECT_TRUE(std::filesystem::exists(root_ + "/valuable/file.pml"));
}

TEST_F(PmlEdges, OfAStagedLinkTheLinkItselfMoves) {
  Put(root_ + "/precious", 30);
  std::filesystem::create_directories(Dir(0));
  std::filesystem::create_symlink(root_ + "/precious", staging_ + "/abc.pml");
  EXPECT_EQ(Run(9), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(Dir(0) + "/abc.pml"));
  EXPECT_EQ(std::filesystem::file_size(root_ + "/precious"), 30u);
}

TEST_F(PmlEdges, DirectoriesNamedLikeLogsStay) {
  std::filesystem::create_directories(Dir(0) + "/" + Name(20000101));
  std::filesystem::create_directories(Dir(0) + "/abc.pml");
  PutIn(0, Name(20110101));
  EXPECT_EQ(Run(3), 0);
  EXPECT_EQ(param_.file_count, 1u);
  EXPECT_EQ(NamesIn(Dir(0)), (Names{Name(20000101), "abc.pml"}));
}

// A directory that comes in the place of a file is not removed, though it be empty.
TEST_F(PmlEdges, ADirectoryInThePlaceOfAFileStays) {
  PutIn(0, Name(20110101));
  static std::string path;
  path = Dir(0) + "/" + Name(20110101);
  static auto remove_file = pml_system.remove_file;
  pml_system.remove_file = [](const char* name) {
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    return remove_file(name);
  };
  EXPECT_EQ(Run(3), 4);
  EXPECT_STREQ(param_.err_func, "remove");
  EXPECT_TRUE(std::filesystem::is_directory(path));
}

TEST_F(PmlEdges, HostileNamesAreDeletedAndMovedAsTheyAre) {
  const Names names = {"a b.pml", "$(touch x).pml", "'.pml",   "\n.pml",
                       "-rf.pml", "`id`;.pml",      "%s%n.pml"};
  std::filesystem::create_directories(Dir(0));
  for (const std::string& name : names) Stage(name);
  EXPECT_EQ(Run(9), 0);
  EXPECT_EQ(NamesIn(Dir(0)), names);
  EXPECT_TRUE(NamesIn(staging_).empty());
  EXPECT_EQ(Run(3), 0);
  EXPECT_TRUE(NamesIn(Dir(0)).empty());
}

// --- Base directories ----------------------------------------------------------------------------

// Without its slash "pml" and "00" would make "pml00", a directory beside.
TEST_F(PmlEdges, ABaseWithoutItsSlashTouchesNothingBesideIt) {
  std::filesystem::create_directories(root_ + "/pml00");
  Put(root_ + "/pml00/abc.pml");
  PutIn(0, "abc.pml");
  snprintf(param_.base_dir, sizeof param_.base_dir, "%s/pml", root_.c_str());
  EXPECT_EQ(Run(3), 0);
  EXPECT_EQ(param_.file_count, 1u);
  EXPECT_TRUE(std::filesystem::exists(root_ + "/pml00/abc.pml"));
  EXPECT_TRUE(std::filesystem::exists(Dir(0) + "/abc.pml"));
  Stage("def.pml");
  EXPECT_EQ(Run(9), 0);
  EXPECT_TRUE(std::filesystem::exists(Dir(0) + "/def.pml"));
  EXPECT_EQ(NamesIn(root_ + "/pml00").size(), 1u);
}

TEST_F(PmlEdges, AnEmptyBaseIsNotTheRoot) {
  param_.base_dir[0] = '\0';
  static std::set<std::string> made;
  made.clear();
  pml_system.make_dir = [](const char* path, mode_t mode) {
    made.insert(path);
    return *path == '\0' ? mkdir(path, mode) : 0;
  };
  ExpectFailure(param_, Run(3), 0x01B0000D, "opendir", ENOENT);
  ExpectFailure(param_, Run(9), 0x01B00005, "mkdir", ENOENT);
  EXPECT_EQ(made, Names{""});
}

// An empty directory in the configuration gets its "/" like every other, and "/00" to "/FF" were
// pruned. The root that is pruned here is one below the test's directory.
TEST_F(PmlEdges, TheRootDirectoryIsNeverPruned) {
  static std::string jail;
  jail = root_ + "/jail";
  static Names touched;
  touched.clear();
  static const auto real = [](const char* path) {
    const std::string text = path;
    const bool outside =
        text.starts_with('/') && !text.starts_with(jail.substr(0, jail.size() - 5));
    return outside ? jail + text : text;
  };
  std::filesystem::create_directories(jail + "/00");
  std::filesystem::create_directories(jail + "/sub");
  for (int day = 1; day <= 9; ++day) Put(jail + "/00/" + Name(20110100 + day));
  Stage("abc.pml");
  pml_system.status = [](const char* path, struct stat* status) {
    return stat(real(path).c_str(), status);
  };
  pml_system.open_dir = [](const char* path) { return opendir(real(path).c_str()); };
  pml_system.remove_file = [](const char* path) {
    touched.insert(path);
    return unlink(real(path).c_str());
  };
  pml_system.make_dir = [](const char* path, mode_t mode) {
    touched.insert(path);
    return mkdir(real(path).c_str(), mode);
  };
  pml_system.move_file = [](const char* source, const char*, uint32_t*) {
    touched.insert(source);
    return 0;
  };
  for (const char* base : {"/", "", "//", "/.", "/./", "/sub/..", "/sub/../"}) {
    SCOPED_TRACE(base);
    for (const int mode : {1, 2, 3, 4, 5, 8}) {
      param_ = Param();
      param_.delete_count = 9;
      snprintf(param_.base_dir, sizeof param_.base_dir, "%s", base);
      ExpectFailure(param_, Run(mode), 0x01B0000D, "opendir", ENOENT);
    }
    for (const int mode : {7, 9}) ExpectFailure(param_, Run(mode), 0x01B00005, "mkdir", ENOENT);
    param_.file_count = 9;
    param_.total_lo = 90;
    EXPECT_EQ(Run(10), 6);
    ExpectFailure(param_, Run(6), 0x01B0000D, "opendir", ENOENT);
    // The caller may say that the scan has been done.
    param_.scan_flags = 1;
    EXPECT_EQ(Run(3), 1);
  }
  EXPECT_EQ(touched, Names{""}) << "nothing but the directory without a name";
  EXPECT_EQ(NamesIn(jail + "/00").size(), 9u);
}

// In the longest base directory a name of the full length just fits the path field.
TEST_F(PmlEdges, FieldsWithoutATerminatorEndWhereTheyEnd) {
  constexpr size_t kRoom = sizeof param_.base_dir;
  while (base_.size() + 10 < kRoom) base_ += "ddddddddd/";
  base_ += std::string(kRoom - base_.size() - 1, 'e') + "/";
  std::filesystem::create_directories(base_);
  const std::string longest = Name(20110101, 1, 1, std::string(52 - 20, 'a'));
  PutIn(0, longest);
  ASSERT_EQ((Dir(0) + "/" + longest).size(), 327u);
  memcpy(param_.base_dir, base_.data(), kRoom);
  memset(param_.trace_dir, 'y', sizeof param_.trace_dir);
  EXPECT_EQ(Run(3), 0);
  EXPECT_TRUE(NamesIn(Dir(0)).empty());
  EXPECT_EQ(Run(9), 4) << "a staging directory with a name beyond all bounds";
  EXPECT_EQ(param_.err_no, ENAMETOOLONG);
}

// --- Sizes ---------------------------------------------------------------------------------------

constexpr uint64_t kGiB = uint64_t{1} << 30;

TEST_F(PmlEdges, TotalsAboveFourGiB) {
  for (int day = 1; day <= 5; ++day) PutIn(0, Name(20110100 + day), 2 * kGiB + 1);
  EXPECT_EQ(Run(1), 0);
  EXPECT_EQ(param_.total_hi, 2u);
  EXPECT_EQ(param_.total_lo, 2 * kGiB + 5);
  param_.limit_hi = 2;
  param_.limit_lo = static_cast<uint32_t>(2 * kGiB + 5);
  EXPECT_EQ(Run(8), 0);
  EXPECT_EQ(NamesIn(Dir(0)).size(), 5u) << "it just fits";
  param_.limit_lo -= 1;
  EXPECT_EQ(Run(8), 0);
  EXPECT_EQ(NamesIn(Dir(0)).size(), 4u);
  EXPECT_EQ(param_.total_lo, 4u);
  EXPECT_EQ(Trace().front(),
            "DeletePml : task=delete name=" + Dir(0) + "/" + Name(20110101) + " size=-2147483647");
  std::filesystem::remove_all(Dir(0));
  EXPECT_EQ(Run(1), 0) << "made anew, empty";
  EXPECT_EQ(param_.total_hi, 0u);
  EXPECT_EQ(param_.total_lo, 0u);
}

TEST_F(PmlEdges, AFileAboveFourGiBGivesItsWholeRoom) {
  PutIn(0, Name(20110101), 5 * kGiB);
  PutIn(0, Name(20110102), kGiB);
  param_.limit_lo = static_cast<uint32_t>(2 * kGiB);
  EXPECT_EQ(Run(8), 0);
  EXPECT_EQ(NamesIn(Dir(0)), Names{Name(20110102)});
  EXPECT_EQ(param_.total_lo, kGiB);
}

TEST_F(PmlEdges, TotalsBeyondAllBoundsSaturate) {
  pml_system.status = [](const char* path, struct stat* status) {
    const int result = stat(path, status);
    if (S_ISREG(status->st_mode)) status->st_size = INT64_MAX;
    return result;
  };
  for (int day = 1; day <= 4; ++day) PutIn(0, Name(20110100 + day));
  EXPECT_EQ(Run(1), 0);
  EXPECT_EQ(param_.total_hi, 0xFFFFFFFFu);
}

}  // namespace
