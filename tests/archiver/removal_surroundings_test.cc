// What removal finds around it: directories that are none, files of which the name says nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "archiver/order.h"
#include "archiver/removal.h"
#include "archiver/segment_layout.h"
#include "platform/QelCM.h"
#include "report/runinfo.h"
#include "tests/support/header_file.h"
#include "tests/support/run_state.h"
#include "tests/support/runs/removal_fixture.h"
#include "tests/support/runs/retention.h"
#include "tests/support/runs/server.h"
#include "tests/support/tempdir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class RemovalSurroundings : public RemovalFixture {
 protected:
  RemovalSurroundings() { Keep(kClassPsl, ::kDays + 1); }

  static int Remove() {
    int result = 77;
    EXPECT_EQ(StatusOf([&result] { result = RemoveAt("2021-03-15 10:00:00"); }), kReturned);
    return result;
  }
};

// Names of archives cannot be synced there, so nothing that they would stand for goes.
TEST_F(RemovalSurroundings, FileInThePlaceOfTheArchivesKeepsTheLogs) {
  directory.MakeDirectory("arc");
  directory.Write("arc/archive", "a file");
  directory.Write("arc/19990101A.psl", HeaderBytes({}));
  Capture errors(2);
  EXPECT_EQ(Remove(), -1);
  EXPECT_THAT(directory.Names("arc"), ElementsAre("19990101A.psl", "archive"));
}

// The logs lie there: without it nobody knows what there was to remove.
TEST_F(RemovalSurroundings, DirectoryOfTheLogsThatIsGoneEndsTheRun) {
  Capture errors(2);
  EXPECT_EQ(StatusOf([] { RemoveAt("2021-03-15 10:00:00"); }), 1);
  EXPECT_THAT(errors.Text(), HasSubstr("103 Can't open directory"));
}

TEST_F(RemovalSurroundings, LongNamesThatAreNotTemporaryStay) {
  directory.MakeDirectory("arc/archive");
  const std::string name(250, 'x');
  directory.Write("arc/archive/" + name, "somebody's");
  directory.Write("arc/archive/" + name.substr(8) + ".psa_tmp", "ours");
  EXPECT_EQ(Remove(), 0);
  EXPECT_THAT(directory.Names("arc/archive"), ElementsAre(name));
}

// What a run would do is asked with the configuration at hand.
TEST_F(RemovalSurroundings, OrdersOfRuns) {
  SegmentBytes segment;
  segment.PutDirectories("/root", "/arc", "/pml");
  segment.PutArchivingSwitch(2);  // neither on nor off
  RunOrder order;
  order.bytes = segment.bytes();
  EXPECT_EQ(TakeOrder(order, 1'615'802'400), OrderVerdict::kRefused);
  order.force = true;
  EXPECT_EQ(TakeOrder(order, 1'615'802'400), OrderVerdict::kReady);
  EXPECT_EQ(arcdelinfo.force_flg, 1);
  EXPECT_EQ(arcdelinfo.mode, kModeSvr);
  EXPECT_EQ(arcdelinfo.arc_flg, 1);
  order.force = false;
  order.array_update = true;
  EXPECT_EQ(TakeOrder(order, 1'615'802'400), OrderVerdict::kReady);
  EXPECT_EQ(arcdelinfo.mode, kModeArrayUpdate);
  EXPECT_EQ(arcdelinfo.auto_flg, 1);
  EXPECT_EQ(arcdelinfo.auto2_flg, 0);
}

TEST_F(RemovalSurroundings, CountOf0IsKeptForEver) {
  EXPECT_EQ(RetentionCode(0, 1), 0);
  EXPECT_EQ(RetentionCode(3, 1), ::kMonths + 3);
}

TEST_F(RemovalSurroundings, ArchivesAreJudgedByNameAndLevel) {
  const auto judged = [](const char* name, int level) {
    const AutoProbe probe = {[level](const char*) { return level; }, [](const char*) { return 0; }};
    Limits limits = {1'615'802'400, {}};
    limits.before[kClassHour] = 1'615'802'400;
    return JudgeArchiveRemoval(name, probe, limits);
  };
  EXPECT_EQ(judged("20210101a.txt", 1), RemovalVerdict::kOtherFile);
  EXPECT_EQ(judged("20210101a.psa", -1), RemovalVerdict::kRefused);
  EXPECT_EQ(judged("20210101a.psa", 0), RemovalVerdict::kOtherFile);
  EXPECT_EQ(judged("20210101a.psa", 1), RemovalVerdict::kExpired);
  EXPECT_EQ(judged("20210101a.psa", 2), RemovalVerdict::kNoRetention);
  EXPECT_EQ(judged("20210101a.psa_tmp", 0), RemovalVerdict::kTemporary);
}

}  // namespace
