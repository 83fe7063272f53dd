// Damaged logs of every revision through psltool's readers, as the fuzzer does it, so that it also
// happens where no fuzzer is built; and what is saved of them goes through the archiver.
#include <gtest/gtest.h>

#include <string>

#include "tests/model/random_logs.h"
#include "tests/model/random_source.h"
#include "tests/support/damage.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/sample_records.h"
#include "tests/support/tools/psl_check.h"
#include "tests/support/tools/psltool_target.h"

namespace {

using model::Random;

std::span<const uint8_t> BytesOf(const std::string& text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

class PsltoolMutation : public testing::TestWithParam<int> {};

TEST_P(PsltoolMutation, CommandsEndAndAgree) {
  constexpr int kDamagesPerLog = 6;
  Random random(static_cast<uint64_t>(GetParam()) + 1000);
  int broken = 0;
  int saved = 0;
  int saved_more = 0;
  for (uint64_t seed = 20; seed < 24; ++seed) {
    for (const model::InputFile& log :
         model::MakeRandomLogs(seed, static_cast<uint8_t>(GetParam()), {})) {
      const std::string whole(log.bytes.begin(), log.bytes.end());
      for (int i = 0; i < kDamagesPerLog; ++i) {
        const std::string bytes = Damaged(random, whole);
        const PsltoolTargetResult result = RunPsltool(BytesOf(bytes));
        ASSERT_EQ(result.contradiction, "") << "seed " << seed << ", " << log.name << ", " << i;
        broken += result.clean ? 0 : 1;
        saved += result.saved ? 1 : 0;
        saved_more += result.saved_more ? 1 : 0;
      }
    }
  }
  EXPECT_GT(broken, 10);
  EXPECT_GT(saved, 10);
  EXPECT_GT(saved_more, 0);
}

// Every length: nothing is read behind the end.
TEST_P(PsltoolMutation, EveryCutEndsInAnOrderlyWay) {
  const auto revision = static_cast<uint8_t>(GetParam());
  const std::string log = spell::Log({.revision = revision}, {spell::kNewYear}, true);
  for (size_t size = 0; size < log.size(); size += size < 400 ? 7 : 23) {
    ASSERT_EQ(RunPsltool(BytesOf(log.substr(0, size))).contradiction, "") << size;
  }
}

// What was saved with resync is one whole log for the archiver, however the file was damaged.
TEST_P(PsltoolMutation, WhatIsSavedIsArchived) {
  Random random(static_cast<uint64_t>(GetParam()) + 2000);
  int archived = 0;
  for (const model::InputFile& log :
       model::MakeRandomLogs(31, static_cast<uint8_t>(GetParam()), {})) {
    const std::string whole(log.bytes.begin(), log.bytes.end());
    // The level decides what kind of run a file is for; it stays.
    const size_t header = spell::HeaderSize(static_cast<uint8_t>(GetParam()));
    for (int i = 0; i < 4; ++i) {
      const std::string bytes = whole.substr(0, header) + Damaged(random, whole.substr(header));
      TempDir dir;
      dir.Write("x.psl", bytes);
      const ProgramResult result = RunProgram(
          PSLTOOL_PATH, {"salvage", "--resync", dir.Path("x.psl"), "-o", dir.Path("good.psl")});
      ASSERT_TRUE(result.status == 0 || result.status == 1) << result.err;
      if (result.status != 0) continue;
      EXPECT_TRUE(IsArchived(dir.Read("good.psl"))) << log.name << ", " << i << result.out;
      ++archived;
    }
  }
  EXPECT_GT(archived, 0);
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolMutation, EachRevision(), RevisionParam<int>);

}  // namespace
