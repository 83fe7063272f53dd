// What becomes of expired inputs whose archive this night could not make: full disks, broken logs,
// a name that is taken. Once, the same night reported the failure and then removed them, and
// nothing was left of their day or month.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/runs/nights.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

// The night of 1 March 2024. Logs are kept for two days, hour archives for a month.
class PrefixUnfinished : public ::testing::Test {
 protected:
  PrefixUnfinished() {
    server.directory.MakeDirectory("arc/archive");
    server.segment.PutRetention(0, 2, 0);
    server.segment.PutRetention(1, 1, 1);
    for (const char* name : {"20240115a.psa", "20240116a.psa", "20240116b.psa"}) {
      server.directory.Write(std::string("arc/archive/") + name, FileOfDay(name, 'H'));
    }
    for (const char* name : {"20240210a.psl", "20240210b.psl"}) {
      server.directory.Write(std::string("arc/") + name, FileOfDay(name, 'L'));
    }
  }
  void SetUp() override { SKIP_WITHOUT_PRELOADING(); }

  void Night(const std::string& rules = "") {
    const AddedText log = AddedText::OperationLog();
    const ProgramResult run =
        RunNight(server, ClockAt("2024-03-01 00:30:00"), {{"DISTURB_FAIL", rules}});
    EXPECT_EQ(run.status, 0) << run.err;
    entries = log.Text();
    trace = TestServer::TraceOf(run.pid);
  }

  bool Log(const std::string& name) const { return server.directory.Exists("arc/" + name); }
  bool Archive(const std::string& name) const {
    return server.directory.Exists("arc/archive/" + name);
  }
  static std::string Left(const std::string& name) {
    return "left " + name + ": this run did not make its archive";
  }

  TestServer server;
  std::string entries;  // of the operation log
  std::vector<std::string> trace;
};

TEST_F(PrefixUnfinished, UndisturbedNightRemovesThem) {
  Night();
  EXPECT_EQ(entries, "");
  EXPECT_TRUE(Archive("202401a.psa") && Archive("202401b.psa"));
  EXPECT_TRUE(Archive("20240210a.psa") && Archive("20240210b.psa"));
  EXPECT_FALSE(Archive("20240115a.psa") || Archive("20240116a.psa") || Archive("20240116b.psa"));
  EXPECT_FALSE(Log("20240210a.psl") || Log("20240210b.psl"));
}

// The names that a night could not sync stand in the next one, which makes nothing and syncs
// nothing of its own: it removed the logs, and a power failure took the archives.
TEST_F(PrefixUnfinished, NothingGoesBeforeTheNamesOfArchivesAreSafe) {
  const std::string every_sync = "fsync:/arc/archive:1:99:28";
  Night(every_sync);
  EXPECT_TRUE(Archive("20240210a.psa") && Log("20240210a.psl"));
  Night(every_sync);
  EXPECT_THAT(entries, HasSubstr("func=fsync errno=28 detcode=03080002"));
  EXPECT_TRUE(Log("20240210a.psl") && Log("20240210b.psl"));
  EXPECT_TRUE(Archive("20240115a.psa") && Archive("20240116b.psa"));
  Night();
  EXPECT_EQ(entries, "");
  EXPECT_FALSE(Log("20240210a.psl") || Archive("20240115a.psa"));
}

// Alone, without another log in the directory, it held up its month for as long as it was there.
TEST_F(PrefixUnfinished, PartWithoutStatusOfADayThatIsArchivedHoldsUpNothing) {
  for (const char* name : {"20240210a.psl", "20240210b.psl"}) {
    std::filesystem::remove(server.directory.Path(std::string("arc/") + name));
  }
  std::filesystem::create_symlink("20240115a#002.psl",
                                  server.directory.Path("arc/20240115a#002.psl"));
  Night();
  EXPECT_TRUE(Archive("202401a.psa"));
}

class PrefixUnfinishedBy : public PrefixUnfinished,
                           public ::testing::WithParamInterface<const char*> {};

TEST_P(PrefixUnfinishedBy, HourArchivesOfTheMonthStay) {
  const std::string call = GetParam();
  const std::string file = call == "rename" ? "/202401a.psa" : "/202401a.psa_tmp";
  Night(call + ":" + file + ":1:1:28");
  EXPECT_THAT(entries, HasSubstr("func=" + call + " errno=28 detcode=0302000"));
  EXPECT_FALSE(Archive("202401a.psa"));
  EXPECT_TRUE(Archive("20240115a.psa") && Archive("20240116a.psa"));
  EXPECT_THAT(trace, Contains(Left("20240115a.psa")));
  EXPECT_THAT(trace, Contains(Left("20240116a.psa")));
  EXPECT_TRUE(Archive("202401b.psa"));
  EXPECT_FALSE(Archive("20240116b.psa"));

  Night();
  EXPECT_EQ(entries, "");
  EXPECT_TRUE(Archive("202401a.psa"));
  EXPECT_FALSE(Archive("20240115a.psa") || Archive("20240116a.psa"));
}

TEST_P(PrefixUnfinishedBy, LogsOfTheDayStay) {
  const std::string call = GetParam();
  const std::string file = call == "rename" ? "/20240210a.psa" : "/20240210a.psa_tmp";
  Night(call + ":" + file + ":1:1:28");
  EXPECT_THAT(entries, HasSubstr("func=" + call + " errno=28 detcode=0302000"));
  EXPECT_FALSE(Archive("20240210a.psa"));
  EXPECT_TRUE(Log("20240210a.psl"));
  EXPECT_THAT(trace, Contains(Left("20240210a.psl")));
  EXPECT_FALSE(Log("20240210b.psl"));
}

INSTANTIATE_TEST_SUITE_P(Prefix, PrefixUnfinishedBy, ::testing::Values("fsync", "close", "rename"),
                         [](const auto& test) { return std::string(test.param); });

// The empty archive stands for the day from then on, so the log has one night more.
TEST_F(PrefixUnfinished, BrokenLogStaysForTheNight) {
  const std::string bytes = server.directory.Read("arc/20240210a.psl");
  server.directory.Write("arc/20240210a.psl", bytes.substr(0, bytes.size() - 1));
  Night();
  EXPECT_THAT(entries, HasSubstr("There is broken psl(psa) file. file=20240210a.psl"));
  EXPECT_TRUE(Log("20240210a.psl"));
  EXPECT_THAT(trace, Contains(Left("20240210a.psl")));
  Night();
  EXPECT_FALSE(Log("20240210a.psl"));
}

TEST_F(PrefixUnfinished, LogWhoseArchiveHasItsNameTakenStays) {
  server.directory.Write("arc/20240210a.bak.psl", FileOfDay("20240210a", 'L'));
  Night();
  EXPECT_THAT(entries, HasSubstr("func=open errno=17 detcode=03020003"));
  EXPECT_TRUE(Log("20240210a.psl"));
  EXPECT_TRUE(Log("20240210a.bak.psl"));
  EXPECT_TRUE(Archive("20240210a.psa"));
}

// Selection looked for this log in the directory, the driver among the archives: its day and month
// failed every night.
TEST_F(PrefixUnfinished, LogNamedLikeAnArchiveIsArchived) {
  server.directory.Write("arc/20240209s.psa.psl", FileOfDay("20240209s", 'L'));
  Night();
  EXPECT_EQ(entries, "");
  EXPECT_TRUE(Archive("20240209s.psa") && Archive("202402s.psa"));
  EXPECT_THAT(trace, Not(Contains(HasSubstr("102 Can't open file"))));
}

}  // namespace
