// Nights at the edges of time: what a run at a given second makes and removes, by a clock that
// stands still. Ends of months and years, leap days, both changes of daylight saving, retention
// limits on both sides of the second.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/header_file.h"
#include "tests/support/runs/nights.h"

namespace {

using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr char kZoneOfBerlin[] = "Europe/Berlin";
constexpr char kSantiago[] = "America/Santiago";  // its clocks change at midnight

constexpr uint16_t kDays = 0;
constexpr uint16_t kMonths = 1;
constexpr uint16_t kYears = 2;

constexpr size_t kPsl = 0;
constexpr size_t kHour = 1;
constexpr size_t kDay = 2;

class PrefixNightTimes : public ::testing::Test {
 protected:
  PrefixNightTimes() { server.directory.MakeDirectory("arc/archive"); }

  void SetUp() override { SKIP_WITHOUT_PRELOADING(); }

  // The smallest files: a header of noon on that day, or on the first of that month.
  static uint32_t Noon(const std::string& date, const std::string& zone) {
    const std::string day = date.size() == 6 ? "01" : date.substr(6, 2);
    return static_cast<uint32_t>(
        LocalTimeIn(zone, date.substr(0, 4) + "-" + date.substr(4, 2) + "-" + day + " 12:00:00"));
  }
  void AddLog(const std::string& day, const std::string& zone = "UTC") {
    HeaderFile header;
    header.time = Noon(day, zone);
    server.directory.Write("arc/" + day + "a.psl", HeaderBytes(header));
  }
  void AddArchive(const std::string& date) {
    HeaderFile header;
    header.level = date.size() == 6 ? 'D' : 'H';
    header.time = Noon(date, "UTC");
    server.directory.Write("arc/archive/" + date + "a.psa", HeaderBytes(header));
  }
  std::vector<std::string> Archives() const { return server.directory.Names("arc/archive"); }

  // Archives after a run at that time, and the directory made empty again.
  std::vector<std::string> ArchivesAt(const std::string& now, const std::string& zone) {
    const ProgramResult run = RunNight(server, ClockAt(now, zone));
    EXPECT_EQ(run.status, 0) << run.err;
    const std::vector<std::string> names = Archives();
    for (const std::string& name : names) {
      std::filesystem::remove(server.directory.Path("arc/archive/" + name));
    }
    return names;
  }

  TestServer server;
};

// --- Which days and months are over ---------------------------------------------------------------

TEST_F(PrefixNightTimes, DayIsArchivedFromTheFirstSecondAfterIt) {
  AddLog("20230605");
  AddLog("20230606");
  EXPECT_THAT(ArchivesAt("2023-06-06 00:00:00", "UTC"), UnorderedElementsAre("20230605a.psa"));
  EXPECT_THAT(ArchivesAt("2023-06-06 23:59:59", "UTC"), UnorderedElementsAre("20230605a.psa"));
  EXPECT_THAT(ArchivesAt("2023-06-07 00:00:00", "UTC"),
              UnorderedElementsAre("20230605a.psa", "20230606a.psa"));
  EXPECT_THAT(ArchivesAt("2023-06-05 23:59:59", "UTC"), IsEmpty());
}

TEST_F(PrefixNightTimes, MonthIsArchivedFromTheFirstSecondAfterIt) {
  AddLog("20230630");
  AddLog("20230701");
  EXPECT_THAT(ArchivesAt("2023-06-30 23:59:59", "UTC"), IsEmpty());
  EXPECT_THAT(ArchivesAt("2023-07-01 00:00:00", "UTC"),
              UnorderedElementsAre("202306a.psa", "20230630a.psa"));
  EXPECT_THAT(ArchivesAt("2023-07-31 23:59:59", "UTC"),
              UnorderedElementsAre("202306a.psa", "20230630a.psa", "20230701a.psa"));
}

TEST_F(PrefixNightTimes, FebruaryEndsWithItsLeapDay) {
  AddLog("20240228");
  AddLog("20240229");
  EXPECT_THAT(ArchivesAt("2024-02-29 00:00:00", "UTC"), UnorderedElementsAre("20240228a.psa"));
  EXPECT_THAT(ArchivesAt("2024-02-29 23:59:59", "UTC"), UnorderedElementsAre("20240228a.psa"));
  EXPECT_THAT(ArchivesAt("2024-03-01 00:00:00", "UTC"),
              UnorderedElementsAre("202402a.psa", "20240228a.psa", "20240229a.psa"));
}

TEST_F(PrefixNightTimes, FebruaryEndsAfter28DaysInOtherYears) {
  AddLog("20230228");
  EXPECT_THAT(ArchivesAt("2023-02-28 23:59:59", "UTC"), IsEmpty());
  EXPECT_THAT(ArchivesAt("2023-03-01 00:00:00", "UTC"),
              UnorderedElementsAre("202302a.psa", "20230228a.psa"));
}

TEST_F(PrefixNightTimes, YearEnds) {
  AddLog("20231231");
  EXPECT_THAT(ArchivesAt("2023-12-31 23:59:59", "UTC"), IsEmpty());
  EXPECT_THAT(ArchivesAt("2024-01-01 00:00:00", "UTC"),
              UnorderedElementsAre("202312a.psa", "20231231a.psa"));
}

TEST_F(PrefixNightTimes, DayOfTheSpringChangeEndsAtItsMidnight) {
  AddLog("20240330", kZoneOfBerlin);
  AddLog("20240331", kZoneOfBerlin);
  EXPECT_THAT(ArchivesAt("2024-03-31 00:00:00", kZoneOfBerlin),
              UnorderedElementsAre("20240330a.psa"));
  EXPECT_THAT(ArchivesAt("2024-03-31 03:00:00", kZoneOfBerlin),
              UnorderedElementsAre("20240330a.psa"));
  EXPECT_THAT(ArchivesAt("2024-03-31 23:59:59", kZoneOfBerlin),
              UnorderedElementsAre("20240330a.psa"));
  EXPECT_THAT(ArchivesAt("2024-04-01 00:00:00", kZoneOfBerlin),
              UnorderedElementsAre("202403a.psa", "20240330a.psa", "20240331a.psa"));
}

TEST_F(PrefixNightTimes, DayOfTheAutumnChangeEndsAtItsMidnight) {
  AddLog("20241026", kZoneOfBerlin);
  AddLog("20241027", kZoneOfBerlin);
  EXPECT_THAT(ArchivesAt("2024-10-27 00:00:00", kZoneOfBerlin),
              UnorderedElementsAre("20241026a.psa"));
  EXPECT_THAT(ArchivesAt("2024-10-27 23:59:59", kZoneOfBerlin),
              UnorderedElementsAre("20241026a.psa"));
  EXPECT_THAT(ArchivesAt("2024-10-28 00:00:00", kZoneOfBerlin),
              UnorderedElementsAre("20241026a.psa", "20241027a.psa"));
}

TEST_F(PrefixNightTimes, RunsInTheHourThatComesTwiceMakeTheSame) {
  AddLog("20241026", kZoneOfBerlin);
  AddLog("20241027", kZoneOfBerlin);
  const int64_t two_in_summer = LocalTimeIn(kZoneOfBerlin, "2024-10-27 01:59:59") + 1;
  for (const int64_t now : {two_in_summer + 1800, two_in_summer + 3600 + 1800}) {
    ASSERT_EQ(RunNight(server, {now, kZoneOfBerlin}).status, 0);
    EXPECT_THAT(Archives(), UnorderedElementsAre("20241026a.psa"));
    std::filesystem::remove(server.directory.Path("arc/archive/20241026a.psa"));
  }
}

TEST_F(PrefixNightTimes, DayThatBeginsAtOneIsNotTakenBeforeItsEnd) {
  // On this day 00:00:00 does not exist.
  AddLog("20240907", kSantiago);
  AddLog("20240908", kSantiago);
  EXPECT_THAT(ArchivesAt("2024-09-08 01:00:00", kSantiago), UnorderedElementsAre("20240907a.psa"));
  EXPECT_THAT(ArchivesAt("2024-09-08 23:59:59", kSantiago), UnorderedElementsAre("20240907a.psa"));
  EXPECT_THAT(ArchivesAt("2024-09-09 00:00:00", kSantiago),
              UnorderedElementsAre("20240907a.psa", "20240908a.psa"));
}

// On the eve of this day 23:00 is followed by midnight: "yesterday 23:59:59" is a time of today.
TEST_F(PrefixNightTimes, DayThatBeginsAnHourEarlyIsNotTakenBeforeItsEnd) {
  constexpr char kNuuk[] = "America/Nuuk";
  AddLog("20260328", kNuuk);
  AddLog("20260329", kNuuk);
  EXPECT_THAT(ArchivesAt("2026-03-28 22:59:59", kNuuk), IsEmpty());
  EXPECT_THAT(ArchivesAt("2026-03-29 00:00:00", kNuuk), UnorderedElementsAre("20260328a.psa"));
  EXPECT_THAT(ArchivesAt("2026-03-29 00:30:00", kNuuk), UnorderedElementsAre("20260328a.psa"));
  EXPECT_THAT(ArchivesAt("2026-03-29 23:59:59", kNuuk), UnorderedElementsAre("20260328a.psa"));
  EXPECT_THAT(ArchivesAt("2026-03-30 00:00:00", kNuuk),
              UnorderedElementsAre("20260328a.psa", "20260329a.psa"));
}

// Statistics records of a file.
int RecordsOf(const std::string& bytes) {
  int count = 0;
  for (size_t at = 0; at + 12 <= bytes.size();) {
    uint32_t length = 0;
    for (size_t i = 8; i < 12; ++i) length = length << 8 | static_cast<uint8_t>(bytes[at + i]);
    if (length < 12) return -1;
    count += bytes.compare(at, 3, "STA") == 0 ? 1 : 0;
    at += length;
  }
  return count;
}

TEST_F(PrefixNightTimes, DaysOfAChangeHave23And25Hours) {
  for (const char* day : {"2024-03-30", "2024-03-31", "2024-10-27"}) {
    MakeLogs(server.directory.Path("arc"), {"--name", "b", "--local", "--start", day},
             kZoneOfBerlin);
  }
  ASSERT_EQ(RunNight(server, ClockAt("2024-10-28 00:30:00", kZoneOfBerlin)).status, 0);
  EXPECT_EQ(RecordsOf(server.directory.Read("arc/archive/20240330b.psa")), 24);
  EXPECT_EQ(RecordsOf(server.directory.Read("arc/archive/20240331b.psa")), 23);
  EXPECT_EQ(RecordsOf(server.directory.Read("arc/archive/20241027b.psa")), 25);
}

// --- Retention: selection -------------------------------------------------------------------------

TEST_F(PrefixNightTimes, LogThatWouldExpireAtOnceIsNotArchived) {
  server.segment.PutRetention(kHour, 1, kMonths);
  AddLog("20240228");
  // The day archive is made in any case, from the log itself when there is no hour archive.
  EXPECT_THAT(ArchivesAt("2024-03-28 23:59:59", "UTC"),
              UnorderedElementsAre("20240228a.psa", "202402a.psa"));
  EXPECT_THAT(ArchivesAt("2024-03-29 00:00:00", "UTC"), UnorderedElementsAre("202402a.psa"));
}

TEST_F(PrefixNightTimes, MonthThatWouldExpireAtOnceIsNotArchived) {
  server.segment.PutRetention(kDay, 2, kMonths);
  AddArchive("20231231");
  EXPECT_EQ(RunNight(server, ClockAt("2024-03-01 00:00:00")).status, 0);
  EXPECT_THAT(Archives(), UnorderedElementsAre("20231231a.psa"));
  EXPECT_EQ(RunNight(server, ClockAt("2024-02-29 23:59:59")).status, 0);
  EXPECT_THAT(Archives(), UnorderedElementsAre("202312a.psa", "20231231a.psa"));
}

// --- Retention: removal ---------------------------------------------------------------------------

struct Expiry {
  const char* name;
  size_t retention_class;
  uint16_t count;
  uint16_t unit;
  const char* zone;
  const char* date;      // of the file
  const char* last;      // the last second at which a run keeps it
  const char* removing;  // the second after
};

void PrintTo(const Expiry& expiry, std::ostream* out) { *out << expiry.name; }

class PrefixExpiry : public PrefixNightTimes, public ::testing::WithParamInterface<Expiry> {
 protected:
  std::string Path() const {
    return std::string(GetParam().retention_class == kPsl ? "arc/" : "arc/archive/") +
           GetParam().date + (GetParam().retention_class == kPsl ? "a.psl" : "a.psa");
  }
};

TEST_P(PrefixExpiry, ToTheSecond) {
  const Expiry& expiry = GetParam();
  server.segment.PutArchivingSwitch(0);
  server.segment.PutRetention(expiry.retention_class, expiry.count, expiry.unit);
  if (expiry.retention_class == kPsl) {
    AddLog(expiry.date, expiry.zone);
  } else {
    AddArchive(expiry.date);
  }
  const Clock last = ClockAt(expiry.last, expiry.zone);
  const Clock removing = ClockAt(expiry.removing, expiry.zone);
  ASSERT_EQ(last.now + 1, removing.now);
  ASSERT_EQ(RunNight(server, last).status, 0);
  EXPECT_TRUE(server.directory.Exists(Path())) << expiry.last;
  ASSERT_EQ(RunNight(server, removing).status, 0);
  EXPECT_FALSE(server.directory.Exists(Path())) << expiry.removing;
}

constexpr Expiry kExpiries[] = {
    {"LogOfOneDay", kPsl, 1, kDays, "UTC", "20240228", "2024-02-29 23:59:59",
     "2024-03-01 00:00:00"},
    {"LogOf366Days", kPsl, 366, kDays, "UTC", "20230301", "2024-03-01 23:59:59",
     "2024-03-02 00:00:00"},
    {"LogOfAMonth", kPsl, 1, kMonths, "UTC", "20240228", "2024-03-28 23:59:59",
     "2024-03-29 00:00:00"},
    // From the 29th to the 31st of March the limit stays on the last day of February.
    {"LogOfAMonthFromALeapDay", kPsl, 1, kMonths, "UTC", "20240229", "2024-03-31 23:59:59",
     "2024-04-01 00:00:00"},
    {"LogOfAMonthFromThe28th", kPsl, 1, kMonths, "UTC", "20230228", "2023-03-31 23:59:59",
     "2023-04-01 00:00:00"},
    {"LogOfAMonthOverTheNewYear", kPsl, 2, kMonths, "UTC", "20231130", "2024-01-31 23:59:59",
     "2024-02-01 00:00:00"},
    // A year before 29 February is 1 March.
    {"LogOfAYearOnALeapDay", kPsl, 1, kYears, "UTC", "20230228", "2024-02-28 23:59:59",
     "2024-02-29 00:00:00"},
    {"HourArchiveOf24Months", kHour, 24, kMonths, "UTC", "20220315", "2024-03-15 23:59:59",
     "2024-03-16 00:00:00"},
    {"HourArchiveOfTwoYears", kHour, 2, kYears, "UTC", "20220228", "2024-02-28 23:59:59",
     "2024-02-29 00:00:00"},
    {"DayArchiveOfAMonth", kDay, 1, kMonths, "UTC", "202401", "2024-02-29 23:59:59",
     "2024-03-01 00:00:00"},
    {"DayArchiveOfAYearOnALeapDay", kDay, 1, kYears, "UTC", "202302", "2024-02-28 23:59:59",
     "2024-02-29 00:00:00"},
    {"LogOfOneDayInSpring", kPsl, 1, kDays, kZoneOfBerlin, "20240330", "2024-03-31 23:59:59",
     "2024-04-01 00:00:00"},
    {"LogOfOneDayInAutumn", kPsl, 1, kDays, kZoneOfBerlin, "20241026", "2024-10-27 23:59:59",
     "2024-10-28 00:00:00"},
    {"LogOf14DaysOverTheSpringChange", kPsl, 14, kDays, kZoneOfBerlin, "20240320",
     "2024-04-03 23:59:59", "2024-04-04 00:00:00"},
    {"LogOf14DaysOverTheAutumnChange", kPsl, 14, kDays, kZoneOfBerlin, "20241020",
     "2024-11-03 23:59:59", "2024-11-04 00:00:00"},
    {"LogOfAMonthOverTheSpringChange", kPsl, 1, kMonths, kZoneOfBerlin, "20240309",
     "2024-04-09 23:59:59", "2024-04-10 00:00:00"},
    // In winter the end of a day in summer is taken an hour late, behind the limit's midnight.
    {"LogOfAMonthOverTheAutumnChange", kPsl, 1, kMonths, kZoneOfBerlin, "20241009",
     "2024-11-10 23:59:59", "2024-11-11 00:00:00"},
    {"HourArchiveOverTheSpringChange", kHour, 1, kMonths, kZoneOfBerlin, "20240309",
     "2024-04-09 23:59:59", "2024-04-10 00:00:00"},
    {"HourArchiveOverTheAutumnChange", kHour, 1, kMonths, kZoneOfBerlin, "20241009",
     "2024-11-09 23:59:59", "2024-11-10 00:00:00"},
    {"DayArchiveOverTheAutumnChange", kDay, 2, kMonths, kZoneOfBerlin, "202408",
     "2024-10-31 23:59:59", "2024-11-01 00:00:00"},
};

INSTANTIATE_TEST_SUITE_P(Prefix, PrefixExpiry, ::testing::ValuesIn(kExpiries),
                         [](const auto& test) { return test.param.name; });

}  // namespace
