// The rules of joining over values: what becomes of an input beside an output in progress.
#include "engine/joining.h"

#include <gtest/gtest.h>

#include "engine/period.h"

namespace {

constexpr JoinRules kHourRules = {'H', false};
constexpr JoinRules kDayRules = {'D', false};
constexpr JoinRules kNoPeriod = {'D', true};

// An output of array "a" and revision 0x1D whose last input was that of 4 March.
JoinState InProgress() { return {true, false, 0x1D, "a", "20240304a.psl"}; }

InputFacts Facts(int months, int days, const char* array = "a", uint8_t revision = 0x1D) {
  return {'L', revision, array, months, days};
}

TEST(Joining, WithoutAnOutputEveryInputStartsOne) {
  const JoinState none = {};
  EXPECT_EQ(JoinByName(kHourRules, none, "20240304a.psl"), Joining::kStartsNew);
  EXPECT_EQ(JoinByName(kDayRules, none, "20240304a.psl"), Joining::kStartsNew);
  EXPECT_EQ(Join(kHourRules, none, Facts(0, 0)), Joining::kStartsNew);
  EXPECT_EQ(Join(kDayRules, none, Facts(-5, 0)), Joining::kStartsNew);
  EXPECT_FALSE(IsOfNextDay(kNoPeriod, none, Facts(0, 1)));
}

TEST(Joining, HourOutputsGoOnWithInputsOfTheirDay) {
  EXPECT_EQ(JoinByName(kHourRules, InProgress(), "20240304a#002.psl"), Joining::kJoins);
  EXPECT_EQ(JoinByName(kHourRules, InProgress(), "20240305a.psl"), Joining::kStartsNew);
  EXPECT_EQ(JoinByName(kHourRules, InProgress(), "20240304b.psl"), Joining::kStartsNew);
  // Dates and arrays are those of the names there.
  EXPECT_EQ(Join(kHourRules, InProgress(), Facts(-1, 0, "b")), Joining::kJoins);
}

TEST(Joining, AnEmptiedHourOutputTakesNothingMore) {
  JoinState emptied = InProgress();
  emptied.emptied = true;
  EXPECT_EQ(JoinByName(kHourRules, emptied, "20240304a#002.psl"), Joining::kAfterBroken);
  EXPECT_EQ(JoinByName(kHourRules, emptied, "20240305a.psl"), Joining::kStartsNew);
  EXPECT_EQ(JoinByName(kDayRules, emptied, "20240304a#002.psl"), Joining::kJoins);
}

TEST(Joining, DayOutputsAreCutAtMonthsAndArrays) {
  EXPECT_EQ(JoinByName(kDayRules, InProgress(), "20240404b.psl"), Joining::kJoins);
  EXPECT_EQ(Join(kDayRules, InProgress(), Facts(0, 27)), Joining::kJoins);
  EXPECT_EQ(Join(kDayRules, InProgress(), Facts(0, -3)), Joining::kJoins);
  EXPECT_EQ(Join(kDayRules, InProgress(), Facts(1, 0)), Joining::kStartsNew);
  EXPECT_EQ(Join(kDayRules, InProgress(), Facts(12, 0)), Joining::kStartsNew);
  EXPECT_EQ(Join(kDayRules, InProgress(), Facts(-1, 0)), Joining::kBefore);
  EXPECT_EQ(Join(kDayRules, InProgress(), Facts(-1, 0, "b")), Joining::kStartsNew);
}

TEST(Joining, WithoutPeriodsEverythingJoins) {
  EXPECT_EQ(Join(kNoPeriod, InProgress(), Facts(-1, 0, "b")), Joining::kJoins);
  EXPECT_EQ(Join(kNoPeriod, InProgress(), Facts(7, 0)), Joining::kJoins);
  EXPECT_TRUE(IsOfNextDay(kNoPeriod, InProgress(), Facts(0, 0)));
}

TEST(Joining, AnotherRevisionBeginsASequelOfWhatGoesOn) {
  EXPECT_EQ(Join(kHourRules, InProgress(), Facts(0, 0, "a", 0x1E)), Joining::kSequel);
  EXPECT_EQ(Join(kDayRules, InProgress(), Facts(0, 1, "a", 0x1C)), Joining::kSequel);
  EXPECT_EQ(Join(kDayRules, InProgress(), Facts(1, 0, "a", 0x1C)), Joining::kStartsNew);
  EXPECT_EQ(Join(kNoPeriod, InProgress(), Facts(1, 0, "b", 0x1C)), Joining::kSequel);
}

TEST(Joining, DayArchivesArePassedOver) {
  InputFacts facts = Facts(-1, 0, "b", 0x10);
  facts.level = 'D';
  for (const JoinRules& rules : {kHourRules, kDayRules, kNoPeriod}) {
    EXPECT_EQ(Join(rules, InProgress(), facts), Joining::kDayArchive);
    EXPECT_EQ(Join(rules, {}, facts), Joining::kDayArchive);
  }
}

TEST(Joining, TheNextDayIsThatBehindTheLastInput) {
  EXPECT_TRUE(IsOfNextDay(kDayRules, InProgress(), Facts(0, 1)));
  EXPECT_TRUE(IsOfNextDay(kDayRules, InProgress(), Facts(1, 0)));
  EXPECT_FALSE(IsOfNextDay(kDayRules, InProgress(), Facts(0, 0)));
  EXPECT_FALSE(IsOfNextDay(kDayRules, InProgress(), Facts(0, 2)));
  EXPECT_FALSE(IsOfNextDay(kDayRules, InProgress(), Facts(2, 1)));
  EXPECT_FALSE(IsOfNextDay(kDayRules, InProgress(), Facts(0, 1, "b")));
  EXPECT_FALSE(IsOfNextDay(kHourRules, InProgress(), Facts(0, 1)));
}

TEST(Joining, HourOutputsEndBehindTheLastInputOfTheirDay) {
  EXPECT_FALSE(EndsBehind(kHourRules, "20240304a.psl", "20240304a#002.psl"));
  EXPECT_TRUE(EndsBehind(kHourRules, "20240304a.psl", "20240305a.psl"));
  EXPECT_TRUE(EndsBehind(kHourRules, "20240304a.psl", nullptr));
  EXPECT_FALSE(EndsBehind(kDayRules, "20240304a.psl", "20240504b.psl"));
  EXPECT_FALSE(EndsBehind(kDayRules, "20240304a.psl", nullptr));
}

TEST(Joining, TimeAndShortfallBehindAnAbandonedInput) {
  EXPECT_EQ(TimeBehindAbandoned(true, 200, 100), 200);
  EXPECT_EQ(TimeBehindAbandoned(false, 200, 100), 100);
  EXPECT_EQ(ShortfallOf('H', false, true), Shortfall::kNothing);
  EXPECT_EQ(ShortfallOf('D', false, true), Shortfall::kAbandoned);
  EXPECT_EQ(ShortfallOf('H', true, false), Shortfall::kInput);
  EXPECT_EQ(ShortfallOf('D', true, true), Shortfall::kInput);
  EXPECT_EQ(ShortfallOf('D', false, false), Shortfall::kNothing);
}

TEST(Joining, MonthsAreCountedOverYears) {
  EXPECT_EQ(MonthsBetween({123, 11, 31}, {124, 0, 1}), 1);
  EXPECT_EQ(MonthsBetween({124, 2, 31}, {124, 2, 1}), 0);
  EXPECT_EQ(MonthsBetween({124, 0, 1}, {123, 11, 31}), -1);
}

}  // namespace
