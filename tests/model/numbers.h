// Arithmetic of the slow model: doubles to integers by truncation with saturation, the four-word
// counter groups ("quadsets"), and their folding and output under the two rules (the older one of
// revisions 0x10 to 0x12 and the one of 0x13 and later).
//
// Independent of revisions/fold/: words, counter groups and their two rules stand here a second
// time.

#ifndef TESTS_MODEL_NUMBERS_H_
#define TESTS_MODEL_NUMBERS_H_

#include <cmath>
#include <cstdint>

#include "tests/model/bytes.h"

namespace model {

inline uint32_t ToU32(double value) {
  if (std::isnan(value) || value <= 0.0) return 0;
  if (value >= 4294967296.0) return 0xFFFFFFFFU;
  return static_cast<uint32_t>(value);
}

inline int32_t ToI32(double value) {
  if (std::isnan(value)) return 0;
  if (value >= 2147483648.0) return INT32_MAX;
  if (value <= -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(value);
}

/// Time-weighted mean ratio of a period, in hundredths of a percent; only the low 16 bits are kept.
inline uint16_t RatioOut(double busy, uint32_t time) {
  if (time == 0) return 0;
  return static_cast<uint16_t>(static_cast<uint32_t>(ToI32((busy / time) * 10000.0)) & 0xFFFF);
}

/// The second ratio of a kind that has two: as `RatioOut`, but through an unsigned integer.
inline uint16_t SecondRatioOut(double busy, uint32_t time) {
  if (time == 0) return 0;
  return static_cast<uint16_t>(ToU32((busy / time) * 10000.0) & 0xFFFF);
}

/// A counter group as it stands in a file.
struct WireQuad {
  uint32_t q0 = 0;
  uint32_t q1 = 0;
  uint32_t q2 = 0;
  uint32_t q3 = 0;
};

inline WireQuad ReadQuad(const Bytes& bytes, std::size_t at) {
  return {Get32(bytes, at), Get32(bytes, at + 4), Get32(bytes, at + 8), Get32(bytes, at + 12)};
}

inline void PatchQuad(Bytes& bytes, std::size_t at, const WireQuad& quad) {
  Patch32(bytes, at, quad.q0);
  Patch32(bytes, at + 4, quad.q1);
  Patch32(bytes, at + 8, quad.q2);
  Patch32(bytes, at + 12, quad.q3);
}

/// The count behind q0: with the top bit set the other bits count in units of 256.
inline double DecodeCount(uint32_t q0) {
  if ((q0 & 0x80000000U) == 0) return q0;
  return (q0 & 0x7FFFFFFFU) * 256.0;
}

/// The sums of one counter group over a period.
struct SumQuad {
  double a0 = 0;
  double a1 = 0;
  double a2 = 0;
  double a3 = 0;
};

/// Adds one interval of `length` milliseconds.
inline void FoldQuad(SumQuad& sum, const WireQuad& quad, uint32_t length, bool older_rule) {
  const double count = DecodeCount(quad.q0);
  sum.a0 += count;
  sum.a1 += static_cast<double>(quad.q0) * static_cast<double>(quad.q1);
  if (sum.a2 <= quad.q2) sum.a2 = quad.q2;
  if (older_rule) {
    sum.a3 += static_cast<double>(length) * static_cast<double>(quad.q3);
  } else {
    sum.a3 += static_cast<double>(quad.q3) * count;
  }
}

inline void UpdateMaximum(double& field, double value, bool first) {
  if (first || !(value < field)) field = value;
}

inline void UpdateMinimum(double& field, double value, bool first) {
  if (first || !(field < value)) field = value;
}

/// Updates the four extremes of one counter group; an interval of length 0 brings none.
inline void FoldExtremes(double* extremes, const WireQuad& quad, uint32_t length, bool first,
                         bool older_rule) {
  if (length == 0) return;
  const double count = DecodeCount(quad.q0);
  const double time = length;
  const double operations = (count * 1000.0 / time) * 1000.0;
  double volume = quad.q3;
  if (!older_rule) volume = (static_cast<double>(quad.q3) * count) / (time / 1000.0) / 1024.0;
  UpdateMaximum(extremes[0], operations, first);
  UpdateMinimum(extremes[1], operations, first);
  UpdateMaximum(extremes[2], volume, first);
  UpdateMinimum(extremes[3], volume, first);
}

/// The counter group that a period's sums become; `time` is the period's time sum.
inline WireQuad QuadOut(const SumQuad& sum, uint32_t time, bool older_rule) {
  WireQuad quad;
  if (sum.a0 > 2147483647.0) {
    uint32_t units = ToU32(sum.a0 / 256.0);
    if (units > 0x7FFFFFFFU) units = 0x7FFFFFFFU;
    quad.q0 = 0x80000000U + units;
  } else {
    quad.q0 = ToU32(sum.a0);
  }
  quad.q1 = sum.a0 < 1.0 ? 0 : ToU32(sum.a1 / sum.a0);
  quad.q2 = ToU32(sum.a2);
  if (older_rule) {
    quad.q3 = time == 0 ? 0 : ToU32(sum.a3 / time);
  } else {
    quad.q3 = sum.a0 == 0.0 ? 0 : ToU32(sum.a3 / sum.a0);
  }
  return quad;
}

}  // namespace model

#endif  // TESTS_MODEL_NUMBERS_H_
