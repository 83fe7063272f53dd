// Removal of expired files.
#include "archiver/removal.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include "areas/finfo.h"
#include "logdir/autotarget.h"
#include "platform/QelCM.h"
#include "report/runinfo.h"
#include "report/zero_file.h"
#include "tests/support/header_file.h"
#include "tests/support/run_state.h"
#include "tests/support/runs/removal_fixture.h"
#include "tests/support/runs/retention.h"
#include "tests/support/tempdir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class Removal : public RemovalFixture {
 protected:
  Removal() { directory.MakeDirectory("arc/archive"); }
};

TEST_F(Removal, NothingExpiresWithoutRetention) {
  MakeLog("19990101A.psl");
  MakeArchive("19990101A.psa", 'H');
  MakeArchive("199901A.psa", 'D');
  EXPECT_EQ(RemoveAt("2021-03-15 10:00:00"), 0);
  EXPECT_THAT(Logs(), ElementsAre("19990101A.psl"));
  EXPECT_THAT(Archives(), ElementsAre("19990101A.psa", "199901A.psa"));
  EXPECT_EQ(Trace(), "");
}

TEST_F(Removal, TemporaryArchivesAreAlwaysRemoved) {
  MakeArchive("20210314A.psa_tmp", 'H');
  directory.Write("arc/archive/202102A.psa_tmp");
  directory.Write("arc/archive/other");
  EXPECT_EQ(RemoveAt("2021-03-15 10:00:00"), 0);
  EXPECT_THAT(Archives(), ElementsAre("other"));
  EXPECT_THAT(Trace(), HasSubstr(" del 20210314A.psa_tmp\n"));
}

TEST_F(Removal, OneDayRetentionKeepsYesterdaysLogUntilItsLastSecondIsOutside) {
  Keep(kClassPsl, kDays + 1);
  MakeLog("20210313A.psl");
  MakeLog("20210314A.psl");
  EXPECT_EQ(RemoveAt("2021-03-15 23:59:59"), 0);
  EXPECT_THAT(Logs(), ElementsAre("20210314A.psl"));
  // The limit is now 23:59:59 of its day: still kept.
  EXPECT_EQ(RemoveAt("2021-03-16 00:00:00"), 0);
  EXPECT_THAT(Logs(), IsEmpty());
  EXPECT_THAT(Trace(), HasSubstr(" del 20210314A.psl\n"));
}

TEST_F(Removal, LogIsKeptWhileItsLastSecondEqualsTheLimit) {
  Keep(kClassPsl, kDays + 1);
  MakeLog("20210314A.psl");
  EXPECT_EQ(RemoveAt("2021-03-15 23:59:59"), 0);
  EXPECT_THAT(Logs(), ElementsAre("20210314A.psl"));
}

TEST_F(Removal, DayArchivesGoByWholeMonths) {
  Keep(kClassDay, kMonths + 1);
  MakeArchive("202101A.psa", 'D');
  MakeArchive("202102A.psa", 'D');
  EXPECT_EQ(RemoveAt("2021-03-15 10:00:00"), 0);
  EXPECT_THAT(Archives(), ElementsAre("202102A.psa"));
  EXPECT_EQ(RemoveAt("2021-03-31 23:59:59"), 0);
  EXPECT_THAT(Archives(), ElementsAre("202102A.psa"));
  EXPECT_EQ(RemoveAt("2021-04-01 00:00:00"), 0);
  EXPECT_THAT(Archives(), IsEmpty());
}

TEST_F(Removal, HourArchivesGoByWholeDays) {
  Keep(kClassHour, kMonths + 1);
  MakeArchive("20210213A.psa", 'H');
  MakeArchive("20210214A.psa", 'H');
  MakeArchive("20210215A.psa", 'H');
  EXPECT_EQ(RemoveAt("2021-03-15 10:00:00"), 0);
  EXPECT_THAT(Archives(), ElementsAre("20210215A.psa"));
}

TEST_F(Removal, EachClassHasItsOwnRetention) {
  Keep(kClassHour, kMonths + 1);
  MakeLog("19990101A.psl");
  MakeArchive("199901A.psa", 'D');
  MakeArchive("19990101A.psa", 'H');
  EXPECT_EQ(RemoveAt("2021-03-15 10:00:00"), 0);
  EXPECT_THAT(Logs(), ElementsAre("19990101A.psl"));
  EXPECT_THAT(Archives(), ElementsAre("199901A.psa"));
  arcdelinfo.savetm_flg[kClassHour] = 0;
  Keep(kClassDay, kMonths + 1);
  MakeArchive("19990101A.psa", 'H');
  EXPECT_EQ(RemoveAt("2021-03-15 10:00:00"), 0);
  EXPECT_THAT(Archives(), ElementsAre("19990101A.psa"));
}

TEST_F(Removal, OldRevisionsAreNeverRemoved) {
  Keep(kClassPsl, kDays + 1);
  Keep(kClassHour, kMonths + 1);
  Keep(kClassDay, kMonths + 1);
  MakeLog("19990101A.psl", 0x16);
  MakeLog("19990102A.psl", 0x17);
  MakeArchive("19990101A.psa", 'H', 0x16);
  MakeArchive("19990102A.psa", 'H', 0x17);
  MakeArchive("199901A.psa", 'D', 0x16);
  MakeArchive("199902A.psa", 'D', 0x17);
  EXPECT_EQ(RemoveAt("2021-03-15 10:00:00"), 0);
  EXPECT_THAT(Logs(), ElementsAre("19990101A.psl"));
  EXPECT_THAT(Archives(), ElementsAre("19990101A.psa", "199901A.psa"));
}

TEST_F(Removal, EmptyFilesAreNeverRemovedByAge) {
  Keep(kClassPsl, kDays + 1);
  Keep(kClassHour, kMonths + 1);
  Keep(kClassDay, kMonths + 1);
  directory.Write("arc/19990101A.psl");
  directory.Write("arc/archive/19990101A.psa");
  EXPECT_EQ(RemoveAt("2021-03-15 10:00:00"), 0);
  EXPECT_THAT(Logs(), ElementsAre("19990101A.psl"));
  EXPECT_THAT(Archives(), ElementsAre("19990101A.psa"));
}

TEST_F(Removal, NamesWithoutADateAreKept) {
  Keep(kClassPsl, kDays + 1);
  Keep(kClassHour, kMonths + 1);
  Keep(kClassDay, kMonths + 1);
  MakeLog("1999010A.psl");
  MakeLog("19990101A.txt");
  MakeArchive("x9990101A.psa", 'H');
  MakeArchive("1999010.psa", 'H');
  MakeArchive("19990A.psa", 'D');
  EXPECT_EQ(RemoveAt("2021-03-15 10:00:00"), 0);
  EXPECT_EQ(Logs().size(), 2u);
  EXPECT_EQ(Archives().size(), 3u);
}

TEST_F(Removal, MissingArchiveDirectoryIsNoFailure) {
  std::filesystem::remove(directory.Path("arc/archive"));
  Keep(kClassPsl, kDays + 1);
  MakeLog("19990101A.psl");
  EXPECT_EQ(RemoveAt("2021-03-15 10:00:00"), 0);
  EXPECT_THAT(directory.Names("arc"), IsEmpty());
}

TEST_F(Removal, ListHoldsTheNames) {
  Keep(kClassPsl, kDays + 1);
  MakeLog("19990101A.psl");
  directory.Write("arc/archive/199901A.psa_tmp");
  SetClock("2021-03-15 10:00:00");
  GetTimeSpan();
  ASSERT_EQ(CreatDelList(), 2);
  EXPECT_STREQ(DelListName(0), "19990101A.psl");
  EXPECT_STREQ(DelListName(1), "199901A.psa_tmp");
  EXPECT_THAT(Logs(), ElementsAre("19990101A.psl"));  // nothing is removed yet
}

TEST_F(Removal, FailuresAreCountedAndTheOtherFilesStillRemoved) {
  Keep(kClassPsl, kDays + 1);
  MakeLog("19990101A.psl");
  MakeLog("19990102A.psl");
  directory.Write("arc/archive/199901A.psa_tmp");
  SetClock("2021-03-15 10:00:00");
  GetTimeSpan();
  const int32_t count = CreatDelList();
  ASSERT_EQ(count, 3);
  std::filesystem::remove(directory.Path("arc/19990102A.psl"));
  Capture errors(2);
  EXPECT_EQ(DelFile(count), -1);
  EXPECT_THAT(Logs(), IsEmpty());
  EXPECT_THAT(Archives(), IsEmpty());
  EXPECT_THAT(Trace(),
              HasSubstr(" System call error occurred func=unlink errno=2 detcode=03080001\n"));
  EXPECT_THAT(Trace(), HasSubstr(" del done(2) fail(1)\n"));
  EXPECT_THAT(Trace(), Not(HasSubstr(" del 19990102A.psl\n")));
}

TEST_F(Removal, EmptyListSucceeds) {
  EXPECT_EQ(DelFile(0), 0);
  EXPECT_EQ(Trace(), "");
}

// --- CreateZeroFile -------------------------------------------------------------------------------

TEST_F(Removal, ZeroFileReplacesAnOpenOutput) {
  directory.Write("out", "bytes");
  snprintf(wfpath, sizeof wfpath, "%s", directory.Path("out").c_str());
  wfd = open(wfpath, O_WRONLY | O_CLOEXEC);
  const int fd = wfd;
  CreateZeroFile();
  EXPECT_EQ(wfd, -1);
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
  EXPECT_TRUE(directory.Exists("out"));
  EXPECT_EQ(directory.Read("out"), "");
}

TEST_F(Removal, ZeroFileIsCreatedWhenMissing) {
  snprintf(wfpath, sizeof wfpath, "%s", directory.Path("out").c_str());
  CreateZeroFile();
  EXPECT_TRUE(directory.Exists("out"));
  EXPECT_EQ(wfd, -1);
}

}  // namespace
