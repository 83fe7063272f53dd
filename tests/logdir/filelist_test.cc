// Listing of a directory and the choice of a directory run's inputs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "logdir/pmonlogdir.h"
#include "logdir/timespan.h"
#include "platform/QelCM.h"
#include "report/runinfo.h"
#include "tests/support/lines.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

std::vector<std::string> Listed() { return {Flist, Flist + Nfile}; }

std::vector<std::string> TargetNames() { return {TargetList, TargetList + Ntarget}; }

class FileList : public ::testing::Test {
 protected:
  FileList() {
    ResetRunState();
    SetClock("2021-05-31 10:20:30");
  }
  ~FileList() override { ResetRunState(); }

  void Make(const std::vector<std::string>& names) const {
    for (const std::string& name : names) directory.Write(name);
  }

  // The targets of a directory run of this level and time.
  std::vector<std::string> Select(char level, const char* time) const {
    finfo.level = level;
    SetFileList(directory.Path("").c_str());
    SetTimeSpan(time);
    FindTargetFile();
    return TargetNames();
  }

  TempDir directory;
  TimeZone zone{"UTC"};
};

TEST_F(FileList, ListsEveryEntryThatIsNoDirectory) {
  Make({"20210101A.psl", "readme", ".hidden"});
  SetFileList(directory.Path("").c_str());
  EXPECT_THAT(Listed(), UnorderedElementsAre("20210101A.psl", "readme", ".hidden"));
}

TEST_F(FileList, SubdirectoryNamedLikeALogIsNotListed) {
  directory.MakeDirectory("20210101A.psl");
  Make({"20210102A.psl"});
  SetFileList(directory.Path("").c_str());
  EXPECT_THAT(Listed(), ElementsAre("20210102A.psl"));
}

TEST_F(FileList, DanglingLinkIsNotListed) {
  ASSERT_EQ(symlink("nowhere", directory.Path("20210101A.psl").c_str()), 0);
  Make({"20210102A.psl"});
  SetFileList(directory.Path("").c_str());
  EXPECT_THAT(Listed(), ElementsAre("20210102A.psl"));
}

TEST_F(FileList, SocketIsNotListed) {
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = directory.Path("20210101A.psl");
  ASSERT_LT(path.size(), sizeof address.sun_path);
  memcpy(address.sun_path, path.c_str(), path.size());
  ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(fd);
  SetFileList(directory.Path("").c_str());
  EXPECT_EQ(Nfile, 0);
}

TEST_F(FileList, EmptyDirectoryAllocatesNothing) {
  SetFileList(directory.Path("").c_str());
  EXPECT_EQ(Nfile, 0);
  EXPECT_EQ(Flist, nullptr);
  EXPECT_EQ(TargetList, nullptr);
  EXPECT_EQ(finfo.target_marks, nullptr);
}

// Cut to 63 characters they would be the names of other files.
TEST_F(FileList, LongerNamesAreLeftOutWithATraceLine) {
  const std::string longest = "20210101" + std::string(51, 'A') + ".psl";
  const std::string longer = "20210102" + std::string(52, 'A') + ".psl";
  ASSERT_EQ(longest.size(), 63u);
  Make({longest, longer});
  snprintf(sgmtr_dmpfile, sizeof sgmtr_dmpfile, "%s", directory.Path("trace").c_str());
  SetFileList(directory.Path("").c_str());
  EXPECT_THAT(Listed(), UnorderedElementsAre(longest));
  SetFileList(directory.Path("").c_str());  // told once a run
  EXPECT_THAT(Lines(directory.Read("trace")),
              ElementsAre(EndsWith(" name too long, left alone name=" + directory.Path(longer))));
}

TEST_F(FileList, MarksAreClearedAndHaveHeadroom) {
  Make({"a", "b"});
  SetFileList(directory.Path("").c_str());
  ASSERT_EQ(finfo.target_marks_size, 2u + 65u);
  EXPECT_THAT(std::vector<uint8_t>(finfo.target_marks, finfo.target_marks + 67), Each(0));
}

TEST_F(FileList, SecondListReplacesTheFirst) {
  Make({"a", "b"});
  SetFileList(directory.Path("").c_str());
  directory.MakeDirectory("sub");
  directory.Write("sub/c");
  SetFileList(directory.Path("sub/").c_str());
  EXPECT_THAT(Listed(), ElementsAre("c"));
}

TEST_F(FileList, ManyFilesAreAllListed) {
  std::vector<std::string> names;
  for (int i = 0; i < 500; ++i) names.push_back("file" + std::to_string(i));
  Make(names);
  SetFileList(directory.Path("").c_str());
  EXPECT_THAT(Listed(), ::testing::UnorderedElementsAreArray(names));
}

TEST_F(FileList, UnreadableDirectoryEndsWithMessage103) {
  const std::string path = directory.Path("none/");
  Capture errors(2);
  EXPECT_EQ(StatusOf([&path] { SetFileList(path.c_str()); }), 1);
  EXPECT_EQ(errors.Text(),
            "Qelprfarc: 103 Can't open directory -- " + path + "  func=opendir errno=2\n");
}

TEST_F(FileList, UnreadableDirectoryOfADaemonsRunAddsMessage114) {
  arcdelinfo.auto2_flg = 1;
  arcdelinfo.arc_flg = 1;
  const std::string path = directory.Path("none/");
  Capture errors(2);
  EXPECT_EQ(StatusOf([&path] { SetFileList(path.c_str()); }), 1);
  EXPECT_EQ(errors.Text(), "Qelprfarc: 103 Can't open directory -- " + path +
                               "  func=opendir errno=2\n"
                               "Failed in archives of psl(psa) files.\n");
}

TEST_F(FileList, NamesAreComparedByteByByte) {
  const char* lower = "a";
  const char* upper = "B";
  EXPECT_GT(TargetSort(&lower, &upper), 0);
  EXPECT_LT(TargetSort(&upper, &lower), 0);
  EXPECT_EQ(TargetSort(&lower, &lower), 0);
}

// --- Selection ------------------------------------------------------------------------------------

TEST_F(FileList, ZeroDaysSelectsEveryLogUpToToday) {
  Make({"20210531A.psl", "20210530A.psl", "20210601A.psl", "19700101A.psl"});
  EXPECT_THAT(Select('H', "0d"), ElementsAre("19700101A.psl", "20210530A.psl", "20210531A.psl"));
}

TEST_F(FileList, SelectionIsSortedByName) {
  Make({"20210102B.psl", "20210101B#002.psl", "20210101B#001.psl", "20210101A.psl"});
  EXPECT_THAT(Select('H', "0d"), ElementsAre("20210101A.psl", "20210101B#001.psl",
                                             "20210101B#002.psl", "20210102B.psl"));
}

TEST_F(FileList, HourRunPassesOverArchives) {
  Make({"20210101A.psl", "20210102A.psa"});
  EXPECT_THAT(Select('H', "0d"), ElementsAre("20210101A.psl"));
}

TEST_F(FileList, DayRunTakesLogsAndArchives) {
  Make({"20210101A.psl", "20210102A.psa"});
  EXPECT_THAT(Select('D', "0d"), ElementsAre("20210101A.psl", "20210102A.psa"));
}

TEST_F(FileList, OnlyDatedLogsAndArchivesAreSelected) {
  Make({"20210101A.psl", "2021010A.psl", "x20210101.psl", "20210230A.psl", "20211301A.psl",
        "19691231A.psl", "20210101A.psl.bak", "20210101A.PSL", "20210101A", "20210101.psa_tmp",
        "2021.psl", ".psl"});
  EXPECT_THAT(Select('D', "0d"), ElementsAre("20210101A.psl"));
}

TEST_F(FileList, DateFormHasNoLowerBound) {
  Make({"19700102A.psl", "20210131A.psl", "20210201A.psl"});
  EXPECT_THAT(Select('H', "20210131"), ElementsAre("19700102A.psl", "20210131A.psl"));
}

TEST_F(FileList, RangeIncludesBothEnds) {
  Make({"20201231A.psl", "20210101A.psl", "20210115A.psl", "20210131A.psl", "20210201A.psl"});
  EXPECT_THAT(Select('H', "20210101:20210131"),
              ElementsAre("20210101A.psl", "20210115A.psl", "20210131A.psl"));
}

TEST_F(FileList, NothingSelectedEndsWithMessage107) {
  Make({"20210601A.psl"});
  Capture errors(2);
  EXPECT_EQ(StatusOf([this] { Select('H', "0d"); }), 1);
  EXPECT_EQ(errors.Text(), "Qelprfarc: 107 Can't find target file\n");
}

TEST_F(FileList, EmptyDirectoryEndsWithMessage107) {
  Capture errors(2);
  EXPECT_EQ(StatusOf([this] { Select('D', "0d"); }), 1);
  EXPECT_EQ(errors.Text(), "Qelprfarc: 107 Can't find target file\n");
}

TEST_F(FileList, ArchiveOfADateReplacesItsLogsWithAndWithoutNumber) {
  Make({"20210101A.psl", "20210101A#002.psl", "20210101A.psa"});
  EXPECT_THAT(Select('D', "0d"), ElementsAre("20210101A.psa"));
}

TEST_F(FileList, LogOfAnotherArrayStays) {
  Make({"20210101A.psl", "20210101B.psl", "20210101A.psa"});
  EXPECT_THAT(Select('D', "0d"), ElementsAre("20210101A.psa", "20210101B.psl"));
}

TEST_F(FileList, LastNameMovesIntoTheGap) {
  // The list is not sorted again: the last name takes the place of the dropped one.
  Make({"20210101A.psa", "20210101A.psl", "20210102A.psl", "20210103A.psl"});
  EXPECT_THAT(Select('D', "0d"), ElementsAre("20210101A.psa", "20210103A.psl", "20210102A.psl"));
}

TEST_F(FileList, NumberedArchiveDoesNotReplaceTheLog) {
  Make({"20210101A.psl", "20210101A#002.psa"});
  EXPECT_THAT(Select('D', "0d"), ElementsAre("20210101A#002.psa", "20210101A.psl"));
}

TEST_F(FileList, ArchiveOutsideTheSpanDoesNotReplaceItsLog) {
  Make({"20210101A.psl", "20210101A.psa", "20210102A.psl"});
  EXPECT_THAT(Select('H', "0d"), ElementsAre("20210101A.psl", "20210102A.psl"));
}

}  // namespace
