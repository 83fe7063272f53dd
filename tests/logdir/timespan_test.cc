// The time argument of directory runs and the calendar arithmetic under it.
#include "logdir/timespan.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/run_state.h"
#include "tests/support/usage_text.h"
#include "tests/support/utc.h"

namespace {

struct tm Date(int year, int month, int day) {
  struct tm date {};
  date.tm_year = year - 1900;
  date.tm_mon = month - 1;
  date.tm_mday = day;
  return date;
}

class TimeSpan : public ::testing::Test {
 protected:
  TimeSpan() {
    ResetRunState();
    SetClock("2021-05-31 10:20:30");
  }
  ~TimeSpan() override { ResetRunState(); }

  static void ExpectEnd(const char* text, int64_t end) {
    StartTime = 77;
    EXPECT_EQ(SetTimeSpan(text), 0) << text;
    EXPECT_EQ(StartTime, 0) << text;
    EXPECT_EQ(EndTime, end) << text;
  }

  // The text is refused with this message, the usage text and status 1.
  static void ExpectRefused(const char* text, const std::string& message) {
    Capture errors(2);
    EXPECT_EQ(StatusOf([text] { SetTimeSpan(text); }), 1) << text;
    EXPECT_EQ(errors.Text(), "Qelprfarc: " + message + " -- " + text + "\n" + kUsage);
  }

  TimeZone zone{"UTC"};
};

TEST_F(TimeSpan, ZeroDaysEndsNow) { ExpectEnd("0d", Utc(2021, 5, 31, 10, 20, 30)); }

TEST_F(TimeSpan, DaysKeepTheTimeOfDay) {
  ExpectEnd("1d", Utc(2021, 5, 30, 10, 20, 30));
  ExpectEnd("31D", Utc(2021, 4, 30, 10, 20, 30));
}

TEST_F(TimeSpan, ThreeMonthsBefore31MayIsTheLastDayOfFebruary) {
  ExpectEnd("3m", Utc(2021, 2, 28, 10, 20, 30));
  SetClock("2020-05-31 10:20:30");
  ExpectEnd("3m", Utc(2020, 2, 29, 10, 20, 30));
}

TEST_F(TimeSpan, OneMonthBefore31MarchIsTheLastDayOfFebruary) {
  SetClock("2021-03-31 23:59:59");
  ExpectEnd("1M", Utc(2021, 2, 28, 23, 59, 59));
}

TEST_F(TimeSpan, MonthsCrossYears) {
  SetClock("2021-01-15 00:00:00");
  ExpectEnd("1m", Utc(2020, 12, 15));
  ExpectEnd("13m", Utc(2019, 12, 15));
  ExpectEnd("24m", Utc(2019, 1, 15));
}

TEST_F(TimeSpan, YearsPull29FebruaryBack) {
  SetClock("2020-02-29 01:02:03");
  ExpectEnd("1y", Utc(2019, 2, 28, 1, 2, 3));
  ExpectEnd("4Y", Utc(2016, 2, 29, 1, 2, 3));
}

TEST_F(TimeSpan, MonthsKeepTheTimeOfDayAcrossADaylightChange) {
  TimeZone berlin("CET-1CEST,M3.5.0,M10.5.0/3");
  // 12:20:30 local summer time; in January the same local time is 11:20:30 UTC.
  SetClock("2021-05-31 10:20:30");
  ExpectEnd("4m", Utc(2021, 1, 31, 11, 20, 30));
}

TEST_F(TimeSpan, UnknownUnitLetterIsMessage104) { ExpectRefused("5w", "104 Invalid option"); }

TEST_F(TimeSpan, NonDigitBeforeTheUnitIsMessage106) {
  ExpectRefused("1x2d", "106 Out of range");
  ExpectRefused("-1d", "106 Out of range");
  ExpectRefused(" 1d", "106 Out of range");
  ExpectRefused("dd", "106 Out of range");
}

TEST_F(TimeSpan, NumberThatDoesNotFitIsMessage106) {
  ExpectRefused("2147483648d", "106 Out of range");
  ExpectRefused("99999999999999999999m", "106 Out of range");
  ExpectRefused("4294967297y", "106 Out of range");
}

TEST_F(TimeSpan, RelativeTimeBefore1970IsMessage106) {
  ExpectRefused("30000d", "106 Out of range");
  ExpectRefused("700m", "106 Out of range");
  ExpectRefused("52y", "106 Out of range");
  ExpectRefused("2147483647m", "106 Out of range");
  ExpectRefused("2147483647y", "106 Out of range");
  ExpectEnd("51y", Utc(1970, 5, 31, 10, 20, 30));
}

TEST_F(TimeSpan, DateEndsAtItsFirstSecond) {
  ExpectEnd("20210531", Utc(2021, 5, 31));
  EXPECT_EQ(endtm.tm_mday, 31);
  ExpectEnd("19700101", 0);
}

TEST_F(TimeSpan, DateIsLocalWithTheDaylightFlagOfNow) {
  TimeZone berlin("CET-1CEST,M3.5.0,M10.5.0/3");
  // Now is summer time, so the winter date is taken as 00:00:00 summer time.
  ExpectEnd("20210110", Utc(2021, 1, 9, 22, 0, 0));
  ExpectEnd("20210510", Utc(2021, 5, 9, 22, 0, 0));
}

TEST_F(TimeSpan, InvalidDatesAreMessage106) {
  ExpectRefused("20210230", "106 Out of range");  // 30 February
  ExpectRefused("20210229", "106 Out of range");
  ExpectRefused("20211301", "106 Out of range");
  ExpectRefused("20210001", "106 Out of range");
  ExpectRefused("20210100", "106 Out of range");
  ExpectRefused("2021-1-1", "106 Out of range");
  ExpectRefused("19691231", "106 Out of range");  // before 1970
}

TEST_F(TimeSpan, EndInTheFutureIsMessage106) {
  ExpectRefused("20210601", "106 Out of range");
  ExpectRefused("20210101:20210601", "106 Out of range");
}

TEST_F(TimeSpan, RangeMayHaveAnySeparator) {
  for (const char* text : {"20210101:20210131", "20210101-20210131", "20210101920210131"}) {
    EXPECT_EQ(SetTimeSpan(text), 0) << text;
    EXPECT_EQ(StartTime, Utc(2021, 1, 1)) << text;
    EXPECT_EQ(EndTime, Utc(2021, 1, 31)) << text;
  }
  EXPECT_EQ(starttm.tm_mday, 1);
  EXPECT_EQ(endtm.tm_mday, 31);
}

TEST_F(TimeSpan, RangeOfOneDay) {
  EXPECT_EQ(SetTimeSpan("20210131:20210131"), 0);
  EXPECT_EQ(StartTime, EndTime);
}

TEST_F(TimeSpan, RangeWithItsEndsExchangedIsMessage106) {
  ExpectRefused("20210131:20210101", "106 Out of range");
}

TEST_F(TimeSpan, RangeWithAnInvalidEndIsMessage106) {
  ExpectRefused("20210230:20210301", "106 Out of range");
  ExpectRefused("20210201:20210230", "106 Out of range");
}

TEST_F(TimeSpan, OtherLengthsAreMessage104) {
  for (const char* text : {"", "d", "5", "2021", "202105311", "20210101:2021013", "2021-05-31"}) {
    ExpectRefused(text, "104 Invalid option");
  }
}

TEST_F(TimeSpan, EightCharactersEndingInALetterAreARelativeTime) {
  ExpectEnd("0000001d", Utc(2021, 5, 30, 10, 20, 30));
}

TEST(Calendar, CheckTmKnowsTheMonthLengths) {
  const int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  for (int month = 1; month <= 12; ++month) {
    const struct tm last = Date(2021, month, lengths[month - 1]);
    const struct tm beyond = Date(2021, month, lengths[month - 1] + 1);
    EXPECT_EQ(CheckTm(&last), 0) << month;
    EXPECT_EQ(CheckTm(&beyond), 1) << month;
  }
}

TEST(Calendar, CheckTmKnowsLeapYears) {
  for (const int year : {1972, 2000, 2020}) {
    const struct tm date = Date(year, 2, 29);
    EXPECT_EQ(CheckTm(&date), 0) << year;
  }
  for (const int year : {1970, 2021, 2100}) {
    const struct tm date = Date(year, 2, 29);
    EXPECT_EQ(CheckTm(&date), 1) << year;
  }
}

TEST(Calendar, CheckTmRefusesWhatIsNoDate) {
  for (const struct tm& date : {Date(2021, 0, 1), Date(2021, 13, 1), Date(2021, 1, 0),
                                Date(2021, 1, -1), Date(1969, 12, 31)}) {
    EXPECT_EQ(CheckTm(&date), 1);
  }
  struct tm late = Date(2021, 1, 1);
  late.tm_hour = 99;  // the time of day is not looked at
  EXPECT_EQ(CheckTm(&late), 0);
}

TEST(Calendar, CheckAndModifyTmPullsTheDayIntoTheMonth) {
  struct tm date = Date(2021, 2, 31);
  EXPECT_EQ(CheckAndModifyTm(&date, 0), 0);
  EXPECT_EQ(date.tm_mday, 28);
  date = Date(2020, 2, 30);
  EXPECT_EQ(CheckAndModifyTm(&date, 1), 0);
  EXPECT_EQ(date.tm_mday, 29);
  date = Date(2021, 4, 30);
  EXPECT_EQ(CheckAndModifyTm(&date, 0), 0);
  EXPECT_EQ(date.tm_mday, 30);
}

TEST(Calendar, CheckAndModifyTmRefusesTheRest) {
  for (struct tm date :
       {Date(2021, 0, 1), Date(2021, 13, 1), Date(2021, 1, 0), Date(1969, 12, 31)}) {
    const int day = date.tm_mday;
    EXPECT_EQ(CheckAndModifyTm(&date, 0), 1);
    EXPECT_EQ(date.tm_mday, day);
  }
}

}  // namespace
