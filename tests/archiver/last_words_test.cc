// What the program still says when hardly anything works: no log, no trace, no memory, no standard
// descriptors, a disk that is full, another time zone in force.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "platform/zone.h"
#include "report/messages.h"
#include "report/runinfo.h"
#include "tests/archiver/messages_fixture.h"
#include "tests/support/header_file.h"
#include "tests/support/lines.h"
#include "tests/support/runs/nights.h"

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

class LastWords : public Messages {
 protected:
  void Trace107() {
    arcdelinfo.ext_flg = 1;
    LogMessage(107, nullptr);
  }
};

// --- Lines cut short ------------------------------------------------------------------------------

// The next line was appended to the rest of the one before, and no reader found either.
TEST_F(LastWords, TraceLineThatWasCutShortIsEndedFirst) {
  directory.Write("trace", "2024/03/04 00:30:00.000 77 Qelprfarc:58 $main():arc st");
  UseTrace();
  Trace107();
  Trace107();
  const std::vector<std::string> lines = Lines(Trace());
  ASSERT_THAT(lines, SizeIs(3));
  EXPECT_THAT(lines[0], EndsWith("$main():arc st"));
  EXPECT_THAT(lines[1], EndsWith(" Qelprfarc: 107 Can't find target file"));
  EXPECT_THAT(lines[2], EndsWith(" Qelprfarc: 107 Can't find target file"));
  EXPECT_THAT(Trace(), Not(HasSubstr("\n\n")));
}

TEST_F(LastWords, TraceLineMayBeEmpty) {
  UseTrace();
  EXPECT_EQ(fn_I_trace("", 1, &sgmtr_dmptbl, "tag", 7, 0), 0);
  ASSERT_THAT(Lines(Trace()), SizeIs(1));
  EXPECT_THAT(Lines(Trace())[0], EndsWith(" tag:7 "));
}

TEST_F(LastWords, NewTraceBeginsWithoutAnEmptyLine) {
  UseTrace();
  Trace107();
  EXPECT_THAT(Lines(Trace()), SizeIs(1));
  EXPECT_THAT(Trace(), Not(StartsWith("\n")));
}

class PrefixLastWords : public LastWords {
 protected:
  static constexpr char kLog[] = QELPRFARC_TEST_PREFIX "etc/log/operation.log";

  PrefixLastWords() { unlink(kLog); }
  ~PrefixLastWords() override { unlink(kLog); }
};

TEST_F(PrefixLastWords, OperationLogLineThatWasCutShortIsEndedFirst) {
  arcdelinfo.auto_flg = 1;
  LogMessage(114, "archives");
  ASSERT_EQ(truncate(kLog, 40), 0);
  LogMessage(114, "archives");
  const std::vector<std::string> lines = Lines(TempDir::ReadFile(kLog));
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_EQ(lines[0].size(), 40u);
  EXPECT_THAT(lines[1], EndsWith(" 08320 Qelprfarc 4 1 Failed in archives of psl(psa) files."));
}

// --- Time zones -----------------------------------------------------------------------------------

TEST_F(LastWords, TraceStampsStayInTheZoneOfTheStart) {
  const TimeZone zone("JST-9");
  UseTrace();
  Trace107();
  SwitchToUtc();
  Trace107();
  EXPECT_STREQ(getenv("TZ"), "UTC");
  const time_t now = time(nullptr);
  EXPECT_EQ(localtime(&now)->tm_gmtoff, 0) << "the switch is in force again";
  SwitchBackFromUtc();
  Trace107();
  const std::vector<std::string> lines = Lines(Trace());
  ASSERT_THAT(lines, SizeIs(3));
  for (const std::string& line : lines) {
    tm stamp{};
    ASSERT_NE(strptime(line.c_str(), "%Y/%m/%d %H:%M:%S", &stamp), nullptr) << line;
    stamp.tm_isdst = -1;
    EXPECT_NEAR(static_cast<double>(mktime(&stamp)), static_cast<double>(now), 120) << line;
  }
}

TEST_F(LastWords, TraceStampsWithoutAZoneVariable) {
  const TimeZone zone("JST-9");
  unsetenv("TZ");
  UseTrace();
  SwitchToUtc();
  Trace107();
  EXPECT_STREQ(getenv("TZ"), "UTC");
  SwitchBackFromUtc();
  EXPECT_EQ(getenv("TZ"), nullptr);
}

// Both lines of a run over new and old files, as an operator sees them.
TEST_F(PrefixLastWords, TraceOfAManualRunHasOneZone) {
  SKIP_WITHOUT_PRELOADING();
  HeaderFile header;
  directory.Write("20010203a.psl", HeaderBytes(header));
  header.revision = 0x1C;
  header.time += 86400;
  directory.Write("20010204a.psl", HeaderBytes(header));
  const AddedText trace = AddedText::Trace();
  ProgramSettings settings;
  settings.directory = directory.Path();
  settings.variables = NightVariables({1700000000, "JST-9"});
  const ProgramResult run =
      RunProgram(QELPRFARC_TEST_PATH, {"-ext", "20010203a.psl", "20010204a.psl"}, settings);
  EXPECT_EQ(run.status, 0) << run.err;
  const std::vector<std::string> lines = Lines(trace.Text());
  EXPECT_GE(lines.size(), 2u);
  for (const std::string& line : lines) EXPECT_THAT(line, StartsWith("2023/11/15 07:13:20."));
}

// --- No log, no trace -----------------------------------------------------------------------------

class PrefixNightWithoutWords : public ::testing::Test {
 protected:
  PrefixNightWithoutWords() {
    HeaderFile header;
    header.time = 1709208000;  // 29 February 2024, noon
    server.directory.Write("arc/20240229a.psl", HeaderBytes(header));
    server.directory.Write("arc/archive", "");  // in the way of the directory
  }
  void SetUp() override { SKIP_WITHOUT_PRELOADING(); }

  ProgramResult Night(const std::string& rules) const {
    return RunNight(server, ClockAt("2024-03-01 00:30:00"), {{"DISTURB_FAIL", rules}});
  }

  TestServer server;
};

constexpr char kFailedMkdir[] = "System call error occurred func=mkdir errno=17 detcode=030d0001";
constexpr char kFailedArchives[] = "Failed in archives of psl(psa) files.";

TEST_F(PrefixNightWithoutWords, LogTextsWithoutALogGoToTheTrace) {
  const ProgramResult run = Night("open:operation.log:1:99:30");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(TestServer::TraceOf(run.pid),
              AllOf(Contains(kFailedMkdir), Contains(kFailedArchives)));
}

TEST_F(PrefixNightWithoutWords, LogTextsWithoutLogAndTraceGoToStandardError) {
  const ProgramResult run = Night("open:operation.log:1:99:30;open:Qelprfarc.trc:1:99:30");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, std::string(kFailedMkdir) + "\n" + kFailedArchives + "\n");
}

TEST_F(PrefixNightWithoutWords, LogThatIsFullIsNoLog) {
  const ProgramResult run = Night("write:operation.log:1:99:28;write:Qelprfarc.trc:1:99:28");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, std::string(kFailedMkdir) + "\n" + kFailedArchives + "\n");
}

// What has been told on the way to the console is not told again for want of a log.
TEST_F(PrefixNightWithoutWords, WhatWasToldIsNotToldTwice) {
  std::filesystem::remove(server.directory.Path("arc/archive"));
  const ProgramResult run = Night("open:operation.log:1:99:30;open:/20240229a.psl:2:99:13");
  const std::vector<std::string> lines = TestServer::TraceOf(run.pid);
  EXPECT_THAT(lines, Contains(HasSubstr("102 Can't open file")));
  EXPECT_THAT(lines, Not(Contains(HasSubstr("System call error occurred func=fopen"))));
  EXPECT_THAT(lines, Contains(kFailedArchives));
}

// --- Logs that hardly open ---

// The entries of that night, whatever hinders them.
TEST_F(PrefixNightWithoutWords, EntriesAreMadeUnderHindrances) {
  for (const char* hindrance : {"open:operation.log:1:1:13",     // may be written, not read
                                "fstat:operation.log:1:99:5",    // how it ends cannot be asked
                                "write:operation.log:1:1:4"}) {  // interrupted
    SCOPED_TRACE(hindrance);
    const AddedText log = AddedText::OperationLog();
    const ProgramResult run = Night(hindrance);
    EXPECT_EQ(run.err, "");
    const std::vector<std::string> entries = Lines(log.Text());
    ASSERT_THAT(entries, SizeIs(2));
    EXPECT_THAT(entries[0], EndsWith(kFailedMkdir));
    EXPECT_THAT(entries[1], EndsWith(kFailedArchives));
  }
}

// --- No memory ------------------------------------------------------------------------------------

// From some moment on there is no memory at all, for the report neither.
TEST_F(PrefixNightWithoutWords, ExhaustedMemoryIsTold) {
  std::filesystem::remove(server.directory.Path("arc/archive"));
  server.directory.MakeDirectory("arc/archive");
  int told = 0;
  for (int first = 1; first < 400; first += 7) {
    SCOPED_TRACE("no memory from allocation " + std::to_string(first) + " on");
    const AddedText log = AddedText::OperationLog();
    const ProgramResult run = Night("malloc::" + std::to_string(first) + ":999999:12");
    if (run.status == 0 && server.directory.Exists("arc/archive/202402a.psa")) break;
    const std::string entries = log.Text();
    if (entries.find(" 08072 Qelprfarc 5 1 Insufficient resource detected func=malloc errno=12 ") !=
        std::string::npos) {
      EXPECT_EQ(run.status, 1);
      EXPECT_THAT(entries, HasSubstr(kFailedArchives));
      ++told;
    } else {
      // The C library told first: of a segment, a directory, a descriptor.
      EXPECT_THAT(entries + run.err, Not(IsEmpty()));
    }
  }
  EXPECT_GT(told, 3);
}

// --- Standard descriptors -------------------------------------------------------------------------

// Without them a file of the run gets their numbers, and what is printed is written into it.
TEST(LastWordsRun, FilesNeverGetTheNumbersOfStandardDescriptors) {
  SKIP_WITHOUT_PRELOADING();
  const TempDir directory;
  directory.Write("20010203a.psl", HeaderBytes({}));
  const std::string notes = directory.Path("notes");
  ProgramSettings settings;
  settings.directory = directory.Path();
  settings.variables = {{"LD_PRELOAD", DISTURB_PATH}, {"DISTURB_DESCRIPTORS", notes}};
  const ProgramResult run = RunProgram(
      "/bin/sh", {"-c", std::string("exec ") + QELPRFARC_PATH + " -v 20010203a.psl <&- >&- 2>&-"},
      settings);
  EXPECT_EQ(run.status, 0);
  int files = 0;
  for (const std::string& line : Lines(directory.Read("notes"))) {
    if (line.ends_with(" /dev/null")) continue;
    ++files;
    EXPECT_GT(std::stoi(line), 2) << line;
  }
  EXPECT_GE(files, 3) << "the log twice, and the archive";
  EXPECT_TRUE(directory.Exists("20010203a.psa"));
}

}  // namespace
