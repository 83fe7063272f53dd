// The vectors of the kernels: types of QELPRF_WIDTH (2, 4 or 8) lanes, loading words of the entries
// of as many slots, and what all kernels calculate with. Only for kernel_impl.h, whose head
// comment says why everything is in an unnamed namespace.
#pragma once

#include <cstddef>
#include <cstdint>

#include "revisions/fold/kernel.h"

#define QELPRF_INLINE inline __attribute__((always_inline))

namespace {

constexpr size_t kWidth = QELPRF_WIDTH;
constexpr size_t kTileLanes = 8;
constexpr size_t kGroupBytes = 16;

typedef double Doubles __attribute__((vector_size(kWidth * 8)));
typedef int64_t Masks __attribute__((vector_size(kWidth * 8)));
typedef uint64_t Wide __attribute__((vector_size(kWidth * 8)));
typedef uint8_t Bytes16 __attribute__((vector_size(16)));
#if QELPRF_WIDTH != 8
typedef uint32_t Words __attribute__((vector_size(16)));
#else
typedef uint8_t Bytes32 __attribute__((vector_size(32)));
typedef uint8_t Bytes64 __attribute__((vector_size(64)));
typedef uint32_t Words16 __attribute__((vector_size(64)));
typedef int32_t Lanes16 __attribute__((vector_size(64)));
#endif

// Without an assumption about alignment.
typedef Doubles LooseDoubles __attribute__((aligned(8), may_alias));
typedef Wide LooseWide __attribute__((aligned(8), may_alias));
typedef Bytes16 LooseBytes __attribute__((aligned(1), may_alias));

QELPRF_INLINE Doubles Load(const double* p) { return *reinterpret_cast<const LooseDoubles*>(p); }
QELPRF_INLINE void Store(double* p, Doubles v) { *reinterpret_cast<LooseDoubles*>(p) = v; }

QELPRF_INLINE Bytes16 LoadGroup(const uint8_t* p) {
  return *reinterpret_cast<const LooseBytes*>(p);
}

// The four words of one group, lane by lane turned to word by word and into host order.
struct Group {
  Wide word[4];
};

// Where the groups of kWidth lanes lie: in entries that follow each other, or in scattered ones.
struct InLine {
  const uint8_t* first;
  size_t step;
  QELPRF_INLINE const uint8_t* operator[](size_t lane) const { return first + lane * step; }
};
struct Scattered {
  const uint8_t* const* entries;
  size_t offset;
  QELPRF_INLINE const uint8_t* operator[](size_t lane) const { return entries[lane] + offset; }
};

#if QELPRF_WIDTH == 8

template <class Places>
QELPRF_INLINE Words16 LoadFourGroups(const Places& at, size_t n) {
#define QELPRF_TURNED(n) n + 3, n + 2, n + 1, n
#define QELPRF_TURNED16(n) \
  QELPRF_TURNED(n), QELPRF_TURNED(n + 4), QELPRF_TURNED(n + 8), QELPRF_TURNED(n + 12)
#define QELPRF_NEXT16(n)                                                                    \
  n, n + 1, n + 2, n + 3, n + 4, n + 5, n + 6, n + 7, n + 8, n + 9, n + 10, n + 11, n + 12, \
      n + 13, n + 14, n + 15
  const Bytes32 low = __builtin_shufflevector(LoadGroup(at[n]), LoadGroup(at[n + 1]),
                                              QELPRF_NEXT16(0), QELPRF_NEXT16(16));
  const Bytes32 high = __builtin_shufflevector(LoadGroup(at[n + 2]), LoadGroup(at[n + 3]),
                                               QELPRF_NEXT16(0), QELPRF_NEXT16(16));
  const Bytes64 all = __builtin_shufflevector(low, high, QELPRF_NEXT16(0), QELPRF_NEXT16(16),
                                              QELPRF_NEXT16(32), QELPRF_NEXT16(48));
  return reinterpret_cast<Words16>(__builtin_shufflevector(
      all, all, QELPRF_TURNED16(0), QELPRF_TURNED16(16), QELPRF_TURNED16(32), QELPRF_TURNED16(48)));
#undef QELPRF_TURNED
#undef QELPRF_TURNED16
#undef QELPRF_NEXT16
}

// The words in the low halves of 64 bits. g++ lets the instruction that shuffles clear the others.
QELPRF_INLINE Wide LowHalves(Words16 words) {
  const Lanes16 low = {-1, 0, -1, 0, -1, 0, -1, 0, -1, 0, -1, 0, -1, 0, -1, 0};
  Words16 none = {};
  return reinterpret_cast<Wide>(low ? words : none);
}

template <class Places>
QELPRF_INLINE Group LoadGroups(const Places& at) {
  const Words16 a = LoadFourGroups(at, 0);
  const Words16 b = LoadFourGroups(at, 4);
#define QELPRF_WORD(n)                                                                      \
  LowHalves(__builtin_shufflevector(a, b, n, n, n + 4, n + 4, n + 8, n + 8, n + 12, n + 12, \
                                    n + 16, n + 16, n + 20, n + 20, n + 24, n + 24, n + 28, \
                                    n + 28))
  return {{QELPRF_WORD(0), QELPRF_WORD(1), QELPRF_WORD(2), QELPRF_WORD(3)}};
#undef QELPRF_WORD
}

QELPRF_INLINE Wide Larger(Wide a, Wide b) { return a < b ? b : a; }

QELPRF_INLINE Doubles ToDoubles(Wide w) {
  return __builtin_convertvector(reinterpret_cast<Masks>(w), Doubles);
}

#else

QELPRF_INLINE Words Turned(Bytes16 b) {
#if QELPRF_WIDTH == 4
  return reinterpret_cast<Words>(
      __builtin_shufflevector(b, b, 3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
#else
  // Not all of these processors shuffle bytes.
  const Words w = reinterpret_cast<Words>(b);
  const Words halves = (w >> 8 & 0x00FF00FF) | (w & 0x00FF00FF) << 8;
  return halves >> 16 | halves << 16;
#endif
}

#if QELPRF_WIDTH == 4

template <class Places>
QELPRF_INLINE Group LoadGroups(const Places& at) {
  const Words r0 = Turned(LoadGroup(at[0]));
  const Words r1 = Turned(LoadGroup(at[1]));
  const Words r2 = Turned(LoadGroup(at[2]));
  const Words r3 = Turned(LoadGroup(at[3]));
  const Words low01 = __builtin_shufflevector(r0, r1, 0, 4, 1, 5);
  const Words low23 = __builtin_shufflevector(r2, r3, 0, 4, 1, 5);
  const Words high01 = __builtin_shufflevector(r0, r1, 2, 6, 3, 7);
  const Words high23 = __builtin_shufflevector(r2, r3, 2, 6, 3, 7);
  return {{__builtin_convertvector(__builtin_shufflevector(low01, low23, 0, 1, 4, 5), Wide),
           __builtin_convertvector(__builtin_shufflevector(low01, low23, 2, 3, 6, 7), Wide),
           __builtin_convertvector(__builtin_shufflevector(high01, high23, 0, 1, 4, 5), Wide),
           __builtin_convertvector(__builtin_shufflevector(high01, high23, 2, 3, 6, 7), Wide)}};
}

#else

template <class Places>
QELPRF_INLINE Group LoadGroups(const Places& at) {
  const Words r0 = Turned(LoadGroup(at[0]));
  const Words r1 = Turned(LoadGroup(at[1]));
  const Words low = __builtin_shufflevector(r0, r1, 0, 4, 1, 5);
  const Words high = __builtin_shufflevector(r0, r1, 2, 6, 3, 7);
  const Words none = {};
  return {{reinterpret_cast<Wide>(__builtin_shufflevector(low, none, 0, 4, 1, 5)),
           reinterpret_cast<Wide>(__builtin_shufflevector(low, none, 2, 6, 3, 7)),
           reinterpret_cast<Wide>(__builtin_shufflevector(high, none, 0, 4, 1, 5)),
           reinterpret_cast<Wide>(__builtin_shufflevector(high, none, 2, 6, 3, 7))}};
}

#endif

// Few processors convert 64-bit words: as the fraction of a double of 2^52 and more they are exact,
// too, and in the order of the words.
QELPRF_INLINE Doubles Whole(Wide w) { return reinterpret_cast<Doubles>(w | 0x4330000000000000); }
QELPRF_INLINE Doubles ToDoubles(Wide w) { return Whole(w) - 4503599627370496.0; }

#if QELPRF_WIDTH == 4
QELPRF_INLINE Wide Larger(Wide a, Wide b) {
  return reinterpret_cast<Masks>(a) < reinterpret_cast<Masks>(b) ? b : a;
}
#else
QELPRF_INLINE Wide Larger(Wide a, Wide b) { return Whole(a) < Whole(b) ? b : a; }
#endif

#endif

// The groups at `offset` of the entries of kWidth lanes from `lane` on.
template <bool kScattered>
QELPRF_INLINE Group LoadFrom(const TileIntervals& intervals, size_t interval, size_t lane,
                             size_t offset) {
  if constexpr (kScattered) return LoadGroups(Scattered{intervals.lanes[interval] + lane, offset});
  return LoadGroups(
      InLine{intervals.first[interval] + lane * intervals.step + offset, intervals.step});
}

// The lanes of a byte's bits.
QELPRF_INLINE Masks LanesOf(uint8_t bits, size_t lane) {
  Wide bit = {};
  for (size_t i = 0; i < kWidth; ++i) bit[i] = uint64_t{1} << i;
  return reinterpret_cast<Masks>((bit & (uint64_t{bits} >> lane)) != 0);
}

QELPRF_INLINE Doubles Choose(Masks mask, Doubles yes, Doubles no) { return mask ? yes : no; }
QELPRF_INLINE Doubles Larger(Doubles a, Doubles b) { return a < b ? b : a; }
QELPRF_INLINE Doubles Smaller(Doubles a, Doubles b) { return b < a ? b : a; }
QELPRF_INLINE bool AnyOf(Masks mask) {
  int64_t any = 0;
  for (size_t i = 0; i < kWidth; ++i) any |= mask[i];
  return any != 0;
}

}  // namespace
