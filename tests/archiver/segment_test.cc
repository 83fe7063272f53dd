// The daemon's configuration segment.
#include "archiver/segment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "report/runinfo.h"
#include "tests/support/run_state.h"
#include "tests/support/runs/server.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr uint16_t kDays = 0;
constexpr uint16_t kMonths = 1;
constexpr uint16_t kYears = 2;

class Segment : public ::testing::Test {
 protected:
  Segment() {
    ResetRunState();
    arcdelinfo.mode = kModeSvr;
    segment.PutDirectories("/root", "/arc", "/pml");
  }
  ~Segment() override { ResetRunState(); }

  // Reads the segment from a buffer of its exact size.
  int Read() const {
    const size_t size = segment.bytes().size();
    const auto copy = std::make_unique<char[]>(size);
    std::copy(segment.bytes().begin(), segment.bytes().end(), copy.get());
    shmptr = copy.get();
    shmsize = size;
    const int result = GetSvrSG();
    shmptr = nullptr;
    return result;
  }

  SegmentBytes segment;
};

TEST_F(Segment, DirectoriesEndWithASeparator) {
  EXPECT_EQ(Read(), 0);
  EXPECT_STREQ(arcdelinfo.rootdir, "/root/");
  EXPECT_STREQ(arcdelinfo.arcdir, "/arc/");
  EXPECT_STREQ(arcdelinfo.pmldir, "/pml/");
}

TEST_F(Segment, SeparatorsAreNotDoubled) {
  segment.PutDirectories("/root/", "/arc\\", "/pml/");
  EXPECT_EQ(Read(), 0);
  EXPECT_STREQ(arcdelinfo.rootdir, "/root/");
  EXPECT_STREQ(arcdelinfo.arcdir, "/arc\\");
  EXPECT_STREQ(arcdelinfo.pmldir, "/pml/");
}

TEST_F(Segment, ArchivingSwitch) {
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(arcdelinfo.arc_flg, 0);
  segment.PutArchivingSwitch(1);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(arcdelinfo.arc_flg, 1);
}

TEST_F(Segment, ArchivingSwitch2IsInvalidUnlessForced) {
  for (const uint8_t value : {uint8_t{2}, uint8_t{255}}) {
    segment.PutArchivingSwitch(value);
    arcdelinfo.force_flg = 0;
    EXPECT_EQ(Read(), -1);
    EXPECT_EQ(arcdelinfo.arc_flg, 0);
  }
  arcdelinfo.force_flg = 1;
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(arcdelinfo.arc_flg, 1);
}

TEST_F(Segment, ForceEnablesArchiving) {
  arcdelinfo.force_flg = 1;
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(arcdelinfo.arc_flg, 1);
}

TEST_F(Segment, ArrayUpdateArchivesAndKeepsEverything) {
  arcdelinfo.mode = kModeArrayUpdate;
  segment.PutArchivingSwitch(2);
  segment.PutRetention(kClassPsl, 1, kDays);
  segment.PutRetention(kClassHour, 99, 99);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(arcdelinfo.arc_flg, 1);
  EXPECT_THAT(arcdelinfo.savetm_flg, ElementsAre(0, 0, 0));
  EXPECT_THAT(arcdelinfo.savetm, ElementsAre(0, 0, 0));
}

TEST_F(Segment, Count0IsNoRetentionWhateverItsUnit) {
  for (const size_t retention_class : {0, 1, 2}) segment.PutRetention(retention_class, 0, 9);
  EXPECT_EQ(Read(), 0);
  EXPECT_THAT(arcdelinfo.savetm_flg, ElementsAre(0, 0, 0));
}

TEST_F(Segment, PeriodsAreEncoded) {
  segment.PutRetention(kClassPsl, 366, kDays);
  segment.PutRetention(kClassHour, 24, kMonths);
  segment.PutRetention(kClassDay, 2, kYears);
  EXPECT_EQ(Read(), 0);
  EXPECT_THAT(arcdelinfo.savetm_flg, ElementsAre(1, 1, 1));
  EXPECT_THAT(arcdelinfo.savetm, ElementsAre(0x10000000 + 366, 0x20000000 + 24, 0x40000000 + 2));
}

TEST_F(Segment, LogsMayBeKeptByMonthsAndYears) {
  segment.PutRetention(kClassPsl, 24, kMonths);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(arcdelinfo.savetm[kClassPsl], 0x20000000 + 24);
  segment.PutRetention(kClassPsl, 1, kYears);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(arcdelinfo.savetm[kClassPsl], 0x40000000 + 1);
}

TEST_F(Segment, PeriodsOutOfRangeAreInvalid) {
  struct {
    size_t retention_class;
    uint16_t count;
    uint16_t unit;
  } const cases[] = {
      {0, 367, kDays},  {0, 65535, kDays}, {0, 25, kMonths}, {0, 3, kYears},
      {0, 1, 3},        {0, 1, 65535},     {1, 25, kMonths}, {1, 3, kYears},
      {2, 25, kMonths}, {2, 3, kYears},    {1, 1, 3},        {2, 1, 3},
  };
  for (const auto& test_case : cases) {
    SegmentBytes good = segment;
    segment.PutRetention(test_case.retention_class, test_case.count, test_case.unit);
    EXPECT_EQ(Read(), -1) << test_case.retention_class << " " << test_case.count << " "
                          << test_case.unit;
    segment = good;
  }
}

TEST_F(Segment, ArchivesAreNeverKeptByDays) {
  for (const size_t retention_class : {kClassHour, kClassDay}) {
    SegmentBytes good = segment;
    segment.PutRetention(retention_class, 1, kDays);
    EXPECT_EQ(Read(), -1) << retention_class;
    segment = good;
  }
}

TEST_F(Segment, RefusedPeriodOfAnEnabledConfigurationKeepsTheSwitch) {
  segment.PutArchivingSwitch(1);
  segment.PutRetention(kClassPsl, 367, kDays);
  EXPECT_EQ(Read(), -1);
  EXPECT_EQ(arcdelinfo.arc_flg, 1);
}

TEST_F(Segment, CapacityIsReadForEmbeddedPruningOnly) {
  segment.Put<int32_t>(9168, 500);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(arcdelinfo.capacity, 0);
  arcdelinfo.emb_flg = 2;
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(arcdelinfo.capacity, 0);
}

TEST_F(Segment, CapacityOverrideComesFirst) {
  arcdelinfo.emb_flg = 1;
  segment.Put<int32_t>(6572, 160);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(arcdelinfo.capacity, 160);
  segment.Put<int32_t>(9168, 300);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(arcdelinfo.capacity, 300);
}

TEST_F(Segment, MissingCapacityIsInvalid) {
  arcdelinfo.emb_flg = 1;
  EXPECT_EQ(Read(), -1);
  segment.Put<int32_t>(6572, -1);
  segment.Put<int32_t>(9168, -5);
  EXPECT_EQ(Read(), -1);
  segment.Put<int32_t>(6572, 1);
  EXPECT_EQ(Read(), 0);
}

TEST_F(Segment, CapacityBelowTheReserveIsInvalid) {
  arcdelinfo.emb_flg = 1;
  struct {
    int32_t configured;
    int32_t reserve;
  } const cases[] = {{160, 20}, {200, 30}};
  for (const auto& test_case : cases) {
    segment.Put<int32_t>(6572, test_case.configured);
    segment.Put<int32_t>(9168, test_case.reserve - 1);
    EXPECT_EQ(Read(), -1);
    segment.Put<int32_t>(9168, test_case.reserve);
    EXPECT_EQ(Read(), 0);
  }
  segment.Put<int32_t>(6572, 161);
  segment.Put<int32_t>(9168, 1);
  EXPECT_EQ(Read(), 0);
}

TEST_F(Segment, SegmentOfAnySmallerSizeIsInvalid) {
  arcdelinfo.emb_flg = 1;
  segment.Put<int32_t>(6572, 500);
  segment.bytes().resize(9184 + 5);  // up to the zero behind "/pml"
  EXPECT_EQ(Read(), 0);
  while (!segment.bytes().empty()) {
    segment.bytes().pop_back();
    ASSERT_EQ(Read(), -1) << segment.bytes().size();
  }
}

TEST_F(Segment, UnterminatedTextsAreInvalid) {
  for (const size_t offset : {size_t{240}, size_t{6304}, size_t{9184}}) {
    SegmentBytes good = segment;
    for (size_t i = 0; i < 300; ++i) segment.Put<char>(offset + i, 'x');
    segment.PutArchivingSwitch(1);
    EXPECT_EQ(Read(), -1) << offset;
    segment = good;
  }
}

TEST_F(Segment, LongestDirectories) {
  const std::string longest(270, 'r');
  const std::string longest_archive(264, 'a');  // its field ends before the switch
  segment.PutDirectories(longest, longest_archive, longest);
  segment.PutArchivingSwitch(1);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(arcdelinfo.rootdir, longest + "/");
  EXPECT_EQ(arcdelinfo.arcdir, longest_archive + "/");
  EXPECT_EQ(arcdelinfo.pmldir, longest + "/");
}

TEST_F(Segment, UserConfigurationsAreAlwaysRefused) { EXPECT_EQ(GetUserSG(), -1); }

// --- Attaching ------------------------------------------------------------------------------------

class SegmentAccess : public Segment {
 protected:
  // Failures then go to standard error, which makes them visible here.
  SegmentAccess() { arcdelinfo.auto2_flg = 1; }

  bool ReadShared() const {
    const SharedSegment shared(segment);
    arcdelinfo.shmid = std::stoi(shared.Id());
    return ReadConfiguration();
  }
};

TEST_F(SegmentAccess, SegmentIsDetachedAtOnce) {
  EXPECT_TRUE(ReadShared());
  EXPECT_EQ(shmptr, nullptr);
  EXPECT_STREQ(arcdelinfo.arcdir, "/arc/");
}

TEST_F(SegmentAccess, RefusedConfigurationIsMessage115And114) {
  segment.PutArchivingSwitch(2);
  Capture errors(2);
  EXPECT_FALSE(ReadShared());
  EXPECT_EQ(errors.Text(),
            "Program error occurred detcode=0301000a\nFailed in deletion of psl(psa) files.\n");
  EXPECT_NE(shmptr, nullptr);
  DetachSegment();
  EXPECT_EQ(shmptr, nullptr);
}

TEST_F(SegmentAccess, RefusedPeriodOfAnEnabledConfigurationSaysArchives) {
  segment.PutArchivingSwitch(1);
  segment.PutRetention(kClassHour, 1, kDays);
  Capture errors(2);
  EXPECT_FALSE(ReadShared());
  EXPECT_THAT(errors.Text(), HasSubstr("Failed in archives of psl(psa) files.\n"));
  DetachSegment();
}

TEST_F(SegmentAccess, SmallSegmentIsRefused) {
  segment.bytes().resize(4096);
  Capture errors(2);
  EXPECT_FALSE(ReadShared());
  EXPECT_THAT(errors.Text(), HasSubstr("Program error occurred detcode=0301000a\n"));
  DetachSegment();
}

TEST_F(SegmentAccess, MissingSegmentIsMessage113And114) {
  arcdelinfo.shmid = 0x7FFFFFFF;
  Capture errors(2);
  EXPECT_FALSE(ReadConfiguration());
  EXPECT_EQ(errors.Text(),
            "System call error occurred func=shmat errno=22 detcode=03010004\n"
            "Failed in deletion of psl(psa) files.\n");
  DetachSegment();  // nothing is attached
}

TEST_F(SegmentAccess, UserModeIsMessage115WithItsOwnDetail) {
  arcdelinfo.mode = kModeUser;
  Capture errors(2);
  EXPECT_FALSE(ReadConfiguration());
  EXPECT_EQ(errors.Text(),
            "Program error occurred detcode=0301000b\nFailed in deletion of psl(psa) files.\n");
}

TEST_F(SegmentAccess, FailedDetachAtTheEndIsMessage113And114) {
  char no_segment = 0;
  shmptr = &no_segment;
  Capture errors(2);
  DetachSegment();
  EXPECT_EQ(errors.Text(),
            "System call error occurred func=shmdt errno=22 detcode=03010006\n"
            "Failed in deletion of psl(psa) files.\n");
}

}  // namespace
