// Random numbers that are the same on every machine and with every library: splitmix64 to spread a
// seed, xoshiro256** for the stream. The distributions are our own for the same reason.
#pragma once

#include <bit>
#include <cstdint>

namespace psltool {

inline constexpr uint64_t SplitMix(uint64_t& state) {
  uint64_t z = (state += 0x9E3779B97F4A7C15U);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
  return z ^ (z >> 31);
}

// One value out of two, for seeds of streams.
inline constexpr uint64_t Mix(uint64_t a, uint64_t b) {
  uint64_t state = a ^ std::rotl(b * 0x9E3779B97F4A7C15U, 31);
  return SplitMix(state);
}

class Random {
 public:
  explicit Random(uint64_t seed) {
    for (uint64_t& word : state_) word = SplitMix(seed);
  }

  uint64_t Next() {
    const uint64_t result = std::rotl(state_[1] * 5, 7) * 9;
    const uint64_t shifted = state_[1] << 17;
    state_[2] ^= state_[0];
    state_[3] ^= state_[1];
    state_[1] ^= state_[2];
    state_[0] ^= state_[3];
    state_[2] ^= shifted;
    state_[3] = std::rotl(state_[3], 45);
    return result;
  }

  // 0 up to, but not including, 1.
  double Fraction() { return static_cast<double>(Next() >> 11) * 0x1p-53; }
  uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(((Next() >> 32) * limit) >> 32); }
  bool OneIn(uint32_t n) { return Below(n) == 0; }

 private:
  uint64_t state_[4] = {};
};

// 0 up to, but not including, 1, from 16 bits of a random word.
inline double FractionOf(uint64_t word, unsigned shift) {
  return static_cast<double>((word >> shift) & 0xFFFF) * 0x1p-16;
}

}  // namespace psltool
