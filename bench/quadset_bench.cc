// Speed of the counter-group arithmetic by both rules, one group at a time.
#include <benchmark/benchmark.h>

#include <array>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "revisions/fold/quadset.h"

namespace {

constexpr size_t kGroups = 1024;  // stay in the first-level cache: arithmetic, not memory
constexpr double kLength = 60000;

struct Groups {
  std::array<uint8_t, kGroups* kQuadsetSize> wire = {};
  std::array<std::array<double, 4>, kGroups> sums = {};
  std::array<std::array<double, 4>, kGroups> extremes = {};

  Groups() {
    for (uint32_t i = 0; i < kGroups; ++i) {
      uint8_t* const group = wire.data() + i * kQuadsetSize;
      Store32(group, 500 + i);
      Store32(group + 4, 300 + i % 17);
      Store32(group + 8, 2000 + i % 101);
      Store32(group + 12, 4096 + 512 * (i % 7));
    }
  }

  GroupRef<1> At(size_t i, bool tracked) {
    return {sums[i].data(), tracked ? extremes[i].data() : nullptr};
  }
};

template <QuadRule kRule, bool kTracked>
void FoldGroups(benchmark::State& state) {
  Groups groups;
  for (auto _ : state) {
    for (size_t i = 0; i < kGroups; ++i) {
      FoldQuadset<kRule>(groups.At(i, kTracked), groups.wire.data() + i * kQuadsetSize, kLength,
                         false);
    }
    benchmark::DoNotOptimize(groups.sums.data());
    benchmark::ClobberMemory();
  }
  const auto rounds = static_cast<int64_t>(state.iterations());
  state.SetItemsProcessed(rounds * static_cast<int64_t>(kGroups));
  state.SetBytesProcessed(rounds * static_cast<int64_t>(kGroups * kQuadsetSize));
}

template <QuadRule kRule>
void PutGroups(benchmark::State& state) {
  Groups groups;
  for (size_t i = 0; i < kGroups; ++i) {
    FoldQuadset<kRule>(groups.At(i, false), groups.wire.data() + i * kQuadsetSize, kLength, true);
  }
  std::array<uint8_t, kGroups* kQuadsetSize> out = {};
  for (auto _ : state) {
    for (size_t i = 0; i < kGroups; ++i) {
      PutQuadset<kRule>(out.data() + i * kQuadsetSize, groups.At(i, false), 3600000);
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kGroups));
}

}  // namespace

BENCHMARK(FoldGroups<QuadRule::kCurrent, true>)->Name("FoldQuadset/current/tracked");
BENCHMARK(FoldGroups<QuadRule::kCurrent, false>)->Name("FoldQuadset/current");
BENCHMARK(FoldGroups<QuadRule::kOlder, true>)->Name("FoldQuadset/older/tracked");
BENCHMARK(PutGroups<QuadRule::kCurrent>)->Name("PutQuadset/current");
BENCHMARK(PutGroups<QuadRule::kOlder>)->Name("PutQuadset/older");
