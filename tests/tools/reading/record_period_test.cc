// The time that a record stands for: hours, days and their pieces, in all zones.
#include "tools/reading/record_period.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/utc.h"

using namespace psltool;

namespace {

constexpr int64_t kEpoch = 0;

void SetZone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

class RecordPeriods : public testing::Test {
 protected:
  void TearDown() override { SetZone("UTC"); }
};

uint32_t At(int day, int hour, int minute = 0, int second = 0) {
  return static_cast<uint32_t>(Utc(2024, 3, day, hour, minute, second));
}

std::string Text(const RecordPeriod& period, Zone zone = Zone::kUtc) {
  return PeriodText(period, zone);
}

// What a user asks for, and whether the record is meant.
bool Chosen(const RecordPeriod& period, const std::string& from, const std::string& to, Zone zone) {
  const TimeReading first = ReadTime(from, kEpoch, zone);
  const TimeReading last = ReadTime(to, kEpoch, zone);
  EXPECT_TRUE(first.span && last.span) << from << " " << to;
  return LiesIn(period, first.span->first, last.span->last, zone);
}

TEST_F(RecordPeriods, AnIntervalBeginsWhereTheOneBeforeItEnds) {
  const RecordPeriod first = PeriodOf('L', Zone::kUtc, std::nullopt, At(4, 10, 15), At(4, 10, 30));
  EXPECT_EQ(first.begin, At(4, 10));
  EXPECT_EQ(first.end, At(4, 10, 15));
  EXPECT_EQ(Text(first), "2024-03-04 10:15:00");
  const RecordPeriod next = PeriodOf('L', Zone::kUtc, At(4, 10, 15), At(4, 10, 30), std::nullopt);
  EXPECT_EQ(next.begin, At(4, 10, 15));
  // Stamps choose: the interval is told by its end.
  EXPECT_TRUE(LiesIn(next, At(4, 10, 30), At(4, 10, 30), Zone::kUtc));
  EXPECT_FALSE(LiesIn(next, At(4, 10, 31), std::nullopt, Zone::kUtc));
}

TEST_F(RecordPeriods, ARecordOfAnHourArchiveStandsForItsHour) {
  const RecordPeriod hour = PeriodOf('H', Zone::kUtc, At(4, 9, 45), At(4, 10, 45), At(4, 11, 45));
  EXPECT_EQ(hour.begin, At(4, 10));
  EXPECT_EQ(hour.end, At(4, 11));
  EXPECT_TRUE(hour.whole);
  EXPECT_EQ(Text(hour), "2024-03-04 10:00-11:00");
  EXPECT_TRUE(Chosen(hour, "2024-03-04 10:00", "2024-03-04 10:59", Zone::kUtc));
  EXPECT_TRUE(Chosen(hour, "2024-03-04 10:00-11:00", "2024-03-04 10:00-11:00", Zone::kUtc));
  EXPECT_TRUE(Chosen(hour, "2024-03-04 09:00", "2024-03-04 11:00", Zone::kUtc));
  // Its stamp lies in the span, its first half hour does not.
  EXPECT_FALSE(Chosen(hour, "2024-03-04 10:30", "2024-03-04 11:00", Zone::kUtc));
  EXPECT_FALSE(Chosen(hour, "2024-03-04 10:00", "2024-03-04 10:45", Zone::kUtc));
  SetZone("Asia/Kolkata");
  EXPECT_EQ(Text(hour, Zone::kLocal), "2024-03-04 15:30-16:30");
}

TEST_F(RecordPeriods, PiecesOfAnHourDoNotOverlap) {
  const RecordPeriod first = PeriodOf('H', Zone::kUtc, At(4, 9, 45), At(4, 10, 15), At(4, 10, 45));
  const RecordPeriod second =
      PeriodOf('H', Zone::kUtc, At(4, 10, 15), At(4, 10, 45), At(4, 11, 45));
  EXPECT_EQ(Text(first), "2024-03-04 10:00-10:15");
  EXPECT_EQ(Text(second), "2024-03-04 10:15-11:00");
  EXPECT_EQ(first.end, second.begin);
  const RecordPeriod odd = PeriodOf('H', Zone::kUtc, At(4, 9), At(4, 10, 15, 30), At(4, 10, 45));
  EXPECT_EQ(Text(odd), "2024-03-04 10:00..10:15:30");
  // A stamp that goes back cuts nothing.
  EXPECT_TRUE(PeriodOf('H', Zone::kUtc, At(4, 10, 50), At(4, 10, 45), At(4, 10, 15)).whole);
}

TEST_F(RecordPeriods, ARecordOfADayArchiveStandsForItsDay) {
  const RecordPeriod day = PeriodOf('D', Zone::kUtc, At(3, 23, 45), At(4, 23, 45), At(5, 23, 45));
  EXPECT_EQ(day.begin, At(4, 0));
  EXPECT_EQ(day.end, At(5, 0));
  EXPECT_EQ(Text(day), "2024-03-04");
  EXPECT_FALSE(Chosen(day, "2024-03-04 10:00", "2024-03-05", Zone::kUtc));
  const RecordPeriod piece = PeriodOf('D', Zone::kUtc, At(4, 13, 45), At(4, 23, 45), At(5, 1));
  EXPECT_EQ(Text(piece), "2024-03-04 13:45-24:00");
  // The last interval of a day may end with it.
  EXPECT_EQ(Text(PeriodOf('D', Zone::kUtc, At(4, 0), At(5, 0), At(6, 0))), "2024-03-04");
}

// East of Greenwich the last stamp of a day of UTC lies on the next date: the record of the day
// before was put out for the date asked for.
TEST_F(RecordPeriods, ADateAsksForTheRecordOfThatDateInAllZones) {
  const RecordPeriod day = PeriodOf('D', Zone::kUtc, At(3, 23, 45), At(4, 23, 45), At(5, 23, 45));
  for (const char* zone : {"UTC", "Asia/Tokyo", "Europe/Berlin", "America/New_York",
                           "Pacific/Auckland", "Pacific/Kiritimati", "Pacific/Pago_Pago"}) {
    SetZone(zone);
    for (const Zone each : {Zone::kLocal, Zone::kUtc}) {
      EXPECT_TRUE(Chosen(day, "2024-03-04", "2024-03-04", each)) << zone;
      EXPECT_FALSE(Chosen(day, "2024-03-05", "2024-03-05", each)) << zone;
      EXPECT_FALSE(Chosen(day, "2024-03-03", "2024-03-03", each)) << zone;
      EXPECT_EQ(Text(day, each), "2024-03-04") << zone;
    }
  }
}

TEST_F(RecordPeriods, DaysAreAsLongAsTheirZoneHasThem) {
  SetZone("Europe/Berlin");
  const auto stamp = static_cast<uint32_t>(Utc(2024, 10, 27, 22, 45));
  const RecordPeriod day = PeriodOf('D', Zone::kLocal, std::nullopt, stamp, std::nullopt);
  EXPECT_EQ(day.end - day.begin, 25U * 3600);
  EXPECT_TRUE(Chosen(day, "2024-10-27", "2024-10-27", Zone::kLocal));
  EXPECT_TRUE(Chosen(day, "2024-10-27", "2024-10-27", Zone::kUtc));
  // Two hours from 02:00 to 03:00.
  const auto twice = static_cast<uint32_t>(Utc(2024, 10, 27, 0, 45));
  EXPECT_EQ(Text(PeriodOf('H', Zone::kLocal, {}, twice, {}), Zone::kLocal),
            "2024-10-27 02:00+02:00..02:00+01:00");
  EXPECT_EQ(Text(PeriodOf('H', Zone::kLocal, {}, twice + 3600, {}), Zone::kLocal),
            "2024-10-27 02:00+01:00..03:00+01:00");
}

// Every printed period chooses the record that it was printed for, and no other.
TEST_F(RecordPeriods, WhatIsPrintedChoosesTheRecord) {
  for (const char* zone : {"Europe/Berlin", "America/New_York", "Asia/Kolkata", "America/Havana",
                           "Australia/Lord_Howe", "UTC"}) {
    SetZone(zone);
    for (const char level : {'H', 'D'}) {
      const uint32_t step = level == 'H' ? 3600 : 86400;
      const auto start = static_cast<uint32_t>(Utc(2026, 1, 1)) - 900;
      for (uint32_t stamp = start; stamp < start + 366 * 86400; stamp += step) {
        const RecordPeriod at = PeriodOf(level, Zone::kUtc, stamp - step, stamp, stamp + step);
        const RecordPeriod next = PeriodOf(level, Zone::kUtc, stamp, stamp + step, {});
        const std::string text = PeriodText(at, Zone::kLocal);
        ASSERT_TRUE(Chosen(at, text, text, Zone::kLocal)) << zone << " " << text;
        ASSERT_FALSE(Chosen(next, text, text, Zone::kLocal)) << zone << " " << text;
        ASSERT_EQ(at.end, next.begin);
      }
    }
  }
}

TEST_F(RecordPeriods, ARecordCoversTheTimeFromTheOneBeforeIt) {
  const auto cover = [](const RecordPeriod& period) {
    const CoveredTime time = CoverOf(period);
    return std::pair(time.first, time.last);
  };
  EXPECT_EQ(cover(PeriodOf('D', Zone::kUtc, {}, At(4, 23, 45), {})),
            std::pair(At(4, 0), At(4, 23, 45)));
  EXPECT_EQ(cover(PeriodOf('H', Zone::kUtc, At(4, 9, 45), At(4, 10, 45), {})),
            std::pair(At(4, 10), At(4, 10, 45)));
  EXPECT_EQ(cover(PeriodOf('H', Zone::kUtc, At(4, 10, 15), At(4, 10, 45), {})),
            std::pair(At(4, 10, 15) + 1, At(4, 10, 45)));
  EXPECT_EQ(cover(PeriodOf('L', Zone::kUtc, At(4, 10, 15), At(4, 10, 30), {})),
            std::pair(At(4, 10, 15) + 1, At(4, 10, 30)));
  EXPECT_EQ(cover(PeriodOf('L', Zone::kUtc, {}, At(4, 10), {})), std::pair(At(4, 10), At(4, 10)));
  // What is in front of the first interval of a log is not in the log.
  EXPECT_EQ(cover(PeriodOf('L', Zone::kUtc, {}, At(4, 10, 30), {})),
            std::pair(At(4, 10, 30), At(4, 10, 30)));
  // An interval that ends with the hour before belongs to this hour, whatever follows in it.
  EXPECT_EQ(cover(PeriodOf('H', Zone::kUtc, At(4, 9, 45), At(4, 10, 15), At(4, 10, 45))),
            std::pair(At(4, 10), At(4, 10, 15)));
}

TEST_F(RecordPeriods, AMomentIsHeldByOneRecord) {
  const RecordPeriod hour = PeriodOf('H', Zone::kUtc, {}, At(4, 10, 45), {});
  EXPECT_TRUE(Holds(hour, At(4, 10)));
  EXPECT_TRUE(Holds(hour, At(4, 10, 59, 59)));
  EXPECT_FALSE(Holds(hour, At(4, 11)));
  const RecordPeriod interval = PeriodOf('L', Zone::kUtc, At(4, 10, 15), At(4, 10, 30), {});
  EXPECT_FALSE(Holds(interval, At(4, 10, 15)));
  EXPECT_TRUE(Holds(interval, At(4, 10, 30)));
}

// A day archive whose first log began at `header` with this date, and ended at `first`.
Zone DaysOf(const char* zone, int64_t header, int day, int64_t first) {
  SetZone(zone);
  std::vector<uint8_t> bytes(256, 0);
  for (int i = 0; i < 4; ++i) {
    bytes[4 + static_cast<size_t>(i)] = static_cast<uint8_t>(header >> (24 - 8 * i) & 0xFF);
  }
  bytes[132] = 124;  // 2024
  bytes[133] = 2;    // March
  bytes[134] = static_cast<uint8_t>(day);
  PslHeader file = {};
  file.revision = 0x21;
  file.level = 'D';
  return DayZoneOf(file, bytes, static_cast<uint32_t>(first), Zone::kUtc);
}

TEST_F(RecordPeriods, TheHeaderTellsTheZoneOfDays) {
  // Days of UTC, as manual runs cut them.
  EXPECT_EQ(DaysOf("Asia/Tokyo", At(4, 0), 4, At(4, 23, 45)), Zone::kUtc);
  EXPECT_EQ(DaysOf("America/New_York", At(4, 0), 4, At(4, 23, 45)), Zone::kUtc);
  // Days of Tokyo and of New York.
  EXPECT_EQ(DaysOf("Asia/Tokyo", At(3, 15), 4, At(4, 14, 45)), Zone::kLocal);
  EXPECT_EQ(DaysOf("America/New_York", At(4, 5), 4, At(5, 4, 45)), Zone::kLocal);
  // Their last interval may end at midnight.
  EXPECT_EQ(DaysOf("Asia/Tokyo", At(3, 15), 4, At(4, 15)), Zone::kLocal);
  EXPECT_EQ(DaysOf("Asia/Tokyo", At(4, 0), 4, At(5, 0)), Zone::kUtc);
}

}  // namespace
