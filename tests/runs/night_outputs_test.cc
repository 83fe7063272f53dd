// Outputs of automatic runs from outside: archives of earlier nights are never replaced, temporary
// files are made anew, and what fails between a whole archive and its durable name is told.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/header_file.h"
#include "tests/support/record_bytes.h"
#include "tests/support/runs/nights.h"
#include "tests/support/sample_records.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char kFailed[] = " 08320 Qelprfarc 4 1 Failed in archives of psl(psa) files.\n";

class PrefixNightOutputs : public ::testing::Test {
 protected:
  void SetUp() override { SKIP_WITHOUT_PRELOADING(); }

  // A log of 2024 whose stamps lie on `stamp_day` ("2024-02-29"), whatever its name says.
  void PutLog(const std::string& name, const std::string& stamp_day, uint8_t revision = 0x1D) {
    const auto time = static_cast<uint32_t>(LocalTimeIn("UTC", stamp_day + " 00:00:00"));
    server_.directory.Write("arc/" + name,
                            spell::Log({.revision = revision, .time = time}, {time + 60}));
  }

  ProgramResult Night(const Variables& disturb = {}) {
    const AddedText log = AddedText::OperationLog();
    const AddedText trace = AddedText::Trace();
    const ProgramResult result = RunNight(server_, clock_, disturb);
    log_ = log.Text();
    trace_ = trace.Text();
    return result;
  }

  bool Exists(const std::string& name) const {
    return server_.directory.Exists("arc/archive/" + name);
  }
  std::string Archive(const std::string& name) const {
    return server_.directory.Read("arc/archive/" + name);
  }
  std::string Path(const std::string& name) const {
    return server_.directory.Path("arc/archive/" + name);
  }

  void ExpectNoTemporaries() const {
    for (const auto& [name, bytes] : FilesOf(server_)) EXPECT_THAT(name, Not(HasSubstr("_tmp")));
  }

  TestServer server_;
  const Clock clock_ = ClockAt("2024-03-02 00:30:00");
  std::string log_;
  std::string trace_;
};

// ---- archives that stand already ----

// Once, the archive of 29 February went for that of a log whose clock stood on the day before.
TEST_F(PrefixNightOutputs, ArchiveOfAnEarlierNightIsNeverReplaced) {
  PutLog("20240229A.psl", "2024-02-29");
  ASSERT_EQ(Night().status, 0);
  const std::string before = Archive("20240229A.psa");
  ASSERT_EQ(spell::Tags(before), "HDR CON STA");

  PutLog("20240301A.psl", "2024-02-29", 0x1E);
  for (int night = 0; night < 2; ++night) {
    EXPECT_EQ(Night().status, 0);
    EXPECT_THAT(trace_, HasSubstr("111 Write error -- 20240229A.psa_tmp  func=rename errno=17\n"));
    EXPECT_THAT(log_, HasSubstr("func=rename errno=17 detcode=03020007\n"));
    EXPECT_THAT(log_, HasSubstr(kFailed));
    EXPECT_EQ(Archive("20240229A.psa"), before);
    EXPECT_TRUE(server_.directory.Exists("arc/20240301A.psl"));
    ExpectNoTemporaries();
  }
}

// An empty one stands for a broken day only.
TEST_F(PrefixNightOutputs, EmptyArchiveIsReplaced) {
  server_.directory.MakeDirectory("arc/archive");
  server_.directory.Write("arc/archive/20240229A.psa");
  PutLog("20240301A.psl", "2024-02-29");
  EXPECT_EQ(Night().status, 0);
  EXPECT_EQ(log_, "");
  EXPECT_EQ(spell::Tags(Archive("20240229A.psa")), "HDR CON STA");
}

// A file system that cannot rename without replacing is looked at before.
TEST_F(PrefixNightOutputs, TheSameWhereRenameKnowsNoFlag) {
  const Variables unknown{{"DISTURB_FAIL", "rename:.psa:1:1:22"}};
  PutLog("20240229A.psl", "2024-02-29");
  EXPECT_EQ(Night(unknown).status, 0);
  const std::string before = Archive("20240229A.psa");
  EXPECT_EQ(spell::Tags(before), "HDR CON STA");
  PutLog("20240301A.psl", "2024-02-29", 0x1E);
  EXPECT_EQ(Night(unknown).status, 0);
  EXPECT_THAT(trace_, HasSubstr("func=rename errno=17\n"));
  EXPECT_EQ(Archive("20240229A.psa"), before);
}

// Once, this ended the run with status 1, and no array behind "a" was ever archived.
TEST_F(PrefixNightOutputs, TwoNamesOfOneArchiveHarmNoOtherArray) {
  PutLog("20240301a.psl", "2024-03-01", 0x1E);
  PutLog("20240301a.bak.psl", "2024-03-01");  // the first in the order of names
  PutLog("20240301b.psl", "2024-03-01");
  EXPECT_EQ(Night().status, 0);
  EXPECT_THAT(trace_, HasSubstr("102 Can't open file -- " + Path("20240301a.psa_tmp") +
                                "  func=open errno=17\n"));
  EXPECT_THAT(log_, HasSubstr("func=open errno=17 detcode=03020003\n"));
  EXPECT_THAT(log_, HasSubstr(kFailed));
  EXPECT_EQ(Archive("20240301a.psa")[3], 0x1D);
  EXPECT_TRUE(server_.directory.Exists("arc/20240301a.psl"));
  EXPECT_EQ(spell::Tags(Archive("20240301b.psa")), "HDR CON STA");
  EXPECT_TRUE(server_.directory.Exists("arc/20240301a.bak.psl"));
  ExpectNoTemporaries();
}

// ---- temporary files ----

// Once, the link was followed and the file behind it overwritten.
TEST_F(PrefixNightOutputs, LinkInThePlaceOfATemporaryIsNotFollowed) {
  server_.directory.MakeDirectory("arc/archive");
  server_.directory.Write("victim", "precious");
  ASSERT_EQ(symlink(server_.directory.Path("victim").c_str(), Path("20240301A.psa_tmp").c_str()),
            0);
  PutLog("20240301A.psl", "2024-03-01");
  EXPECT_EQ(Night().status, 0);
  EXPECT_EQ(server_.directory.Read("victim"), "precious");
  EXPECT_TRUE(
      std::filesystem::is_regular_file(std::filesystem::symlink_status(Path("20240301A.psa"))));
  EXPECT_EQ(spell::Tags(Archive("20240301A.psa")), "HDR CON STA");
}

// Once, the night waited for a reader for ever, with the lock held.
TEST_F(PrefixNightOutputs, PipeInThePlaceOfATemporaryIsRemoved) {
  server_.directory.MakeDirectory("arc/archive");
  ASSERT_EQ(mkfifo(Path("20240301A.psa_tmp").c_str(), 0600), 0);
  PutLog("20240301A.psl", "2024-03-01");
  EXPECT_EQ(Night().status, 0);
  EXPECT_TRUE(std::filesystem::is_regular_file(Path("20240301A.psa")));
  EXPECT_EQ(spell::Tags(Archive("20240301A.psa")), "HDR CON STA");
}

TEST_F(PrefixNightOutputs, FailedWriteEndsTheRunAndRemovesTheTemporary) {
  PutLog("20240301A.psl", "2024-03-01");
  EXPECT_EQ(Night({{"DISTURB_FAIL", "write:.psa_tmp:2:2:28"}}).status, 1);
  EXPECT_THAT(log_, HasSubstr("func=write errno=28 detcode=03070001\n"));
  EXPECT_THAT(log_, HasSubstr(kFailed));
  EXPECT_FALSE(Exists("20240301A.psa"));
  ExpectNoTemporaries();
}

// Between the last write and the rename no descriptor is open any more. A signal that comes when
// archives are just given their names waits until they all have them.
TEST_F(PrefixNightOutputs, SigtermRemovesAClosedTemporaryToo) {
  PutLog("20240301A.psl", "2024-03-01");
  EXPECT_EQ(
      Night({{"DISTURB_CALLS", "rename"}, {"DISTURB_SIGNAL", "15"}, {"DISTURB_AT", "1"}}).status,
      1);
  EXPECT_EQ(spell::Tags(Archive("20240301A.psa")), "HDR CON STA");
  ExpectNoTemporaries();
  std::filesystem::remove(server_.directory.Path("arc/archive/20240301A.psa"));
  // The sync in front of it: the temporary is whole and about to be closed.
  EXPECT_EQ(
      Night({{"DISTURB_CALLS", "fsync"}, {"DISTURB_SIGNAL", "15"}, {"DISTURB_AT", "1"}}).status, 1);
  EXPECT_FALSE(Exists("20240301A.psa"));
  ExpectNoTemporaries();
  EXPECT_EQ(Night().status, 0);
  EXPECT_TRUE(Exists("20240301A.psa"));
}

// Closed and not yet noted as one that waits for its name, it is found, too.
TEST_F(PrefixNightOutputs, SigtermAtACloseLeavesNoTemporary) {
  PutLog("20240301A.psl", "2024-03-01");
  int ended = 0;
  for (int at = 1; at < 200; ++at) {
    SCOPED_TRACE(at);
    std::filesystem::remove_all(server_.directory.Path("arc/archive"));
    const ProgramResult run = Night(
        {{"DISTURB_CALLS", "close"}, {"DISTURB_SIGNAL", "15"}, {"DISTURB_AT", std::to_string(at)}});
    if (run.status == 0 && Exists("20240301A.psa")) break;
    ++ended;
    if (server_.directory.Exists("arc/archive")) ExpectNoTemporaries();
  }
  EXPECT_GT(ended, 5);
  EXPECT_TRUE(Exists("20240301A.psa")) << "no run came to its end";
}

// What could not get its name keeps its temporary one, which tells the next run, however this one
// ends: while the name is refused, or in the middle of the next archive.
TEST_F(PrefixNightOutputs, SigtermLeavesATemporaryThatGotNoName) {
  PutLog("20240301A.psl", "2024-03-01");
  PutLog("20240301B.psl", "2024-03-01");
  for (const auto& [call, time] : {std::pair{"rename", "1"}, {"fsync", "2"}}) {
    SCOPED_TRACE(call);
    std::filesystem::remove_all(server_.directory.Path("arc/archive"));
    server_.directory.MakeDirectory("arc/archive");
    const ProgramResult run = Night({{"DISTURB_FAIL", "rename:20240301A.psa:1:1:5"},
                                     {"DISTURB_CALLS", call},
                                     {"DISTURB_SIGNAL", "15"},
                                     {"DISTURB_AT", time}});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(Exists("20240301A.psa_tmp"));
    EXPECT_FALSE(Exists("20240301B.psa_tmp"));
    EXPECT_FALSE(Exists("20240301B.psa"));
    EXPECT_EQ(Night().status, 0);
    EXPECT_THAT(log_, HasSubstr("file=20240301A.psa\n"));
    EXPECT_TRUE(Exists("20240301A.psa"));
    EXPECT_TRUE(Exists("20240301B.psa"));
    ExpectNoTemporaries();
  }
}

// ---- finishing ----

TEST_F(PrefixNightOutputs, FailedSyncKeepsTheNameAwayAndTheRunGoesOn) {
  PutLog("20240301A.psl", "2024-03-01");
  PutLog("20240301B.psl", "2024-03-01");
  EXPECT_EQ(Night({{"DISTURB_FAIL", "fsync:20240301A.psa_tmp:1:1:5"}}).status, 0);
  EXPECT_THAT(log_, HasSubstr("func=fsync errno=5 detcode=03020005\n"));
  EXPECT_THAT(log_, HasSubstr(kFailed));
  EXPECT_FALSE(Exists("20240301A.psa"));
  EXPECT_TRUE(Exists("20240301B.psa"));
  ExpectNoTemporaries();
}

// Once, nothing was said of a new name that may not survive a power failure.
TEST_F(PrefixNightOutputs, FailedSyncOfTheDirectoryIsAFailureOfTheArchive) {
  server_.directory.MakeDirectory("arc/archive");
  PutLog("20240301A.psl", "2024-03-01");
  EXPECT_EQ(Night({{"DISTURB_FAIL", "fsync:/arc/archive:1:1:5"}}).status, 0);
  EXPECT_THAT(trace_, HasSubstr("111 Write error -- 20240301A.psa_tmp  func=fsync errno=5\n"));
  EXPECT_THAT(log_, HasSubstr("func=fsync errno=5 detcode=03020005\n"));
  EXPECT_THAT(log_, HasSubstr(kFailed));
  EXPECT_EQ(spell::Tags(Archive("20240301A.psa")), "HDR CON STA");
}

// The emptied archive of a broken day is made sure of like any other.
TEST_F(PrefixNightOutputs, EmptyArchiveOfABrokenDayIsSynced) {
  PutLog("20240301A.psl", "2024-03-01");
  server_.directory.Write("arc/20240301A.psl", server_.directory.Read("arc/20240301A.psl") + "x");
  EXPECT_EQ(Night({{"DISTURB_FAIL", "fsync:20240301A.psa_tmp:1:1:5"}}).status, 0);
  EXPECT_THAT(log_, HasSubstr("func=fsync errno=5 detcode=03020005\n"));
  EXPECT_FALSE(Exists("20240301A.psa"));
  EXPECT_EQ(Night().status, 0);
  EXPECT_TRUE(Exists("20240301A.psa"));
  EXPECT_EQ(Archive("20240301A.psa"), "");
}

// Once, the night that failed to finish an archive removed its inputs all the same when their time
// was over, and nothing was left of the day.
TEST_F(PrefixNightOutputs, InputsOfWhatCouldNotBeFinishedStay) {
  server_.segment.PutRetention(0, 1, 0);  // logs: a day
  server_.segment.PutRetention(1, 1, 1);  // hour archives: a month
  HeaderFile old;
  old.level = 'H';
  old.time = static_cast<uint32_t>(LocalTimeIn("UTC", "2024-01-15 00:00:00"));
  for (const char* fault :
       {"write:.psa_tmp:1:99:28", "fsync:.psa_tmp:1:99:28", "close:.psa_tmp:1:99:28",
        "rename:.psa:1:99:28", "fsync:/arc/archive:1:99:5"}) {
    SCOPED_TRACE(fault);
    std::filesystem::remove_all(server_.directory.Path("arc/archive"));
    server_.directory.MakeDirectory("arc/archive");
    server_.directory.Write("arc/archive/20240115old.psa", HeaderBytes(old));
    PutLog("20240229A.psl", "2024-02-29");
    Night({{"DISTURB_FAIL", fault}});
    EXPECT_THAT(log_, HasSubstr(kFailed));
    EXPECT_TRUE(server_.directory.Exists("arc/20240229A.psl"));
    EXPECT_TRUE(Exists("20240115old.psa"));
    EXPECT_EQ(Night().status, 0);
    EXPECT_EQ(spell::Tags(Archive("20240229A.psa")), "HDR CON STA");
    EXPECT_TRUE(Exists("202401old.psa"));
    EXPECT_FALSE(server_.directory.Exists("arc/20240229A.psl"));
    EXPECT_FALSE(Exists("20240115old.psa"));
  }
}

// ---- the directory "archive" ----

TEST_F(PrefixNightOutputs, NewArchiveDirectoryIsSyncedIntoItsParent) {
  PutLog("20240301A.psl", "2024-03-01");
  const std::string steps = server_.directory.Path("steps");
  EXPECT_EQ(Night({{"DISTURB_STEPS", steps}}).status, 0);
  const std::string text = TempDir::ReadFile(steps);
  const size_t parent = text.find("s " + server_.directory.Path("arc") + "\n");
  const size_t archive = text.find("n " + Path("20240301A.psa") + "\n");
  ASSERT_NE(parent, std::string::npos) << text;
  ASSERT_NE(archive, std::string::npos) << text;
  EXPECT_LT(parent, archive);
}

TEST_F(PrefixNightOutputs, ArchiveDirectoryThatCannotBeMadeSureOfEndsTheRun) {
  PutLog("20240301A.psl", "2024-03-01");
  EXPECT_EQ(Night({{"DISTURB_FAIL", "fsync:/arc:1:1:5"}}).status, 1);
  EXPECT_THAT(log_, HasSubstr("func=fsync errno=5 detcode=030d0005\n"));
  EXPECT_THAT(log_, HasSubstr(kFailed));
  EXPECT_FALSE(server_.directory.Exists("arc/archive")) << "the next run makes it anew";
  EXPECT_EQ(Night().status, 0);
  EXPECT_TRUE(Exists("20240301A.psa"));
}

// ---- inputs ----

TEST_F(PrefixNightOutputs, FailingSeekIsAReadError) {
  PutLog("20240301A.psl", "2024-03-01");
  for (const char* time : {"1", "3", "5"}) {
    SCOPED_TRACE(time);
    EXPECT_EQ(
        Night({{"DISTURB_FAIL", std::string("lseek:20240301A.psl:") + time + ":" + time + ":5"}})
            .status,
        1);
    EXPECT_THAT(log_, HasSubstr("errno=5 detcode=03"));
    EXPECT_THAT(log_, HasSubstr(kFailed));
    EXPECT_FALSE(Exists("20240301A.psa"));
    EXPECT_TRUE(server_.directory.Exists("arc/20240301A.psl"));
  }
}

// Once, the night waited for somebody to write into the pipe.
TEST_F(PrefixNightOutputs, LogThatBecomesAPipeIsAShortFile) {
  server_.directory.MakeDirectory("arc/archive");
  ASSERT_EQ(mkfifo(server_.directory.Path("arc/20240301A.psl").c_str(), 0600), 0);
  PutLog("20240301B.psl", "2024-03-01");
  EXPECT_EQ(Night().status, 0);
  EXPECT_TRUE(Exists("20240301B.psa"));
  EXPECT_FALSE(Exists("20240301A.psa"));
}

}  // namespace
