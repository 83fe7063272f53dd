// Days and months that a run leaves without their archive, by the names of inputs.
#include "engine/unarchived.h"

#include <gtest/gtest.h>

namespace {

class Unarchived : public ::testing::Test {
 protected:
  Unarchived() { ForgetUnarchived(); }
  ~Unarchived() override { ForgetUnarchived(); }
};

TEST_F(Unarchived, DayCoversItsPartsAndItsHourArchive) {
  NoteUnarchived("20240229A#002.psl", 'H');
  EXPECT_TRUE(IsUnarchived("20240229A#002.psl"));
  EXPECT_TRUE(IsUnarchived("20240229A.psl"));
  EXPECT_TRUE(IsUnarchived("20240229A.psa"));
  EXPECT_FALSE(IsUnarchived("20240228A.psl"));
  EXPECT_FALSE(IsUnarchived("20240229B.psl"));
  EXPECT_FALSE(IsUnarchived("20240229AB.psl"));
}

TEST_F(Unarchived, MonthCoversItsDays) {
  NoteUnarchived("20240229A.psa", 'D');
  EXPECT_TRUE(IsUnarchived("20240201A.psl"));
  EXPECT_TRUE(IsUnarchived("20240229A.psa"));
  EXPECT_FALSE(IsUnarchived("20240301A.psl"));
  EXPECT_FALSE(IsUnarchived("20240201B.psl"));
}

TEST_F(Unarchived, NameWithoutAnArrayStandsForItself) {
  NoteUnarchived("2024.psl", 'H');
  EXPECT_TRUE(IsUnarchived("2024.psl"));
  EXPECT_FALSE(IsUnarchived("2025.psl"));
}

TEST_F(Unarchived, NothingIsLeftOfTheRunBefore) {
  NoteUnarchived("20240229A.psl", 'H');
  ForgetUnarchived();
  EXPECT_FALSE(IsUnarchived("20240229A.psl"));
}

}  // namespace
