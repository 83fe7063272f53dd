// Seeded random numbers for the generator of test logs: the same seed gives the same case on every
// platform. The counters come in several moods, so that zeros, idle resources, ordinary loads and
// the ends of the number range all occur.

#ifndef TESTS_MODEL_RANDOM_SOURCE_H_
#define TESTS_MODEL_RANDOM_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "tests/model/bytes.h"

namespace model {

class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ULL + 0x1234567ULL) {}

  uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15ULL;
    uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
  }

  /// 0 to n - 1; 0 when n is 0.
  std::size_t Below(std::size_t n) { return n == 0 ? 0 : static_cast<std::size_t>(Next() % n); }

  /// From low to high, both included.
  int Range(int low, int high) {
    return low + static_cast<int>(Below(static_cast<std::size_t>(high - low + 1)));
  }

  bool Percent(int percent) { return Range(0, 99) < percent; }
  uint8_t Byte() { return static_cast<uint8_t>(Next() & 0xFF); }
  uint16_t Half() { return static_cast<uint16_t>(Next() & 0xFFFF); }
  uint32_t Word() { return static_cast<uint32_t>(Next() & 0xFFFFFFFFU); }
  uint8_t NonZero() { return static_cast<uint8_t>(Range(1, 255)); }

  Bytes Garbage(std::size_t size) {
    Bytes bytes(size);
    for (uint8_t& byte : bytes) byte = Byte();
    return bytes;
  }

  template <typename T>
  void Shuffle(std::vector<T>& values) {
    for (std::size_t i = values.size(); i > 1; --i) std::swap(values[i - 1], values[Below(i)]);
  }

 private:
  uint64_t state_;
};

/// How busy the resources of a file are.
enum class Mood { kIdle, kSmall, kTypical, kWild };

inline Mood RandomMood(Random& random) {
  const int draw = random.Range(0, 9);
  if (draw < 2) return Mood::kIdle;
  if (draw < 4) return Mood::kSmall;
  return draw < 8 ? Mood::kTypical : Mood::kWild;
}

inline uint32_t RandomCounter(Random& random, Mood mood) {
  switch (mood) {
    case Mood::kIdle:
      return random.Percent(97) ? 0 : 1;
    case Mood::kSmall:
      return static_cast<uint32_t>(random.Range(0, 3));
    case Mood::kTypical:
      return static_cast<uint32_t>(random.Range(0, 200000));
    case Mood::kWild:
      break;
  }
  switch (random.Range(0, 5)) {
    case 0:
      return 0xFFFFFFFFU;
    case 1:
      return 0x80000000U | static_cast<uint32_t>(random.Range(0, 100000));
    case 2:
      return 0x7FFFFFFFU;
    case 3:
      return 0;
    default:
      return random.Word();
  }
}

inline uint32_t RandomLength(Random& random, Mood mood, uint32_t usual) {
  if (random.Percent(4)) return 0;
  if (random.Percent(5)) return static_cast<uint32_t>(random.Range(1, 999));
  if (mood == Mood::kWild && random.Percent(20)) {
    return random.Percent(50) ? 0xFFFFFFFFU : random.Word();
  }
  return usual;
}

inline uint16_t RandomRatio(Random& random, Mood mood) {
  if (mood == Mood::kIdle) return 0;
  if (mood == Mood::kWild && random.Percent(30)) return random.Half();
  return static_cast<uint16_t>(random.Range(0, 10000));
}

}  // namespace model

#endif  // TESTS_MODEL_RANDOM_SOURCE_H_
