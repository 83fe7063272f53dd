// Names taken apart: what each of the three readings makes of usual names and of odd ones, and the
// names of outputs.
#include "engine/names.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

// What all readings make of one name.
struct Readings {
  const char* path;
  const char* array_in_order;
  const char* sequence;
  const char* day_key;
  const char* month_key;
  const char* array;  // null: the name tells none
};

// clang-format off
const Readings kReadings[] = {
    {"20240304array01.psl",       "array01",   "#001", "20240304array01",  "202403array01",  "array01"},
    {"/d/20240304array01#002.psl", "array01",  "#002", "20240304array01",  "202403array01",  "array01"},
    {"d#1.x/20240304a.psa",       "a",         "#001", "20240304a",        "202403a",        "a"},
    {"20240304.psl",              "",          "#001", "20240304",         "202403",         ""},
    {"20240304a#1#2.psl",         "a#1",       "#2",   "20240304a",        "202403a",        "a"},
    {"20240304a.b.psl",           "a.b",       "#001", "20240304a",        "202403a",        "a"},
    {"20240304a.b#002.psl",       "a.b",       "#002", "20240304a.b",      "202403a.b",      "a"},
    {"20240304a.b#2",             "a.b",       "",     "20240304a.b",      "202403a.b",      "a"},
    {"20240304a#2",               "a",         "#2",   "20240304a",        "202403a",        nullptr},
    {"20240304a",                 "a",         "#001", "20240304a",        "202403a",        nullptr},
    {"2024030.psl",               "",          "#001", "2024030",          "2024030",        nullptr},
    {"",                          "",          "#001", "",                 "",               nullptr},
};
// clang-format on

TEST(Names, EachReadingCutsInItsPlace) {
  for (const Readings& name : kReadings) {
    SCOPED_TRACE(name.path);
    EXPECT_EQ(SortedArrayOf(name.path), name.array_in_order);
    EXPECT_EQ(SequenceOf(name.path), name.sequence);
    EXPECT_EQ(DayKeyOf(name.path), name.day_key);
    EXPECT_EQ(MonthKeyOf(name.path), name.month_key);
    const auto array = ArrayOf(name.path);
    EXPECT_EQ(array.has_value(), name.array != nullptr);
    EXPECT_EQ(array.value_or(""), name.array != nullptr ? name.array : "");
  }
}

TEST(Names, OrderIsThatOfArrayDateAndNumber) {
  std::vector<std::string> names = {"20240102A.psl", "20240101B.psl", "x/20240101A#010.psl",
                                    "20240101A#002.psl", "20240101A.psl"};
  std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
    return OrderKeyOf(a) < OrderKeyOf(b);
  });
  EXPECT_EQ(names,
            (std::vector<std::string>{"20240101A.psl", "20240101A#002.psl", "x/20240101A#010.psl",
                                      "20240102A.psl", "20240101B.psl"}));
}

TEST(Names, DirectoriesCountForTheDayAndNotForTheMonth) {
  EXPECT_TRUE(OfSameDay("d/20240304a.psl", "d/20240304a#002.psa"));
  EXPECT_FALSE(OfSameDay("d/20240304a.psl", "e/20240304a.psl"));
  EXPECT_FALSE(OfSameDay("20240304a.psl", "20240304aa.psl"));
  EXPECT_TRUE(OfSameMonth("20240304a.psl", "20240331a.psa"));
  EXPECT_FALSE(OfSameMonth("20240304a.psl", "20240404a.psl"));
  EXPECT_FALSE(OfSameMonth("20240304a.psl", "20240304b.psl"));
  EXPECT_FALSE(OfSameMonth("20240304", "20240304"));
}

TEST(Names, TheExtensionIsWhatFollowsTheLastPoint) {
  EXPECT_TRUE(IsLogName("a.psa.psl"));
  EXPECT_FALSE(IsArchiveName("a.psa.psl"));
  EXPECT_FALSE(IsArchiveName("a.psa_tmp"));
  EXPECT_FALSE(IsLogName("psl"));
  EXPECT_TRUE(IsTemporaryName("a.psa_tmp"));
  EXPECT_TRUE(IsTemporaryName("a.psa_tmp.old"));
  EXPECT_FALSE(IsTemporaryName("a.psa"));
  EXPECT_EQ(ArchiveOfTemporary("a_b.psa_tmp.old"), "a_b.psa");
  EXPECT_FALSE(LiesInArchive("a.psl.psa"));
  EXPECT_TRUE(LiesInArchive("a.psa"));
}

TEST(Names, PathsAreCutAtTheLastSlash) {
  EXPECT_EQ(BaseName("/a/b"), "b");
  EXPECT_EQ(DirectoryPart("/a/b"), "/a/");
  EXPECT_EQ(BaseName("b"), "b");
  EXPECT_EQ(DirectoryPart("b"), "");
  EXPECT_EQ(BaseName("a/"), "");
  EXPECT_EQ(StemOf("d.d/20240304a#1.psl"), "20240304a");
}

TEST(Names, OutputsAreNamedByDateAndArray) {
  EXPECT_EQ(ArchiveName('H', {124, 2, 4}, "array01"), "20240304array01.psa");
  EXPECT_EQ(ArchiveName('D', {124, 2, 4}, "array01"), "202403array01.psa");
  // The date bytes of a header may be any.
  EXPECT_EQ(ArchiveName('H', {124, 199, 4}, "a"), "202420004a.psa");
  EXPECT_EQ(ArchiveName('D', {124, 199, 4}, "a"), "2024200a.psa");
  EXPECT_EQ(TemporaryOf("202403a_b.psa"), "202403a_b.psa_tmp");
  EXPECT_EQ(FinalOf("202403a_b.psa_tmp"), "202403a_b.psa");
}

TEST(Names, SequelsAreCounted) {
  EXPECT_EQ(SequelName("d.d/202403a.psa"), "d.d/202403a#002.psa");
  EXPECT_EQ(SequelName("202403a#002.psa"), "202403a#003.psa");
  EXPECT_EQ(SequelName("202403a#999.psa"), "202403a#1000.psa");
  EXPECT_EQ(SequelName("d#7/out.bin"), "d#7/out#002.bin");
  EXPECT_EQ(SequelName("out"), "out#002");
  EXPECT_TRUE(IsArchiveOf("202403a", "202403a.psa"));
  EXPECT_TRUE(IsArchiveOf("202403a", "202403a#002.psa"));
  EXPECT_TRUE(IsArchiveOf("202403a", "202403a#1000.psa"));
  EXPECT_FALSE(IsArchiveOf("202403a", "202403a#02.psa"));
  EXPECT_FALSE(IsArchiveOf("202403a", "202403a#00x.psa"));
  EXPECT_FALSE(IsArchiveOf("202403a", "202403ab.psa"));
  EXPECT_FALSE(IsArchiveOf("202403a", "202403a.psl"));
  EXPECT_FALSE(IsArchiveOf("202403a.psa", "202403a.psa"));
}

TEST(Names, DatesAreDigits) {
  EXPECT_TRUE(BeginsWithDigits("20240304a", kDayDigits));
  EXPECT_FALSE(BeginsWithDigits("2024030a", kDayDigits));
  EXPECT_FALSE(BeginsWithDigits("2024030", kDayDigits));
  EXPECT_EQ(DateOfDigits("20240304a", kDayDigits), "2024-03-04");
  EXPECT_EQ(DateOfDigits("20240304a", kMonthDigits), "2024-03");
  EXPECT_EQ(FirstDayOf("20240304a"), "20240301");
  EXPECT_EQ(ArchiveOfLog("20240304a.b#1#2.psl"), "20240304a.b.psa");
  EXPECT_EQ(ArchiveOfLog("20240304a.b.psl"), "20240304a.b.psa");
}

}  // namespace
