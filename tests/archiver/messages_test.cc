// Messages: console texts, and what goes to the trace instead of them.
#include "report/messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "platform/QelCM.h"
#include "report/runinfo.h"
#include "tests/archiver/messages_fixture.h"
#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/run_state.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

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

}  // namespace
