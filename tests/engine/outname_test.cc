// Names: the array of an input, the date and array of an output, sequels, and which inputs are of
// the same day.
#include "engine/outname.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "areas/finfo.h"
#include "engine/layout/layout.h"
#include "engine/period.h"
#include "report/runinfo.h"
#include "tests/support/engine_run.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"

namespace {

class OutnameTest : public ::testing::Test {
 protected:
  OutnameTest() { ResetEngine(); }
  ~OutnameTest() override { ResetEngine(); }

  std::string Array(const std::string& path) {
    char name[256] = "untouched";
    const Capture err(2);
    const int status = StatusOf([&] { SetSubsystemName(name, path.c_str()); });
    err_ = err.Text();
    return status == kReturned ? name : "status " + std::to_string(status);
  }

  // Output name with this revision, level, date bytes 2024-03-07 and record time 2024-12-31 23:30.
  std::string OutputName(uint8_t revision, char level) {
    char buffer[1024] = "unchanged";
    finfo.layout = &LayoutOf(revision);
    finfo.revision = revision;
    finfo.level = level;
    finfo.record_time = 1735687800;
    std::strcpy(finfo.array_name, "arrayA");
    std::string header = spell::HeaderRecord({.revision = 0x1D, .month = 3, .day = 7});
    finfo.header_read = reinterpret_cast<uint8_t*>(header.data());
    SetWriteFname(buffer);
    finfo.header_read = nullptr;
    return buffer;
  }

  // Name and path of the sequel, separated by a blank.
  std::string Sequel(const std::string& name, const std::string& path) {
    std::strcpy(wfname, name.c_str());
    std::strcpy(wfpath, path.c_str());
    SetSequelNames();
    return std::string(wfname) + " " + wfpath;
  }

  std::string err_;
};

TEST_F(OutnameTest, ArrayNameIsWhatFollowsTheDate) {
  EXPECT_EQ(Array("20240101arrayA.psl"), "arrayA");
  EXPECT_EQ(Array("/a/b.c/20240101arrayA#001.psl"), "arrayA");
  EXPECT_EQ(Array("/a#b/20240101array_A.psa"), "array_A");
  EXPECT_EQ(Array("20240101a.b.psl"), "a");
  EXPECT_EQ(Array("20240101a#b#c.psl"), "a");
  EXPECT_EQ(Array("20240101.psl"), "");
  EXPECT_EQ(Array("abcdefghX.psl"), "X");
  EXPECT_EQ(Array("20240101" + std::string(255, 'n') + ".psl"), std::string(255, 'n'));
}

TEST_F(OutnameTest, NameWithoutAnArrayEndsTheRun) {
  for (const std::string path :
       {"20240101arrayA", "/dir.d/20240101arrayA", "2024010.psl", "202401#0101A.psl", ".psl", ""}) {
    EXPECT_EQ(Array(path), "status 1") << path;
    EXPECT_EQ(err_, "Qelprfarc: 101 Not PSL file -- " + path + "\n");
  }
}

TEST_F(OutnameTest, ManualRunsTakeTheDateOfNewRevisionsFromTheHeader) {
  for (const uint8_t revision : {uint8_t{0x1D}, uint8_t{0x21}}) {
    EXPECT_EQ(OutputName(revision, 'H'), "20240307arrayA.psa");
    EXPECT_EQ(OutputName(revision, 'D'), "202403arrayA.psa");
  }
}

TEST_F(OutnameTest, ManualRunsTakeTheDateOfOldRevisionsFromTheLocalTime) {
  for (const uint8_t revision : {uint8_t{0x10}, uint8_t{0x1C}}) {
    {
      const TimeZone zone("UTC");
      EXPECT_EQ(OutputName(revision, 'H'), "20241231arrayA.psa");
      EXPECT_EQ(OutputName(revision, 'D'), "202412arrayA.psa");
    }
    const TimeZone zone("JST-9");
    EXPECT_EQ(OutputName(revision, 'H'), "20250101arrayA.psa");
    EXPECT_EQ(OutputName(revision, 'D'), "202501arrayA.psa");
  }
}

TEST_F(OutnameTest, AutomaticRunsAlwaysTakeTheLocalTimeAndATemporaryName) {
  arcdelinfo.auto_flg = 1;
  const TimeZone zone("JST-9");
  for (const uint8_t revision : {uint8_t{0x10}, uint8_t{0x1D}, uint8_t{0x21}}) {
    EXPECT_EQ(OutputName(revision, 'H'), "20250101arrayA.psa_tmp");
    EXPECT_EQ(OutputName(revision, 'D'), "202501arrayA.psa_tmp");
  }
}

TEST_F(OutnameTest, OtherLevelsLeaveTheNameUnchanged) {
  EXPECT_EQ(OutputName(0x1D, 0), "unchanged");
  EXPECT_EQ(OutputName(0x1D, 'L'), "unchanged");
  arcdelinfo.auto_flg = 1;
  EXPECT_EQ(OutputName(0x1D, 'x'), "unchanged");
}

TEST_F(OutnameTest, PathOfAnOutput) {
  SetWritePath("name.psa");
  EXPECT_STREQ(wfpath, "name.psa");
  finfo.path = "/some/where/";
  SetWritePath("name.psa");
  EXPECT_STREQ(wfpath, "/some/where/name.psa");
  arcdelinfo.auto_flg = 1;
  std::strcpy(arcdelinfo.arcdir, "/arc/");
  SetWritePath("name.psa_tmp");
  EXPECT_STREQ(wfpath, "/arc/archive/name.psa_tmp");
  arcdelinfo.auto_flg = 0;
  finfo.outpath = "/x/out.bin";
  SetWritePath("name.psa");
  EXPECT_STREQ(wfpath, "/x/out.bin");
}

TEST_F(OutnameTest, SequelsOfManualRuns) {
  EXPECT_EQ(Sequel("20240101A.psa", "/o.d/20240101A.psa"),
            "20240101A#002.psa /o.d/20240101A#002.psa");
  EXPECT_EQ(Sequel("20240101A#002.psa", "/o/20240101A#002.psa"),
            "20240101A#003.psa /o/20240101A#003.psa");
  EXPECT_EQ(Sequel("20240101A#099.psa", "20240101A#099.psa"),
            "20240101A#100.psa 20240101A#100.psa");
  EXPECT_EQ(Sequel("20240101A#999.psa", "20240101A#999.psa"),
            "20240101A#1000.psa 20240101A#1000.psa");
}

TEST_F(OutnameTest, SequelsOfAnOutputPathOfItsOwn) {
  EXPECT_EQ(Sequel("20240101A.psa", "/o/file.bin"), "20240101A#002.psa /o/file#002.bin");
  EXPECT_EQ(Sequel("20240101A#002.psa", "/o/file#002.bin"), "20240101A#003.psa /o/file#003.psa");
  // "#" and "." count in the base name only.
  EXPECT_EQ(Sequel("20240101A.psa", "/o.d#1/file"), "20240101A#002.psa /o.d#1/file#002");
  EXPECT_EQ(Sequel("20240101A.psa", "/o#7/file.bin"), "20240101A#002.psa /o#7/file#002.bin");
  EXPECT_EQ(Sequel("20240101A#002.psa", "/o.d/file#002"), "20240101A#003.psa /o.d/file#003.psa");
}

TEST_F(OutnameTest, SequelsOfAutomaticRuns) {
  arcdelinfo.auto_flg = 1;
  EXPECT_EQ(Sequel("20240101A_B.psa_tmp", "/a_c/archive/20240101A_B.psa_tmp"),
            "20240101A_B#002.psa_tmp /a_c/archive/20240101A_B#002.psa_tmp");
  EXPECT_EQ(Sequel("20240101A_B#002.psa_tmp", "/a_c/archive/20240101A_B#002.psa_tmp"),
            "20240101A_B#003.psa_tmp /a_c/archive/20240101A_B#003.psa_tmp");
}

TEST(SameDay, SequenceSuffixesAndExtensionsDoNotCount) {
  EXPECT_EQ(CheckSameDay("20240101A.psl", "20240101A.psl"), 0);
  EXPECT_EQ(CheckSameDay("20240101A#001.psl", "20240101A#002.psl"), 0);
  EXPECT_EQ(CheckSameDay("20240101A.psl", "20240101A#002.psa"), 0);
  EXPECT_EQ(CheckSameDay("/d.d/20240101A.psl", "/d.d/20240101A#002.psl"), 0);
}

TEST(SameDay, DayArrayAndDirectoryCount) {
  EXPECT_EQ(CheckSameDay("20240101A.psl", "20240102A.psl"), 1);
  EXPECT_EQ(CheckSameDay("20240101A.psl", "20240101B.psl"), 1);
  EXPECT_EQ(CheckSameDay("20240101A.psl", "20240101AB.psl"), 1);
  EXPECT_EQ(CheckSameDay("20240101AB.psl", "20240101A.psl"), 1);
  EXPECT_EQ(CheckSameDay("/a/20240101A.psl", "/b/20240101A.psl"), 1);
  EXPECT_EQ(CheckSameDay("./20240101A.psl", "20240101A.psl"), 1);
}

TEST(SameDay, ANullNameIsOfNoDay) {
  EXPECT_EQ(CheckSameDay(nullptr, "20240101A.psl"), 1);
  EXPECT_EQ(CheckSameDay("20240101A.psl", nullptr), 1);
  EXPECT_EQ(CheckSameDay(nullptr, nullptr), 1);
}

}  // namespace
