// The time zone that goes with the revision of the file header at hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "platform/QelCM.h"
#include "report/runinfo.h"
#include "tests/engine/header_fixture.h"
#include "tests/support/record_bytes.h"
#include "tests/support/tempdir.h"

namespace {

using spell::Bytes;
using spell::HeaderRecord;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class HeaderZoneTest : public HeaderTest {
 protected:
  HeaderZoneTest() { snprintf(sgmtr_dmpfile, sizeof sgmtr_dmpfile, "%s", Trace().c_str()); }

  std::string Trace() const { return directory_.Path("trace"); }

  // Directions of the trace lines so far.
  std::vector<std::string> Changes() const {
    std::vector<std::string> changes;
    std::string text = TempDir::ReadFile(Trace());
    for (size_t at = 0; (at = text.find("TZ ", at)) != std::string::npos; ++at) {
      changes.push_back(text.substr(at, text.find('\n', at) - at));
    }
    return changes;
  }
};

constexpr char kToUtc[] = "TZ Local to UTC";
constexpr char kToLocal[] = "TZ UTC to Local";

TEST_F(HeaderZoneTest, EachChangeOfDirectionIsTracedOnce) {
  setenv("TZ", "EST5", 1);
  Judge({.revision = 0x1C});
  EXPECT_THAT(Changes(), IsEmpty());
  EXPECT_STREQ(getenv("TZ"), "EST5");
  Judge({.revision = 0x1D});
  EXPECT_STREQ(getenv("TZ"), "UTC");
  Read({.revision = 0x21});
  Written();
  EXPECT_THAT(Changes(), ElementsAre(kToUtc));
  Read({.revision = 0x1C});
  EXPECT_STREQ(getenv("TZ"), "EST5");
  Judge({.revision = 0x10});
  Read({.revision = 0x19});
  EXPECT_THAT(Changes(), ElementsAre(kToUtc, kToLocal));
  Read({.revision = 0x1D});
  Read({.revision = 0x1C});
  EXPECT_THAT(Changes(), ElementsAre(kToUtc, kToLocal, kToUtc, kToLocal));
  EXPECT_STREQ(getenv("TZ"), "EST5");
}

TEST_F(HeaderZoneTest, WritingSwitchesForTheRevisionWritten) {
  setenv("TZ", "EST5", 1);
  Read({.revision = 0x1C});
  Judge({.revision = 0x1D});
  EXPECT_STREQ(getenv("TZ"), "UTC");
  Written();
  EXPECT_STREQ(getenv("TZ"), "EST5");
  EXPECT_EQ(Rev_Kind, 0x1C);
}

TEST_F(HeaderZoneTest, AnUnsetVariableIsUnsetAgain) {
  unsetenv("TZ");
  Judge({.revision = 0x1D});
  EXPECT_STREQ(getenv("TZ"), "UTC");
  Judge({.revision = 0x1C});
  EXPECT_EQ(getenv("TZ"), nullptr);
}

TEST_F(HeaderZoneTest, AnEmptyVariableIsEmptyAgain) {
  setenv("TZ", "", 1);
  Judge({.revision = 0x1D});
  EXPECT_STREQ(getenv("TZ"), "UTC");
  Judge({.revision = 0x1C});
  EXPECT_STREQ(getenv("TZ"), "");
}

TEST_F(HeaderZoneTest, LocalTimesFollowTheSwitch) {
  setenv("TZ", "JST-9", 1);
  tzset();
  const time_t midnight = spell::kNewYear;
  Judge({.revision = 0x1D});
  EXPECT_EQ(localtime(&midnight)->tm_hour, 0);
  Judge({.revision = 0x1C});
  EXPECT_EQ(localtime(&midnight)->tm_hour, 9);
}

TEST_F(HeaderZoneTest, AutomaticRunsStayInLocalTime) {
  setenv("TZ", "EST5", 1);
  arcdelinfo.auto_flg = 1;
  finfo.optclass = kOptDirectory;
  Judge({.revision = 0x1D});
  Read({.revision = 0x21});
  Written();
  EXPECT_STREQ(getenv("TZ"), "EST5");
  EXPECT_THAT(Changes(), IsEmpty());
}

// The zone comes before the judgement: a revision above the last known one counts as a new one.
TEST_F(HeaderZoneTest, TheZoneIsSwitchedBeforeTagAndRevisionAreJudged) {
  setenv("TZ", "EST5", 1);
  Bytes bytes = HeaderRecord({});
  spell::SetU8(bytes, 3, 0x22);
  JudgeBytes(bytes);
  EXPECT_STREQ(getenv("TZ"), "UTC");
  spell::SetU8(bytes, 3, 0x0F);
  bytes[0] = 'X';
  JudgeBytes(bytes);
  EXPECT_STREQ(getenv("TZ"), "EST5");
}

}  // namespace
