// Automatic selection: what is taken for a log or an archive, and the inputs of the hour and day
// runs.
#include "logdir/autotarget.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "engine/input.h"
#include "report/runinfo.h"
#include "tests/support/header_file.h"
#include "tests/support/run_state.h"
#include "tests/support/runs/retention.h"
#include "tests/support/tempdir.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AutoTargets : public ::testing::Test {
 protected:
  AutoTargets() {
    ResetRunState();
    snprintf(arcdelinfo.arcdir, sizeof arcdelinfo.arcdir, "%s", directory.Path("").c_str());
    directory.MakeDirectory("archive");
  }
  ~AutoTargets() override { ResetRunState(); }

  void MakeLog(const std::string& name, uint8_t revision = 0x1D) const {
    HeaderFile header;
    header.revision = revision;
    directory.Write(name, HeaderBytes(header));
  }
  void MakeArchive(const std::string& name, char level, uint8_t revision = 0x1D) const {
    HeaderFile header;
    header.revision = revision;
    header.level = level;
    directory.Write("archive/" + name, HeaderBytes(header));
  }

  static std::vector<std::string> Select(char level, const std::string& now) {
    SetClock(now);
    GetTimeSpan();
    finfo.level = level;
    GetTargetFile();
    return {TargetList, TargetList + Ntarget};
  }

  TempDir directory;
  TimeZone zone{"UTC"};
};

TEST_F(AutoTargets, LevelsOfFiles) {
  MakeArchive("20210101A.psa", 'H');
  MakeArchive("202101A.psa", 'D');
  MakeArchive("20210102A.psa", 'L');
  MakeArchive("20210103A.psa", 'x');
  directory.Write("archive/20210104A.psa");
  MakeLog("20210101A.psl");
  EXPECT_EQ(CheckAutoFileLevel("20210101A.psa"), 1);
  EXPECT_EQ(CheckAutoFileLevel("202101A.psa"), 2);
  EXPECT_EQ(CheckAutoFileLevel("20210102A.psa"), 0);
  EXPECT_EQ(CheckAutoFileLevel("20210103A.psa"), 0);
  EXPECT_EQ(CheckAutoFileLevel("20210104A.psa"), 1);  // empty
  EXPECT_EQ(CheckAutoFileLevel("20210101A.psl"), 0);  // lies in the directory above
  EXPECT_EQ(CheckAutoFileLevel("20210105A.psa"), -1);
  EXPECT_EQ(rfd, -1);
}

TEST_F(AutoTargets, FilesTooShortForALevelByteHaveNone) {
  HeaderFile header;
  header.level = 'H';
  for (const size_t size : {1, 3, 4, 11, 12}) {
    directory.Write("archive/20210101A.psa", HeaderBytes(header).substr(0, size));
    EXPECT_EQ(CheckAutoFileLevel("20210101A.psa"), 0) << size;
  }
  directory.Write("archive/20210101A.psa", HeaderBytes(header).substr(0, 13));
  EXPECT_EQ(CheckAutoFileLevel("20210101A.psa"), 1);
}

TEST_F(AutoTargets, Revision0x17AndLaterIsAccepted) {
  for (int revision = 0; revision <= 0xFF; ++revision) {
    MakeLog("20210101A.psl", static_cast<uint8_t>(revision));
    EXPECT_EQ(CheckAutoFileVer("20210101A.psl"), revision >= 0x17 ? 0 : -1) << revision;
  }
  MakeArchive("20210101A.psa", 'H', 0x16);
  EXPECT_EQ(CheckAutoFileVer("20210101A.psa"), -1);
  MakeArchive("20210101A.psa", 'H', 0x17);
  EXPECT_EQ(CheckAutoFileVer("20210101A.psa"), 0);
}

TEST_F(AutoTargets, FilesTooShortForARevisionAreRefused) {
  for (const size_t size : {0, 1, 4, 11}) {
    directory.Write("20210101A.psl", HeaderBytes({}).substr(0, size));
    EXPECT_EQ(CheckAutoFileVer("20210101A.psl"), -1) << size;
  }
  directory.Write("20210101A.psl", HeaderBytes({}).substr(0, 12));
  EXPECT_EQ(CheckAutoFileVer("20210101A.psl"), 0);
  EXPECT_EQ(CheckAutoFileVer("20210102A.psl"), -1);
  EXPECT_EQ(rfd, -1);
  EXPECT_EQ(rfname, nullptr);
}

TEST_F(AutoTargets, PipesAreTakenAsEmptyFiles) {
  ASSERT_EQ(mkfifo(directory.Path("20210101A.psl").c_str(), 0600), 0);
  EXPECT_EQ(CheckAutoFileVer("20210101A.psl"), -1);
  EXPECT_EQ(CheckAutoFileLevel("20210101A.psl"), 1);
}

// What the driver takes for an archive and what for a log, the selection must look for in the same
// place: once, the driver looked for this one among the archives, and its month was never made.
TEST_F(AutoTargets, NameWithBothExtensionsIsALog) {
  EXPECT_EQ(AutoFilePath("20240209A.psa.psl"), directory.Path("20240209A.psa.psl"));
  EXPECT_EQ(AutoFilePath("20240209A.psl"), directory.Path("20240209A.psl"));
  EXPECT_EQ(AutoFilePath("20240209A.psa"), directory.Path("archive/20240209A.psa"));
  MakeLog("20240209A.psa.psl");
  EXPECT_THAT(Select('D', "2024-03-15 10:00:00"), ElementsAre("20240209A.psa.psl"));
  arcdelinfo.auto_flg = 1;
  finfo.optclass = kOptDirectory;
  EXPECT_EQ(InputPath("20240209A.psa.psl"), directory.Path("20240209A.psa.psl"));
}

// The longest path of a log's run is that of its temporary archive: 8 + 10 + 8 characters behind
// the directory, and 8 + 9 of an hour archive's.
TEST_F(AutoTargets, PathsHaveAtMost255Characters) {
  EXPECT_TRUE(FitsPaths(std::string(229, 'd'), "20240209AB.psl"));
  EXPECT_FALSE(FitsPaths(std::string(230, 'd'), "20240209AB.psl"));
  EXPECT_FALSE(FitsPaths(std::string(229, 'd'), "20240209ABC.psl"));
  EXPECT_TRUE(FitsPaths(std::string(229, 'd'), "20240209AB#001.psl"));
  EXPECT_TRUE(FitsPaths(std::string(231, 'd'), "20240209AB.psa"));
  EXPECT_FALSE(FitsPaths(std::string(232, 'd'), "20240209AB.psa"));
  const std::string part = "20240209AB#" + std::string(40, '1');
  EXPECT_TRUE(FitsPaths(std::string(200, 'd'), part + ".psl"));
  EXPECT_FALSE(FitsPaths(std::string(200, 'd'), part + "1.psl"));
}

// --- Hour run -------------------------------------------------------------------------------------

TEST_F(AutoTargets, HourRunTakesLogsUpToTheEndOfYesterday) {
  MakeLog("20210313A.psl");
  MakeLog("20210314A.psl");
  MakeLog("20210315A.psl");  // today
  MakeLog("20210316A.psl");
  EXPECT_THAT(Select('H', "2021-03-15 00:00:00"), ElementsAre("20210313A.psl", "20210314A.psl"));
  EXPECT_THAT(Select('H', "2021-03-15 23:59:59"), ElementsAre("20210313A.psl", "20210314A.psl"));
}

TEST_F(AutoTargets, HourRunOn1MarchEndsOn28February) {
  MakeLog("20210228A.psl");
  MakeLog("20210301A.psl");
  EXPECT_THAT(Select('H', "2021-03-01 12:00:00"), ElementsAre("20210228A.psl"));
}

TEST_F(AutoTargets, HourRunOn1MarchOfALeapYearEndsOn29February) {
  MakeLog("20200229A.psl");
  MakeLog("20200301A.psl");
  EXPECT_THAT(Select('H', "2020-03-01 12:00:00"), ElementsAre("20200229A.psl"));
}

TEST_F(AutoTargets, HourRunOn1JanuaryEndsInTheYearBefore) {
  MakeLog("20201231A.psl");
  MakeLog("20210101A.psl");
  EXPECT_THAT(Select('H', "2021-01-01 12:00:00"), ElementsAre("20201231A.psl"));
}

TEST_F(AutoTargets, DaysAreLocal) {
  TimeZone tokyo("JST-9");
  MakeLog("20210314A.psl");
  MakeLog("20210315A.psl");
  // 2021-03-16 08:00 local.
  EXPECT_THAT(Select('H', "2021-03-15 23:00:00"), ElementsAre("20210314A.psl", "20210315A.psl"));
}

TEST_F(AutoTargets, LogWithItsHourArchiveIsNotSelectedAgain) {
  MakeLog("20210313A.psl");
  MakeLog("20210314A#001.psl");
  MakeLog("20210314A#002.psl");
  MakeLog("20210314B.psl");
  MakeArchive("20210314A.psa", 'H');
  EXPECT_THAT(Select('H', "2021-03-15 10:00:00"), ElementsAre("20210313A.psl", "20210314B.psl"));
}

TEST_F(AutoTargets, EmptyHourArchiveCountsAsArchived) {
  MakeLog("20210314A.psl");
  directory.Write("archive/20210314A.psa");
  EXPECT_THAT(Select('H', "2021-03-15 10:00:00"), IsEmpty());
}

TEST_F(AutoTargets, TemporaryArchiveDoesNotCountAsArchived) {
  MakeLog("20210314A.psl");
  MakeArchive("20210314A.psa_tmp", 'H');
  EXPECT_THAT(Select('H', "2021-03-15 10:00:00"), ElementsAre("20210314A.psl"));
}

TEST_F(AutoTargets, HourRunIgnoresDayArchives) {
  MakeLog("20210314A.psl");
  MakeArchive("202103A.psa", 'D');
  EXPECT_THAT(Select('H', "2021-03-15 10:00:00"), ElementsAre("20210314A.psl"));
}

TEST_F(AutoTargets, LogsOfOldRevisionsAndEmptyLogsAreNeverSelected) {
  MakeLog("20210312A.psl", 0x16);
  MakeLog("20210313A.psl", 0x17);
  directory.Write("20210314A.psl");
  EXPECT_THAT(Select('H', "2021-03-15 10:00:00"), ElementsAre("20210313A.psl"));
  EXPECT_THAT(Select('D', "2021-04-15 10:00:00"), ElementsAre("20210313A.psl"));
}

TEST_F(AutoTargets, LogsThatWouldExpireAtOnceAreNotSelected) {
  arcdelinfo.savetm_flg[kClassHour] = 1;
  arcdelinfo.savetm[kClassHour] = kMonths + 1;
  MakeLog("20210214A.psl");
  MakeLog("20210215A.psl");
  EXPECT_THAT(Select('H', "2021-03-15 10:00:00"), ElementsAre("20210215A.psl"));
}

TEST_F(AutoTargets, PslRetentionDoesNotMatterForSelection) {
  arcdelinfo.savetm_flg[kClassPsl] = 1;
  arcdelinfo.savetm[kClassPsl] = kDays + 1;
  MakeLog("20210101A.psl");
  EXPECT_THAT(Select('H', "2021-03-15 10:00:00"), ElementsAre("20210101A.psl"));
}

TEST_F(AutoTargets, NamesWithoutADateAreNotSelected) {
  for (const char* name : {"2021030A.psl", "20210230A.psl", "xx210301A.psl", "20210301A.psl.bak",
                           "20210301A.txt", "19691231A.psl"}) {
    MakeLog(name);
  }
  EXPECT_THAT(Select('H', "2021-03-15 10:00:00"), IsEmpty());
}

TEST_F(AutoTargets, HourRunWithoutLogsLeavesTheArchiveDirectoryAlone) {
  std::filesystem::remove(directory.Path("archive"));
  EXPECT_THAT(Select('H', "2021-03-15 10:00:00"), IsEmpty());
  EXPECT_FALSE(directory.Exists("archive"));
}

TEST_F(AutoTargets, MissingArchiveDirectoryIsCreated) {
  std::filesystem::remove(directory.Path("archive"));
  MakeLog("20210314A.psl");
  const mode_t before = umask(0);
  EXPECT_THAT(Select('H', "2021-03-15 10:00:00"), ElementsAre("20210314A.psl"));
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(directory.Path("archive").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0755u);
}

TEST_F(AutoTargets, DayRunCreatesTheArchiveDirectoryEvenWithoutLogs) {
  std::filesystem::remove(directory.Path("archive"));
  EXPECT_THAT(Select('D', "2021-03-15 10:00:00"), IsEmpty());
  EXPECT_TRUE(directory.Exists("archive"));
}

TEST_F(AutoTargets, ArchiveDirectoryThatCannotBeCreatedEndsTheRun) {
  std::filesystem::remove(directory.Path("archive"));
  directory.Write("archive");
  MakeLog("20210314A.psl");
  arcdelinfo.auto2_flg = 1;  // failures go to standard error
  arcdelinfo.arc_flg = 1;
  Capture errors(2);
  EXPECT_EQ(StatusOf([] { Select('H', "2021-03-15 10:00:00"); }), 1);
  EXPECT_EQ(errors.Text(),
            "System call error occurred func=mkdir errno=17 detcode=030d0001\n"
            "Failed in archives of psl(psa) files.\n");
}

// --- Day run --------------------------------------------------------------------------------------

TEST_F(AutoTargets, DayRunEndsWithTheMonthBefore) {
  MakeArchive("20210131A.psa", 'H');
  MakeArchive("20210228A.psa", 'H');
  MakeArchive("20210301A.psa", 'H');
  const std::vector<std::string> expected{"20210131A.psa", "20210228A.psa"};
  for (const char* now : {"2021-03-01 00:00:00", "2021-03-15 10:00:00", "2021-03-31 23:59:59"}) {
    EXPECT_EQ(Select('D', now), expected) << now;
  }
}

TEST_F(AutoTargets, DayRunInJanuaryEndsInDecember) {
  MakeArchive("20201231A.psa", 'H');
  MakeArchive("20210101A.psa", 'H');
  EXPECT_THAT(Select('D', "2021-01-31 10:00:00"), ElementsAre("20201231A.psa"));
}

TEST_F(AutoTargets, LogDatedTodayIsSelectedByNeitherLevel) {
  MakeLog("20210301A.psl");
  EXPECT_THAT(Select('H', "2021-03-01 23:59:59"), IsEmpty());
  EXPECT_THAT(Select('D', "2021-03-01 23:59:59"), IsEmpty());
}

TEST_F(AutoTargets, DayRunTakesLogsBeforeHourArchives) {
  MakeLog("20210220B.psl");
  MakeArchive("20210110A.psa", 'H');
  MakeArchive("20210111A.psa", 'H');
  EXPECT_THAT(Select('D', "2021-03-15 10:00:00"),
              ElementsAre("20210220B.psl", "20210110A.psa", "20210111A.psa"));
}

TEST_F(AutoTargets, DayRunPassesOverLogsWithTheirHourArchive) {
  MakeLog("20210220A.psl");
  MakeArchive("20210220A.psa", 'H');
  EXPECT_THAT(Select('D', "2021-03-15 10:00:00"), ElementsAre("20210220A.psa"));
}

TEST_F(AutoTargets, MonthWithItsDayArchiveIsNotSelectedAgain) {
  MakeLog("20210120A.psl");
  MakeArchive("20210121A.psa", 'H');
  MakeArchive("20210121A#002.psa", 'H');
  MakeArchive("20210121B.psa", 'H');
  MakeArchive("20210201A.psa", 'H');
  MakeArchive("202101A.psa", 'D');
  EXPECT_THAT(Select('D', "2021-03-15 10:00:00"), ElementsAre("20210121B.psa", "20210201A.psa"));
}

TEST_F(AutoTargets, EmptyHourArchivesAreNotFolded) {
  directory.Write("archive/20210220A.psa");
  MakeArchive("20210221A.psa", 'H');
  EXPECT_THAT(Select('D', "2021-03-15 10:00:00"), ElementsAre("20210221A.psa"));
}

TEST_F(AutoTargets, HourArchivesOfOldRevisionsAreNotFolded) {
  MakeArchive("20210220A.psa", 'H', 0x16);
  EXPECT_THAT(Select('D', "2021-03-15 10:00:00"), IsEmpty());
}

TEST_F(AutoTargets, DayPsaRetentionOf1MonthKeepsOlderLogsOut) {
  arcdelinfo.savetm_flg[kClassDay] = 1;
  arcdelinfo.savetm[kClassDay] = kMonths + 1;
  MakeLog("20210214A.psl");
  MakeLog("20210215A.psl");
  MakeArchive("20210214B.psa", 'H');
  MakeArchive("20210215B.psa", 'H');
  EXPECT_THAT(Select('D', "2021-03-15 10:00:00"), ElementsAre("20210215A.psl", "20210215B.psa"));
}

TEST_F(AutoTargets, MarksOfTheTargetsAreClear) {
  MakeLog("20210312A.psl");
  MakeLog("20210313A.psl", 0x10);
  MakeArchive("20210311A.psa", 'H');
  Select('H', "2021-03-15 10:00:00");
  // One more than the candidates of both kinds, selected or not.
  ASSERT_EQ(finfo.target_marks_size, 4u);
  EXPECT_THAT(std::vector<uint8_t>(finfo.target_marks, finfo.target_marks + 4), Each(0));
}

TEST_F(AutoTargets, WithoutCurrentTimeNothingIsSelected) {
  MakeLog("19700101A.psl");
  MakeLog("20210101A.psl");
  for (const char level : {'H', 'D'}) {
    finfo.level = level;
    GetTargetFile();
    EXPECT_EQ(Ntarget, 0);
  }
}

}  // namespace
