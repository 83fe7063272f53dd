// The archiver takes what `psltool make` makes: logs of every revision, to hour and to day level.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/made_records.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/tempdir.h"

namespace {

using spell::Bytes;
using spell::GetU32;
using spell::GetU8;

class PsltoolMakeArchives : public testing::TestWithParam<int> {
 protected:
  static ProgramResult Archive(const std::string& out, const std::vector<std::string>& inputs) {
    std::vector<std::string> arguments = {"-o", out};
    arguments.insert(arguments.end(), inputs.begin(), inputs.end());
    return RunProgram(QELPRFARC_PATH, arguments);
  }

  // Makes two days, archives them to hour and to day level and looks at the framing of both.
  void Check(const std::vector<std::string>& more, size_t hour_records) {
    TempDir dir;
    std::vector<std::string> options = {
        "--revision", std::to_string(GetParam()), "--days", "2", "--interval", "1200"};
    options.insert(options.end(), more.begin(), more.end());
    options.insert(options.begin(), "make");
    options.insert(options.end(), {"-o", dir.Path("logs")});
    const ProgramResult made = RunProgram(PSLTOOL_PATH, options);
    ASSERT_EQ(made.status, 0) << made.err;
    dir.MakeDirectory("hour");
    dir.MakeDirectory("day");
    std::vector<std::string> logs;
    for (const std::string& name : dir.Names("logs")) logs.push_back(dir.Path("logs/" + name));
    const ProgramResult hour = Archive(dir.Path("hour"), logs);
    ASSERT_EQ(hour.status, 0) << hour.err;
    EXPECT_EQ(hour.err, "");
    ASSERT_EQ(dir.Names("hour"),
              (std::vector<std::string>{"20240304array01.psa", "20240305array01.psa"}));
    for (const std::string& name : dir.Names("hour")) {
      const std::vector<Bytes> records = Records(dir.Read("hour/" + name));
      EXPECT_EQ(GetU8(records[0], 3), static_cast<uint32_t>(GetParam()));
      EXPECT_EQ(records[0][12], 'H');
      EXPECT_EQ(CountOf(records, "STA"), hour_records);
    }
    const ProgramResult day = Archive(dir.Path("day"), {dir.Path("hour/20240304array01.psa"),
                                                        dir.Path("hour/20240305array01.psa")});
    ASSERT_EQ(day.status, 0) << day.err;
    EXPECT_EQ(day.err, "");
    ASSERT_EQ(dir.Names("day"), std::vector<std::string>{"202403array01.psa"});
    const std::vector<Bytes> records = Records(dir.Read("day/202403array01.psa"));
    EXPECT_EQ(records[0][12], 'D');
    EXPECT_GE(CountOf(records, "STA"), 2U);
  }
};

TEST_P(PsltoolMakeArchives, PlainLogs) { Check({}, 24); }

TEST_P(PsltoolMakeArchives, LogsWithExtendedWords) { Check({"--extended", "full"}, 24); }

TEST_P(PsltoolMakeArchives, LogsWithSomeExtendedWords) { Check({"--extended", "partial"}, 24); }

TEST_P(PsltoolMakeArchives, IdleLogs) { Check({"--profile", "idle"}, 24); }

TEST_P(PsltoolMakeArchives, LogsInWhichAllComesAndGoes) {
  Check({"--idle-share", "60", "--not-valid-share", "10", "--extended", "changing",
         "--files-per-day", "6"},
        24);
}

TEST_P(PsltoolMakeArchives, LogsWithAllRecordKinds) {
  // The second structure record stands at 12:00 and cuts no hour; the "LDM" record before it, at
  // 11:40, ends a period within its hour.
  Check({"--structures", "2", "--nnc", "2", "--fre", "3", "--ldm", "1"}, 25);
}

TEST_P(PsltoolMakeArchives, SeveralFilesPerDay) { Check({"--files-per-day", "4"}, 24); }

INSTANTIATE_TEST_SUITE_P(AllRevisions, PsltoolMakeArchives, EachRevision(), RevisionParam<int>);

}  // namespace
