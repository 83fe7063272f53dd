// How the archiver reads its inputs, from outside: by few calls, and whichever of them fails,
// nothing is lost without a word.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

#include "tests/support/process.h"
#include "tests/support/runs/nights.h"
#include "tests/support/tempdir.h"

namespace {

using ::testing::HasSubstr;

constexpr char kStoodBefore[] = "what stood there before";

class Reading : public ::testing::Test {
 protected:
  Reading() { directory_.MakeDirectory("out"); }

  std::string Put(const std::string& name, const std::string& bytes) {
    directory_.Write(name, bytes);
    return directory_.Path(name);
  }
  // A run of the built program into "out" with the disturbing library.
  ProgramResult Disturbed(const Variables& disturb, const std::string& input) const {
    ProgramSettings settings;
    settings.variables = disturb;
    settings.variables.emplace_back("LD_PRELOAD", DISTURB_PATH);
    return RunProgram(QELPRFARC_PATH, {"-o", directory_.Path("out"), input}, settings);
  }

  std::map<std::string, std::string> Files() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(directory_.Path("out"))) {
      files[entry.path().filename().string()] = TempDir::ReadFile(entry.path().string());
    }
    return files;
  }

  // A log of logical disks and copies of them only, as "20240101A.psl".
  std::string MakeLog(const std::string& disks, const std::string& records,
                      const std::string& copies = "0") {
    const ProgramResult made =
        RunProgram(PSLTOOL_PATH,
                   {"make", "-q", "-o", directory_.Path("made"), "--start", "2024-01-01", "--none",
                    "--ld", disks, "--ld-cp", copies, "--interval", "10", "--records", records});
    EXPECT_EQ(made.status, 0) << made.err;
    const std::string log = directory_.Read("made/" + directory_.Names("made").at(0));
    std::filesystem::remove_all(directory_.Path("made"));
    return Put("20240101A.psl", log);
  }

  TempDir directory_;
};

// ---- calls ----

// At most one call for 64 KB of small records, and hardly more of large ones, whose pieces end
// where records do. Once, every record took five.
TEST_F(Reading, TakesFewCalls) {
  SKIP_WITHOUT_PRELOADING();
  struct Case {
    const char* disks;
    const char* records;
    size_t bytes_per_call;
  };
  for (const Case& log : {Case{"16", "3000", 64U << 10}, Case{"64", "1000", 64U << 10},
                          Case{"4096", "25", 50U << 10}}) {
    SCOPED_TRACE(log.disks);
    const std::string input = MakeLog(log.disks, log.records);
    const std::string count = directory_.Path("count");
    const ProgramResult result =
        Disturbed({{"DISTURB_COUNT", count}, {"DISTURB_CALLS", "pread,read,lseek"}}, input);
    ASSERT_EQ(result.status, 0) << result.err;
    const auto calls = static_cast<size_t>(std::atol(TempDir::ReadFile(count).c_str()));
    const size_t size = std::filesystem::file_size(input);
    EXPECT_GT(calls, 5U);
    // The header is read by itself, twice.
    EXPECT_LE(calls, 10 + size / log.bytes_per_call);
  }
}

// ---- failures ----

// A file system may bring less than it is asked for. Once, that was a read error.
TEST_F(Reading, GoesOnAfterReadsThatBringLess) {
  SKIP_WITHOUT_PRELOADING();
  for (const std::string disks : {"16", "1500"}) {
    const std::string input = MakeLog(disks, "12", "40");
    ASSERT_EQ(Disturbed({}, input).status, 0);
    const std::map<std::string, std::string> whole = Files();
    for (const std::string most : {"7", "4096", "100000"}) {
      SCOPED_TRACE(disks + " by " + most);
      std::filesystem::remove_all(directory_.Path("out"));
      directory_.MakeDirectory("out");
      const ProgramResult result = Disturbed({{"DISTURB_SHORT", most}}, input);
      EXPECT_EQ(result.status, 0) << result.err;
      EXPECT_EQ(Files(), whole);
    }
  }
}

// A disk that gives up while a window is read, of which it has brought the beginning.
TEST_F(Reading, EndsWithTheErrorThatALaterCallMeets) {
  SKIP_WITHOUT_PRELOADING();
  for (const std::string disks : {"16", "1500"}) {
    const std::string input = MakeLog(disks, disks == "16" ? "400" : "12");
    for (const std::string call : {"1", "2", "3", "7", "45"}) {
      for (const std::string error : {"0", "5", "61"}) {
        SCOPED_TRACE(disks + ": " + call + ", " + error);
        const ProgramResult result =
            Disturbed({{"DISTURB_SHORT", "4096"},
                       {"DISTURB_FAIL", "pread:20240101A.psl:" + call + ":999999:" + error}},
                      input);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err,
                  "Qelprfarc: 110 Read error -- " + input + "  func=read errno=" + error + "\n");
        EXPECT_TRUE(Files().empty());
      }
    }
  }
}

// Every call of a name on the input fails once, at a time: a read error each time.
class FailingReads : public Reading {
 protected:
  int FailEach(const std::string& call, const std::string& input) {
    Put("out/20240101A.psa", kStoodBefore);
    int failures = 0;
    for (int n = 1;; ++n) {
      const std::string time = std::to_string(n);
      std::string rule = call + ":20240101A.psl:";
      rule += time + ":" + time + ":5";
      const ProgramResult result = Disturbed({{"DISTURB_FAIL", rule}}, input);
      if (result.status == 0) return failures;  // the file has no further one
      SCOPED_TRACE(rule);
      ++failures;
      EXPECT_LT(n, 1000);
      EXPECT_EQ(result.status, 1);
      EXPECT_THAT(result.err, HasSubstr("110 Read error -- " + input));
      EXPECT_THAT(result.err, HasSubstr(" errno=5\n"));
      EXPECT_EQ(Files(), (std::map<std::string, std::string>{{"20240101A.psa", kStoodBefore}}));
      if (HasFailure()) return failures;
    }
  }
};

// Once, a failing lseek made an empty archive of the log, with status 0.
TEST_F(FailingReads, FailingSeekIsAReadError) {
  SKIP_WITHOUT_PRELOADING();
  EXPECT_GE(FailEach("lseek", MakeLog("1", "2")), 4);
}

TEST_F(FailingReads, FailingReadIsAReadErrorWhereverItComes) {
  SKIP_WITHOUT_PRELOADING();
  const std::string small = MakeLog("1", "2");
  EXPECT_GE(FailEach("read", small), 4);
  EXPECT_GE(FailEach("pread", small), 1);
  // Records that are read by pieces, side by side.
  const std::string large = MakeLog("1500", "12");
  EXPECT_GT(FailEach("pread", large), 12 * 2);
}

// Optional items of more than a piece are read when the record has been gone through.
TEST_F(FailingReads, FailingReadOfItemsIsAReadError) {
  SKIP_WITHOUT_PRELOADING();
  const int without = FailEach("pread", MakeLog("1500", "2"));
  std::filesystem::remove(directory_.Path("out/20240101A.psa"));
  EXPECT_GT(FailEach("pread", MakeLog("1500", "2", "4000")), without);
}

}  // namespace
