// Arithmetic of counter groups: folding an interval into a period, producing the period's words,
// and the extremes of rates. Everything is IEEE double, evaluated in the order in which it is
// written.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "engine/byteorder.h"
#include "engine/layout/layout.h"
#include "engine/pmoncommon.h"
#include "revisions/sets/slots.h"

inline constexpr uint32_t kCountTopBit = 0x80000000;
inline constexpr double kRatioScale = 10000.0;  // ratios are in hundredths of a percent

// Truncation toward zero; out of range saturates, not-a-number is 0.
inline uint32_t ToU32(double v) {
  if (!(v > 0.0)) return 0;
  return v >= 4294967296.0 ? std::numeric_limits<uint32_t>::max() : static_cast<uint32_t>(v);
}
inline uint16_t ToU16(double v) {
  return static_cast<uint16_t>(std::min(ToU32(v), uint32_t{0xFFFF}));
}
// A first ratio, which is never below 0: signed 32 bits, of which the low 16 are stored.
inline uint16_t RatioWord(double v) {
  return static_cast<uint16_t>(std::min(ToU32(v), uint32_t{0x7FFFFFFF}));
}

// Operations that a count word stands for: with the top bit set, the rest counts units of 256.
inline double DecodeCount(uint32_t q0) {
  if ((q0 & kCountTopBit) == 0) return q0;
  return static_cast<double>(uint64_t{q0 & ~kCountTopBit} * 256);
}
inline uint32_t EncodeCount(double count) {
  if (!(count > 2147483647.0)) return ToU32(count);
  return std::min(ToU32(count / 256.0), uint32_t{0x7FFFFFFF}) + kCountTopBit;
}

inline void TrackMaximum(double& field, double value, bool first) {
  if (first || !(value < field)) field = value;
}
inline void TrackMinimum(double& field, double value, bool first) {
  if (first || !(field < value)) field = value;
}

// Rates of operations and volume over an interval of `length` milliseconds. The volume comes from
// the product of second average and count; by the older rule the second average stands for it.
inline double RateOf(double count, double length) { return (count * 1000.0 / length) * 1000.0; }
template <QuadRule kRule>
inline double VolumeOf(double figure, double length) {
  if constexpr (kRule == QuadRule::kCurrent) {
    return figure / (length / 1000.0) / 1024.0;
  } else {
    return figure;
  }
}

// A gathered counter group wherever it lies: four sums, and four extremes or none, kStep apart.
template <size_t kStep>
struct GroupRef {
  double* sums;
  double* extremes;  // null: not tracked

  double& Sum(size_t i) const { return sums[i * kStep]; }
  double& Extreme(size_t i) const { return extremes[i * kStep]; }
};

// Folds one interval of `length` milliseconds; `wire` is the quadset as in the file. This is the
// definition of the arithmetic; the vector kernels (kernel.h) do the same for eight slots at a
// time.
template <QuadRule kRule, size_t kStep>
inline void FoldQuadset(const GroupRef<kStep>& group, const uint8_t* wire, double length,
                        bool first) {
  const uint32_t q0 = Load32(wire);
  const double q1 = Load32(wire + 4);
  const double q2 = Load32(wire + 8);
  const double q3 = Load32(wire + 12);
  const double count = DecodeCount(q0);
  group.Sum(0) += count;
  group.Sum(1) += static_cast<double>(q0) * q1;
  if (group.Sum(2) <= q2) group.Sum(2) = q2;
  if constexpr (kRule == QuadRule::kCurrent) {
    group.Sum(3) += q3 * count;
  } else {
    group.Sum(3) += length * q3;
  }
  if (group.extremes == nullptr || length == 0.0) return;
  const double rate = RateOf(count, length);
  TrackMaximum(group.Extreme(0), rate, first);
  TrackMinimum(group.Extreme(1), rate, first);
  const double volume = VolumeOf<kRule>(kRule == QuadRule::kCurrent ? q3 * count : q3, length);
  TrackMaximum(group.Extreme(2), volume, first);
  TrackMinimum(group.Extreme(3), volume, first);
}

// Stores the period's four words, big-endian. `time`: sum of interval lengths (older rule).
template <QuadRule kRule, size_t kStep>
inline void PutQuadset(uint8_t* wire, const GroupRef<kStep>& group, uint32_t time) {
  const double a0 = group.Sum(0);
  Store32(wire, EncodeCount(a0));
  Store32(wire + 4, a0 < 1.0 ? 0 : ToU32(group.Sum(1) / a0));
  Store32(wire + 8, ToU32(group.Sum(2)));
  if constexpr (kRule == QuadRule::kCurrent) {
    Store32(wire + 12, a0 == 0.0 ? 0 : ToU32(group.Sum(3) / a0));
  } else {
    Store32(wire + 12, time == 0 ? 0 : ToU32(group.Sum(3) / time));
  }
}

// Groups outside resource sets: caches, wait times.
inline GroupRef<1> RefTo(Accumulated& a) { return {a.a, nullptr}; }
