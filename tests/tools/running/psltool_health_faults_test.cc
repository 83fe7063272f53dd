// psltool health where the archiver could not look: files that do not open, listings that break
// off, names and directories that are too long.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/tools/health_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class PsltoolHealthFaults : public PsltoolHealth {};

TEST_F(PsltoolHealthFaults, LogThatDoesNotOpenIsNamed) {
  SKIP_WITHOUT_PRELOADING();
  AddLog("20240303b#001");
  AddLog("20240303b#002");
  AddArchive("20240304b");
  for (const char* rule : {"open:/20240303b#002.psl:1:9:13", "fstat:/20240303b#002.psl:1:9:5"}) {
    disturb = rule;
    ExpectProblem(
        "missing  20240303b#002.psl cannot be opened, so its day and month are left to a later "
        "run");
    ExpectProblem("missing  20240303b#001.psl is not archived");
  }
}

TEST_F(PsltoolHealthFaults, ArchiveThatDoesNotOpenIsNamed) {
  SKIP_WITHOUT_PRELOADING();
  disturb = "open:/20240304a.psa:1:9:13";
  ExpectProblem("broken   archive/20240304a.psa cannot be opened");
}

// An exception ended the tool here.
TEST_F(PsltoolHealthFaults, ListingThatBreaksOffIsStatus2) {
  SKIP_WITHOUT_PRELOADING();
  for (const char* name : {"arc", "arc/archive"}) {
    disturb = std::string("readdir:") + directory.Path(name) + ":3:3:5";
    const ProgramResult result = Health();
    EXPECT_EQ(result.status, 2) << result.out;
    EXPECT_EQ(result.err, "psltool: " + directory.Path(name) + ": Input/output error\n");
  }
}

TEST_F(PsltoolHealthFaults, LogWithALongNameIsToldWhy) {
  const std::string name = "20240303" + std::string(52, 'l');
  AddLog(name);
  AddArchive("20240304" + std::string(52, 'l'));
  ExpectProblem("missing  " + name + ".psl is left alone, as its name has more than 63 characters");
}

// Such directories were passed over in silence, by the archiver and here.
TEST_F(PsltoolHealthFaults, ArchiveDirectoryWithATooLongPath) {
  std::string deep = "arc/";
  while (directory.Path(deep).size() < 210) deep += "deeper/";
  deep += std::string(229 - directory.Path(deep).size(), 'd');
  directory.MakeDirectory(deep);
  const auto health = [&] { return Health({"--archive", directory.Path(deep)}); };
  EXPECT_THAT(health().out, Not(HasSubstr("PROBLEM path")));
  directory.Write(deep + "/20240303a.psl", HeaderBytes({}));
  directory.Write(deep + "/20240303array.psl", HeaderBytes({}));
  const ProgramResult result = health();
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out, HasSubstr("PROBLEM path     the path of the archive directory has 230 "
                                    "characters, which is too long: 1 of its files are left "
                                    "alone\n"));
  EXPECT_THAT(result.out, HasSubstr("20240303a.psl is not archived\n"));
  EXPECT_THAT(result.out, Not(HasSubstr("20240303array.psl is not archived")));
  // Nothing would fit here.
  deep += "d";
  directory.MakeDirectory(deep);
  EXPECT_THAT(health().out, HasSubstr("has 231 characters, which is too long: 0 of its files"));
}

}  // namespace
