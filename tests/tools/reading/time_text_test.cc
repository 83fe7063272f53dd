// Time texts: what each form asks for, as a function of text, now and zone.
#include "tools/reading/time_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "tests/support/utc.h"

using namespace psltool;

namespace {

// The zone of this process, while it lives.
class LocalZone {
 public:
  explicit LocalZone(const char* zone) {
    const char* const was = getenv("TZ");
    if (was != nullptr) was_ = was;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~LocalZone() {
    setenv("TZ", was_.c_str(), 1);
    tzset();
  }
  LocalZone(const LocalZone&) = delete;
  LocalZone& operator=(const LocalZone&) = delete;

 private:
  std::string was_ = "UTC";
};

// A Thursday.
const int64_t kNow = Utc(2024, 3, 7, 14, 30, 20);

std::string Read(const std::string& text, Zone zone = Zone::kUtc, int64_t now = kNow) {
  const TimeReading reading = ReadTime(text, now, zone);
  if (!reading.span) return reading.why;
  return IsoTimeText(reading.span->first, Zone::kUtc) + " to " +
         IsoTimeText(reading.span->last, Zone::kUtc);
}

struct Asked {
  const char* text;
  const char* first;
  const char* last;
};

TEST(TimeText, EveryFormAsksForItsSpan) {
  const std::vector<Asked> all = {
      {"2024-03-04", "2024-03-04T00:00:00Z", "2024-03-04T23:59:59Z"},
      {"2024/03/04", "2024-03-04T00:00:00Z", "2024-03-04T23:59:59Z"},
      {"20240304", "2024-03-04T00:00:00Z", "2024-03-04T23:59:59Z"},
      {"2024-02", "2024-02-01T00:00:00Z", "2024-02-29T23:59:59Z"},
      {"202402", "2024-02-01T00:00:00Z", "2024-02-29T23:59:59Z"},
      {"2024", "2024-01-01T00:00:00Z", "2024-12-31T23:59:59Z"},
      {"2024-03-04 10:05", "2024-03-04T10:05:00Z", "2024-03-04T10:05:59Z"},
      {"2024-03-04T10:05:30", "2024-03-04T10:05:30Z", "2024-03-04T10:05:30Z"},
      {"2024/03/04 10:05:30.250", "2024-03-04T10:05:30Z", "2024-03-04T10:05:30Z"},
      {" 2024-03-04   at 9:05 ", "2024-03-04T09:05:00Z", "2024-03-04T09:05:59Z"},
      {"2024-03-04 24:00", "2024-03-05T00:00:00Z", "2024-03-05T00:00:00Z"},
      {"2024-03-04 10:00-11:00", "2024-03-04T10:00:00Z", "2024-03-04T10:59:59Z"},
      {"2024-03-04 13:45-24:00", "2024-03-04T13:45:00Z", "2024-03-04T23:59:59Z"},
      {"2024-03-04 23:30-00:30", "2024-03-04T23:30:00Z", "2024-03-05T00:29:59Z"},
      {"2024-03-04 10:00..10:15:30", "2024-03-04T10:00:00Z", "2024-03-04T10:15:29Z"},
      {"2024-03-04 01:00-04:00..01:00-05:00", "2024-03-04T05:00:00Z", "2024-03-04T05:59:59Z"},
      {"2024-03-04T10:05:00+01:00", "2024-03-04T09:05:00Z", "2024-03-04T09:05:00Z"},
      {"2024-03-04T10:05:00Z", "2024-03-04T10:05:00Z", "2024-03-04T10:05:00Z"},
      {"2024-03-04 10:05:00 UTC", "2024-03-04T10:05:00Z", "2024-03-04T10:05:00Z"},
      {"2024-03-04T10:05-0530", "2024-03-04T15:35:00Z", "2024-03-04T15:35:59Z"},
      {"10:00", "2024-03-07T10:00:00Z", "2024-03-07T10:00:59Z"},
      {"10:00-11:00", "2024-03-07T10:00:00Z", "2024-03-07T10:59:59Z"},
      {"now", "2024-03-07T14:30:20Z", "2024-03-07T14:30:20Z"},
      {"today", "2024-03-07T00:00:00Z", "2024-03-07T23:59:59Z"},
      {"Yesterday", "2024-03-06T00:00:00Z", "2024-03-06T23:59:59Z"},
      {"yesterday 10:00", "2024-03-06T10:00:00Z", "2024-03-06T10:00:59Z"},
      {"thursday", "2024-03-07T00:00:00Z", "2024-03-07T23:59:59Z"},
      {"last thursday", "2024-02-29T00:00:00Z", "2024-02-29T23:59:59Z"},
      {"friday", "2024-03-01T00:00:00Z", "2024-03-01T23:59:59Z"},
      {"monday 08:00", "2024-03-04T08:00:00Z", "2024-03-04T08:00:59Z"},
      {"this week", "2024-03-04T00:00:00Z", "2024-03-10T23:59:59Z"},
      {"last week", "2024-02-26T00:00:00Z", "2024-03-03T23:59:59Z"},
      {"last month", "2024-02-01T00:00:00Z", "2024-02-29T23:59:59Z"},
      {"this year", "2024-01-01T00:00:00Z", "2024-12-31T23:59:59Z"},
      {"last hour", "2024-03-07T13:00:00Z", "2024-03-07T13:59:59Z"},
      {"last 7 days", "2024-02-29T14:30:20Z", "2024-03-07T14:30:20Z"},
      {"last 90min", "2024-03-07T13:00:20Z", "2024-03-07T14:30:20Z"},
      {"-7d", "2024-02-29T14:30:20Z", "2024-02-29T14:30:20Z"},
      {"-36h", "2024-03-06T02:30:20Z", "2024-03-06T02:30:20Z"},
      {"-1m", "2024-02-07T14:30:20Z", "2024-02-07T14:30:20Z"},
      {"-2w", "2024-02-22T14:30:20Z", "2024-02-22T14:30:20Z"},
      {"3 days ago", "2024-03-04T14:30:20Z", "2024-03-04T14:30:20Z"},
      {"1 year ago", "2023-03-07T14:30:20Z", "2023-03-07T14:30:20Z"},
      {"@1709546700", "2024-03-04T10:05:00Z", "2024-03-04T10:05:00Z"},
      {"1709546700", "2024-03-04T10:05:00Z", "2024-03-04T10:05:00Z"},
      {"@0", "1970-01-01T00:00:00Z", "1970-01-01T00:00:00Z"},
  };
  for (const Asked& asked : all) {
    EXPECT_EQ(Read(asked.text), std::string(asked.first) + " to " + asked.last) << asked.text;
  }
}

TEST(TimeText, MonthsThatAreShorterEndAtTheirLastDay) {
  EXPECT_EQ(Read("-1m", Zone::kUtc, Utc(2024, 3, 31, 8)),
            "2024-02-29T08:00:00Z to 2024-02-29T08:00:00Z");
  EXPECT_EQ(Read("1 year ago", Zone::kUtc, Utc(2024, 2, 29)),
            "2023-02-28T00:00:00Z to 2023-02-28T00:00:00Z");
}

// It was taken for a text of another form.
TEST(TimeText, WhatIsNoDayIsToldSo) {
  EXPECT_EQ(Read("2024-02-30"), "'2024-02-30' is no day: February 2024 has 29 days");
  EXPECT_EQ(Read("20230229 10:00"), "'20230229 10:00' is no day: February 2023 has 28 days");
  EXPECT_EQ(Read("2024-13-01"), "'2024-13-01' is no day: there is no month 13");
  EXPECT_EQ(Read("2024-03-04 25:00"), "'2024-03-04 25:00': there is no 25:00 in a day");
  EXPECT_EQ(Read("10:60"), "'10:60': there is no 10:60 in a day");
  EXPECT_EQ(Read("1969-12-31"), "'1969-12-31' does not lie between 1970 and 2106");
  EXPECT_EQ(Read("2107"), "'2107' does not lie between 1970 and 2106");
  EXPECT_EQ(Read("@4294967296"), "'@4294967296' does not lie between 1970 and 2106");
  EXPECT_EQ(Read("-100y"), "'-100y' does not lie between 1970 and 2106");
  EXPECT_EQ(Read("-999999999w"), "'-999999999w' does not lie between 1970 and 2106");
}

TEST(TimeText, OtherTextsAreNoTimes) {
  for (const char* text : {"",
                           " ",
                           "soon",
                           "7",
                           "-7",
                           "-d",
                           "2024-3-4",
                           "2024-03-04x",
                           "2024-03-04 10",
                           "10:5",
                           "2024-03 10:00",
                           "last",
                           "last 7",
                           "last second",
                           "yesterdays",
                           "@",
                           "@12x",
                           "@-5",
                           "2024-03-04 10:00-",
                           "2024-03-04T10:00:00+",
                           "2024-03-04T10:00:00+1",
                           "10:00 10:00"}) {
    EXPECT_EQ(Read(text), "'" + std::string(text) +
                              "' is no time like 2024-03-04, \"2024-03-04 10:05\", 10:05, "
                              "yesterday, -7d or \"last week\"");
  }
}

// In the night of 27 October 2024 clocks in Berlin went from 03:00 back to 02:00.
TEST(TimeText, HoursThatExistTwiceCanBeAskedForOneByOne) {
  const LocalZone berlin("Europe/Berlin");
  const auto read = [](const std::string& text) { return Read(text, Zone::kLocal); };
  EXPECT_EQ(read("2024-10-27 02:30"), "2024-10-27T00:30:00Z to 2024-10-27T01:30:59Z");
  EXPECT_EQ(read("2024-10-27 02:30+02:00"), "2024-10-27T00:30:00Z to 2024-10-27T00:30:59Z");
  EXPECT_EQ(read("2024-10-27 02:30 CEST"), "2024-10-27T00:30:00Z to 2024-10-27T00:30:59Z");
  EXPECT_EQ(read("2024-10-27 02:30 cet"), "2024-10-27T01:30:00Z to 2024-10-27T01:30:59Z");
  EXPECT_EQ(read("2024-10-27 02:00+02:00..02:00+01:00"),
            "2024-10-27T00:00:00Z to 2024-10-27T00:59:59Z");
  EXPECT_EQ(read("2024-10-27"), "2024-10-26T22:00:00Z to 2024-10-27T22:59:59Z");
  EXPECT_EQ(read("2024-10-28 02:30 CEST"),
            "'2024-10-28 02:30 CEST': clocks here show no 'cest' then; a zone is told as Z, UTC or "
            "+02:00");
  // The tool prints which of the two it is.
  const auto first = static_cast<uint32_t>(Utc(2024, 10, 27, 0, 30));
  EXPECT_EQ(TimeText(first, Zone::kLocal), "2024-10-27 02:30:00+02:00");
  EXPECT_EQ(TimeText(first + 3600, Zone::kLocal), "2024-10-27 02:30:00+01:00");
  EXPECT_EQ(TimeText(first + 7200, Zone::kLocal), "2024-10-27 03:30:00");
}

TEST(TimeText, ReadingsThatClocksSkipAreTheMomentOfTheChange) {
  const LocalZone berlin("Europe/Berlin");
  EXPECT_EQ(Read("2024-03-31 02:30", Zone::kLocal), "2024-03-31T01:00:00Z to 2024-03-31T01:00:00Z");
  EXPECT_EQ(Read("2024-03-31", Zone::kLocal), "2024-03-30T23:00:00Z to 2024-03-31T21:59:59Z");
}

// On 8 March 2026 the first hour of the day does not exist in Havana; such days were refused.
TEST(TimeText, ADayMayBeginAtOne) {
  const LocalZone havana("America/Havana");
  EXPECT_EQ(Read("2026-03-08", Zone::kLocal), "2026-03-08T05:00:00Z to 2026-03-09T03:59:59Z");
  // And on 1 November the hour from 00:00 exists twice.
  EXPECT_EQ(Read("2026-11-01", Zone::kLocal), "2026-11-01T04:00:00Z to 2026-11-02T04:59:59Z");
}

// What is printed is read again as the second that it was, over all changes of a year.
TEST(TimeText, WhatIsPrintedIsRead) {
  for (const char* zone : {"Europe/Berlin", "America/New_York", "Asia/Kolkata", "America/Havana",
                           "Australia/Lord_Howe", "America/Nuuk", "Pacific/Auckland", "UTC"}) {
    const LocalZone local(zone);
    const auto start = static_cast<uint32_t>(Utc(2026, 1, 1));
    for (uint32_t stamp = start; stamp < start + 366 * 86400; stamp += 1741) {
      for (const Zone each : {Zone::kLocal, Zone::kUtc}) {
        for (const std::string& text : {TimeText(stamp, each), IsoTimeText(stamp, each)}) {
          const TimeReading reading = ReadTime(text, kNow, each);
          ASSERT_TRUE(reading.span) << zone << " " << text << " " << reading.why;
          ASSERT_EQ(reading.span->first, stamp) << zone << " " << text;
          ASSERT_EQ(reading.span->last, stamp) << zone << " " << text;
        }
      }
    }
  }
}

}  // namespace
