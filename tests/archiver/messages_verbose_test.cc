// The verbose lines of finished outputs, and the warning of a discontinuous file that goes with
// them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "areas/finfo.h"
#include "report/messages.h"
#include "report/runinfo.h"
#include "tests/archiver/messages_fixture.h"
#include "tests/support/run_state.h"

namespace {

using ::testing::EndsWith;

class VerboseLines : public Messages {
 protected:
  VerboseLines() {
    OptVerbose = 1;
    TargetList = targets;
    Ntarget = 3;
    snprintf(wfname, 1024, "out.psa");
  }
  ~VerboseLines() override { TargetList = nullptr; }

  static std::string OutputOf(int32_t end) {
    Capture capture(1);
    OutMsg(end);
    return capture.Text();
  }

  char a[6] = "a.psl";
  char b[6] = "b.psl";
  char c[6] = "c.psl";
  char* targets[3] = {a, b, c};
};

TEST_F(VerboseLines, OneLineForEachInputSinceTheLastOutput) {
  EXPECT_EQ(OutputOf(2), "a.psl --> out.psa\nb.psl --> out.psa\n");
  snprintf(wfname, 1024, "next.psa");
  EXPECT_EQ(OutputOf(3), "c.psl --> next.psa\n");
  EXPECT_EQ(OutMsgNum, 3);
}

TEST_F(VerboseLines, FileRunNamesInputsAsGiven) {
  finfo.optclass = kOptFile;
  finfo.path = "out/";
  EXPECT_EQ(OutputOf(1), "a.psl --> out.psa\n");
}

TEST_F(VerboseLines, DirectoryRunPutsThePathInFront) {
  finfo.optclass = kOptDirectory;
  finfo.path = "logs/";
  EXPECT_EQ(OutputOf(1), "logs/a.psl --> out.psa\n");
}

TEST_F(VerboseLines, MarkedInputsOfADirectoryRunAreLeftOutAndCounted) {
  finfo.optclass = kOptDirectory;
  finfo.target_marks_size = 4;
  finfo.target_marks = static_cast<uint8_t*>(calloc(4, 1));
  finfo.target_marks[1] = 1;
  EXPECT_EQ(OutputOf(3), "a.psl --> out.psa\nc.psl --> out.psa\n");
  EXPECT_EQ(OutMsgNum, 3);
}

TEST_F(VerboseLines, NullEntriesAreLeftOutAndNotCounted) {
  targets[0] = nullptr;
  EXPECT_EQ(OutputOf(2), "b.psl --> out.psa\n");
  EXPECT_EQ(OutMsgNum, 1);
}

TEST_F(VerboseLines, NothingWithoutVerboseOption) {
  OptVerbose = 0;
  EXPECT_EQ(OutputOf(2), "");
  EXPECT_EQ(OutMsgNum, 0);
}

TEST_F(VerboseLines, DiscontinuityIsWarnedOfOnce) {
  finfo.discontinuous = true;
  Capture errors(2);
  OutputOf(1);
  OutputOf(2);
  EXPECT_EQ(errors.Text(), "Qelprfarc: 201 Warning: Find discontinuous file\n");
  EXPECT_FALSE(finfo.discontinuous);
}

TEST_F(VerboseLines, ManualRunWithoutVerboseOptionNeverShows201) {
  OptVerbose = 0;
  finfo.discontinuous = true;
  Capture errors(2);
  OutMsg(1);
  EXPECT_EQ(errors.Text(), "");
  EXPECT_TRUE(finfo.discontinuous);
}

TEST_F(VerboseLines, AutomaticRunReports201WithoutVerboseOption) {
  OptVerbose = 0;
  arcdelinfo.auto_flg = 1;
  UseTrace();
  finfo.discontinuous = true;
  OutMsg(1);
  EXPECT_THAT(Trace(), EndsWith(" Qelprfarc: 201 Warning: Find discontinuous file\n"));
  EXPECT_FALSE(finfo.discontinuous);
}

}  // namespace
