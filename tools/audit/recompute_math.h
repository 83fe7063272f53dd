// Numbers of archives computed anew: how words become numbers and numbers words. Written for the
// audit of archives, apart from the archiver's own arithmetic, so that a mistake in one of the two
// shows as a difference.
//
// Independent: Truncated, Word, HalfWord, RatioHalf, CountWord and MeanRatio are written a second
// time; the archiver's are in revisions/fold/quadset.h and accumulate.h.
#pragma once

#include <cmath>
#include <cstdint>

namespace psltool {

inline constexpr uint32_t kFirstOfBitmap = 0x80000000;  // position 0

inline constexpr double kRatioUnit = 10000.0;   // ratios are hundredths of a percent
inline constexpr double kRateUnit = 1000000.0;  // rates of cache modules

// A number without its fraction, held within `least` and `most`; not a number is 0.
inline int64_t Truncated(double value, int64_t least, int64_t most) {
  if (std::isnan(value)) return 0;
  const double whole = std::trunc(value);
  if (whole <= static_cast<double>(least)) return least;
  if (whole >= static_cast<double>(most)) return most;
  return static_cast<int64_t>(whole);
}

inline uint32_t Word(double value) {
  return static_cast<uint32_t>(Truncated(value, 0, UINT32_MAX));
}

inline uint16_t HalfWord(double value) {
  return static_cast<uint16_t>(Truncated(value, 0, UINT16_MAX));
}

// Mean ratios are signed words of which the lower half is stored.
inline uint16_t RatioHalf(double value) {
  return static_cast<uint16_t>(Truncated(value, INT32_MIN, INT32_MAX) & 0xFFFF);
}

// Counts beyond 31 bits are stored in units of 256, marked by the top bit.
inline uint32_t CountWord(double count) {
  constexpr int64_t kMost = 0x7FFFFFFF;
  if (count <= static_cast<double>(kMost)) return Word(count);
  return 0x80000000U | static_cast<uint32_t>(Truncated(count / 256.0, 0, kMost));
}

// Mean of values weighted by interval length, as a ratio word's number.
inline double MeanRatio(double sum, uint32_t time) { return (sum / time) * kRatioUnit; }

}  // namespace psltool
