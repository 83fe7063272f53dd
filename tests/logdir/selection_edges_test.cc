// What selection meets seldom: values at the edges of the calendar, files of which nothing is
// known.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <string>

#include "areas/finfo.h"
#include "logdir/autorules.h"
#include "logdir/autotarget.h"
#include "logdir/limits.h"
#include "logdir/pmonlogdir.h"
#include "logdir/timespan.h"
#include "logdir/unread.h"
#include "report/runinfo.h"
#include "tests/support/header_file.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"
#include "tests/support/usage_text.h"

namespace {

using ::testing::ElementsAre;

class SelectionEdges : public ::testing::Test {
 protected:
  SelectionEdges() {
    ResetRunState();
    SetClock("2021-05-31 10:20:30");
  }
  ~SelectionEdges() override { ResetRunState(); }

  TempDir directory;
  TimeZone zone{"UTC"};
};

TEST_F(SelectionEdges, MomentBeyondAllYearsHasNoDate) {
  const tm date = LocalTime(std::numeric_limits<int64_t>::max());
  EXPECT_EQ(date.tm_year, 0);
  EXPECT_EQ(date.tm_mday, 0);
}

TEST_F(SelectionEdges, DateBeyondAllMomentsDoesNotConvert) {
  tm date{};
  date.tm_year = INT_MAX;
  date.tm_mon = INT_MAX;
  int64_t time = 77;
  EXPECT_FALSE(ToTime(&date, &time));
  EXPECT_EQ(time, 77);
}

// -1 is also the answer of a conversion that fails.
TEST_F(SelectionEdges, LastSecondBefore1970Converts) {
  tm date{};
  date.tm_year = 69;
  date.tm_mon = 11;
  date.tm_mday = 31;
  date.tm_hour = 23;
  date.tm_min = 59;
  date.tm_sec = 59;
  int64_t time = 0;
  EXPECT_TRUE(ToTime(&date, &time));
  EXPECT_EQ(time, -1);
}

TEST_F(SelectionEdges, CodesBetweenTheUnitsAreNoLimit) {
  for (const int32_t code : {0, 1, 0x10000000, 0x20000000, 0x40000000}) {
    EXPECT_EQ(LimitOf(code, 1'622'456'430), std::nullopt) << code;
  }
  EXPECT_EQ(LimitOf(0x10000001, 1'622'456'430), 1'622'456'430 - 86400);
  EXPECT_EQ(LimitOf(0x1FFFFFFF, 1'622'456'430), 1'622'456'430 - int64_t{0x0FFFFFFF} * 86400);
  EXPECT_NE(LimitOf(0x20000001, 1'622'456'430), std::nullopt);
  EXPECT_NE(LimitOf(0x3FFFFFFF, 1'622'456'430), std::nullopt);
  EXPECT_NE(LimitOf(0x40000001, 1'622'456'430), std::nullopt);
}

// "{" comes behind "z", "[" behind "Z" and "@" before "A": none is a unit, so the text is no
// relative time.
TEST_F(SelectionEdges, CharactersBesideTheLettersAreNoUnits) {
  for (const char* text : {"5{", "5[", "5@", "5`"}) {
    Capture errors(2);
    EXPECT_EQ(StatusOf([text] { SetTimeSpan(text); }), 1) << text;
    EXPECT_EQ(errors.Text(),
              std::string("Qelprfarc: 104 Invalid option -- ") + text + "\n" + kUsage);
  }
}

TEST_F(SelectionEdges, LogBehindItsArchiveAtTheEndOfTheListIsDropped) {
  directory.Write("20210101a.psa");
  directory.Write("20210101a.psl");
  finfo.level = 'D';
  SetFileList(directory.Path("").c_str());
  SetTimeSpan("0d");
  FindTargetFile();
  ASSERT_EQ(Ntarget, 1);
  EXPECT_STREQ(TargetList[0], "20210101a.psa");
}

// Only what begins with a month can be an archive of ours: others are not even looked into.
TEST_F(SelectionEdges, ArchivesAreJudgedByNameAndLevel) {
  AutoSelection selection;
  const AutoProbe probe = {[](const char* name) {
                             EXPECT_STRNE(name, "notes.psa");
                             return name[8] == 'x' ? 0 : kUnreadableFile;
                           },
                           [](const char*) { return 0; }};
  const AutoPeriod period = {20210531, 0, false, 0};
  JudgeArchives(period,
                {{"notes.psa", "20210101x.psa", "20210101y.psa"}, {"20210102z.psa", "z.psa"}},
                probe, &selection);
  std::vector<AutoVerdict> verdicts;
  for (const AutoFile& file : selection.archives) verdicts.push_back(file.verdict);
  EXPECT_THAT(verdicts, ElementsAre(AutoVerdict::kOtherFile, AutoVerdict::kOtherLevel,
                                    AutoVerdict::kUnreadable, AutoVerdict::kUnreadable,
                                    AutoVerdict::kOtherFile));
}

TEST_F(SelectionEdges, LogThatNobodyCouldLookAtMakesTheHourRunLookAtArchives) {
  AutoSelection selection;
  selection.logs = {{"20210101a.psl", AutoVerdict::kNotOver}};
  EXPECT_FALSE(NeedsArchives('H', selection));
  EXPECT_TRUE(NeedsArchives('D', selection));
  selection.logs.push_back({"20210102a.psl", AutoVerdict::kUnreadable});
  EXPECT_TRUE(NeedsArchives('H', selection));
}

TEST_F(SelectionEdges, ShortNamesOfArchivesFitTheirPaths) {
  EXPECT_TRUE(FitsPaths("/arc/", "1.psa"));
  EXPECT_TRUE(FitsPaths("/arc/", "12.psa"));
  // 249 characters of directory, "archive/" and a name: one more than a path may have.
  EXPECT_FALSE(FitsPaths(std::string(248, 'd') + "/", "1.psa"));
}

TEST_F(SelectionEdges, ArchiveThatCannotBeOpenedHasNoLevel) {
  snprintf(arcdelinfo.arcdir, sizeof arcdelinfo.arcdir, "%s", directory.Path("").c_str());
  directory.MakeDirectory("archive");
  std::filesystem::create_symlink("20210101a.psa", directory.Path("archive/20210101a.psa"));
  EXPECT_EQ(CheckAutoFileLevel("20210101a.psa"), -1);
}

TEST_F(SelectionEdges, FileThatNothingFailedOnIsNotReported) {
  arcdelinfo.auto2_flg = 1;
  Capture errors(2);
  EXPECT_FALSE(ReportUnread("/nowhere/20210101a.psl"));
  EXPECT_EQ(arcdel_errflg, 0);
  EXPECT_EQ(UnreadError("/nowhere/20210101a.psl"), 0);
  NoteUnread("/nowhere/20210101a.psl", "stat", 13, 0x030d0002);
  EXPECT_EQ(UnreadError("/nowhere/20210101a.psl"), 13);
  EXPECT_TRUE(ReportUnread("/nowhere/20210101a.psl"));
  EXPECT_FALSE(ReportUnread("/nowhere/20210101a.psl")) << "told once";
  EXPECT_EQ(arcdel_errflg, 1);
}

}  // namespace
