// Nights in which a call fails that seldom does, each alone: the lock that cannot be asked for,
// names that are always taken, file systems that cannot rename without replacing, reads that are
// interrupted.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/header_file.h"
#include "tests/support/record_bytes.h"
#include "tests/support/runs/nights.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

// The night of 1 March 2024 over two days of array "a".
class PrefixNightOfFailingCalls : public ::testing::Test {
 protected:
  PrefixNightOfFailingCalls() {
    server.directory.MakeDirectory("arc/archive");
    AddLog("20240228a.psl");
    AddLog("20240229a.psl");
  }
  void SetUp() override { SKIP_WITHOUT_PRELOADING(); }

  void AddLog(const std::string& name, const std::string& more = "") const {
    HeaderFile header;
    header.time =
        static_cast<uint32_t>(LocalTimeIn("UTC", name.substr(0, 4) + "-" + name.substr(4, 2) + "-" +
                                                     name.substr(6, 2) + " 12:00:00"));
    server.directory.Write("arc/" + name, HeaderBytes(header) + more);
  }
  // `most`: that a read brings.
  ProgramResult Night(const std::string& rules, const std::string& most = "0") {
    const AddedText log = AddedText::OperationLog();
    const ProgramResult run = RunNight(server, ClockAt("2024-03-01 00:30:00"),
                                       {{"DISTURB_FAIL", rules}, {"DISTURB_SHORT", most}});
    entries = log.Text();
    trace = TestServer::TraceOf(run.pid);
    return run;
  }
  std::vector<std::string> Archives() const { return server.directory.Names("arc/archive"); }

  TestServer server;
  std::string entries;  // of the operation log
  std::vector<std::string> trace;
};

TEST_F(PrefixNightOfFailingCalls, LockThatCannotBeAskedForOrTakenEndsTheNight) {
  for (const char* rule : {"fcntl:arclock:1:1:37", "fcntl:arclock:2:2:37"}) {
    Night(rule);
    EXPECT_THAT(entries, HasSubstr("func=fcntl errno=37"));
    EXPECT_THAT(entries, HasSubstr("08320"));
    EXPECT_THAT(Archives(), IsEmpty());
  }
}

TEST_F(PrefixNightOfFailingCalls, TemporaryNameThatIsAlwaysTakenIsReported) {
  Night("open:/20240228a.psa_tmp:1:100000:17");
  EXPECT_THAT(trace, Contains(HasSubstr("func=open errno=17")));
  EXPECT_THAT(Archives(), Not(Contains("20240228a.psa")));
  EXPECT_THAT(Archives(), Not(Contains("20240228a.psa_tmp")));
}

TEST_F(PrefixNightOfFailingCalls, FileSystemsThatCannotRenameWithoutReplacingServeToo) {
  for (const char* error : {"22", "38"}) {
    SCOPED_TRACE(error);
    EXPECT_EQ(Night(std::string("rename:/20240228a.psa:1:1:") + error +
                    ";rename:/20240229a.psa:1:1:" + error)
                  .status,
              0);
    EXPECT_THAT(Archives(), UnorderedElementsAre("202402a.psa", "20240228a.psa", "20240229a.psa"));
    for (const std::string& name : Archives()) {
      std::filesystem::remove(server.directory.Path("arc/archive/" + name));
    }
  }
}

TEST_F(PrefixNightOfFailingCalls, InterruptedReadIsMadeAgain) {
  EXPECT_EQ(Night("pread:/20240228a.psl:1:3:4").status, 0);
  EXPECT_THAT(Archives(), Contains("20240228a.psa"));
}

// Some that take many reads, of the time of a log of 28 February.
std::string LongRecords() {
  constexpr uint32_t kTime = spell::kNewYear + (31 + 27) * 86400 + 43200;
  return spell::Record("FRE", 0, kTime, spell::Bytes(9000 - 12, 'f')) +
         spell::FixedRecord("NNC", 80, kTime);
}

TEST_F(PrefixNightOfFailingCalls, ReadsThatBringLessAreGoneOnWith) {
  AddLog("20240228a.psl", LongRecords());
  EXPECT_EQ(Night("", "7").status, 0);
  EXPECT_EQ(entries, "");
  EXPECT_EQ(server.directory.Read("arc/archive/20240228a.psa").substr(256),
            LongRecords().substr(9000));
  EXPECT_THAT(Archives(), UnorderedElementsAre("20240228a.psa", "20240229a.psa", "202402a.psa"));
}

// The disk gives up within the records: once, what was told depended on how much had been asked
// for.
TEST_F(PrefixNightOfFailingCalls, ReadErrorIsToldWithItsNumberWhereverItComes) {
  AddLog("20240228a.psl", LongRecords());
  int told = 0;
  for (const char* most : {"0", "20", "300", "5000"}) {
    for (int call = 1; call <= 12; ++call) {
      for (const std::string error : {"0", "5"}) {
        SCOPED_TRACE(std::string(most) + ": " + std::to_string(call) + ", " + error);
        const std::string from = std::to_string(call);
        const ProgramResult run = Night("pread:/20240228a.psl:" + from + ":999999:" + error, most);
        if (run.status == 1) {
          ++told;
          EXPECT_THAT(
              trace,
              Contains("Qelprfarc: 110 Read error -- 20240228a.psl  func=read errno=" + error));
          EXPECT_THAT(entries, HasSubstr("func=read errno=" + error + " detcode=03060001\n"));
        }
        for (const std::string& name : Archives()) {
          std::filesystem::remove(server.directory.Path("arc/archive/" + name));
        }
      }
    }
  }
  EXPECT_GE(told, 8);
}

// Whichever of the openings fails, a log that is expired stays until its archive is there: the last
// one, before it is removed, succeeds again.
TEST_F(PrefixNightOfFailingCalls, ExpiredLogThatDoesNotOpenOnceIsNotLost) {
  server.segment.PutRetention(0, 1, 0);
  bool stayed = false;
  for (int opening = 1; opening <= 6; ++opening) {
    SCOPED_TRACE(opening);
    const std::string number = std::to_string(opening);
    Night("open:/20240228a.psl:" + number + ":" + number + ":5");
    const bool log = server.directory.Exists("arc/20240228a.psl");
    const bool archive = server.directory.Exists("arc/archive/20240228a.psa");
    EXPECT_TRUE(log || archive);
    stayed = stayed || (log && !archive);
    AddLog("20240228a.psl");
    for (const std::string& name : Archives()) {
      std::filesystem::remove(server.directory.Path("arc/archive/" + name));
    }
  }
  EXPECT_TRUE(stayed) << "no opening was hit";
}

// A broken log gives an empty archive, which is opened again to be synced.
TEST_F(PrefixNightOfFailingCalls, EmptyArchiveThatCannotBeSyncedIsNotNamed) {
  AddLog("20240227a.psl", "torn");
  Night("open:/20240227a.psa_tmp:2:9:5");
  EXPECT_THAT(trace, Contains(HasSubstr("func=open errno=5")));
  EXPECT_THAT(Archives(), Not(Contains("20240227a.psa")));
  Night("");
  EXPECT_THAT(Archives(), Contains("20240227a.psa"));
}

}  // namespace
