// Arithmetic of counter groups by the named functions: CalcQuadset and SetQuadset (0x10 to 0x12),
// CalcQuadset_0x13 and SetQuadset_0x13.
#include "revisions/named/named.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>

#include "areas/finfo.h"
#include "engine/pmoncommon.h"
#include "revisions/fold/quadset.h"

namespace {

using Fold = void (*)(Accumulated*, double*, const PMONquadset*, uint32_t);

class Quadset : public ::testing::Test {
 protected:
  Quadset() { finfo.first_interval = false; }
  ~Quadset() override { finfo.first_interval = false; }

  static void Calc(Fold fold, Accumulated& a, double* extremes, PMONquadset wire, uint32_t length) {
    fold(&a, extremes, &wire, length);
  }
  static PMONquadset Put0x13(const Accumulated& a) {
    PMONquadset wire = {9, 9, 9, 9};
    SetQuadset_0x13(&wire, &a);
    return wire;
  }
  static PMONquadset Put(const Accumulated& a, uint32_t time) {
    PMONquadset wire = {9, 9, 9, 9};
    SetQuadset(&wire, &a, time);
    return wire;
  }
};

// A0 to A3.
double Sum(const Accumulated& a, size_t i) {
  static_assert(sizeof(Accumulated) == 4 * sizeof(double));
  std::array<double, 4> sums;
  std::memcpy(sums.data(), &a, sizeof sums);
  return sums[i];
}

constexpr double kTwo31 = 2147483648.0;

TEST_F(Quadset, SumsByTheRuleOf0x13) {
  Accumulated a = {};
  Calc(CalcQuadset_0x13, a, nullptr, {10, 100, 50, 7}, 60000);
  Calc(CalcQuadset_0x13, a, nullptr, {30, 200, 40, 9}, 20000);
  EXPECT_EQ(Sum(a, 0), 40);
  EXPECT_EQ(Sum(a, 1), 10 * 100 + 30 * 200);
  EXPECT_EQ(Sum(a, 2), 50);
  EXPECT_EQ(Sum(a, 3), 10 * 7 + 30 * 9);
}

TEST_F(Quadset, SumsByTheOlderRuleWeighTheSecondAverageByTime) {
  Accumulated a = {};
  Calc(CalcQuadset, a, nullptr, {10, 100, 50, 7}, 60000);
  Calc(CalcQuadset, a, nullptr, {30, 200, 40, 9}, 20000);
  EXPECT_EQ(Sum(a, 0), 40);
  EXPECT_EQ(Sum(a, 1), 10 * 100 + 30 * 200);
  EXPECT_EQ(Sum(a, 2), 50);
  EXPECT_EQ(Sum(a, 3), 60000.0 * 7 + 20000.0 * 9);
}

TEST_F(Quadset, CountWordWithTheTopBitSet0x80000010Adds4096Operations) {
  for (const Fold fold : {CalcQuadset, CalcQuadset_0x13}) {
    Accumulated a = {};
    Calc(fold, a, nullptr, {0x80000010, 0, 0, 0}, 1000);
    EXPECT_EQ(Sum(a, 0), 4096);
  }
}

TEST_F(Quadset, FirstAverageIsWeighedWithTheRawWordTheSecondWithTheDecodedCount) {
  Accumulated a = {};
  Calc(CalcQuadset_0x13, a, nullptr, {0x80000010, 3, 0, 5}, 1000);
  EXPECT_EQ(Sum(a, 1), (kTwo31 + 16) * 3);
  EXPECT_EQ(Sum(a, 3), 4096 * 5);
}

TEST_F(Quadset, WordsAreUnsigned) {
  Accumulated a = {};
  Calc(CalcQuadset_0x13, a, nullptr, {1, 0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFD}, 1000);
  EXPECT_EQ(Sum(a, 1), 4294967295.0);
  EXPECT_EQ(Sum(a, 2), 4294967294.0);
  EXPECT_EQ(Sum(a, 3), 4294967293.0);
  Accumulated older = {};
  Calc(CalcQuadset, older, nullptr, {1, 0, 0, 0xFFFFFFFF}, 0xFFFFFFFF);
  EXPECT_EQ(Sum(older, 3), 4294967295.0 * 4294967295.0);
}

TEST_F(Quadset, RatesOfTheFirstIntervalReplaceWhateverTheFieldsHold) {
  finfo.first_interval = true;
  std::array<double, 4> e = {1e9, -1e9, 1e9, -1e9};
  Accumulated a = {};
  Calc(CalcQuadset_0x13, a, e.data(), {10, 0, 0, 2048}, 500);
  EXPECT_EQ(e[0], 20000.0);  // 10 operations in half a second
  EXPECT_EQ(e[1], 20000.0);
  EXPECT_EQ(e[2], 40.0);  // 10 x 2048 / 0.5 / 1024
  EXPECT_EQ(e[3], 40.0);
}

TEST_F(Quadset, LaterRatesKeepTheLargestAndTheSmallest) {
  std::array<double, 4> e = {20000, 20000, 40, 40};
  Accumulated a = {};
  Calc(CalcQuadset_0x13, a, e.data(), {5, 0, 0, 1024}, 1000);
  EXPECT_EQ(e, (std::array<double, 4>{20000, 5000, 40, 5}));
  Calc(CalcQuadset_0x13, a, e.data(), {50, 0, 0, 1024}, 1000);
  EXPECT_EQ(e, (std::array<double, 4>{50000, 5000, 50, 5}));
}

TEST_F(Quadset, OlderRuleKeepsTheRawSecondAverage) {
  std::array<double, 4> e = {20000, 20000, 40, 40};
  Accumulated a = {};
  Calc(CalcQuadset, a, e.data(), {5, 0, 0, 1024}, 1000);
  EXPECT_EQ(e, (std::array<double, 4>{20000, 5000, 1024, 40}));
  Calc(CalcQuadset, a, e.data(), {50, 0, 0, 3}, 1000);
  EXPECT_EQ(e, (std::array<double, 4>{50000, 5000, 1024, 3}));
}

TEST_F(Quadset, ExpressionsAreEvaluatedInTheOrderInWhichTheyAreWritten) {
  finfo.first_interval = true;
  std::array<double, 4> e = {};
  Accumulated a = {};
  Calc(CalcQuadset_0x13, a, e.data(), {7, 0, 0, 1000003}, 333);
  const double count = 7.0, length = 333.0, q3 = 1000003.0;
  double rate = count * 1000.0;
  rate = rate / length;
  rate = rate * 1000.0;
  EXPECT_EQ(e[0], rate);
  double volume = q3 * count;
  volume = volume / (length / 1000.0);
  volume = volume / 1024.0;
  EXPECT_EQ(e[2], volume);
}

TEST_F(Quadset, IntervalOfLength0UpdatesSumsButNoExtremes) {
  finfo.first_interval = true;
  for (const Fold fold : {CalcQuadset, CalcQuadset_0x13}) {
    std::array<double, 4> e = {1, 2, 3, 4};
    Accumulated a = {};
    Calc(fold, a, e.data(), {10, 20, 30, 40}, 0);
    EXPECT_EQ(e, (std::array<double, 4>{1, 2, 3, 4}));
    EXPECT_EQ(Sum(a, 0), 10);
    EXPECT_EQ(Sum(a, 1), 200);
    EXPECT_EQ(Sum(a, 2), 30);
    EXPECT_EQ(Sum(a, 3), fold == CalcQuadset ? 0 : 400);
  }
}

// --- the period's words ---------------------------------------------------------------------------

TEST_F(Quadset, AveragesAreWeighedByTheCount) {
  const PMONquadset wire = Put0x13({40, 7000, 50, 340});
  EXPECT_EQ(wire.q0, 40U);
  EXPECT_EQ(wire.q1, 175U);
  EXPECT_EQ(wire.q2, 50U);
  EXPECT_EQ(wire.q3, 8U);  // 8.5 truncated
}

TEST_F(Quadset, OlderRuleWeighsTheSecondAverageByTheTime) {
  const PMONquadset wire = Put({40, 7000, 50, 79999}, 10000);
  EXPECT_EQ(wire.q0, 40U);
  EXPECT_EQ(wire.q1, 175U);
  EXPECT_EQ(wire.q2, 50U);
  EXPECT_EQ(wire.q3, 7U);
}

TEST_F(Quadset, OlderRuleWithoutTimeGivesNoSecondAverage) {
  EXPECT_EQ(Put({40, 7000, 50, 79999}, 0).q3, 0U);
}

TEST_F(Quadset, TotalAbove2147483647IsWrittenInUnitsOf256WithTheTopBitSet) {
  EXPECT_EQ(Put0x13({2147483647.0, 0, 0, 0}).q0, 0x7FFFFFFFU);
  EXPECT_EQ(Put0x13({2147483648.0, 0, 0, 0}).q0, 0x80000000U + 0x00800000U);
  EXPECT_EQ(Put0x13({2147483648.0 + 255, 0, 0, 0}).q0, 0x80800000U);
  EXPECT_EQ(Put({2147483648.0 + 256, 0, 0, 0}, 1).q0, 0x80800001U);
  // 2147483647.5 is above the limit already.
  EXPECT_EQ(Put0x13({2147483647.5, 0, 0, 0}).q0, 0x807FFFFFU);
}

TEST_F(Quadset, UnitsOf256SaturateAt31Bits) {
  EXPECT_EQ(Put0x13({256.0 * 2147483647.0, 0, 0, 0}).q0, 0xFFFFFFFFU);
  EXPECT_EQ(Put0x13({256.0 * 2147483648.0, 0, 0, 0}).q0, 0xFFFFFFFFU);
  EXPECT_EQ(Put0x13({1e30, 0, 0, 0}).q0, 0xFFFFFFFFU);
}

TEST_F(Quadset, FewerThanOneOperationGivesNoFirstAverage) {
  const PMONquadset wire = Put0x13({0.5, 100, 3, 4});
  EXPECT_EQ(wire.q0, 0U);
  EXPECT_EQ(wire.q1, 0U);
  EXPECT_EQ(wire.q3, 8U);
}

TEST_F(Quadset, ExactlyNoOperationGivesNoSecondAverage) {
  EXPECT_EQ(Put0x13({0, 100, 3, 4}).q3, 0U);
  EXPECT_EQ(Put0x13({0, 100, 3, 4}).q2, 3U);
}

TEST_F(Quadset, ResultsSaturate) {
  const PMONquadset wire = Put0x13({1, 1e20, 1e20, 1e20});
  EXPECT_EQ(wire.q1, 0xFFFFFFFFU);
  EXPECT_EQ(wire.q2, 0xFFFFFFFFU);
  EXPECT_EQ(wire.q3, 0xFFFFFFFFU);
  EXPECT_EQ(Put({1, 0, 0, 1e20}, 1).q3, 0xFFFFFFFFU);
}

TEST_F(Quadset, WordsBackAndForthKeepTheirValues) {
  Accumulated a = {};
  Calc(CalcQuadset_0x13, a, nullptr, {0x80000010, 0, 7, 5}, 1000);
  // 4096 operations fit the plain encoding.
  EXPECT_EQ(Put0x13(a).q0, 4096U);
  EXPECT_EQ(Put0x13(a).q3, 5U);
}

// --- double to integer ----------------------------------------------------------------------------

TEST(Rounding, TruncatesTowardZeroAndSaturates) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(ToU32(3.99), 3U);
  EXPECT_EQ(ToU32(-0.5), 0U);
  EXPECT_EQ(ToU32(-7.0), 0U);
  EXPECT_EQ(ToU32(4294967295.9), 0xFFFFFFFFU);
  EXPECT_EQ(ToU32(4294967296.0), 0xFFFFFFFFU);
  EXPECT_EQ(ToU32(infinity), 0xFFFFFFFFU);
  EXPECT_EQ(ToU32(nan), 0U);
  EXPECT_EQ(ToU16(65535.9), 0xFFFFU);
  EXPECT_EQ(ToU16(65536.0), 0xFFFFU);
}

TEST(Rounding, RatioKeepsTheLow16BitsOfASignedWord) {
  EXPECT_EQ(RatioWord(9999.9), 9999);
  EXPECT_EQ(RatioWord(65536.0 + 5), 5);
  EXPECT_EQ(RatioWord(2147483646.9), 0xFFFE);
  EXPECT_EQ(RatioWord(2147483648.0 + 5), 0xFFFF);  // 0x7FFFFFFF
  EXPECT_EQ(RatioWord(4294967296.0 + 5), 0xFFFF);
  EXPECT_EQ(RatioWord(1e12), 0xFFFF);
  EXPECT_EQ(RatioWord(0.9), 0);
}

}  // namespace
