// Messages in the operation log and in syslog: which entry each number makes, when there is none,
// and what a broken record does to the output.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "report/messages.h"
#include "report/runinfo.h"
#include "tests/archiver/messages_fixture.h"
#include "tests/support/lines.h"
#include "tests/support/tempdir.h"

namespace {

struct SyslogEntry {
  int priority;
  std::string text;
};
std::vector<SyslogEntry> syslog_entries;

}  // namespace

// Stand in for the C library's functions in the whole test program; hardened code calls the second.
extern "C" {

void syslog(int priority, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  syslog_entries.push_back({priority, text});
}

void __syslog_chk(int priority, int /*flag*/, const char* format, ...);
void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  syslog_entries.push_back({priority, text});
}

}  // extern "C"

namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// The log is shared with other tests, so the entries looked for carry a text of their own.
class PrefixMessages : public Messages {
 protected:
  PrefixMessages() {
    arcdelinfo.auto_flg = 1;
    UseTrace();
    syslog_entries.clear();
    start_ = Log().size();
  }

  static std::string Log() {
    return TempDir::ReadFile(std::string(QELPRFARC_TEST_PREFIX) + "etc/log/operation.log");
  }

  // The entries made since the start of the test that contain `text`, without their time.
  std::vector<std::string> EntriesWith(const std::string& text) const {
    std::vector<std::string> found;
    for (const std::string& line : Lines(Log().substr(start_))) {
      if (line.find(text) == std::string::npos) continue;
      EXPECT_THAT(line, ContainsRegex("^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}"
                                      "[+-][0-9]{2}:[0-9]{2} "));
      found.push_back(line.substr(26));
    }
    return found;
  }

  size_t start_ = 0;
};

// A number that no other test running at the same time uses.
int Unique() { return 100000 + getpid(); }

TEST_F(PrefixMessages, SystemCallMessagesCarryFlag0) {
  for (const int number : {102, 103, 110, 111, 113}) {
    start_ = Log().size();
    LogMessage(number, "a", "fcntl", Unique(), 0x030C0002);
    const std::string error = "errno=" + std::to_string(Unique());
    EXPECT_THAT(EntriesWith(error),
                ElementsAre("08094 Qelprfarc 5 0 System call error occurred func=fcntl " + error +
                            " detcode=030c0002"))
        << number;
  }
}

TEST_F(PrefixMessages, ExhaustedMemoryIsAResourceEntry) {
  LogMessage(109, nullptr, "malloc", Unique(), 0x03050002);
  const std::string error = "errno=" + std::to_string(Unique());
  EXPECT_THAT(EntriesWith(error),
              ElementsAre("08072 Qelprfarc 5 1 Insufficient resource detected func=malloc " +
                          error + " detcode=03050002"));
}

TEST_F(PrefixMessages, BrokenRecordEntryNamesTheFile) {
  const std::string name = std::to_string(Unique()) + ".psl";
  LogMessage(112, name.c_str());
  EXPECT_THAT(EntriesWith(name),
              ElementsAre("08300 Qelprfarc 5 1 There is broken psl(psa) file. file=" + name));
}

TEST_F(PrefixMessages, BrokenRecordWithoutArgumentNamesTheCurrentInput) {
  const std::string name = std::to_string(Unique()) + ".psl";
  rfname = name.c_str();
  LogMessage(112, nullptr);
  EXPECT_THAT(EntriesWith(name),
              ElementsAre("08300 Qelprfarc 5 1 There is broken psl(psa) file. file=" + name));
}

TEST_F(PrefixMessages, FailedTaskHasClass4) {
  const std::string word = "task" + std::to_string(Unique());
  LogMessage(114, word.c_str());
  EXPECT_THAT(EntriesWith(word),
              ElementsAre("08320 Qelprfarc 4 1 Failed in " + word + " of psl(psa) files."));
}

TEST_F(PrefixMessages, ProgramErrorGivesItsDetailCode) {
  LogMessage(115, nullptr, nullptr, 0, static_cast<uint32_t>(Unique()));
  char detail[24];
  snprintf(detail, sizeof detail, "detcode=%08x", Unique());
  EXPECT_THAT(EntriesWith(detail),
              ElementsAre(std::string("08099 Qelprfarc 5 1 Program error occurred ") + detail));
}

TEST_F(PrefixMessages, DiscontinuousFileEntryNamesTheOutput) {
  snprintf(wfname, 1024, "%d.psa", Unique());
  LogMessage(201, nullptr);
  EXPECT_THAT(
      EntriesWith(wfname),
      ElementsAre(std::string("08301 Qelprfarc 5 1 Psa file is not complete. file=") + wfname));
}

TEST_F(PrefixMessages, DiscontinuousFileEntryWithoutAnOutputHasNoName) {
  char* const name = wfname;
  wfname = nullptr;
  LogMessage(201, nullptr);
  wfname = name;
  EXPECT_THAT(EntriesWith("Psa file is not complete"),
              ElementsAre("08301 Qelprfarc 5 1 Psa file is not complete. file="));
}

TEST_F(PrefixMessages, BrokenRecordOfAnInputWithoutANameNamesNone) {
  rfname = "";
  LogMessage(112, nullptr);
  EXPECT_THAT(EntriesWith("broken psl(psa)"),
              ElementsAre("08300 Qelprfarc 5 1 There is broken psl(psa) file. file="));
}

TEST_F(PrefixMessages, OffsetOfAZoneInTheWest) {
  const TimeZone zone("EST5:30");
  LogMessage(113, nullptr, "stat", Unique(), 0x03010009);
  EXPECT_EQ(Log().substr(start_ + 19, 7), "-05:30 ");
}

TEST_F(PrefixMessages, MessagesWithoutLogTextLeaveNoEntry) {
  const std::string name = std::to_string(Unique()) + ".txt";
  for (const int number : {101, 104, 105, 106, 107, 108, 120}) {
    LogMessage(number, name.c_str(), "open", Unique());
  }
  EXPECT_THAT(EntriesWith(std::to_string(Unique())), IsEmpty());
  EXPECT_THAT(Lines(Trace()), SizeIs(7));
}

TEST_F(PrefixMessages, LogTextHasAtMost200Characters) {
  const std::string name = std::to_string(Unique()) + std::string(400, 'n');
  LogMessage(112, name.c_str());
  const std::string text = "There is broken psl(psa) file. file=" + name;
  EXPECT_THAT(EntriesWith(std::to_string(Unique())),
              ElementsAre("08300 Qelprfarc 5 1 " + text.substr(0, 200)));
}

TEST_F(PrefixMessages, EntriesGoToSyslogToo) {
  LogMessage(113, nullptr, "stat", Unique(), 0x03010009);
  LogMessage(114, "archives");
  ASSERT_THAT(syslog_entries, SizeIs(2));
  EXPECT_EQ(syslog_entries[0].priority, LOG_DAEMON | LOG_WARNING);
  EXPECT_EQ(syslog_entries[0].text,
            "08094 Qelprfarc 5 0 System call error occurred func=stat errno=" +
                std::to_string(Unique()) + " detcode=03010009");
  EXPECT_EQ(syslog_entries[1].priority, LOG_DAEMON | LOG_ERR);
  EXPECT_EQ(syslog_entries[1].text, "08320 Qelprfarc 4 1 Failed in archives of psl(psa) files.");
}

TEST_F(PrefixMessages, ManualRunMakesNoEntry) {
  arcdelinfo.auto_flg = 0;
  ErrorOf(102, "a", "open", Unique());
  EXPECT_THAT(EntriesWith(std::to_string(Unique())), IsEmpty());
  EXPECT_THAT(syslog_entries, IsEmpty());
}

TEST_F(PrefixMessages, EmbeddedRunMakesNoEntry) {
  arcdelinfo.emb_flg = 1;
  LogMessage(102, "a", "open", Unique());
  EXPECT_THAT(EntriesWith(std::to_string(Unique())), IsEmpty());
}

TEST_F(PrefixMessages, PruningRunMakesNoEntry) {
  arcdelinfo.auto_flg = 0;
  arcdelinfo.auto2_flg = 1;
  LogMessage(113, nullptr, "shmat", Unique());
  EXPECT_THAT(EntriesWith(std::to_string(Unique())), IsEmpty());
}

TEST_F(PrefixMessages, BrokenRecordEmptiesTheHourOutput) {
  finfo.level = 'H';
  directory.Write("out.psa_tmp", "bytes");
  snprintf(wfpath, sizeof wfpath, "%s", directory.Path("out.psa_tmp").c_str());
  wfd = open(wfpath, O_WRONLY | O_CLOEXEC);
  ASSERT_NE(wfd, -1);
  LogMessage(112, "a.psl");
  EXPECT_EQ(wfd, -1);
  EXPECT_TRUE(directory.Exists("out.psa_tmp"));
  EXPECT_EQ(directory.Read("out.psa_tmp"), "");
}

TEST_F(PrefixMessages, BrokenRecordKeepsTheDayOutput) {
  finfo.level = 'D';
  directory.Write("out.psa_tmp", "bytes");
  snprintf(wfpath, sizeof wfpath, "%s", directory.Path("out.psa_tmp").c_str());
  LogMessage(112, "a.psl");
  EXPECT_EQ(directory.Read("out.psa_tmp"), "bytes");
}

}  // namespace
