// Which days are over, in every time zone: at no moment does a run of either level take a log dated
// today, and at every moment it takes yesterday's (of the day level: that of the last day of the
// month before). Once, where the clock skips the last hour of a day, the period ended in the day
// that had just begun: its log was archived with half an hour in it, and the rest was lost.
//
// The test walks a part of the zones and years. QELPRFARC_ALL_ZONES=1 in the environment makes it
// walk all of them, every day of 1970 to 2037 (some minutes).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "logdir/autorules.h"
#include "report/runinfo.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

namespace {

namespace fs = std::filesystem;

constexpr char kZoneFiles[] = "/usr/share/zoneinfo";
constexpr int64_t kHour = 3600;
constexpr int64_t kStep = 6 * kHour;

int64_t YearBegin(int year) {
  tm date{};
  date.tm_year = year - 1900;
  date.tm_mday = 1;
  return timegm(&date);
}

// One name of each zone that differs from all others.
std::vector<std::string> Zones() {
  std::map<std::string, std::string> by_content;
  if (!fs::exists(kZoneFiles)) return {};
  for (const auto& entry : fs::recursive_directory_iterator(kZoneFiles)) {
    const std::string path = entry.path().string();
    const std::string name = path.substr(sizeof kZoneFiles);
    if (entry.is_directory() || name.starts_with("posix/") || name.starts_with("right/")) continue;
    const std::string bytes = TempDir::ReadFile(path);
    if (!bytes.starts_with("TZif")) continue;
    std::string& known = by_content[bytes];
    if (known.empty() || name < known) known = name;
  }
  std::vector<std::string> names;
  for (const auto& [bytes, name] : by_content) names.push_back(name);
  std::sort(names.begin(), names.end());
  return names;
}

tm LocalAt(int64_t time) {
  const time_t value = time;
  tm local{};
  localtime_r(&value, &local);
  return local;
}

struct Day {
  int year;
  int month;
  int day;
  bool operator==(const Day&) const = default;
  std::string LogName() const {
    char name[40];
    snprintf(name, sizeof name, "%04d%02d%02da.psl", year, month, day);
    return name;
  }
};

Day DayAt(int64_t time) {
  const tm local = LocalAt(time);
  return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday};
}

class PeriodZones : public ::testing::Test {
 protected:
  PeriodZones() { ResetRunState(); }
  ~PeriodZones() override { ResetRunState(); }

  // Behind a log of winter and behind one of summer: which of two midnights the C library means may
  // hang on the time that it converted last.
  static bool Judges(char level, const Day& day, AutoVerdict expected) {
    const std::string name = day.LogName();
    const std::string year = name.substr(0, 4);
    AutoSelection selection;
    JudgeLogs(PeriodOfRun(level, RunLimits()),
              {{year + "0115b.psl", name, year + "0715b.psl", name}, {}}, &selection);
    return selection.logs.at(1).verdict == expected && selection.logs.at(3).verdict == expected;
  }

  void Check(int64_t now) {
    for (auto& span : arcdelinfo.savetime) span.now = now;
    const Day today = DayAt(now);
    ++moments_;
    Expect('H', today, AutoVerdict::kNotOver, now);
    Expect('D', today, AutoVerdict::kNotOver, now);
    // The day before in this place, whatever the calendar says: some days were left out.
    Day before = today;
    for (int64_t back = now; before == today; back -= kStep) before = DayAt(back);
    Expect('H', before, AutoVerdict::kTarget, now);
    Expect('D', before, before.month == today.month ? AutoVerdict::kNotOver : AutoVerdict::kTarget,
           now);
  }

  void Expect(char level, const Day& day, AutoVerdict expected, int64_t now) {
    if (day.year < 1970 || Judges(level, day, expected)) return;
    if (++failures_ > 20) return;
    const tm local = LocalAt(now);
    char text[80];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %z", &local);
    ADD_FAILURE() << zone_ << ", run of level " << level << " at " << text << " (" << now
                  << "): " << day.LogName();
  }

  // Around the moment between `early` and `late` at which the clock changes.
  void CheckChange(int64_t early, int64_t late) {
    const long before = LocalAt(early).tm_gmtoff;
    while (late - early > 1) {
      const int64_t middle = early + (late - early) / 2;
      (LocalAt(middle).tm_gmtoff == before ? early : late) = middle;
    }
    ++changes_;
    for (const int64_t distance : {int64_t{1}, int64_t{59}, int64_t{60}, kHour / 2, kHour - 1,
                                   kHour, kHour + kHour / 2, 2 * kHour, 5 * kHour}) {
      Check(late - distance);
      Check(late + distance - 1);
    }
  }

  void Walk(const std::string& zone, int first_year, int last_year) {
    const TimeZone in_force(zone.c_str());
    zone_ = zone;
    long offset = LocalAt(YearBegin(first_year)).tm_gmtoff;
    for (int64_t now = YearBegin(first_year) + kStep; now < YearBegin(last_year + 1);
         now += kStep) {
      Check(now);
      const long here = LocalAt(now).tm_gmtoff;
      if (here != offset) CheckChange(now - kStep, now);
      offset = here;
    }
  }

  std::string zone_;
  int64_t moments_ = 0;
  int changes_ = 0;
  int failures_ = 0;
};

TEST_F(PeriodZones, LogOfTodayIsNeverTakenAndThatOfYesterdayAlways) {
  const std::vector<std::string> zones = Zones();
  if (zones.empty()) GTEST_SKIP() << "no time zones in " << kZoneFiles;
  const bool all = getenv("QELPRFARC_ALL_ZONES") != nullptr;
  for (size_t i = 0; i < zones.size(); ++i) {
    if (all) {
      Walk(zones[i], 1970, 2037);
    } else {
      if (i % 2 == 0) Walk(zones[i], 2026, 2026);
      if (i % 4 != 0) continue;
      const int year = 1970 + static_cast<int>(i % 68);
      Walk(zones[i], year, year);
    }
  }
  // Clocks that skip or repeat a midnight, and a day that a zone left out.
  for (const char* zone :
       {"America/Nuuk", "America/Scoresbysund", "America/Santiago", "America/Havana",
        "America/St_Johns", "Atlantic/Azores", "Africa/Cairo", "Asia/Beirut", "Pacific/Apia"}) {
    Walk(zone, 2011, 2011);
    Walk(zone, 2026, 2026);
  }
  EXPECT_GT(zones.size(), 200u);
  EXPECT_GT(changes_, 200);
  printf("%zu zones, %lld moments, %d changes of the clock\n", zones.size(),
         static_cast<long long>(moments_), changes_);
}

}  // namespace
