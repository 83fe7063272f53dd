// Messages: console texts, trace lines, operation-log entries, and the verbose lines of finished
// outputs.
#include "archiver/messages.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "archiver/runinfo.h"
#include "engine/finfo.h"
#include "platform/QelCM.h"
#include "tests/support/process.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

namespace {

struct SyslogEntry {
  int priority;
  std::string text;
};
std::vector<SyslogEntry> syslog_entries;

}  // namespace

// Stands in for the C library's function in the whole test program.
extern "C" void syslog(int priority, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  syslog_entries.push_back({priority, text});
}

namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::SizeIs;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

class Messages : public ::testing::Test {
 protected:
  Messages() { ResetRunState(); }
  ~Messages() override { ResetRunState(); }

  // Standard error of one call.
  static std::string ErrorOf(int32_t number, const char* arg, const char* func = nullptr,
                             int32_t err = 0, uint32_t detail = 0) {
    Capture capture(2);
    LogMessage(number, arg, func, err, detail);
    return capture.Text();
  }

  void UseTrace() const {
    snprintf(sgmtr_dmpfile, sizeof sgmtr_dmpfile, "%s", directory.Path("trace").c_str());
  }
  std::string Trace() const { return directory.Read("trace"); }

  TempDir directory;
};

struct ConsoleCase {
  int32_t number;
  const char* expected;
};

class MessageTexts : public ::testing::TestWithParam<ConsoleCase> {
 protected:
  MessageTexts() { ResetRunState(); }
  ~MessageTexts() override { ResetRunState(); }
};

TEST_P(MessageTexts, ManualRunWritesConsoleTextToStandardError) {
  Capture capture(2);
  LogMessage(GetParam().number, "a.psl", "open", 13, 0x03020001);
  EXPECT_EQ(capture.Text(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, MessageTexts,
    ::testing::Values(
        ConsoleCase{101, "Qelprfarc: 101 Not PSL file -- a.psl\n"},
        ConsoleCase{102, "Qelprfarc: 102 Can't open file -- a.psl  func=open errno=13\n"},
        ConsoleCase{103, "Qelprfarc: 103 Can't open directory -- a.psl  func=open errno=13\n"},
        ConsoleCase{104, "Qelprfarc: 104 Invalid option -- a.psl\n"},
        ConsoleCase{105, "Qelprfarc: 105 Can't input multi-level file\n"},
        ConsoleCase{106, "Qelprfarc: 106 Out of range -- a.psl\n"},
        ConsoleCase{107, "Qelprfarc: 107 Can't find target file\n"},
        ConsoleCase{108, "Qelprfarc: 108 No more archiving -- a.psl\n"},
        ConsoleCase{109, "Qelprfarc: 109 Can't allocate memory\n"},
        ConsoleCase{110, "Qelprfarc: 110 Read error -- a.psl  func=open errno=13\n"},
        ConsoleCase{111, "Qelprfarc: 111 Write error -- a.psl  func=open errno=13\n"},
        ConsoleCase{112, "Qelprfarc: 112 Record broken -- a.psl\n"}, ConsoleCase{113, ""},
        ConsoleCase{114, ""}, ConsoleCase{115, ""},
        ConsoleCase{120, "Qelprfarc: 120 Illegal file format -- a.psl\n"},
        ConsoleCase{201, "Qelprfarc: 201 Warning: Find discontinuous file\n"},
        // Numbers that no message has.
        ConsoleCase{0, ""}, ConsoleCase{100, ""}, ConsoleCase{116, ""}, ConsoleCase{202, ""}),
    [](const auto& test_case) { return "No" + std::to_string(test_case.param.number); });

TEST_F(Messages, BrokenRecordWithoutArgumentHasShortText) {
  EXPECT_EQ(ErrorOf(112, nullptr), "Qelprfarc: 112 Record broken\n");
}

TEST_F(Messages, ReadErrorNamesTheCurrentInput) {
  rfname = "in.psl";
  EXPECT_EQ(ErrorOf(110, "other", "read", 5),
            "Qelprfarc: 110 Read error -- in.psl  func=read errno=5\n");
}

TEST_F(Messages, RecordIsClearedByEveryCall) {
  Capture capture(2);
  LogMessage(102, "a", "open", 2, 3);
  const ArcErrInfo empty{};
  EXPECT_EQ(memcmp(&arcerrinfo, &empty, sizeof empty), 0);
  LogMessage(999, "a", "open", 2, 3);
  EXPECT_EQ(memcmp(&arcerrinfo, &empty, sizeof empty), 0);
}

TEST_F(Messages, MissingTextsKeepWhatTheRecordHolds) {
  snprintf(arcerrinfo.arg, sizeof arcerrinfo.arg, "kept.psl");
  snprintf(arcerrinfo.func, sizeof arcerrinfo.func, "lseek");
  EXPECT_EQ(ErrorOf(110, nullptr, nullptr, 9),
            "Qelprfarc: 110 Read error -- kept.psl  func=lseek errno=9\n");
}

TEST_F(Messages, ConsoleTextHas511CharactersAndItsNewline) {
  const std::string text = ErrorOf(101, std::string(1023, 'x').c_str());
  EXPECT_THAT(text, SizeIs(511));
  EXPECT_THAT(text, EndsWith("x\n"));
}

TEST_F(Messages, OverlongTextsAreCutToTheirFields) {
  // 1,023 characters of the argument and 19 of the call, whatever is handed over.
  const std::string text = ErrorOf(102, "a", std::string(300, 'f').c_str(), 1);
  EXPECT_EQ(text,
            "Qelprfarc: 102 Can't open file -- a  func=" + std::string(19, 'f') + " errno=1\n");
  EXPECT_THAT(ErrorOf(101, std::string(5000, 'x').c_str()), SizeIs(511));
}

TEST_F(Messages, ExtSendsConsoleTextToTraceOnly) {
  arcdelinfo.ext_flg = 1;
  UseTrace();
  EXPECT_EQ(ErrorOf(101, "a.txt"), "");
  // One newline: the text's own is not doubled.
  EXPECT_THAT(Trace(),
              MatchesRegex("[0-9]{4}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} " +
                           std::to_string(getpid()) +
                           " Qelprfarc:[0-9]+ Qelprfarc: 101 Not PSL file -- a\\.txt\n"));
}

TEST_F(Messages, ExtWithUnusableTraceWritesToStandardError) {
  arcdelinfo.ext_flg = 1;
  directory.Write("file");
  snprintf(sgmtr_dmpfile, sizeof sgmtr_dmpfile, "%s", directory.Path("file/trace").c_str());
  EXPECT_EQ(ErrorOf(105, nullptr), "Qelprfarc: 105 Can't input multi-level file\n");
}

TEST_F(Messages, AutomaticRunWithoutTraceFileWritesToStandardError) {
  arcdelinfo.auto_flg = 1;
  EXPECT_EQ(ErrorOf(107, nullptr), "Qelprfarc: 107 Can't find target file\n");
}

TEST_F(Messages, AutomaticRunWritesConsoleTextToTraceOnly) {
  arcdelinfo.auto_flg = 1;
  UseTrace();
  EXPECT_EQ(ErrorOf(107, nullptr), "");
  EXPECT_THAT(Trace(), EndsWith(" Qelprfarc: 107 Can't find target file\n"));
}

TEST_F(Messages, TraceDirectoryIsCreatedWhenMissing) {
  arcdelinfo.ext_flg = 1;
  snprintf(sgmtr_dmpfile, sizeof sgmtr_dmpfile, "%s", directory.Path("etc/trace/file").c_str());
  EXPECT_EQ(ErrorOf(107, nullptr), "");
  EXPECT_THAT(directory.Read("etc/trace/file"), HasSubstr("107 Can't find target file"));
}

TEST_F(Messages, NewlinesInsideATraceLineBecomeBlanks) {
  arcdelinfo.ext_flg = 1;
  UseTrace();
  ErrorOf(101, "two\nlines");
  EXPECT_THAT(Trace(), EndsWith(" Qelprfarc: 101 Not PSL file -- two lines\n"));
  EXPECT_THAT(Lines(Trace()), SizeIs(1));
}

TEST_F(Messages, TraceWithoutFileFails) {
  EXPECT_EQ(fn_I_trace("text", 1, &sgmtr_dmptbl, "Qelprfarc", 1, 0), -1);
}

TEST_F(Messages, LinesOfSeveralProcessesNeverMix) {
  UseTrace();
  const std::string text(300, 'y');
  std::vector<pid_t> children;
  for (int i = 0; i < 4; ++i) {
    children.push_back(ForkChild(
        [](void* context) {
          int failed = 0;
          for (int k = 0; k < 200; ++k) {
            failed |= fn_I_trace(static_cast<const char*>(context), 1, &sgmtr_dmptbl, "Tag", k, 0);
          }
          return failed == 0 ? 0 : 1;
        },
        const_cast<char*>(text.c_str())));
  }
  for (const pid_t child : children) EXPECT_EQ(WaitForChild(child), 0);
  const std::vector<std::string> lines = Lines(Trace());
  EXPECT_THAT(lines, SizeIs(800));
  for (const std::string& line : lines) {
    // Time of 23 characters, process id, "Tag:line", text.
    ASSERT_THAT(line.substr(23), MatchesRegex(" [0-9]+ Tag:[0-9]+ y{300}"));
  }
}

TEST_F(Messages, PruningRunTracesLogTextsThatHaveNoConsoleText) {
  arcdelinfo.auto2_flg = 1;
  UseTrace();
  EXPECT_EQ(ErrorOf(113, nullptr, "shmat", 22, 0x03010004), "");
  EXPECT_EQ(ErrorOf(114, "deletion"), "");
  EXPECT_EQ(ErrorOf(115, nullptr, nullptr, 0, 0x0301000A), "");
  const std::vector<std::string> lines = Lines(Trace());
  ASSERT_THAT(lines, SizeIs(3));
  EXPECT_THAT(lines[0],
              EndsWith(" System call error occurred func=shmat errno=22 detcode=03010004"));
  EXPECT_THAT(lines[1], EndsWith(" Failed in deletion of psl(psa) files."));
  EXPECT_THAT(lines[2], EndsWith(" Program error occurred detcode=0301000a"));
}

TEST_F(Messages, PruningRunWithoutTraceFileWritesLogTextsToStandardError) {
  arcdelinfo.auto2_flg = 1;
  EXPECT_EQ(ErrorOf(115, nullptr, nullptr, 0, 0x0301000B),
            "Program error occurred detcode=0301000b\n");
  EXPECT_EQ(ErrorOf(114, "archives"), "Failed in archives of psl(psa) files.\n");
}

TEST_F(Messages, PruningRunWritesConsoleTextsToStandardError) {
  arcdelinfo.auto2_flg = 1;
  UseTrace();
  EXPECT_EQ(ErrorOf(103, "/none/", "opendir", 2),
            "Qelprfarc: 103 Can't open directory -- /none/  func=opendir errno=2\n");
  EXPECT_EQ(Trace(), "");
}

TEST_F(Messages, TaskWordFollowsTheArchivingSwitch) {
  arcdelinfo.auto2_flg = 1;
  Capture capture(2);
  LogTaskFailed();
  arcdelinfo.arc_flg = 1;
  LogTaskFailed();
  EXPECT_EQ(capture.Text(),
            "Failed in deletion of psl(psa) files.\nFailed in archives of psl(psa) files.\n");
}

TEST_F(Messages, ManualRunKeepsAnOutputWithABrokenRecord) {
  finfo.level = 'H';
  directory.Write("out.psa", "bytes");
  snprintf(wfpath, sizeof wfpath, "%s", directory.Path("out.psa").c_str());
  ErrorOf(112, "a.psl");
  EXPECT_EQ(directory.Read("out.psa"), "bytes");
}

// --- Operation log --------------------------------------------------------------------------------

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

// --- Verbose lines --------------------------------------------------------------------------------

class VerboseLines : public Messages {
 protected:
  VerboseLines() {
    OptVerbose = 1;
    TargetList = targets;
    Ntarget = 3;
    snprintf(wfname, 1024, "out.psa");
  }
  ~VerboseLines() override { TargetList = nullptr; }

  static std::string OutputOf(int32_t end) {
    Capture capture(1);
    OutMsg(end);
    return capture.Text();
  }

  char a[6] = "a.psl";
  char b[6] = "b.psl";
  char c[6] = "c.psl";
  char* targets[3] = {a, b, c};
};

TEST_F(VerboseLines, OneLineForEachInputSinceTheLastOutput) {
  EXPECT_EQ(OutputOf(2), "a.psl --> out.psa\nb.psl --> out.psa\n");
  snprintf(wfname, 1024, "next.psa");
  EXPECT_EQ(OutputOf(3), "c.psl --> next.psa\n");
  EXPECT_EQ(OutMsgNum, 3);
}

TEST_F(VerboseLines, FileRunNamesInputsAsGiven) {
  finfo.optclass = kOptFile;
  finfo.path = "out/";
  EXPECT_EQ(OutputOf(1), "a.psl --> out.psa\n");
}

TEST_F(VerboseLines, DirectoryRunPutsThePathInFront) {
  finfo.optclass = kOptDirectory;
  finfo.path = "logs/";
  EXPECT_EQ(OutputOf(1), "logs/a.psl --> out.psa\n");
}

TEST_F(VerboseLines, MarkedInputsOfADirectoryRunAreLeftOutAndCounted) {
  finfo.optclass = kOptDirectory;
  finfo.target_marks_size = 4;
  finfo.target_marks = static_cast<uint8_t*>(calloc(4, 1));
  finfo.target_marks[1] = 1;
  EXPECT_EQ(OutputOf(3), "a.psl --> out.psa\nc.psl --> out.psa\n");
  EXPECT_EQ(OutMsgNum, 3);
}

TEST_F(VerboseLines, NullEntriesAreLeftOutAndNotCounted) {
  targets[0] = nullptr;
  EXPECT_EQ(OutputOf(2), "b.psl --> out.psa\n");
  EXPECT_EQ(OutMsgNum, 1);
}

TEST_F(VerboseLines, NothingWithoutVerboseOption) {
  OptVerbose = 0;
  EXPECT_EQ(OutputOf(2), "");
  EXPECT_EQ(OutMsgNum, 0);
}

TEST_F(VerboseLines, DiscontinuityIsWarnedOfOnce) {
  finfo.discontinuous = true;
  Capture errors(2);
  OutputOf(1);
  OutputOf(2);
  EXPECT_EQ(errors.Text(), "Qelprfarc: 201 Warning: Find discontinuous file\n");
  EXPECT_FALSE(finfo.discontinuous);
}

TEST_F(VerboseLines, ManualRunWithoutVerboseOptionNeverShows201) {
  OptVerbose = 0;
  finfo.discontinuous = true;
  Capture errors(2);
  OutMsg(1);
  EXPECT_EQ(errors.Text(), "");
  EXPECT_TRUE(finfo.discontinuous);
}

TEST_F(VerboseLines, AutomaticRunReports201WithoutVerboseOption) {
  OptVerbose = 0;
  arcdelinfo.auto_flg = 1;
  UseTrace();
  finfo.discontinuous = true;
  OutMsg(1);
  EXPECT_THAT(Trace(), EndsWith(" Qelprfarc: 201 Warning: Find discontinuous file\n"));
  EXPECT_FALSE(finfo.discontinuous);
}

}  // namespace
