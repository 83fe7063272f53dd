// The command line from inside: what each option sets.
#include "archiver/options.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "platform/QelCM.h"
#include "report/messages.h"
#include "report/runinfo.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

namespace {

class Options : public ::testing::Test {
 protected:
  Options() { ResetRunState(); }
  ~Options() override {
    TargetList = nullptr;
    Ntarget = 0;
    ResetRunState();
  }

  // Parses the arguments; the texts stay as long as the test. Returns kReturned or the status.
  int Parse(const std::vector<std::string>& arguments) {
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
  std::vector<std::string> texts_;
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

}  // namespace
