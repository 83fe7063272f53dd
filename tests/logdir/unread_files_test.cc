// Calls that fail while files are listed and looked at: rights, disks, too many open files. A
// listing that breaks off is no short directory, and a file that cannot be looked at is not taken
// for one that is not there: whatever it belongs to waits, is told of, and is not removed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/header_file.h"
#include "tests/support/lines.h"
#include "tests/support/runs/nights.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

// --- Manual directory runs ------------------------------------------------------------------------

class UnreadFiles : public ::testing::Test {
 protected:
  void SetUp() override { SKIP_WITHOUT_PRELOADING(); }

  // Logs that the archiver takes: a header of 3 February 2001 and nothing else.
  void MakeLogs(const std::vector<std::string>& names) const {
    for (const std::string& name : names) directory.Write(name, HeaderBytes({}));
  }

  // A directory run with calls that fail.
  ProgramResult Run(const std::string& rules) const {
    ProgramSettings settings;
    settings.variables = {{"LD_PRELOAD", DISTURB_PATH}, {"DISTURB_FAIL", rules}};
    return RunProgram(QELPRFARC_PATH, {"-p", directory.Path(), "-hour", "0d"}, settings);
  }

  TempDir directory;
};

// In the middle of a listing an error looks like its end: once, a part of the directory was
// archived with status 0.
TEST_F(UnreadFiles, ListingThatBreaksOffEndsWithMessage103) {
  MakeLogs({"20210101A.psl", "20210102A.psl", "20210103A.psl"});
  const ProgramResult run = Run("readdir:" + directory.Path() + ":5:5:5");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "Qelprfarc: 103 Can't open directory -- " + directory.Path("") +
                         "  func=readdir errno=5\n");
  EXPECT_EQ(directory.Names().size(), 3u) << "nothing is archived";
}

TEST_F(UnreadFiles, NameThatIsGoneWhenItsStatusIsAskedForIsPassedOver) {
  MakeLogs({"20210101A.psl", "20210102A.psl"});
  const ProgramResult run = Run("stat:/20210101A.psl:1:9:2");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(directory.Names(), ElementsAre("20010203A.psa", "20210101A.psl", "20210102A.psl"));
}

// An archive would be made without it, so none is made.
TEST_F(UnreadFiles, InputWithoutStatusEndsWithMessage102) {
  MakeLogs({"20210101A#001.psl", "20210101A#002.psl"});
  const ProgramResult run = Run("stat:/20210101A#002.psl:1:9:13");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "Qelprfarc: 102 Can't open file -- " + directory.Path("20210101A#002.psl") +
                         "  func=stat errno=13\n");
  EXPECT_EQ(directory.Names().size(), 2u);
}

TEST_F(UnreadFiles, OtherFileWithoutStatusIsToldAndDoesNotHinder) {
  MakeLogs({"20210101A.psl"});
  directory.Write("readme");
  const ProgramResult run = Run("stat:/readme:1:9:5");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "Qelprfarc: 102 Can't open file -- " + directory.Path("readme") +
                         "  func=stat errno=5\n");
  EXPECT_THAT(directory.Names(), Contains("20010203A.psa"));
}

// --- Nights ---------------------------------------------------------------------------------------

// The night of 1 March 2024: three days of array "a", one of them in two parts, and array "b".
class PrefixUnreadFiles : public ::testing::Test {
 protected:
  PrefixUnreadFiles() {
    server.directory.MakeDirectory("arc/archive");
    for (const char* name : {"20240227a.psl", "20240228a#001.psl", "20240228a#002.psl",
                             "20240228b.psl", "20240229a.psl"}) {
      AddLog(name);
    }
  }
  void SetUp() override { SKIP_WITHOUT_PRELOADING(); }

  // A header of noon on the day of its name, of local time and all revisions.
  void AddLog(const std::string& name) const {
    server.directory.Write("arc/" + name, HeaderBytes(HeaderOf(name, 'L')));
  }
  void AddArchive(const std::string& name) const {
    const char level = name.size() > 7 && name[6] >= '0' && name[6] <= '9' ? 'H' : 'D';
    server.directory.Write("arc/archive/" + name, HeaderBytes(HeaderOf(name, level)));
  }
  static HeaderFile HeaderOf(const std::string& name, char level) {
    const std::string day = level == 'D' ? "01" : name.substr(6, 2);
    HeaderFile header;
    header.level = level;
    header.time = static_cast<uint32_t>(
        LocalTimeIn("UTC", name.substr(0, 4) + "-" + name.substr(4, 2) + "-" + day + " 12:00:00"));
    return header;
  }

  // A night with calls that fail by these rules.
  ProgramResult Night(const std::string& rules, const std::string& now = "2024-03-01 00:30:00") {
    const AddedText log = AddedText::OperationLog();
    const ProgramResult run = RunNight(server, ClockAt(now), {{"DISTURB_FAIL", rules}});
    entries = log.Text();
    trace = TestServer::TraceOf(run.pid);
    return run;
  }
  std::vector<std::string> Archives() const { return server.directory.Names("arc/archive"); }
  std::string Arc(const std::string& name) const { return server.directory.Path("arc/" + name); }

  static constexpr char kFailedArchives[] = " 08320 Qelprfarc 4 1 Failed in archives of psl(psa) ";
  static constexpr char kFailedDeletion[] = " 08320 Qelprfarc 4 1 Failed in deletion of psl(psa) ";

  TestServer server;
  std::string entries;  // of the operation log
  std::vector<std::string> trace;
};

// Once, such a day was archived from its other parts, for ever, and the part was deleted when its
// time was over.
TEST_F(PrefixUnreadFiles, PartThatDoesNotOpenHoldsUpItsDayAndMonth) {
  EXPECT_EQ(Night("open:/20240228a#002.psl:1:99:13").status, 0);
  EXPECT_THAT(Archives(), UnorderedElementsAre("202402b.psa", "20240227a.psa", "20240228b.psa",
                                               "20240229a.psa"));
  EXPECT_THAT(trace, Contains("Qelprfarc: 102 Can't open file -- " + Arc("20240228a#002.psl") +
                              "  func=fopen errno=13"));
  EXPECT_THAT(entries, HasSubstr("func=fopen errno=13 detcode=030d0002\n"));
  EXPECT_THAT(entries, HasSubstr(kFailedArchives));
  EXPECT_THAT(trace, Not(Contains("$main():arc end")));

  // The next run makes up for it.
  EXPECT_EQ(Night("").status, 0);
  EXPECT_EQ(entries, "");
  EXPECT_THAT(Archives(), UnorderedElementsAre("202402a.psa", "202402b.psa", "20240227a.psa",
                                               "20240228a.psa", "20240228b.psa", "20240229a.psa"));
}

TEST_F(PrefixUnreadFiles, PartWithoutStatusHoldsUpItsDay) {
  EXPECT_EQ(Night("stat:/20240228a#002.psl:1:99:13").status, 0);
  EXPECT_THAT(Archives(), UnorderedElementsAre("202402b.psa", "20240227a.psa", "20240228b.psa",
                                               "20240229a.psa"));
  EXPECT_THAT(trace, Contains("Qelprfarc: 102 Can't open file -- " + Arc("20240228a#002.psl") +
                              "  func=stat errno=13"));
  EXPECT_THAT(entries, HasSubstr(kFailedArchives));
}

TEST_F(PrefixUnreadFiles, PartWhoseStatusFailsOnceItIsOpenHoldsUpItsDay) {
  EXPECT_EQ(Night("fstat:/20240228a#002.psl:1:99:5").status, 0);
  EXPECT_THAT(Archives(), Not(Contains("20240228a.psa")));
  EXPECT_THAT(entries, HasSubstr("func=fstat errno=5 detcode=030d0003\n"));
}

TEST_F(PrefixUnreadFiles, PartThatCannotBeReadHoldsUpItsDay) {
  EXPECT_EQ(Night("pread:/20240228a#002.psl:1:99:5").status, 0);
  EXPECT_THAT(Archives(), UnorderedElementsAre("202402b.psa", "20240227a.psa", "20240228b.psa",
                                               "20240229a.psa"));
  EXPECT_THAT(entries, HasSubstr("func=read errno=5 detcode=030d0004\n"));
}

// Which is not a short file, that would be passed over in silence.
TEST_F(PrefixUnreadFiles, PartOfWhichLessComesThanItHasHoldsUpItsDay) {
  EXPECT_EQ(Night("pread:/20240228a#002.psl:1:99:0").status, 0);
  EXPECT_THAT(Archives(), UnorderedElementsAre("202402b.psa", "20240227a.psa", "20240228b.psa",
                                               "20240229a.psa"));
  EXPECT_THAT(entries, HasSubstr("func=read errno=0 detcode=030d0004\n"));
}

TEST_F(PrefixUnreadFiles, PartThatIsGoneDoesNotHoldUpAnything) {
  EXPECT_EQ(Night("open:/20240228a#002.psl:1:99:2").status, 0);
  EXPECT_EQ(entries, "");
  EXPECT_THAT(Archives(), Contains("20240228a.psa"));
}

// Failed once, when the hour run looked: the day run does not make a month without the day's hour
// archive, which the next run makes.
TEST_F(PrefixUnreadFiles, DayThatTheHourRunHeldUpHoldsUpItsMonth) {
  EXPECT_EQ(Night("open:/20240228a#002.psl:1:1:24").status, 0);
  EXPECT_THAT(Archives(), UnorderedElementsAre("202402b.psa", "20240227a.psa", "20240228b.psa",
                                               "20240229a.psa"));
  EXPECT_EQ(Night("").status, 0);
  EXPECT_THAT(Archives(), Contains("202402a.psa"));
}

// Whether the day is archived, nobody knows: it is not archived once more.
TEST_F(PrefixUnreadFiles, HourArchiveThatDoesNotOpenHoldsUpItsDay) {
  AddArchive("20240227a.psa");
  EXPECT_EQ(Night("open:/20240227a.psa:1:99:24").status, 0);
  EXPECT_THAT(Archives(), UnorderedElementsAre("202402b.psa", "20240227a.psa", "20240228a.psa",
                                               "20240228b.psa", "20240229a.psa"));
  EXPECT_EQ(server.directory.Read("arc/archive/20240227a.psa"),
            HeaderBytes(HeaderOf("20240227a.psa", 'H')));
  EXPECT_THAT(entries, HasSubstr("func=fopen errno=24 detcode=030d0002\n"));
}

TEST_F(PrefixUnreadFiles, DayArchiveThatDoesNotOpenHoldsUpItsMonth) {
  AddArchive("202402a.psa");
  EXPECT_EQ(Night("open:/202402a.psa:1:99:5").status, 0);
  EXPECT_THAT(Archives(), UnorderedElementsAre("202402a.psa", "202402b.psa", "20240227a.psa",
                                               "20240228a.psa", "20240228b.psa", "20240229a.psa"));
  EXPECT_EQ(server.directory.Read("arc/archive/202402a.psa"),
            HeaderBytes(HeaderOf("202402a.psa", 'D')));
  EXPECT_THAT(entries, HasSubstr(kFailedArchives));
}

// Each listing of a night in turn: logs, archives; of the hour run, the day run, the removal.
TEST_F(PrefixUnreadFiles, ListingThatBreaksOffEndsTheNight) {
  server.segment.PutRetention(0, 30, 0);
  const auto before = FilesOf(server);
  struct Case {
    const char* directory;
    int first;  // call of readdir
    int listings;
  };
  for (const Case& listing : {Case{"arc", 3, 3}, Case{"arc/archive", 1, 4}}) {
    int ended = 0;
    for (int call = listing.first; call < 60; ++call) {
      const std::string at = std::to_string(call);
      const std::string path = server.directory.Path(listing.directory);
      const ProgramResult run = Night("readdir:" + path + ":" + at + ":" + at + ":5");
      if (run.status == 0) break;
      ++ended;
      EXPECT_EQ(run.status, 1);
      EXPECT_THAT(trace, Contains("Qelprfarc: 103 Can't open directory -- " + path +
                                  "/  func=readdir errno=5"));
      EXPECT_THAT(entries, HasSubstr("func=readdir errno=5 detcode=03040002\n"));
      EXPECT_THAT(entries, HasSubstr(kFailedArchives));
      for (const auto& [name, bytes] : before) EXPECT_EQ(FilesOf(server)[name], bytes) << name;
      for (const std::string& name : Archives()) {
        std::filesystem::remove(server.directory.Path("arc/archive/" + name));
      }
    }
    EXPECT_GE(ended, listing.listings) << listing.directory;
  }
}

// --- Plans ---

// What psltool says beforehand of an input that cannot be read from some look on: it is left out,
// or the run ends there.
TEST_F(PrefixUnreadFiles, PlanEndsWhereAnInputCannotBeRead) {
  for (const auto& [call, error] : {std::pair("fstat", ":5"), {"pread", ":5"}, {"pread", ":0"}}) {
    SCOPED_TRACE(std::string(call) + error);
    int ended = 0;
    for (int look = 1; look <= 4; ++look) {
      const std::string rule =
          std::string(call) + ":/20240228b.psl:" + std::to_string(look) + ":99" + error;
      ProgramSettings settings;
      settings.variables = NightVariables(ClockAt("2024-03-01 00:30:00"), {{"DISTURB_FAIL", rule}});
      const SharedSegment segment(server.segment);
      const ProgramResult plan =
          RunProgram(PSLTOOL_PATH, {"plan", "--segment", segment.Id(), "--json"}, settings);
      ended += plan.out.find("\"ends_early\": \"\"") == std::string::npos ? 1 : 0;
      if (look > 1) continue;
      EXPECT_THAT(plan.out, HasSubstr("\"unreadable\""));
    }
    EXPECT_GE(ended, 1);
  }
}

// --- Removal --------------------------------------------------------------------------------------

// The limit is 28 February: what is older goes, but for what this run leaves without its archive.
class PrefixUnreadRemoval : public PrefixUnreadFiles {
 protected:
  PrefixUnreadRemoval() { server.segment.PutRetention(0, 2, 0); }
  std::vector<std::string> Logs() const {
    std::vector<std::string> names = server.directory.Names("arc");
    std::erase(names, "archive");
    return names;
  }
};

TEST_F(PrefixUnreadRemoval, InputsOfADayThatWasHeldUpStay) {
  AddLog("20240210a#001.psl");
  AddLog("20240210a#002.psl");
  AddLog("20240210b.psl");
  EXPECT_EQ(Night("open:/20240210a#002.psl:1:99:13", "2024-02-28 00:30:00").status, 0);
  EXPECT_THAT(Logs(), Contains("20240210a#001.psl"));
  EXPECT_THAT(Logs(), Contains("20240210a#002.psl"));
  EXPECT_THAT(Logs(), Not(Contains("20240210b.psl")));
  EXPECT_THAT(trace, Contains("left 20240210a#001.psl: this run did not make its archive"));

  EXPECT_EQ(Night("", "2024-02-28 00:30:00").status, 0);
  EXPECT_THAT(Archives(), Contains("20240210a.psa"));
  EXPECT_THAT(Logs(), Not(Contains("20240210a#001.psl")));
}

TEST_F(PrefixUnreadRemoval, HourArchivesOfAMonthThatWasHeldUpStay) {
  server.segment.PutRetention(1, 1, 1);
  AddArchive("20240115a.psa");
  AddArchive("20240116a.psa");
  AddArchive("20240116b.psa");
  EXPECT_EQ(Night("open:/20240116a.psa:1:99:13").status, 0);
  EXPECT_THAT(Archives(), Contains("20240115a.psa"));
  EXPECT_THAT(Archives(), Contains("20240116a.psa"));
  EXPECT_THAT(Archives(), Not(Contains("20240116b.psa")));
  EXPECT_THAT(Archives(), Not(Contains("202401a.psa")));

  EXPECT_EQ(Night("").status, 0);
  EXPECT_THAT(Archives(), Contains("202401a.psa"));
  EXPECT_THAT(Archives(), Not(Contains("20240115a.psa")));
}

// Looked at in vain by the hour run alone: the day run waits, so the whole month stays for it.
TEST_F(PrefixUnreadRemoval, HourArchivesOfAMonthThatTheHourRunHeldUpStay) {
  server.segment.PutRetention(1, 1, 1);
  AddArchive("20240115a.psa");
  AddArchive("20240116a.psa");
  EXPECT_EQ(Night("open:/20240116a.psa:1:1:13").status, 0);
  EXPECT_THAT(Archives(), Contains("20240115a.psa"));
  EXPECT_THAT(Archives(), Contains("20240116a.psa"));
  EXPECT_THAT(Archives(), Not(Contains("202401a.psa")));
  EXPECT_EQ(Night("").status, 0);
  EXPECT_THAT(Archives(), Contains("202401a.psa"));
}

TEST_F(PrefixUnreadRemoval, ExpiredFileThatDoesNotOpenIsToldWhenNothingIsArchived) {
  server.segment.PutArchivingSwitch(0);
  EXPECT_EQ(Night("open:/20240227a.psl:1:99:13", "2024-03-02 00:30:00").status, 0);
  EXPECT_THAT(Logs(), ElementsAre("20240227a.psl", "20240229a.psl"));
  EXPECT_THAT(trace, Contains("Qelprfarc: 102 Can't open file -- " + Arc("20240227a.psl") +
                              "  func=fopen errno=13"));
  EXPECT_THAT(entries, HasSubstr(kFailedDeletion));
}

TEST_F(PrefixUnreadRemoval, NameWithoutStatusIsToldOnceAndStays) {
  server.segment.PutArchivingSwitch(0);
  EXPECT_EQ(Night("stat:/20240227a.psl:1:99:5", "2024-03-02 00:30:00").status, 0);
  EXPECT_THAT(Logs(), ElementsAre("20240227a.psl", "20240229a.psl"));
  EXPECT_THAT(entries, HasSubstr("func=stat errno=5 detcode=03040003\n"));
  EXPECT_THAT(entries, HasSubstr(kFailedDeletion));
}

// --- Names and directories that are too long ------------------------------------------------------

// A log of 63 characters has a temporary archive of 67: it was never reported and never removed.
TEST_F(PrefixUnreadFiles, LongTemporaryArchiveIsReportedAndRemoved) {
  const std::string array(51, 'l');
  AddArchive("20240226" + array + ".psa_tmp");
  EXPECT_EQ(Night("").status, 0);
  EXPECT_THAT(entries, HasSubstr("file=20240226" + array + ".psa\n"));
  EXPECT_THAT(Archives(), Not(Contains("20240226" + array + ".psa_tmp")));
  EXPECT_THAT(trace, Contains("del 20240226" + array + ".psa_tmp"));
}

TEST_F(PrefixUnreadFiles, LogWithALongNameIsLeftAloneWithATraceLine) {
  const std::string name = "20240226" + std::string(52, 'l') + ".psl";
  AddLog(name);
  // Cut, it was taken for this log, which was archived twice.
  AddLog(name.substr(0, 59) + ".psl");
  EXPECT_EQ(Night("").status, 0);
  EXPECT_THAT(trace, Contains("name too long, left alone name=" + Arc(name)));
  EXPECT_EQ(std::count(trace.begin(), trace.end(), "name too long, left alone name=" + Arc(name)),
            1);
  EXPECT_THAT(Archives(), Contains(name.substr(0, 59) + ".psa"));
}

TEST_F(PrefixUnreadFiles, ArchiveDirectoryThatIsTooLongIsTold) {
  std::string deep = "arc/";
  while (server.directory.Path(deep).size() < 210) deep += "deeper/";
  deep += std::string(229 - server.directory.Path(deep).size(), 'd');
  server.directory.MakeDirectory(deep);
  server.segment.PutDirectories(server.directory.Path("root"), server.directory.Path(deep),
                                server.directory.Path("pml"));
  for (const char* name : {"20240227array.psl", "20240228array.psl", "20240228a.psl"}) {
    server.directory.Write(deep + "/" + name, HeaderBytes(HeaderOf(name, 'L')));
  }
  EXPECT_EQ(Night("").status, 0);
  const std::string line =
      "archive directory too long for its files, left alone name=" + server.directory.Path(deep) +
      "/";
  EXPECT_EQ(std::count(trace.begin(), trace.end(), line), 1);
  EXPECT_THAT(entries, HasSubstr(kFailedArchives));
  // What still fits is archived.
  EXPECT_THAT(server.directory.Names(deep + "/archive"),
              UnorderedElementsAre("202402a.psa", "20240228a.psa"));
}

}  // namespace
