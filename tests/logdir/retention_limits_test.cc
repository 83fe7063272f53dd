// Retention limits of automatic runs: the moment before which files have expired.
#include <gtest/gtest.h>

#include <cstdint>

#include "logdir/autotarget.h"
#include "report/runinfo.h"
#include "tests/support/run_state.h"
#include "tests/support/runs/retention.h"
#include "tests/support/utc.h"

namespace {

class RetentionLimits : public ::testing::Test {
 protected:
  RetentionLimits() { ResetRunState(); }
  ~RetentionLimits() override { ResetRunState(); }

  static int64_t LimitOf(int32_t encoded, char letter, int retention_class, int64_t now) {
    arcdelinfo.savetime[retention_class].now = now;
    GetSaveTime(encoded, letter);
    return arcdelinfo.savetime[retention_class].limit;
  }
  static int64_t LimitOf(int32_t encoded, int64_t now) {
    return LimitOf(encoded, 'L', kClassPsl, now);
  }

  TimeZone zone{"UTC"};
};

TEST_F(RetentionLimits, DaysKeepTheTimeOfDay) {
  EXPECT_EQ(LimitOf(kDays + 1, Utc(2021, 3, 1, 4, 5, 6)), Utc(2021, 2, 28, 4, 5, 6));
  EXPECT_EQ(LimitOf(kDays + 366, Utc(2021, 3, 1, 4, 5, 6)), Utc(2020, 2, 29, 4, 5, 6));
}

TEST_F(RetentionLimits, MonthsEndAtMidnight) {
  EXPECT_EQ(LimitOf(kMonths + 1, Utc(2021, 3, 15, 4, 5, 6)), Utc(2021, 2, 15));
  EXPECT_EQ(LimitOf(kMonths + 3, Utc(2021, 1, 15, 4, 5, 6)), Utc(2020, 10, 15));
  EXPECT_EQ(LimitOf(kMonths + 24, Utc(2021, 1, 1)), Utc(2019, 1, 1));
}

TEST_F(RetentionLimits, MonthsPullTheDayIntoTheMonth) {
  EXPECT_EQ(LimitOf(kMonths + 1, Utc(2021, 3, 29)), Utc(2021, 2, 28));
  EXPECT_EQ(LimitOf(kMonths + 1, Utc(2021, 3, 31)), Utc(2021, 2, 28));
  EXPECT_EQ(LimitOf(kMonths + 1, Utc(2020, 3, 29)), Utc(2020, 2, 29));
  EXPECT_EQ(LimitOf(kMonths + 1, Utc(2020, 3, 31)), Utc(2020, 2, 29));
  EXPECT_EQ(LimitOf(kMonths + 1, Utc(2021, 5, 31)), Utc(2021, 4, 30));
  EXPECT_EQ(LimitOf(kMonths + 1, Utc(2021, 8, 31)), Utc(2021, 7, 31));
}

TEST_F(RetentionLimits, YearsLetThe29FebruaryRollOver) {
  EXPECT_EQ(LimitOf(kYears + 1, Utc(2020, 2, 29, 4, 5, 6)), Utc(2019, 3, 1));
  EXPECT_EQ(LimitOf(kYears + 2, Utc(2021, 5, 6, 7, 8, 9)), Utc(2019, 5, 6));
}

TEST_F(RetentionLimits, MidnightIsLocal) {
  TimeZone tokyo("JST-9");
  // 2021-03-16 01:00 local.
  EXPECT_EQ(LimitOf(kMonths + 1, Utc(2021, 3, 15, 16)), Utc(2021, 2, 15, 15));
}

TEST_F(RetentionLimits, LettersChooseTheClass) {
  const int64_t now = Utc(2021, 3, 15);
  EXPECT_EQ(LimitOf(kMonths + 1, 'H', kClassHour, now), Utc(2021, 2, 15));
  EXPECT_EQ(arcdelinfo.savetime[kClassPsl].limit, 0);
  EXPECT_EQ(LimitOf(kMonths + 2, 'D', kClassDay, now), Utc(2021, 1, 15));
  EXPECT_EQ(LimitOf(kMonths + 3, 'L', kClassPsl, now), Utc(2020, 12, 15));
}

TEST_F(RetentionLimits, ClassesWithoutRetentionKeep0) {
  SetClock("2021-03-15 10:00:00");
  arcdelinfo.savetm_flg[kClassHour] = 1;
  arcdelinfo.savetm[kClassPsl] = kDays + 1;
  arcdelinfo.savetm[kClassHour] = kMonths + 1;
  EXPECT_EQ(GetTimeSpan(), 0);
  EXPECT_EQ(arcdelinfo.savetime[kClassPsl].limit, 0);
  EXPECT_EQ(arcdelinfo.savetime[kClassHour].limit, Utc(2021, 2, 15));
  EXPECT_EQ(arcdelinfo.savetime[kClassDay].limit, 0);
  for (const auto& span : arcdelinfo.savetime) EXPECT_EQ(span.now, Utc(2021, 3, 15, 10));
}

}  // namespace
