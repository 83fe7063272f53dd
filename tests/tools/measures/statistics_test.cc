// Statistics of few intervals, with results by hand.
#include "tools/measures/statistics.h"

#include <gtest/gtest.h>

namespace psltool {
namespace {

RecordPeriod At(uint32_t stamp) {
  RecordPeriod period;
  period.stamp = stamp;
  return period;
}

TEST(Distribution, MedianIsAValueThatIsThere) {
  Distribution values;
  for (const double value : {4.0, 1.0, 3.0, 2.0}) values.Add(value, 60000);
  EXPECT_EQ(values.Percentile(kMedianPercent), 2.0);
  EXPECT_EQ(values.Percentile(kHighPercent), 4.0);
}

TEST(Distribution, TwentyEqualIntervalsHaveTheNineteenthAtNinetyFive) {
  Distribution values;
  for (int i = 20; i >= 1; --i) values.Add(i, 900000);
  EXPECT_EQ(values.Percentile(kHighPercent), 19.0);
}

TEST(Distribution, LongIntervalsCountForMore) {
  Distribution values;
  values.Add(10, 3600000);
  values.Add(20, 60000);
  values.Add(30, 60000);
  EXPECT_EQ(values.Percentile(kMedianPercent), 10.0);
  EXPECT_EQ(values.Percentile(kHighPercent), 10.0);
  EXPECT_EQ(values.Percentile(99), 30.0);
}

TEST(Distribution, WithoutWeightThereIsNoPart) {
  Distribution values;
  EXPECT_EQ(values.Percentile(kMedianPercent), std::nullopt);
  values.Add(1000, 0);
  EXPECT_EQ(values.Percentile(kMedianPercent), std::nullopt);
  values.Add(5, 1);
  EXPECT_EQ(values.Percentile(kMedianPercent), 5.0);
}

TEST(Sums, MeanIsWeightedAndExtremesAreOfSingleIntervals) {
  Sums sums;
  sums.Add({10, 40, 1, 3000}, At(1));
  sums.Add({20, 30, 2, 1000}, At(2));
  sums.Add({kNoNumber, kNoNumber, kNoNumber, 5000}, At(3));
  EXPECT_EQ(sums.intervals, 2U);
  EXPECT_EQ(sums.Value(*MeasureOf("busy")), 12.5);
  EXPECT_EQ(sums.Value(*MeasureOf("max")), 20.0);
  EXPECT_EQ(sums.most->value, 40.0);
  EXPECT_EQ(sums.most->period.stamp, 1U);
  EXPECT_EQ(sums.least->value, 1.0);
}

TEST(Sums, NothingIsToldOfNothing) {
  Sums sums;
  EXPECT_EQ(sums.Value(*MeasureOf("ops")), std::nullopt);
  EXPECT_FALSE(sums.most);
  // An interval without operations has no average of them.
  sums.Add({7, 7, 7, 0}, At(1));
  EXPECT_EQ(sums.Value(*MeasureOf("mean")), std::nullopt);
}

}  // namespace
}  // namespace psltool
