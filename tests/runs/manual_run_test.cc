// Manual runs of the program from outside: where outputs go, what is printed, what stays of the
// inputs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/header_file.h"
#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/runs/product_run.h"
#include "tests/support/runs/server.h"
#include "tests/support/tempdir.h"
#include "tests/support/usage_text.h"

namespace {

using ::testing::ElementsAre;

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

// With its separator it would not fit; once, the usage text was all that was said.
TEST_F(ManualRun, PathOf1023CharactersIsRefusedWithAReason) {
  std::string path = "./";
  while (path.size() < 1000) path += "directory/";
  path += std::string(1023 - path.size(), 'x');
  for (const char* option : {"-o", "-p"}) {
    Arguments arguments{option, path, "20010203A.psl"};
    if (option == std::string("-p")) arguments = {option, path, "-hour", "0d"};
    const ProgramResult result = RunProduct(arguments, directory.Path());
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.substr(0, 45), "Qelprfarc: 103 Can't open directory -- ./dire");
    EXPECT_THAT(result.err, ::testing::EndsWith(kUsage));
  }
  EXPECT_FALSE(directory.Exists("20010203A.psa"));
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

// However many inputs there are, few of them are open at a time.
TEST_F(ManualRun, InputsAreOpenOneAtATime) {
  std::string command = "ulimit -n 12; exec " QELPRFARC_PATH " -o out";
  for (int part = 1; part <= 28; ++part) {
    char name[32];
    snprintf(name, sizeof name, "20010203A#%03d.psl", part);
    directory.Write(name, HeaderBytes({}));
    command += std::string(" '") + name + "'";
  }
  ProgramSettings settings;
  settings.directory = directory.Path();
  const ProgramResult result = RunProgram("/bin/sh", {"-c", command}, settings);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
}

}  // namespace
