// The half of the vector kernels that turns the fields of a tile into words; see kernel_impl.h.
#pragma once

#include "revisions/fold/kernel_impl.h"

namespace {

// Truncation toward zero of what is not negative; too large values saturate.
QELPRF_INLINE Wide ToWords(Doubles v) {
  constexpr double kWhole = 4503599627370496.0;  // 2^52: sums with it have no fraction
  const Doubles most = Doubles{} + 4294967295.0;
  const Doubles bounded = Smaller(v, most);
  const Doubles rounded = (bounded + kWhole) - kWhole;
  const Doubles whole = Choose(reinterpret_cast<Masks>(bounded < rounded), rounded - 1.0, rounded);
  return reinterpret_cast<Wide>(whole + kWhole) & 0xFFFFFFFF;
}

QELPRF_INLINE Wide EncodeCounts(Doubles count) {
  const Masks large = reinterpret_cast<Masks>(count > 2147483647.0);
  const Doubles most = Doubles{} + 2147483647.0;
  return ToWords(Choose(large, Smaller(count / 256.0, most), count)) |
         (reinterpret_cast<Wide>(large) & 0x80000000);
}

QELPRF_INLINE Wide Quotients(Doubles sum, Doubles by, Masks there) {
  return ToWords(Choose(there, sum, Doubles{}) / Choose(there, by, Doubles{} + 1.0));
}

// Two words that follow each other in the file.
QELPRF_INLINE void PutPair(uint64_t* pair, Wide first, Wide second) {
  Wide both = first << 32 | second;
  for (size_t i = 0; i < kWidth; ++i) both[i] = __builtin_bswap64(both[i]);
  Store(pair, both);
}

template <bool kCurrent>
void Put(double* fields, PutRun& run) {
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    const double* sums = fields + lane;
    double* const extremes = fields + lane + run.quadsets * 4 * kTileLanes;
    SettleRates<kCurrent>(extremes, run.tracked, extremes + run.tracked * 4 * kTileLanes);
    const Doubles time = Load(run.time + lane);
    uint64_t pairs[kMostWords / 2][kWidth];
    size_t at = 0;
    for (size_t i = 0; i < run.quadsets; ++i, sums += 4 * kTileLanes) {
      if (lane == 0) {
        Fetch(sums + run.next);
        if (i < run.tracked) Fetch(extremes + i * 4 * kTileLanes + run.next);
      }
      const Doubles count = Load(sums);
      const Doubles by = kCurrent ? count : time;
      PutPair(pairs[at++], EncodeCounts(count),
              Quotients(Load(sums + kTileLanes), count, reinterpret_cast<Masks>(count >= 1.0)));
      PutPair(pairs[at++], ToWords(Load(sums + 2 * kTileLanes)),
              Quotients(Load(sums + 3 * kTileLanes), by, reinterpret_cast<Masks>(by != 0.0)));
    }
    for (size_t i = 0; i < 2 * run.tracked; ++i) {
      const double* field = extremes + 2 * i * kTileLanes;
      PutPair(pairs[at++], ToWords(Load(field)), ToWords(Load(field + kTileLanes)));
    }
    for (size_t i = 0; i < kWidth; ++i) {
      for (size_t pair = 0; pair < at; ++pair) run.words[lane + i][pair] = pairs[pair][i];
    }
  }
}

}  // namespace
