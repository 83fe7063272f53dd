// Days and months that a run leaves without their archive, by the names of inputs.
#include "engine/unarchived.h"

#include <gtest/gtest.h>

namespace {

TEST(Unarchived, DayCoversItsPartsAndItsHourArchive) {
  UnarchivedPeriods noted;
  noted.Note("20240229A#002.psl", 'H');
  EXPECT_TRUE(noted.Hold("20240229A#002.psl"));
  EXPECT_TRUE(noted.Hold("20240229A.psl"));
  EXPECT_TRUE(noted.Hold("20240229A.psa"));
  EXPECT_FALSE(noted.Hold("20240228A.psl"));
  EXPECT_FALSE(noted.Hold("20240229B.psl"));
  EXPECT_FALSE(noted.Hold("20240229AB.psl"));
}

TEST(Unarchived, MonthCoversItsDays) {
  UnarchivedPeriods noted;
  noted.Note("20240229A.psa", 'D');
  EXPECT_TRUE(noted.Hold("20240201A.psl"));
  EXPECT_TRUE(noted.Hold("20240229A.psa"));
  EXPECT_FALSE(noted.Hold("20240301A.psl"));
  EXPECT_FALSE(noted.Hold("20240201B.psl"));
}

TEST(Unarchived, NameWithoutAnArrayStandsForItself) {
  UnarchivedPeriods noted;
  noted.Note("2024.psl", 'H');
  EXPECT_TRUE(noted.Hold("2024.psl"));
  EXPECT_FALSE(noted.Hold("2025.psl"));
}

TEST(Unarchived, WhatIsHeldUpWaitsInTheOrderOfItsNotes) {
  UnarchivedPeriods noted;
  EXPECT_TRUE(noted.held_up().empty());
  noted.HoldUp("20240229A.psa");
  noted.HoldUp("20240228B.psa");
  EXPECT_EQ(noted.held_up(), (std::vector<std::string>{"20240229A.psa", "20240228B.psa"}));
  EXPECT_FALSE(noted.Hold("20240229A.psa"));  // noted apart
}

}  // namespace
