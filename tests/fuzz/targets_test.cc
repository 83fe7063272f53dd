// The fuzz targets as ordinary tests: over what fuzzing starts from, cut and changed a little, and
// over the inputs that found something or reach far (tests/data/corpus/). scripts/fuzz looks for
// more.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/fuzz/targets.h"
#include "tests/model/random_source.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

namespace {

using fuzz::NamedTarget;

class FuzzTargets : public testing::TestWithParam<NamedTarget> {
 protected:
  static std::string Run(const std::string& input) {
    const Capture err(2);  // what the readers say of the bytes
    return GetParam().run({reinterpret_cast<const uint8_t*>(input.data()), input.size()});
  }
};

TEST_P(FuzzTargets, KeptInputs) {
  const std::string directory = std::string(TEST_SOURCE_DIR) + "/data/corpus/" + GetParam().name;
  int inputs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    EXPECT_EQ(Run(TempDir::ReadFile(entry.path().string())), "") << entry.path();
    ++inputs;
  }
  EXPECT_GT(inputs, 0);
}

TEST_P(FuzzTargets, SeedsAndChangesOfThem) {
  constexpr int kChanges = 4;
  constexpr size_t kMostSeeds = 40;
  model::Random random(7);
  const std::vector<std::string> seeds = GetParam().seeds();
  ASSERT_FALSE(seeds.empty());
  const size_t step = 1 + seeds.size() / kMostSeeds;
  for (size_t i = 0; i < seeds.size(); i += step) {
    ASSERT_EQ(Run(seeds[i]), "") << "seed " << i;
    for (int change = 0; change < kChanges; ++change) {
      std::string input = seeds[i];
      for (int n = random.Range(1, 4); n > 0 && !input.empty(); --n) {
        input[random.Below(input.size())] = static_cast<char>(random.Byte());
      }
      if (random.Percent(25)) input.resize(random.Below(input.size() + 1));
      ASSERT_EQ(Run(input), "") << "seed " << i << ", change " << change;
    }
  }
}

std::vector<NamedTarget> Targets() {
  const auto all = fuzz::AllTargets();
  return {all.begin(), all.end()};
}

INSTANTIATE_TEST_SUITE_P(Every, FuzzTargets, testing::ValuesIn(Targets()),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
