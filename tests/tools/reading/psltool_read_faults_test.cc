// Reading commands of psltool in which one call fails, at any place: what is printed with status 0
// is what is printed when nothing fails, and whoever does not end so says why.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/runs/nights.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

namespace {

class PsltoolReadFaults : public ::testing::Test {
 protected:
  PsltoolReadFaults() {
    directory.Write("20240101a.psl", spell::Log({}, {spell::kNewYear, spell::kNewYear + 600}));
    EXPECT_EQ(RunProgram(QELPRFARC_PATH, {"-o", directory.Path(), directory.Path("20240101a.psl")})
                  .status,
              0);
  }

  ProgramResult Run(const std::vector<std::string>& arguments, const std::string& rule) const {
    ProgramSettings settings;
    settings.variables = {{"LD_PRELOAD", DISTURB_PATH}, {"DISTURB_FAIL", rule}};
    return RunProgram(PSLTOOL_PATH, arguments, settings);
  }

  // Each of the calls fails in turn.
  void FailEach(const std::vector<std::string>& arguments, const std::string& file) const {
    const ProgramResult whole = Run(arguments, "");
    ASSERT_EQ(whole.status, 0) << whole.err;
    for (const char* call : {"open", "fstat", "pread"}) {
      constexpr int kMost = 60;
      int failed = 0;
      for (int number = 1; number <= kMost; ++number) {
        const std::string place = std::to_string(number);
        const ProgramResult run =
            Run(arguments, std::string(call) + ":" + file + ":" + place + ":" + place + ":5");
        SCOPED_TRACE(arguments[0] + ", " + call + " " + place);
        if (run.status == 0) {
          EXPECT_EQ(run.out, whole.out);
        } else {
          EXPECT_NE(run.err, "");
          ++failed;
        }
      }
      EXPECT_GT(failed, 0) << arguments[0] << " " << call;
      EXPECT_LT(failed, kMost) << "not all calls have been met";
    }
  }

  TempDir directory;
};

// The periods are read by a reader of their own. When it failed, a record began where its hour did,
// and the status was 0.
TEST_F(PsltoolReadFaults, InfoDumpExport) {
  SKIP_WITHOUT_PRELOADING();
  const std::string log = directory.Path("20240101a.psl");
  FailEach({"info", log}, "20240101a.psl");
  FailEach({"dump", "--format", "csv", log}, "20240101a.psl");
  FailEach({"export", "--format", "csv", log}, "20240101a.psl");
}

TEST_F(PsltoolReadFaults, Explain) {
  SKIP_WITHOUT_PRELOADING();
  const std::vector<std::string> arguments = {"explain",
                                              "--archive",
                                              directory.Path("20240101a.psa"),
                                              directory.Path("20240101a.psl"),
                                              "--kind",
                                              "ld",
                                              "--key",
                                              "257",
                                              "--at",
                                              "2024-01-01"};
  FailEach(arguments, "20240101a.psa");
  FailEach(arguments, "20240101a.psl");
}

// The report itself needed memory, and the program ended without any.
TEST_F(PsltoolReadFaults, WithoutMemoryItSaysSo) {
  SKIP_WITHOUT_PRELOADING();
  const ProgramResult run =
      Run({"check", directory.Path("20240101a.psl")}, "malloc::600:999999999:12");
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "psltool: memory: exhausted\n");
}

}  // namespace
