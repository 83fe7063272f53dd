// The ten modes of the pruning, each on a real directory tree: first the switches of every row,
// then what each mode decides and does.
#include <algorithm>

#include "tests/pmonb/pml_tree.h"

namespace {

using pml_test::Name;
using Names = std::set<std::string>;

constexpr char kForeign[] = "abc.pml";

class PmlModes : public pml_test::PmlTree {
 protected:
  int Run(int mode) { return PMONBcomDeletePml(&param_, static_cast<int8_t>(mode)); }

  // `count` files of 10 bytes in subdirectory `number`, dated from the first of January 2011 on.
  void PutDays(unsigned number, int count) {
    for (int day = 1; day <= count; ++day) PutIn(number, Name(20110100 + day));
  }

  uint32_t Left(unsigned number) { return static_cast<uint32_t>(NamesIn(Dir(number)).size()); }

  PmlDelParam param_ = Param();
};

TEST_F(PmlModes, UnknownModesAndNullRecordAreBadParameters) {
  param_.err_no = 42;
  for (const int mode : {0, 11, -1, 127, -128}) {
    param_.detail = 0;
    param_.err_func[0] = '\0';
    EXPECT_EQ(Run(mode), 5) << mode;
    EXPECT_EQ(param_.detail, 0x01B00002u);
    EXPECT_STREQ(param_.err_func, "param");
    EXPECT_EQ(param_.err_no, 42);
  }
  for (const int mode : {0, 1, 10}) {
    EXPECT_EQ(PMONBcomDeletePml(nullptr, static_cast<int8_t>(mode)), 5);
  }
}

TEST_F(PmlModes, NothingCountedIsNothingToActOn) {
  std::filesystem::create_directories(Dir(0));
  PutIn(0, "a.psl");
  PutIn(0, ".pml");
  PutIn(0, "A.PML");
  std::filesystem::create_directories(Dir(0) + "/dir.pml");
  const std::set<std::string> before = Everything();
  for (const int mode : {2, 3, 6, 9}) {
    EXPECT_EQ(Run(mode), 1) << mode;
  }
  for (const int mode : {1, 4, 5, 8}) {
    EXPECT_EQ(Run(mode), 0) << mode;
  }
  EXPECT_EQ(Everything(), before);
  EXPECT_TRUE(Trace().empty());
}

// --- Counting ------------------------------------------------------------------------------------

TEST_F(PmlModes, Mode1CountsOneSubdirectoryOnly) {
  PutDays(0, 3);
  PutDays(1, 2);
  PutIn(0, kForeign, 5);
  EXPECT_EQ(Run(1), 0);
  EXPECT_EQ(param_.file_count, 4u);
  EXPECT_EQ(param_.total_lo, 35u);
  EXPECT_EQ(Left(0), 4u);
}

TEST_F(PmlModes, Mode5LeavesOutExcludedSubdirectories) {
  PutDays(0x00, 1);
  PutDays(0x7F, 2);
  PutDays(0xFF, 4);
  param_.dir_flags[0x7F] = 2;
  EXPECT_EQ(Run(5), 0);
  EXPECT_EQ(param_.file_count, 5u);
  EXPECT_EQ(param_.total_lo, 50u);
  EXPECT_EQ(param_.dir_flags[0x7F], 6);
  // The mark of the caller is for this mode alone.
  param_.term = 1000;
  EXPECT_EQ(Run(3), 0);
  EXPECT_EQ(param_.file_count, 7u);
}

TEST_F(PmlModes, OnlyNamesOfTwoUpperCaseHexDigitsAreSubdirectories) {
  for (const char* name : {"00", "9F", "AF", "aF", "Af", "GG", "0", "000", "0x", "FF"}) {
    std::filesystem::create_directories(base_ + name);
    Put(base_ + name + "/" + Name(20110101));
  }
  EXPECT_EQ(Run(5), 0);
  EXPECT_EQ(param_.file_count, 4u);
  EXPECT_EQ(param_.dir_flags[0x00] & param_.dir_flags[0x9F] & param_.dir_flags[0xAF] &
                param_.dir_flags[0xFF],
            4);
}

TEST_F(PmlModes, TheScanIsMadeOncePerRecord) {
  PutDays(0, 1);
  EXPECT_EQ(Run(5), 0);
  PutDays(1, 1);
  EXPECT_EQ(Run(5), 0);
  EXPECT_EQ(param_.file_count, 1u) << "the new subdirectory is not known yet";
  EXPECT_EQ(Run(4), 0);
  EXPECT_EQ(param_.file_count, 2u) << "other modes look for every subdirectory";
  param_.scan_flags = 0;
  EXPECT_EQ(Run(5), 0);
  EXPECT_EQ(param_.file_count, 2u);
}

// --- Modes 2 and 6: headroom ---------------------------------------------------------------------

TEST_F(PmlModes, Mode2DeletesOldestUntilTheMarginIsFree) {
  PutDays(0, 6);  // 60 bytes
  PutDays(1, 3);
  param_.limit_lo = 70;
  param_.margin = 35;
  EXPECT_EQ(Run(2), 0);
  EXPECT_EQ(NamesIn(Dir(0)), (Names{Name(20110104), Name(20110105), Name(20110106)}));
  EXPECT_EQ(Left(1), 3u);
  EXPECT_EQ(param_.file_count, 3u);
  EXPECT_EQ(param_.total_lo, 30u);
  EXPECT_EQ(Trace().back(), "Delete File Num 3");
}

TEST_F(PmlModes, Mode2ActsAtTheMarginButThenNeedsNoValidFile) {
  PutDays(0, 6);
  PutIn(0, kForeign, 10);
  param_.limit_lo = 105;
  param_.margin = 34;
  EXPECT_EQ(Run(2), 0);
  EXPECT_EQ(Left(0), 7u) << "headroom 35 is above the margin: no action";
  EXPECT_TRUE(Trace().empty());
  param_.margin = 35;
  EXPECT_EQ(Run(2), 0);
  EXPECT_EQ(Left(0), 6u) << "headroom equals margin: the foreign name goes, no other";
  EXPECT_EQ(param_.file_count, 7u);
  EXPECT_EQ(Trace().back(), "Delete File Num 1");
}

TEST_F(PmlModes, Mode2RefusesAMarginAboveTheLimit) {
  PutDays(0, 2);
  param_.limit_lo = 34;
  param_.margin = 35;
  EXPECT_EQ(Run(2), 1);
  EXPECT_EQ(Run(6), 1);
  EXPECT_EQ(Left(0), 2u);
  param_.limit_lo = 35;
  EXPECT_EQ(Run(2), 0);
  EXPECT_EQ(Left(0), 0u) << "a margin of the whole limit needs every file gone";
}

TEST_F(PmlModes, Mode6BelievesTheCallersTotals) {
  PutDays(0, 4);
  param_.limit_lo = 1000;
  param_.margin = 100;
  param_.total_lo = 915;  // 15 bytes are lacking
  param_.file_count = 50;
  EXPECT_EQ(Run(6), 0);
  EXPECT_EQ(NamesIn(Dir(0)), (Names{Name(20110103), Name(20110104)}));
  EXPECT_EQ(param_.total_lo, 895u);
  EXPECT_EQ(param_.file_count, 48u);
}

TEST_F(PmlModes, Mode6ListsNoMoreThanTheCallersNumber) {
  PutDays(0, 4);
  param_.total_lo = 100;
  param_.file_count = 2;
  EXPECT_EQ(Run(6), 0);
  EXPECT_EQ(Left(0), 2u);
  EXPECT_EQ(param_.file_count, 0u);
}

TEST_F(PmlModes, Mode6DoesNothingWhereNothingIs) {
  param_.total_lo = 100;
  param_.file_count = 2;
  EXPECT_EQ(Run(6), 0) << "no subdirectory";
  EXPECT_FALSE(std::filesystem::exists(Dir(0)));
  std::filesystem::create_directories(Dir(0));
  EXPECT_EQ(Run(6), 0) << "an empty subdirectory";
  EXPECT_EQ(param_.total_lo, 100u);
  EXPECT_EQ(param_.file_count, 2u);
  EXPECT_EQ(Trace(), (std::vector<std::string>{"Delete File Num 0", "Delete File Num 0"}));
}

TEST_F(PmlModes, ACountingCallFeedsADecidingOne) {
  PutDays(0, 5);
  EXPECT_EQ(Run(5), 0);
  PutDays(0, 9);
  param_.limit_lo = 40;
  EXPECT_EQ(Run(10), 6);
  EXPECT_EQ(Run(6), 0);
  EXPECT_EQ(Left(0), 8u) << "one of the five counted had to go";
  EXPECT_EQ(param_.file_count, 4u);
}

// --- Mode 3: age ---------------------------------------------------------------------------------

TEST_F(PmlModes, Mode3KeepsFilesNewerThanTheTermInEachSubdirectory) {
  for (const int date : {20110225, 20110226, 20110227, 20110228, 20110301}) PutIn(0, Name(date));
  for (const int date : {20101230, 20101231, 20110101, 20110102}) PutIn(0xFF, Name(date));
  param_.term = 2;
  EXPECT_EQ(Run(3), 0);
  EXPECT_EQ(NamesIn(Dir(0)), (Names{Name(20110228), Name(20110301)}))
      << "the file dated exactly two days earlier goes";
  EXPECT_EQ(NamesIn(Dir(0xFF)), (Names{Name(20110101), Name(20110102)}));
  EXPECT_EQ(param_.file_count, 9u);
  EXPECT_EQ(param_.total_lo, 90u);
}

TEST_F(PmlModes, Mode3WithoutTermTakesTheNewestToo) {
  PutDays(0, 3);
  EXPECT_EQ(Run(3), 0);
  EXPECT_EQ(Left(0), 0u);
}

// --- Mode 4: number ------------------------------------------------------------------------------

TEST_F(PmlModes, Mode4LeavesSevenFilesAlone) {
  PutDays(0, 7);
  param_.delete_count = 3;
  EXPECT_EQ(Run(4), 0);
  EXPECT_EQ(Left(0), 7u);
  EXPECT_TRUE(Trace().empty());
  PutIn(9, Name(20101231));
  EXPECT_EQ(Run(4), 0);
  EXPECT_EQ(Left(9), 0u);
  EXPECT_EQ(NamesIn(Dir(0)), (Names{Name(20110103), Name(20110104), Name(20110105), Name(20110106),
                                    Name(20110107)}));
  EXPECT_EQ(param_.total_lo, 50u);
  EXPECT_EQ(param_.file_count, 8u) << "this mode does not subtract";
}

TEST_F(PmlModes, Mode4GoesOnUntilNoFileIsLeft) {
  PutDays(3, 9);
  param_.delete_count = 100;
  EXPECT_EQ(Run(4), 0);
  EXPECT_EQ(Left(3), 0u);
  EXPECT_EQ(Trace().back(), "Delete File Num 9");
}

TEST_F(PmlModes, Mode4DoesNotCountForeignNames) {
  PutDays(0, 7);
  PutIn(0, kForeign);
  param_.delete_count = 2;
  EXPECT_EQ(Run(4), 0);
  EXPECT_EQ(Left(0), 5u);
  EXPECT_EQ(Trace().back(), "Delete File Num 3");
}

TEST_F(PmlModes, Mode4WithNumber0TakesForeignNamesOnly) {
  PutDays(0, 8);
  PutIn(0, kForeign);
  EXPECT_EQ(Run(4), 0);
  EXPECT_EQ(Left(0), 8u);
}

// The first choice is the directory with the lowest date, the last of equals, whatever the numbers
// in its names; all further ones follow the numbers.
TEST_F(PmlModes, Mode4BeginsWithTheLastDirectoryOfTheLowestDate) {
  PutIn(0, Name(20110101, 1, 1));
  PutIn(5, Name(20110101, 50, 1));
  PutIn(7, Name(20110101, 20, 1));
  PutIn(9, Name(20110102, 0, 0));
  for (int day = 10; day < 14; ++day) PutIn(1, Name(20110100 + day));
  param_.delete_count = 1;
  EXPECT_EQ(Run(4), 0);
  EXPECT_EQ(Left(7), 0u);
  EXPECT_EQ(Left(0) + Left(5) + Left(9), 3u);
  PutIn(1, Name(20110120));
  param_.delete_count = 2;
  EXPECT_EQ(Run(4), 0);
  EXPECT_EQ(Left(5), 0u) << "now the last of the lowest date";
  EXPECT_EQ(Left(0), 0u) << "then the oldest of all";
  EXPECT_EQ(Left(9), 1u);
}

// --- Modes 7 and 10: report ----------------------------------------------------------------------

TEST_F(PmlModes, Modes7And10ReportHeadroomAtOrBelowTheMargin) {
  std::filesystem::create_directories(Dir(0));
  Stage(Name(20110101), 40);
  Stage(kForeign, 20);
  param_.limit_lo = 100;
  for (const int mode : {7, 10}) {
    SCOPED_TRACE(mode);
    param_.margin = 39;
    EXPECT_EQ(Run(mode), 0);
    param_.margin = 40;
    EXPECT_EQ(Run(mode), 6);
    param_.margin = 4000000000;  // these modes do not compare margin and limit
    EXPECT_EQ(Run(mode), 6);
    EXPECT_EQ(param_.total_lo, 60u);
    EXPECT_EQ(param_.file_count, 2u);
  }
  EXPECT_EQ(NamesIn(staging_).size(), 2u);
  EXPECT_TRUE(Trace().empty());
}

TEST_F(PmlModes, Mode7DoesNotCountWhatIsStagedForAMissingSubdirectory) {
  Stage(Name(20110101), 40);
  EXPECT_EQ(Run(7), 6) << "no limit, no headroom";
  EXPECT_EQ(param_.file_count, 0u);
  EXPECT_EQ(Run(7), 6);
  EXPECT_EQ(param_.file_count, 1u);
}

// --- Mode 8: size --------------------------------------------------------------------------------

TEST_F(PmlModes, Mode8DeletesOldestUntilTheTotalFits) {
  PutDays(0, 5);
  param_.limit_lo = 50;
  EXPECT_EQ(Run(8), 0);
  EXPECT_EQ(Left(0), 5u) << "a total that just fits";
  EXPECT_TRUE(Trace().empty());
  param_.limit_lo = 49;
  param_.margin = 40;  // means nothing here
  EXPECT_EQ(Run(8), 0);
  EXPECT_EQ(Left(0), 4u);
  param_.limit_lo = 20;
  EXPECT_EQ(Run(8), 0);
  EXPECT_EQ(NamesIn(Dir(0)), (Names{Name(20110104), Name(20110105)}));
  EXPECT_EQ(param_.total_lo, 20u);
  EXPECT_EQ(param_.file_count, 2u);
}

TEST_F(PmlModes, Mode8DeletesForeignNamesBesidesTheChosen) {
  PutDays(0, 3);
  PutIn(0, kForeign, 100);
  param_.limit_lo = 120;
  EXPECT_EQ(Run(8), 0);
  EXPECT_EQ(NamesIn(Dir(0)), (Names{Name(20110102), Name(20110103)}))
      << "the room that the foreign name gives is not reckoned with";
  EXPECT_EQ(param_.total_lo, 120u);
}

// --- Mode 9: relocation --------------------------------------------------------------------------

TEST_F(PmlModes, Mode9MovesAllButTheNewest) {
  std::filesystem::create_directories(Dir(0));
  Stage(Name(20110102, 1, 1), 11);
  Stage(Name(20110102, 1, 2), 12);
  Stage(Name(20110101, 9, 9), 13);
  Stage(kForeign, 14);
  Stage("other.psl");
  EXPECT_EQ(Run(9), 0);
  EXPECT_EQ(NamesIn(staging_), (Names{Name(20110102, 1, 2), "other.psl"}));
  EXPECT_EQ(NamesIn(Dir(0)), (Names{Name(20110102, 1, 1), Name(20110101, 9, 9), kForeign}));
  const std::vector<std::string> trace = Trace();
  ASSERT_EQ(trace.size(), 4u);
  const std::string line =
      "DeletePml : task=move name=" + staging_ + "/" + Name(20110101, 9, 9) + " size=13";
  EXPECT_EQ(std::count(trace.begin(), trace.end(), line), 1);
  EXPECT_EQ(trace.back(), "Delete File Num 3");
}

TEST_F(PmlModes, Mode9MovesIntoTheSubdirectoryOfTheRecord) {
  std::filesystem::create_directories(Dir(0xAB));
  Stage(Name(20110101));
  Stage(Name(20110102));
  param_.dir_no = 0xAB;
  EXPECT_EQ(Run(9), 0);
  EXPECT_EQ(Left(0xAB), 1u);
  EXPECT_FALSE(std::filesystem::exists(Dir(0)));
}

TEST_F(PmlModes, Mode9MakesAMissingSubdirectoryAndMovesInTheNextRun) {
  Stage(Name(20110101));
  Stage(Name(20110102));
  EXPECT_EQ(Run(9), 1);
  EXPECT_EQ(Left(0), 0u);
  EXPECT_EQ(NamesIn(staging_).size(), 2u);
  EXPECT_EQ(Run(9), 0);
  EXPECT_EQ(NamesIn(Dir(0)), Names{Name(20110101)});
}

TEST_F(PmlModes, Mode9MovesForeignNamesEvenWhenNothingElseIsStaged) {
  std::filesystem::create_directories(Dir(0));
  Stage("abc.pml");
  Stage("def.pml");
  EXPECT_EQ(Run(9), 0);
  EXPECT_TRUE(NamesIn(staging_).empty());
  EXPECT_EQ(Left(0), 2u);
}

TEST_F(PmlModes, TraceOfADeletion) {
  PutIn(0x0B, Name(20110101), 1234);
  EXPECT_EQ(Run(3), 0);
  EXPECT_EQ(Trace(), (std::vector<std::string>{"DeletePml : task=delete name=" + Dir(0x0B) + "/" +
                                                   Name(20110101) + " size=1234",
                                               "Delete File Num 1"}));
}

}  // namespace
