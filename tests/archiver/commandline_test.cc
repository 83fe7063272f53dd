// The command line from outside: what each refusal prints.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/process.h"
#include "tests/support/runs/product_run.h"
#include "tests/support/tempdir.h"
#include "tests/support/usage_text.h"

namespace {

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
  ExpectRefused({"-auto", "-mode", "svr", "1", "-v", "-nosuch"});
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
  // Console texts are cut, and the reason behind the path with them.
  const std::string path(1023, 'x');
  const std::string message = "Qelprfarc: 103 Can't open directory -- " + path;
  ExpectRefused({"-o", path, "a.psl"}, message.substr(0, 510) + "\n");
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

}  // namespace
