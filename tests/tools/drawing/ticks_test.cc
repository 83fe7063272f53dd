// Axes of charts: round numbers, and full hours and days on the clocks of a zone.
#include "tools/drawing/ticks.h"

#include <gtest/gtest.h>

#include "tests/model/time_zone.h"
#include "tools/drawing/chart.h"

namespace psltool {
namespace {

std::vector<std::string> TextsOf(const std::vector<TimeTick>& ticks) {
  std::vector<std::string> texts;
  for (const TimeTick& tick : ticks) {
    texts.push_back(tick.date.empty() ? tick.text : tick.text + "/" + tick.date);
  }
  return texts;
}

TEST(ChartTicks, ValuesAreRound) {
  EXPECT_EQ(ValueTicks(97, 5), (std::vector<double>{0, 20, 40, 60, 80, 100}));
  EXPECT_EQ(ValueTicks(0.9, 4), (std::vector<double>{0, 0.25, 0.5, 0.75, 1}));
  // Nothing at all still has an axis.
  EXPECT_EQ(ValueTicks(0, 4).front(), 0);
  EXPECT_GE(ValueTicks(0, 4).back(), 1);
  EXPECT_EQ(TickText(0, 20), "0");
  EXPECT_EQ(TickText(1500, 500), "1,500");
  EXPECT_EQ(TickText(123456, 50000), "123,456");
  EXPECT_EQ(TickText(0.25, 0.25), "0.25");
  EXPECT_EQ(TickText(2500000, 500000), "2.5 M");
}

TEST(ChartTicks, HoursAndDates) {
  // 2024-03-04 00:00 UTC and a day on.
  const auto ticks = TimeTicks(1709510400, 1709510400 + 86400, 6, Zone::kUtc);
  EXPECT_EQ(TextsOf(ticks),
            (std::vector<std::string>{"00:00/03-04", "06:00", "12:00", "18:00", "00:00/03-05"}));
  EXPECT_EQ(TextsOf(TimeTicks(1709510400, 1709510400 + 3 * 86400, 5, Zone::kUtc)),
            (std::vector<std::string>{"03-04", "03-05", "03-06", "03-07"}));
  EXPECT_EQ(TextsOf(TimeTicks(1704067200, 1704067200 + 366 * 86400LL, 6, Zone::kUtc)),
            (std::vector<std::string>{"2024-01", "2024-04", "2024-07", "2024-10", "2025-01"}));
}

TEST(ChartTicks, DaysOf23And25HoursHaveTheirHours) {
  const model::ScopedZone scoped("Europe/Berlin");
  // Clocks go forward on 2024-03-31 at 01:00 UTC: midnight to midnight is 23 hours.
  const int64_t spring = 1711839600;
  const auto short_day = TimeTicks(spring, spring + 23 * 3600, 4, Zone::kLocal);
  ASSERT_EQ(TextsOf(short_day),
            (std::vector<std::string>{"00:00/03-31", "06:00", "12:00", "18:00", "00:00/04-01"}));
  EXPECT_EQ(short_day[1].moment - short_day[0].moment, 5 * 3600);
  EXPECT_EQ(short_day[4].moment - spring, 23 * 3600);
  // Back on 2024-10-27: 25 hours, of which one exists twice.
  const int64_t autumn = 1729980000;
  const auto long_day = TimeTicks(autumn, autumn + 25 * 3600, 30, Zone::kLocal);
  EXPECT_EQ(long_day.size(), 26U);
  EXPECT_EQ(std::count_if(long_day.begin(), long_day.end(),
                          [](const TimeTick& tick) { return tick.text == "02:00"; }),
            2);
}

TEST(ChartThinned, KeepsExtremesAndTheMeanByTime) {
  std::vector<ChartPoint> points;
  for (int i = 0; i < 100; ++i) {
    points.push_back({i * 60, i * 60 + 60, i % 10 == 3 ? 50.0 : 10.0, i % 10 == 3 ? 90.0 : 11.0,
                      i % 10 == 7 ? 1.0 : 9.0});
  }
  const auto thin = Thinned(points, 0, 6000, 10);
  ASSERT_EQ(thin.size(), 10U);
  for (const ChartPoint& point : thin) {
    EXPECT_DOUBLE_EQ(point.value, 14);
    EXPECT_EQ(point.most, 90);
    EXPECT_EQ(point.least, 1);
    EXPECT_EQ(point.end - point.begin, 600);
  }
  EXPECT_EQ(Thinned(points, 0, 6000, 100).size(), 100U);
}

}  // namespace
}  // namespace psltool
