// Limits of the retention classes as a value, and the moment from which on a file is removed.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "archiver/removal.h"
#include "logdir/autotarget.h"
#include "logdir/limits.h"
#include "logdir/timespan.h"
#include "report/runinfo.h"
#include "tests/support/run_state.h"
#include "tests/support/runs/nights.h"
#include "tools/running/health.h"

using namespace psltool;

namespace {

constexpr int32_t kDays = 0x10000000;
constexpr int32_t kMonths = 0x20000000;
constexpr int32_t kYears = 0x40000000;

class LimitsValue : public ::testing::Test {
 protected:
  LimitsValue() { ResetRunState(); }
  ~LimitsValue() override {
    clock_hook = nullptr;
    ResetRunState();
  }

  static AutoProbe SoundOf(int level) {
    return {[level](const char*) { return level; }, [](const char*) { return 0; }};
  }
  static bool LogIsRemoved(const char* name, const RetentionCodes& codes, int64_t time) {
    const Limits limits = LimitsAt(codes, time);
    return IsRemoved(JudgeLogRemoval(name, LocalTime(time).tm_isdst, SoundOf(0), limits));
  }
  static bool ArchiveIsRemoved(const char* name, int level, const RetentionCodes& codes,
                               int64_t time) {
    return IsRemoved(JudgeArchiveRemoval(name, SoundOf(level), LimitsAt(codes, time)));
  }
};

TEST_F(LimitsValue, KnownMoments) {
  const TimeZone zone("Europe/Berlin");
  const auto at = [](const char* text) { return LocalTimeIn("Europe/Berlin", text); };
  EXPECT_EQ(LogExpiry("20240301a.psl", {kDays + 30, 0, 0}), at("2024-04-01 00:00:00"))
      << "30 times 24 hours, the log dated with the daylight flag of the run";
  EXPECT_EQ(LogExpiry("20240401a.psl", {kDays + 3, 0, 0}), at("2024-04-05 00:00:00"));
  EXPECT_EQ(LogExpiry("20240129a.psl", {kMonths + 1, 0, 0}), at("2024-03-01 00:00:00"))
      << "there is no 30 February";
  EXPECT_EQ(ArchiveExpiry("20240229a.psa", 1, {0, kMonths + 12, 0}), at("2025-03-01 00:00:00"));
  EXPECT_EQ(ArchiveExpiry("202401a.psa", 2, {0, 0, kMonths + 1}), at("2024-03-01 00:00:00"));
  EXPECT_EQ(ArchiveExpiry("202401a.psa", 2, {0, 0, kYears + 2}), at("2026-02-01 00:00:00"));
}

TEST_F(LimitsValue, WhatIsKeptForEverNeverExpires) {
  EXPECT_EQ(LogExpiry("20240301a.psl", {0, kMonths + 1, kMonths + 1}), 0);
  EXPECT_EQ(ArchiveExpiry("20240301a.psa", 1, {kDays + 1, 0, kMonths + 1}), 0);
  EXPECT_EQ(ArchiveExpiry("202403a.psa", 2, {kDays + 1, kMonths + 1, 0}), 0);
  EXPECT_EQ(LogExpiry("2024030.psl", {kDays + 1, 0, 0}), 0) << "no date";
  EXPECT_EQ(ArchiveExpiry("20240.psa", 2, {0, 0, kMonths + 1}), 0);
}

// Where the clock changes at midnight, that of the limit hangs on what the C library converted
// before: such zones are left out.
TEST_F(LimitsValue, ExpiryIsTheFirstSecondOfRemoval) {
  const std::vector<int32_t> periods = {kDays + 1,   kDays + 31,   kDays + 366, kMonths + 1,
                                        kMonths + 6, kMonths + 24, kYears + 1,  kYears + 2};
  for (const char* name : {"UTC", "Europe/Berlin", "America/New_York", "Asia/Kolkata"}) {
    const TimeZone zone(name);
    for (const char* day : {"20240127", "20240228", "20240229", "20240309", "20240330", "20241102",
                            "20241130", "20231231"}) {
      for (const int32_t period : periods) {
        SCOPED_TRACE(std::string(name) + " " + day + " " + std::to_string(period));
        const std::string log = std::string(day) + "a.psl";
        int64_t expiry = LogExpiry(log.c_str(), {period, 0, 0});
        EXPECT_TRUE(LogIsRemoved(log.c_str(), {period, 0, 0}, expiry));
        EXPECT_FALSE(LogIsRemoved(log.c_str(), {period, 0, 0}, expiry - 1));
        if (period < kMonths) continue;
        const std::string archive = std::string(day, 6) + "a.psa";
        expiry = ArchiveExpiry(archive.c_str(), 2, {0, 0, period});
        EXPECT_TRUE(ArchiveIsRemoved(archive.c_str(), 2, {0, 0, period}, expiry));
        EXPECT_FALSE(ArchiveIsRemoved(archive.c_str(), 2, {0, 0, period}, expiry - 1));
      }
    }
  }
}

TEST_F(LimitsValue, TheRunsOwnLimitsAreTheSame) {
  const TimeZone zone("Europe/Berlin");
  std::mt19937 random(7);
  const auto pick = [&random](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  static int64_t now;
  clock_hook = [] { return now; };
  for (int i = 0; i < 500; ++i) {
    now = 1700000000 + int64_t{pick(0, 100000)} * 997;
    const RetentionCodes codes = {pick(0, 2) == 0 ? 0 : kDays + pick(1, 366),
                                  pick(0, 2) == 0 ? 0 : kMonths + pick(1, 24),
                                  pick(0, 2) == 0 ? 0 : kYears + pick(1, 2)};
    for (size_t c = 0; c < codes.size(); ++c) {
      arcdelinfo.savetm_flg[c] = codes[c] != 0 ? 1 : 0;
      arcdelinfo.savetm[c] = codes[c];
    }
    GetTimeSpan();
    EXPECT_EQ(RunRetention(), codes);
    const Limits run = RunLimits();
    const Limits asked = LimitsAt(codes, now);
    EXPECT_EQ(run.now, asked.now);
    EXPECT_EQ(run.before, asked.before);
  }
}

// They were found by setting the clock and the record of the run to other times.
TEST_F(LimitsValue, AskingChangesNothingOfTheRun) {
  const TempDir directory;
  directory.MakeDirectory("archive");
  const auto before = std::make_unique<ArcDelInfo>(arcdelinfo);
  HealthRequest request{};
  request.config.archive = directory.Path();
  request.config.keep = {Retention{30, 0}, Retention{12, 1}, Retention{2, 2}};
  request.now = 1709600000;
  request.days = 7;
  Health health;
  EXPECT_TRUE(LookAtFiles(request, health));
  EXPECT_NE(LogExpiry("20240301a.psl", {kDays + 30, 0, 0}), 0);
  EXPECT_EQ(memcmp(&arcdelinfo, before.get(), sizeof arcdelinfo), 0);
  EXPECT_EQ(clock_hook, nullptr);
}

}  // namespace
