// Numbers that the audit computes, against numbers worked out by hand, and the archives that were
// reviewed by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "engine/byteorder.h"
#include "tests/model/time_zone.h"
#include "tests/support/record_bytes.h"
#include "tests/support/tools/audit_run.h"
#include "tools/audit/recompute_entry.h"
#include "tools/audit/recompute_inputs.h"
#include "tools/audit/recompute_math.h"

using namespace psltool;

namespace {

using spell::Bytes;

TEST(RecomputeMath, NumbersAreCutAndHeldInTheirRange) {
  EXPECT_EQ(Word(2.99), 2U);
  EXPECT_EQ(Word(-0.5), 0U);
  EXPECT_EQ(Word(-7.0), 0U);
  EXPECT_EQ(Word(4294967295.9), 4294967295U);
  EXPECT_EQ(Word(5e9), 4294967295U);
  EXPECT_EQ(Word(std::nan("")), 0U);
  EXPECT_EQ(Word(std::numeric_limits<double>::infinity()), 4294967295U);
  EXPECT_EQ(HalfWord(70000.0), 65535U);
  EXPECT_EQ(RatioHalf(65537.0), 1U);  // the lower half of a signed word
  EXPECT_EQ(RatioHalf(1e20), 0xFFFFU);
}

TEST(RecomputeMath, LargeCountsHaveTheTopBit) {
  EXPECT_EQ(CountWord(2147483647.0), 0x7FFFFFFFU);
  EXPECT_EQ(CountWord(2147483648.0), 0x80000000U + 8388608U);
  EXPECT_EQ(CountWord(549755813887.0), 0xFFFFFFFFU);
  EXPECT_EQ(CountWord(1e15), 0xFFFFFFFFU);
}

// A disk port: status, length, key, flags, ratio, two groups.
Bytes DiskPort(uint32_t status, uint32_t length, uint16_t ratio, bool valid, uint32_t count,
               uint32_t first, uint32_t largest, uint32_t second) {
  Bytes b;
  spell::U32(b, status);
  spell::U32(b, length);
  spell::U16(b, 0x0102);
  spell::U16(b, valid ? 0 : 1);
  spell::U16(b, 0);
  spell::U16(b, ratio);
  spell::U32(b, count);
  spell::U32(b, first);
  spell::U32(b, largest);
  spell::U32(b, second);
  spell::Zero(b, 16);
  return b;
}

std::span<const uint8_t> BytesOf(const Bytes& b) {
  return {reinterpret_cast<const uint8_t*>(b.data()), b.size()};
}

class RecomputeEntry : public testing::Test {
 protected:
  void Add(const Bytes& entry) {
    AddEntry(rules_, BytesOf(entry), {}, sum_);
    rules_.first = false;
  }
  uint32_t At(size_t offset) {
    std::vector<uint8_t> out;
    PutEntry(rules_, sum_, out);
    return Load32(out.data() + offset);
  }

  EntryRules rules_ = {.form = &kForms[kDpSta_0x10],
                       .rule = QuadRule::kCurrent,
                       .revision = 0x21,
                       .key_count = 2,
                       .in_mask = 0,
                       .out_mask = 0xFFC00000,
                       .first = true};
  ResourceSum sum_;
};

TEST_F(RecomputeEntry, TwoIntervals) {
  Add(DiskPort(5, 60000, 1000, true, 600, 20, 90, 2048));
  Add(DiskPort(6, 30000, 4000, true, 150, 40, 70, 4096));
  EXPECT_EQ(At(0), 6U);               // status of the last one
  EXPECT_EQ(At(4), 90000U);           // 60 s and 30 s
  EXPECT_EQ(At(8), 0x01020000U);      // key, valid
  EXPECT_EQ(At(12) & 0xFFFF, 2000U);  // 10 % of 60 s and 40 % of 30 s: 18 s of 90 s
  EXPECT_EQ(At(16), 750U);            // 600 + 150
  EXPECT_EQ(At(20), 24U);             // (600 x 20 + 150 x 40) / 750
  EXPECT_EQ(At(24), 90U);             // the larger
  EXPECT_EQ(At(28), 2457U);           // (600 x 2048 + 150 x 4096) / 750 = 2457.6
  EXPECT_EQ(At(48), 10000U);          // 600 in 60 s: 10 per second, in thousandths
  EXPECT_EQ(At(52), 5000U);           // 150 in 30 s
  EXPECT_EQ(At(56), 20U);             // 600 x 2048 / 60 s / 1024
  EXPECT_EQ(At(60), 20U);             // 150 x 4096 / 30 s / 1024
  EXPECT_EQ(At(48 + 32), 4000U);      // largest ratio
  EXPECT_EQ(At(48 + 36), 1000U);      // smallest
}

TEST_F(RecomputeEntry, OlderRuleWeighsByTime) {
  rules_.rule = QuadRule::kOlder;
  Add(DiskPort(5, 60000, 0, true, 600, 20, 90, 2000));
  Add(DiskPort(6, 30000, 0, true, 150, 40, 70, 500));
  EXPECT_EQ(At(28), 1500U);  // (60 s x 2000 + 30 s x 500) / 90 s
  EXPECT_EQ(At(56), 2000U);  // the word itself
  EXPECT_EQ(At(60), 500U);
}

TEST_F(RecomputeEntry, NotValidIntervalsCountForNothing) {
  Add(DiskPort(5, 60000, 1000, false, 600, 20, 90, 2048));
  EXPECT_EQ(At(0), 0U);
  EXPECT_EQ(At(4), 0U);
  EXPECT_EQ(At(8), 0x01020001U);  // key, not valid
  EXPECT_EQ(At(16), 0U);
  Add(DiskPort(6, 30000, 4000, true, 150, 40, 70, 4096));
  EXPECT_EQ(At(16), 150U);
  // The first interval of the period brought no extremes: minima stay 0.
  EXPECT_EQ(At(48), 5000U);
  EXPECT_EQ(At(52), 0U);
}

// The count is decoded for sums and weights, but weighs the first average as the word that it is.
TEST_F(RecomputeEntry, CountsWithTheTopBit) {
  Add(DiskPort(1, 60000, 0, true, 0x80000010, 3, 0, 8));
  EXPECT_EQ(At(16), 4096U);
  EXPECT_EQ(At(20), 1572864U);  // 2147483664 x 3 / 4096 = 1572864.01
  EXPECT_EQ(At(28), 8U);
}

TEST_F(RecomputeEntry, ExtendedWordsAreMerged) {
  rules_.in_mask = 0xC0000000;  // rates of the first group only
  const Bytes entry = DiskPort(1, 60000, 5000, true, 600, 20, 90, 2048);
  for (const uint32_t rate : {11000U, 9000U}) {
    Bytes words;
    spell::U32(words, rate);
    spell::U32(words, rate / 2);
    AddEntry(rules_, BytesOf(entry), BytesOf(words), sum_);
    rules_.first = false;
  }
  EXPECT_EQ(At(48), 11000U);
  EXPECT_EQ(At(52), 4500U);
  EXPECT_EQ(At(56), 0U);       // its bit is clear: nothing is computed
  EXPECT_EQ(At(48 + 32), 0U);  // of the ratio neither
}

TEST(RecomputeInputs, NamesAreTakenApartAndSorted) {
  const auto name = NameOfInput("logs/20240304disk#A#002.psl");
  ASSERT_TRUE(name.has_value());
  EXPECT_EQ(name->date, "20240304");
  EXPECT_EQ(name->array, "disk");
  EXPECT_FALSE(NameOfInput("20240304").has_value());
  EXPECT_FALSE(NameOfInput("2024.psl").has_value());
  std::vector<std::string> paths = {"20240305a.psl", "x/20240304b.psl", "20240304a#003.psl",
                                    "20240304a#002.psl", "y/20240304a.psl"};
  SortInputs(paths);
  EXPECT_EQ(paths,
            (std::vector<std::string>{"y/20240304a.psl", "20240304a#002.psl", "20240304a#003.psl",
                                      "20240305a.psl", "x/20240304b.psl"}));
  EXPECT_TRUE(SameDayNames("x/20240304a#001.psl", "y/20240304a#002.psl"));
  EXPECT_FALSE(SameDayNames("20240304a.psl", "20240305a.psl"));
  EXPECT_EQ(SequelOf("d#7/202403a.psa"), 1U);
  EXPECT_EQ(SequelOf("202403a#012.psa"), 12U);
}

// Archives whose every field was reviewed by hand.
TEST(RecomputeGolden, ReviewedArchivesAgree) {
  const model::ScopedZone utc("UTC");
  int audited = 0;
  for (const auto& folder : std::filesystem::directory_iterator(TEST_SOURCE_DIR "/data/golden")) {
    if (!folder.is_directory()) continue;
    std::string log;
    std::string hour;
    std::string day;
    for (const auto& file : std::filesystem::directory_iterator(folder.path())) {
      const std::string stem = file.path().stem().string();
      if (file.path().extension() == ".psl") log = file.path();
      if (file.path().extension() != ".psa") continue;
      (std::isdigit(static_cast<unsigned char>(stem[7])) != 0 ? hour : day) = file.path();
    }
    for (const auto& [archive, input] : {std::pair(hour, log), std::pair(day, hour)}) {
      const Audited result = RunAudit({{.archive = archive, .inputs = {input}}});
      EXPECT_EQ(result.result.findings, 0U) << result.Text();
      ++audited;
    }
  }
  EXPECT_EQ(audited, 18);
}

}  // namespace
