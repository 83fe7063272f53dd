// Outputs of manual runs from outside: under its final name lies the old file or the whole new one,
// whatever fails and whenever the run is killed; devices, pipes and links are written and left
// alone.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <string>

#include "tests/support/driver_fixture.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/runs/nights.h"

namespace {

using spell::Bytes;
using spell::Tags;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kOld[] = "what stood there before";

class ManualOutput : public DriverTest {
 protected:
  // A run of the built program into "out" with the disturbing library.
  ProgramResult Disturbed(const Variables& disturb, std::vector<std::string> arguments) const {
    ProgramSettings settings;
    settings.variables = disturb;
    settings.variables.emplace_back("LD_PRELOAD", DISTURB_PATH);
    arguments.insert(arguments.begin(), {"-o", directory_.Path("out")});
    return RunProgram(QELPRFARC_PATH, arguments, settings);
  }

  // "-ext" writes to the trace of the test prefix.
  ProgramResult RunWithOut(const std::string& path, const std::string& input) const {
    return RunProgram(QELPRFARC_TEST_PATH, {"-ext", "-out", path, input});
  }

  // All names in "out", hidden ones included, with contents.
  std::map<std::string, Bytes> Files() const {
    std::map<std::string, Bytes> files;
    for (const auto& entry : std::filesystem::directory_iterator(directory_.Path("out"))) {
      files[entry.path().filename().string()] = TempDir::ReadFile(entry.path().string());
    }
    return files;
  }
};

// ---- failures ----

TEST_F(ManualOutput, FailedRunLeavesWhatStoodThereBefore) {
  Put("out/20240101A.psa", kOld);
  const std::string input = Put("20240101A.psl", LogOf(0x21, {1, 1}) + "torn");
  const ProgramResult result = RunProgram(QELPRFARC_PATH, {"-o", directory_.Path("out"), input});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "Qelprfarc: 112 Record broken -- " + input + "\n");
  EXPECT_EQ(Files(), (std::map<std::string, Bytes>{{"20240101A.psa", kOld}}));
}

TEST_F(ManualOutput, ReplacedFileKeepsItsRights) {
  Put("out/20240101A.psa", kOld);
  const std::string path = directory_.Path("out/20240101A.psa");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  const ProgramResult result = RunProgram(
      QELPRFARC_PATH, {"-o", directory_.Path("out"), Put("20240101A.psl", LogOf(0x21, {1, 1}))});
  EXPECT_EQ(result.status, 0) << result.err;
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA");
}

// Its directory may be written, so that it could be replaced.
TEST_F(ManualOutput, FileThatMayNotBeWrittenIsNotReplaced) {
  Put("out/20240101A.psa", kOld);
  const std::string input = Put("20240101A.psl", LogOf(0x21, {1, 1}));
  std::filesystem::permissions(directory_.Path(""), std::filesystem::perms(0755));
  std::filesystem::permissions(directory_.Path("out"), std::filesystem::perms(0777));
  std::filesystem::permissions(directory_.Path("out/20240101A.psa"), std::filesystem::perms(0444));
  std::vector<std::string> command = {QELPRFARC_PATH, "-o", directory_.Path("out"), input};
  if (geteuid() == 0) {
    command.insert(command.begin(), {"setpriv", "--reuid", "65534", "--clear-groups"});
    if (RunProgram("/usr/bin/env",
                   {"setpriv", "--reuid", "65534", "--clear-groups", "test", "-x", QELPRFARC_PATH})
            .status != 0) {
      GTEST_SKIP() << "the program cannot be run as another user here";
    }
  }
  const ProgramResult result = RunProgram("/usr/bin/env", command);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "Qelprfarc: 102 Can't open file -- " +
                            directory_.Path("out/20240101A.psa") + "  func=open errno=13\n");
  EXPECT_EQ(Files(), (std::map<std::string, Bytes>{{"20240101A.psa", kOld}}));
}

// Each call of finishing in turn, with a file to replace and without one.
TEST_F(ManualOutput, OutputThatCannotBeFinishedIsReportedAndLeavesNothing) {
  SKIP_WITHOUT_PRELOADING();
  const std::string input = Put("20240101A.psl", LogOf(0x21, {1, 1}));
  struct Case {
    const char* rule;
    const char* call;
    bool replaces;
  };
  // The log is closed after the check of the headers; the descriptor of the output comes next.
  for (const Case& c : {Case{"linkat:20240101A.psa:1:1:28", "linkat", false},
                        Case{"rename:20240101A.psa:1:1:5", "rename", true},
                        Case{"linkat:.0:1:1:28", "linkat", true}}) {
    SCOPED_TRACE(c.rule);
    std::filesystem::remove(directory_.Path("out/20240101A.psa"));
    if (c.replaces) Put("out/20240101A.psa", kOld);
    const auto before = Files();
    const ProgramResult result = Disturbed({{"DISTURB_FAIL", c.rule}}, {input});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(
        result.err,
        HasSubstr("111 Write error -- 20240101A.psa  func=" + std::string(c.call) + " errno="));
    EXPECT_EQ(Files(), before);
  }
}

// Where a file cannot be without a name it has one beside the output.
TEST_F(ManualOutput, FileSystemsWithoutUnnamedFilesServeToo) {
  SKIP_WITHOUT_PRELOADING();
  const std::string input = Put("20240101A.psl", LogOf(0x21, {1, 1}));
  const std::string unnamed = "open:/out/:1:1:" + std::to_string(EOPNOTSUPP);
  for (const bool replaces : {false, true}) {
    if (replaces) Put("out/20240101A.psa", kOld);
    const ProgramResult result = Disturbed({{"DISTURB_FAIL", unnamed}}, {input});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA");
    EXPECT_EQ(Files().size(), 1U);
  }
  Put("out/20240101A.psa", kOld);
  for (const char* fault :
       {"write:.0:1:1:28", "write:.0:2:2:5", "close:.0:1:1:5", "rename:20240101A.psa:1:1:5"}) {
    SCOPED_TRACE(fault);
    const ProgramResult result = Disturbed({{"DISTURB_FAIL", unnamed + ";" + fault}}, {input});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("111 Write error"));
    EXPECT_EQ(Files(), (std::map<std::string, Bytes>{{"20240101A.psa", kOld}}));
  }
}

// A limit on the size of files once ended the run by a signal, without a word.
TEST_F(ManualOutput, SizeLimitIsAFailedWrite) {
  Put("out/20240101A.psa", kOld);
  const std::string input = Put("20240101A.psl", LogOf(0x21, {1, 1}));
  const ProgramResult result =
      RunProgram("/bin/sh", {"-c", "ulimit -f 1 && exec \"$0\" -o \"$1\" \"$2\"", QELPRFARC_PATH,
                             directory_.Path("out"), input});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("111 Write error -- 20240101A.psa  func=write errno="));
  EXPECT_EQ(Files(), (std::map<std::string, Bytes>{{"20240101A.psa", kOld}}));
}

// The one failure that leaves what was written: the rules want it so.
TEST_F(ManualOutput, UnopenedInputLeavesWhatWasWritten) {
  SKIP_WITHOUT_PRELOADING();
  Put("out/202401A.psa", kOld);
  const ProgramResult result = Disturbed({{"DISTURB_FAIL", "open:20240102A.psa:2:2:5"}},
                                         {Put("20240101A.psa", HourArchive(0x21, {1, 1})),
                                          Put("20240102A.psa", HourArchive(0x21, {1, 2}))});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("102 Can't open file -- "));
  EXPECT_EQ(Tags(Output("202401A.psa")), "HDR CON STA");
  EXPECT_EQ(Files().size(), 1U);
}

// ---- inputs ----

// Once, the run waited for ever for somebody to write into the pipe.
TEST_F(ManualOutput, PipeNamedLikeALogIsAShortFile) {
  const std::string input = directory_.Path("20240101A.psl");
  ASSERT_EQ(mkfifo(input.c_str(), 0600), 0);
  const ProgramResult result = RunProgram(QELPRFARC_PATH, {"-o", directory_.Path("out"), input});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "Qelprfarc: 110 Read error -- " + input + "  func=read errno=0\n");
  EXPECT_THAT(Files(), IsEmpty());
}

// ---- "-out" on other things than files ----

class PrefixOutNode : public ManualOutput {
 protected:
  const std::string torn_ = Put("20240101A.psl", LogOf(0x21, {1, 1}) + "torn");
  const std::string path_ = directory_.Path("out/node");
};

TEST_F(PrefixOutNode, FailedRunLeavesADeviceAlone) {
  if (mknod(path_.c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0) {
    GTEST_SKIP() << "devices cannot be made here";
  }
  EXPECT_EQ(RunWithOut(path_, torn_).status, 1);
  EXPECT_TRUE(std::filesystem::is_character_file(path_));
}

TEST_F(PrefixOutNode, FailedRunLeavesALinkAlone) {
  ASSERT_EQ(symlink("/dev/null", path_.c_str()), 0);
  EXPECT_EQ(RunWithOut(path_, torn_).status, 1);
  EXPECT_TRUE(std::filesystem::is_symlink(path_));
}

TEST_F(PrefixOutNode, FailedRunLeavesAPipeAlone) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_NE(reader, -1);
  EXPECT_EQ(RunWithOut(path_, torn_).status, 1);
  close(reader);
  EXPECT_TRUE(std::filesystem::is_fifo(path_));
}

TEST_F(PrefixOutNode, PipeThatIsReadGetsTheArchive) {
  const std::string input = Put("20240101A.psl", LogOf(0x21, {1, 1}));
  ASSERT_EQ(RunWithOut(directory_.Path("out/file"), input).status, 0);
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_NE(reader, -1);
  EXPECT_EQ(RunWithOut(path_, input).status, 0);
  Bytes got(65536, '\0');
  const ssize_t count = read(reader, got.data(), got.size());
  close(reader);
  ASSERT_GT(count, 0);
  EXPECT_EQ(got.substr(0, static_cast<size_t>(count)), Output("file"));
}

// It could not be written at its reader's pace.
TEST_F(PrefixOutNode, PipeThatCannotBeMadeToWaitIsNotWritten) {
  SKIP_WITHOUT_PRELOADING();
  const std::string input = Put("20240101A.psl", LogOf(0x21, {1, 1}));
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_NE(reader, -1);
  for (const char* rule : {"fcntl:/node:1:1:5", "fcntl:/node:2:2:5"}) {
    ProgramSettings settings;
    settings.variables = {{"DISTURB_FAIL", rule}, {"LD_PRELOAD", DISTURB_PATH}};
    const ProgramResult result =
        RunProgram(QELPRFARC_TEST_PATH, {"-ext", "-out", path_, input}, settings);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(TestServer::TraceOf(result.pid), Contains(HasSubstr("errno=5")));
  }
  char byte = 0;
  EXPECT_EQ(read(reader, &byte, 1), 0) << "nothing was written";
  close(reader);
}

// Once, the run waited for a reader.
TEST_F(PrefixOutNode, PipeThatNobodyReadsCannotBeOpened) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const ProgramResult result = RunWithOut(path_, Put("20240101A.psl", LogOf(0x21, {1, 1})));
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(TestServer::TraceOf(result.pid),
              ElementsAre("TZ Local to UTC",
                          "Qelprfarc: 102 Can't open file -- " + path_ + "  func=open errno=6"));
  EXPECT_TRUE(std::filesystem::is_fifo(path_));
}

// ---- kills ----

// SIGKILL before every single call: the old file or the new one, never something between. Once,
// half an archive lay under the final name at most of the calls.
class ManualKills : public ManualOutput {
 protected:
  void SetUp() override { SKIP_WITHOUT_PRELOADING(); }

  // `replaces`: an old file stands at each output.
  void KillEverywhere(const std::vector<std::string>& arguments, const Variables& more,
                      bool replaces) {
    std::map<std::string, Bytes> whole;
    int calls = 0;
    {
      Variables count = more;
      count.emplace_back("DISTURB_COUNT", directory_.Path("count"));
      ASSERT_EQ(Disturbed(count, arguments).status, 0);
      whole = Files();
      calls = atoi(directory_.Read("count").c_str());
    }
    ASSERT_GT(calls, 15);
    int with_old = 0;
    int with_new = 0;
    int with_second_name = 0;
    for (int point = 1; point <= calls; ++point) {
      SCOPED_TRACE("killed before call " + std::to_string(point) + " of " + std::to_string(calls));
      std::filesystem::remove_all(directory_.Path("out"));
      directory_.MakeDirectory("out");
      for (const auto& [name, bytes] : whole) {
        if (replaces) Put("out/" + name, kOld);
      }
      Variables disturb = more;
      disturb.emplace_back("DISTURB_SIGNAL", "9");
      disturb.emplace_back("DISTURB_AT", std::to_string(point));
      ASSERT_EQ(Disturbed(disturb, arguments).status, 128 + SIGKILL);
      for (const auto& [name, bytes] : Files()) {
        if (!whole.contains(name)) {
          ++with_second_name;
          EXPECT_THAT(name, ::testing::StartsWith(".Qelprfarc."));
        } else if (replaces && bytes == kOld) {
          ++with_old;
        } else {
          ++with_new;
          EXPECT_EQ(bytes, whole.at(name)) << name;
        }
      }
      EXPECT_GE(Files().size(), replaces ? whole.size() : 0U);
      // What a killed run left is in nobody's way.
      if (point % 7 == 0) {
        ASSERT_EQ(Disturbed(more, arguments).status, 0);
        for (const auto& [name, bytes] : whole) EXPECT_EQ(Output(name), bytes) << name;
      }
    }
    second_names_ = with_second_name;
    EXPECT_EQ(with_old > 0, replaces);
    EXPECT_GT(with_new, 0);
  }

  int second_names_ = 0;
};

TEST_F(ManualKills, HourRun) {
  const std::string input = Put("20240101A.psl", LogOf(0x21, {1, 1}));
  KillEverywhere({input}, {}, false);
  EXPECT_EQ(second_names_, 0);
  KillEverywhere({input}, {}, true);
  EXPECT_EQ(second_names_, 1) << "only between the two calls that replace the file";
}

TEST_F(ManualKills, RunOverSeveralArchives) {
  const std::vector<std::string> inputs = {Put("20240101A.psl", LogOf(0x21, {1, 1})),
                                           Put("20240102A.psl", LogOf(0x21, {1, 2})),
                                           Put("20240102B.psl", LogOf(0x13, {1, 2}))};
  KillEverywhere(inputs, {}, false);
  EXPECT_EQ(second_names_, 0);
  KillEverywhere(inputs, {}, true);
  EXPECT_EQ(second_names_, 3);
}

TEST_F(ManualKills, WhereFilesNeedAName) {
  const Variables unnamed{{"DISTURB_FAIL", "open:/out/:1:100:" + std::to_string(EOPNOTSUPP)}};
  KillEverywhere({Put("20240101A.psl", LogOf(0x21, {1, 1}))}, unnamed, true);
  EXPECT_GT(second_names_, 1);
}

}  // namespace
