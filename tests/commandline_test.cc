// The command line: what each option sets, and, from outside, what each refusal prints.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "archiver/Qelprfarc.h"
#include "archiver/messages.h"
#include "archiver/options.h"
#include "archiver/runinfo.h"
#include "engine/finfo.h"
#include "platform/QelCM.h"
#include "tests/support/header_file.h"
#include "tests/support/process.h"
#include "tests/support/run_state.h"
#include "tests/support/server.h"
#include "tests/support/tempdir.h"

namespace {

using ::testing::ElementsAre;

constexpr char kUsage[] =
    "Usage: Qelprfarc [-v] [-o path] [-d] file [file...] \n"
    "       Qelprfarc [-v] -p path -hour time \n"
    "       Qelprfarc [-v] -p path -day time \n";

using Arguments = std::vector<std::string>;

// --- What each option sets ------------------------------------------------------------------------

class Options : public ::testing::Test {
 protected:
  Options() { ResetRunState(); }
  ~Options() override {
    TargetList = nullptr;
    Ntarget = 0;
    ResetRunState();
  }

  // Parses the arguments; the texts stay as long as the test. Returns kReturned or the status.
  int Parse(const Arguments& arguments) {
    texts_ = {"Qelprfarc"};
    texts_.insert(texts_.end(), arguments.begin(), arguments.end());
    pointers_.clear();
    for (std::string& text : texts_) pointers_.push_back(text.data());
    Capture errors(2);
    return StatusOf([this] {
      time_text = ParseCommandLine(static_cast<int>(pointers_.size()), pointers_.data());
    });
  }

  const char* time_text = nullptr;

 private:
  Arguments texts_;
  std::vector<char*> pointers_;
};

TEST_F(Options, OutputDirectory) {
  EXPECT_EQ(Parse({"-o", "out", "a.psl"}), kReturned);
  EXPECT_STREQ(finfo.path, "out");
  EXPECT_EQ(finfo.optclass, kOptFile);
  EXPECT_EQ(finfo.level, 0);
}

TEST_F(Options, ExtSetsTheTraceFile) {
  EXPECT_EQ(Parse({"-ext", "a.psl"}), kReturned);
  EXPECT_EQ(arcdelinfo.ext_flg, 1);
  EXPECT_EQ(finfo.optclass, kOptFile);
  EXPECT_EQ(std::string(sgmtr_dmpfile),
            std::string(QELPRFARC_TEST_PREFIX) + "etc/trace/Qelprfarc.trc");
}

TEST_F(Options, OutputFile) {
  EXPECT_EQ(Parse({"-ext", "-out", "x.psa", "a.psl"}), kReturned);
  EXPECT_EQ(arcdelinfo.out_flg, 1);
  EXPECT_STREQ(finfo.outpath, "x.psa");
  EXPECT_EQ(finfo.path, nullptr);
  EXPECT_EQ(finfo.optclass, kOptFile);
}

TEST_F(Options, DayPsaNoErr) {
  EXPECT_EQ(Parse({"-daypsanoerr", "-ext", "a.psl"}), kReturned);
  EXPECT_EQ(arcdelinfo.daypsanoerr_flg, 1);
  EXPECT_EQ(finfo.optclass, kOptFile);
}

TEST_F(Options, NoPeriod) {
  EXPECT_EQ(Parse({"-noperiod", "-ext", "a.psl"}), kReturned);
  EXPECT_EQ(arcdelinfo.noperiod_flg, 1);
  EXPECT_EQ(finfo.optclass, kOptFile);
}

TEST_F(Options, DayLevelOfAFileRun) {
  EXPECT_EQ(Parse({"-d", "a.psa"}), kReturned);
  EXPECT_EQ(finfo.level, 'D');
  EXPECT_EQ(finfo.optclass, kOptFile);
}

TEST_F(Options, HourRun) {
  EXPECT_EQ(Parse({"-p", "dir", "-hour", "0d"}), kReturned);
  EXPECT_STREQ(finfo.path, "dir");
  EXPECT_STREQ(time_text, "0d");
  EXPECT_EQ(finfo.level, 'H');
  EXPECT_EQ(finfo.optclass, kOptDirectory);
}

TEST_F(Options, DayRun) {
  EXPECT_EQ(Parse({"-day", "20210101", "-p", "dir"}), kReturned);
  EXPECT_STREQ(time_text, "20210101");
  EXPECT_EQ(finfo.level, 'D');
  EXPECT_EQ(finfo.optclass, kOptDirectory);
}

TEST_F(Options, Verbose) {
  EXPECT_EQ(Parse({"-v", "a.psl"}), kReturned);
  EXPECT_EQ(OptVerbose, 1);
  EXPECT_EQ(finfo.optclass, 0);
}

TEST_F(Options, NamesPointIntoTheArgumentVector) {
  EXPECT_EQ(Parse({"a.psl", "-v", "b.psl"}), kReturned);
  // Everything behind the first name is a name.
  ASSERT_EQ(Ntarget, 3);
  EXPECT_STREQ(TargetList[0], "a.psl");
  EXPECT_STREQ(TargetList[1], "-v");
  EXPECT_STREQ(TargetList[2], "b.psl");
  EXPECT_EQ(OptVerbose, 0);
}

TEST_F(Options, AutoWithServerMode) {
  EXPECT_EQ(Parse({"-auto", "-mode", "svr", "123"}), kReturned);
  EXPECT_EQ(arcdelinfo.auto_flg, 1);
  EXPECT_EQ(arcdelinfo.mode, kModeSvr);
  EXPECT_EQ(arcdelinfo.shmid, 123);
  EXPECT_EQ(arcdelinfo.force_flg, 0);
}

TEST_F(Options, ForceRightBehindTheSegmentNumber) {
  EXPECT_EQ(Parse({"-mode", "svr", "2147483647", "-force", "-auto"}), kReturned);
  EXPECT_EQ(arcdelinfo.shmid, 2147483647);
  EXPECT_EQ(arcdelinfo.force_flg, 1);
}

TEST_F(Options, OtherArgumentBehindTheSegmentNumberIsAnOption) {
  EXPECT_EQ(Parse({"-mode", "svr", "1", "-auto"}), kReturned);
  EXPECT_EQ(arcdelinfo.auto_flg, 1);
  EXPECT_EQ(arcdelinfo.force_flg, 0);
}

TEST_F(Options, UserMode) {
  TempDir directory;
  directory.Write("conf");
  EXPECT_EQ(Parse({"-auto", "-mode", "user", directory.Path("conf")}), kReturned);
  EXPECT_EQ(arcdelinfo.mode, kModeUser);
  EXPECT_EQ(arcdelinfo.userfile, directory.Path("conf"));
}

TEST_F(Options, ArrayUpdateMode) {
  EXPECT_EQ(Parse({"-auto", "-mode", "arrayupdate", "7"}), kReturned);
  EXPECT_EQ(arcdelinfo.mode, kModeArrayUpdate);
  EXPECT_EQ(arcdelinfo.shmid, 7);
}

TEST_F(Options, Auto2TakesThreeNumbers) {
  EXPECT_EQ(Parse({"-auto2", "1", "30", "255", "-mode", "svr", "5"}), kReturned);
  EXPECT_EQ(arcdelinfo.auto2_flg, 1);
  EXPECT_EQ(arcdelinfo.emb_flg, 1);
  EXPECT_EQ(arcdelinfo.term_num, 30);
  EXPECT_EQ(arcdelinfo.oldest_num, 255);
}

TEST_F(Options, Auto2AtTheEndLeavesMissingNumbers0) {
  EXPECT_EQ(Parse({"-mode", "svr", "5", "-auto2", "1"}), kReturned);
  EXPECT_EQ(arcdelinfo.emb_flg, 1);
  EXPECT_EQ(arcdelinfo.term_num, 0);
  EXPECT_EQ(arcdelinfo.oldest_num, 0);
  ResetRunState();
  EXPECT_EQ(Parse({"-mode", "svr", "5", "-auto2"}), kReturned);
  EXPECT_EQ(arcdelinfo.emb_flg, 0);
}

TEST_F(Options, Auto2PassesOverTheFirstArgumentThatIsNoNumber) {
  EXPECT_EQ(Parse({"-mode", "svr", "5", "-auto2", "0", "x1"}), kReturned);
  EXPECT_EQ(arcdelinfo.term_num, 0);
  ResetRunState();
  // An empty argument is no number either; the word behind it is an argument of its own again.
  EXPECT_EQ(Parse({"-auto2", "", "-mode", "svr", "5"}), kReturned);
  EXPECT_EQ(arcdelinfo.shmid, 5);
}

TEST_F(Options, Auto2NumbersMustFitTheirFields) {
  EXPECT_EQ(Parse({"-mode", "svr", "5", "-auto2", "255", "2147483647", "255"}), kReturned);
  ResetRunState();
  EXPECT_EQ(Parse({"-mode", "svr", "5", "-auto2", "256", "0", "0"}), 1);
  ResetRunState();
  EXPECT_EQ(Parse({"-mode", "svr", "5", "-auto2", "0", "2147483648", "0"}), 1);
  ResetRunState();
  EXPECT_EQ(Parse({"-mode", "svr", "5", "-auto2", "0", "0", "256"}), 1);
}

TEST_F(Options, NumbersAreDecimalDigitsOnly) {
  int64_t value = 42;
  for (const char* text : {"", " 1", "+1", "-1", "1x", "0x1", "1.0"}) {
    EXPECT_FALSE(ParseNumber(text, 100, &value)) << text;
  }
  EXPECT_FALSE(ParseNumber("101", 100, &value));
  EXPECT_FALSE(ParseNumber("99999999999999999999999999", 100, &value));
  EXPECT_EQ(value, 42);
  EXPECT_TRUE(ParseNumber("000100", 100, &value));
  EXPECT_EQ(value, 100);
}

// --- The program from outside ---------------------------------------------------------------------

ProgramResult RunProduct(const Arguments& arguments, const std::string& directory = "") {
  ProgramSettings settings;
  settings.directory = directory;
  return RunProgram(QELPRFARC_PATH, arguments, settings);
}

void ExpectRefused(const Arguments& arguments, const std::string& message = "") {
  TempDir directory;  // so that nothing lies in the way
  const ProgramResult result = RunProduct(arguments, directory.Path());
  const std::string shown = ::testing::PrintToString(arguments);
  EXPECT_EQ(result.status, 1) << shown;
  EXPECT_EQ(result.out, "") << shown;
  EXPECT_EQ(result.err, message + kUsage) << shown;
  EXPECT_TRUE(directory.Names().empty()) << shown;
}

TEST(CommandLine, VersionAsTheOnlyArgument) {
  const ProgramResult result = RunProduct({"-ver"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "Qelprfarc   Version 7.4.003\n");
  EXPECT_EQ(result.err, "");
}

TEST(CommandLine, VersionWithAFurtherArgumentIsAnUnknownOption) {
  ExpectRefused({"-ver", "a.psl"}, "Qelprfarc: 104 Invalid option -- -ver\n");
  ExpectRefused({"-ver", "-ver"}, "Qelprfarc: 104 Invalid option -- -ver\n");
  ExpectRefused({"-v", "-ver"}, "Qelprfarc: 104 Invalid option -- -ver\n");
}

TEST(CommandLine, NoArguments) { ExpectRefused({}); }

TEST(CommandLine, MissingValues) {
  for (const char* option : {"-o", "-out", "-p", "-hour", "-day", "-mode"}) {
    ExpectRefused({option});
  }
  ExpectRefused({"-ext", "-out"});
  ExpectRefused({"-mode", "svr"});
  ExpectRefused({"-mode", "user"});
  ExpectRefused({"-mode", "arrayupdate"});
}

TEST(CommandLine, EmptyPathIsAMissingPath) {
  ExpectRefused({"-o", "", "a.psl"});
  ExpectRefused({"-p", "", "-hour", "0d"});
  ExpectRefused({"-ext", "-out", "", "a.psl"});
}

TEST(CommandLine, ModeWords) {
  ExpectRefused({"-auto", "-mode", "other"});
  ExpectRefused({"-auto", "-mode", ""});
  ExpectRefused({"-auto", "-mode", "SVR", "1"});
  ExpectRefused({"-auto", "-mode", "-force"});
}

TEST(CommandLine, SegmentNumberWithANonDigitIsRefused) {
  for (const char* word : {"svr", "arrayupdate"}) {
    for (const char* number : {"12x", "", "-1", " 1", "2147483648", "99999999999999999999"}) {
      ExpectRefused({"-auto", "-mode", word, number});
    }
  }
}

TEST(CommandLine, UserFileMustOpen) {
  ExpectRefused({"-auto", "-mode", "user", "no-such-file"});
  ExpectRefused({"-auto", "-mode", "user", std::string(1024, 'x')});
}

TEST(CommandLine, UnknownOptions) {
  for (const char* option : {"-x", "-", "--", "-V", "-help", "-force", "-hour=0d", "-verbose"}) {
    ExpectRefused({option}, std::string("Qelprfarc: 104 Invalid option -- ") + option + "\n");
  }
  ExpectRefused({"-auto", "-mode", "svr", "1", "-nosuch"},
                "Qelprfarc: 104 Invalid option -- -nosuch\n");
  ExpectRefused({"-mode", "arrayupdate", "1", "-force", "-auto"},
                "Qelprfarc: 104 Invalid option -- -force\n");
}

TEST(CommandLine, VerboseWithAutoAndModeIsRefused) {
  ExpectRefused({"-v", "-auto", "-mode", "svr", "1"});
  ExpectRefused({"-auto", "-mode", "svr", "1", "-v"});
  ExpectRefused({"-mode", "svr", "1", "-v", "-auto"});
}

TEST(CommandLine, IncompleteOrMixedRunModesAreRefused) {
  ExpectRefused({"-auto"});
  ExpectRefused({"-mode", "svr", "1"});
  ExpectRefused({"-auto2", "0", "0", "0"});
  ExpectRefused({"-auto", "-auto2", "0", "0", "0", "-mode", "svr", "1"});
  ExpectRefused({"-auto", "-auto2", "0", "0", "0"});
  ExpectRefused({"-auto", "a.psl"});
  ExpectRefused({"-mode", "svr", "1", "a.psl"});
  ExpectRefused({"-auto", "-mode", "svr", "1", "a.psl"});
}

TEST(CommandLine, MixedRunModesAreRefusedBeforeTheNextArgumentIsLookedAt) {
  // The unknown option behind them is never reported.
  ExpectRefused({"-v", "-auto", "-nosuch"});
  ExpectRefused({"-v", "-mode", "svr", "1", "-nosuch"});
}

TEST(CommandLine, Auto2WithTwoNumbersSwallowsMode) {
  ExpectRefused({"-auto2", "0", "0", "-mode", "svr", "1"});
}

TEST(CommandLine, NameInADirectoryRunIsRefused) {
  const std::string message = "Qelprfarc: 104 Invalid option -- a.psl\n";
  ExpectRefused({"-p", "dir", "a.psl"}, message);
  ExpectRefused({"-hour", "0d", "a.psl"}, message);
  ExpectRefused({"-day", "0d", "a.psl"}, message);
  ExpectRefused({"-v", "-p", "dir", "-hour", "0d", "a.psl"}, message);
}

TEST(CommandLine, OutputDirectoryWithInputDirectoryIsRefused) {
  ExpectRefused({"-o", "out", "-p", "dir", "-hour", "0d"});
  ExpectRefused({"-p", "dir", "-d"});
  ExpectRefused({"-p", "dir", "-o", "out", "a.psl"});
}

TEST(CommandLine, IncompleteDirectoryRunsAreRefused) {
  ExpectRefused({"-p", "dir"});
  ExpectRefused({"-hour", "0d"});
  ExpectRefused({"-day", "0d"});
}

TEST(CommandLine, FileRunWithoutNamesIsRefused) {
  ExpectRefused({"-v"});
  ExpectRefused({"-d"});
  ExpectRefused({"-o", "out"});
}

TEST(CommandLine, OutWithoutExtIsRefused) {
  ExpectRefused({"-out", "x.psa", "a.psl"});
  ExpectRefused({"-daypsanoerr", "a.psl"});
  ExpectRefused({"-noperiod", "a.psl"});
}

TEST(CommandLine, ExtAloneIsRefused) { ExpectRefused({"-ext"}); }

TEST(CommandLine, PathThatDoesNotFitIsRefused) {
  ExpectRefused({"-o", std::string(1023, 'x'), "a.psl"});
}

void ExpectFailed(const Arguments& arguments, const std::string& message) {
  TempDir directory;
  const ProgramResult result = RunProduct(arguments, directory.Path());
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, message);
}

TEST(CommandLine, LogAndArchiveTogetherAreMessage105) {
  ExpectFailed({"a.psl", "b.psa"}, "Qelprfarc: 105 Can't input multi-level file\n");
  ExpectFailed({"a.psa", "b.psa", "c.psl"}, "Qelprfarc: 105 Can't input multi-level file\n");
}

TEST(CommandLine, NameWithoutEitherExtensionIsMessage101) {
  for (const char* name : {"a", "a.txt", "a.psl.bak", "a.PSL", "psl", "dir.psl/a", ""}) {
    ExpectFailed({name}, std::string("Qelprfarc: 101 Not PSL file -- ") + name + "\n");
  }
  ExpectFailed({"a.psl", "b.txt"}, "Qelprfarc: 101 Not PSL file -- b.txt\n");
}

TEST(CommandLine, NamesAreCheckedOneByOneExtensionFirst) {
  ExpectFailed({"a.psl", "b.psa", "c.txt"}, "Qelprfarc: 105 Can't input multi-level file\n");
  ExpectFailed({"a.psl", "b.txt", "c.psa"}, "Qelprfarc: 101 Not PSL file -- b.txt\n");
}

TEST(CommandLine, MissingDirectoryIsMessage103) {
  ExpectFailed({"-p", "none", "-hour", "0d"},
               "Qelprfarc: 103 Can't open directory -- none/  func=opendir errno=2\n");
}

TEST(CommandLine, DirectoryIsListedBeforeTheTimeIsLookedAt) {
  ExpectFailed({"-p", "none", "-hour", "5w"},
               "Qelprfarc: 103 Can't open directory -- none/  func=opendir errno=2\n");
}

TEST(CommandLine, BadTimesGiveTheUsageText) {
  ExpectRefused({"-p", ".", "-hour", "5w"}, "Qelprfarc: 104 Invalid option -- 5w\n");
  ExpectRefused({"-p", ".", "-day", "1x2d"}, "Qelprfarc: 106 Out of range -- 1x2d\n");
  ExpectRefused({"-p", ".", "-day", "20210230"}, "Qelprfarc: 106 Out of range -- 20210230\n");
}

TEST(CommandLine, EmptyDirectoryIsMessage107) {
  ExpectFailed({"-p", ".", "-hour", "0d"}, "Qelprfarc: 107 Can't find target file\n");
}

// --- Manual runs ----------------------------------------------------------------------------------

class ManualRun : public ::testing::Test {
 protected:
  ManualRun() {
    directory.Write("20010203A.psl", HeaderBytes({}));
    directory.MakeDirectory("out");
  }

  void ExpectDone(const Arguments& arguments, const std::string& out = "") const {
    const ProgramResult result = RunProduct(arguments, directory.Path());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, out);
    EXPECT_EQ(result.err, "");
  }

  TempDir directory;
};

TEST_F(ManualRun, FileIsArchivedInTheWorkingDirectory) {
  ExpectDone({"20010203A.psl"});
  EXPECT_THAT(directory.Names(), ElementsAre("20010203A.psa", "20010203A.psl", "out"));
}

TEST_F(ManualRun, OutputDirectoryGetsASeparator) {
  ExpectDone({"-o", "out", "20010203A.psl"});
  EXPECT_THAT(directory.Names("out"), ElementsAre("20010203A.psa"));
}

TEST_F(ManualRun, OutputDirectoryWithASeparatorIsTakenAsItIs) {
  ExpectDone({"-o", "out/", "20010203A.psl"});
  EXPECT_THAT(directory.Names("out"), ElementsAre("20010203A.psa"));
}

TEST_F(ManualRun, BackslashEndsAPathToo) {
  ExpectDone({"-o", "out\\", "20010203A.psl"});
  EXPECT_TRUE(directory.Exists("out\\20010203A.psa"));
}

TEST_F(ManualRun, VerboseRunNamesInputAndOutput) {
  ExpectDone({"-v", "-o", "out", "20010203A.psl"}, "20010203A.psl --> 20010203A.psa\n");
}

TEST_F(ManualRun, DayLevelOption) {
  HeaderFile hour_archive;
  hour_archive.level = 'H';
  directory.Write("20010203A.psa", HeaderBytes(hour_archive));
  ExpectDone({"-d", "20010203A.psa"});
  EXPECT_EQ(directory.Read("200102A.psa").substr(12, 1), "D");
}

TEST_F(ManualRun, DirectoryRunArchivesTheDirectorysLogs) {
  ExpectDone({"-v", "-p", directory.Path(), "-hour", "0d"},
             directory.Path("20010203A.psl") + " --> 20010203A.psa\n");
  EXPECT_TRUE(directory.Exists("20010203A.psa"));
}

TEST_F(ManualRun, DirectoryDayRun) {
  ExpectDone({"-p", ".", "-day", "20010203:20010204"});
  EXPECT_TRUE(directory.Exists("200102A.psa"));
}

TEST_F(ManualRun, InputIsNeverRemoved) {
  ExpectDone({"20010203A.psl"});
  EXPECT_EQ(directory.Read("20010203A.psl"), HeaderBytes({}));
}

// Runs with "-ext" write to the trace file of the test prefix.
class PrefixManualRun : public ManualRun {};

TEST_F(PrefixManualRun, MessagesGoToTheTrace) {
  ProgramSettings settings;
  settings.directory = directory.Path();
  const ProgramResult result = RunProgram(QELPRFARC_TEST_PATH, {"-ext", "a.txt"}, settings);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(TestServer::TraceOf(result.pid), ElementsAre("Qelprfarc: 101 Not PSL file -- a.txt"));
}

TEST_F(PrefixManualRun, UsageTextStaysOnStandardError) {
  const ProgramResult result = RunProgram(QELPRFARC_TEST_PATH, {"-ext", "-nosuch"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, kUsage);
  EXPECT_THAT(TestServer::TraceOf(result.pid),
              ElementsAre("Qelprfarc: 104 Invalid option -- -nosuch"));
}

TEST_F(PrefixManualRun, OutNamesTheOutputItself) {
  ProgramSettings settings;
  settings.directory = directory.Path();
  for (const char* extra : {"-daypsanoerr", "-noperiod"}) {
    const ProgramResult result = RunProgram(
        QELPRFARC_TEST_PATH, {"-ext", extra, "-out", "out/x.psa", "20010203A.psl"}, settings);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(directory.Names("out"), ElementsAre("x.psa"));
  }
}

}  // namespace
