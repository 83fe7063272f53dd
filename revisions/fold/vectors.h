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
typedef uint32_t Words __attribute__((vector_size(kWidth * 8)));
#if QELPRF_WIDTH == 8
typedef uint8_t Bytes32 __attribute__((vector_size(32)));
typedef uint8_t Bytes64 __attribute__((vector_size(64)));
typedef int32_t Lanes4 __attribute__((vector_size(16)));
typedef int32_t Lanes16 __attribute__((vector_size(64)));
#elif QELPRF_WIDTH == 4
typedef uint8_t Bytes32 __attribute__((vector_size(32)));
#else
typedef uint16_t Halves __attribute__((vector_size(16)));
#endif

// Without an assumption about alignment.
typedef Doubles LooseDoubles __attribute__((aligned(8), may_alias));
typedef Wide LooseWide __attribute__((aligned(8), may_alias));
typedef Bytes16 LooseBytes __attribute__((aligned(1), may_alias));

QELPRF_INLINE Doubles Load(const double* p) { return *reinterpret_cast<const LooseDoubles*>(p); }
QELPRF_INLINE void Store(double* p, Doubles v) { *reinterpret_cast<LooseDoubles*>(p) = v; }
QELPRF_INLINE void Store(uint64_t* p, Wide v) { *reinterpret_cast<LooseWide*>(p) = v; }

QELPRF_INLINE Bytes16 LoadGroup(const uint8_t* p) {
  return *reinterpret_cast<const LooseBytes*>(p);
}

// The four words of one group, lane by lane turned to word by word and into host order: in the
// lower halves of 64 bits, below kAbove.
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

// Words that follow each other in the halves, quarters or whole of a vector, by turns from two.
#if QELPRF_WIDTH == 8
QELPRF_INLINE Words LowWords(Words a, Words b) {
  return __builtin_shufflevector(a, b, 0, 16, 1, 17, 4, 20, 5, 21, 8, 24, 9, 25, 12, 28, 13, 29);
}
QELPRF_INLINE Words HighWords(Words a, Words b) {
  return __builtin_shufflevector(a, b, 2, 18, 3, 19, 6, 22, 7, 23, 10, 26, 11, 27, 14, 30, 15, 31);
}
#elif QELPRF_WIDTH == 4
QELPRF_INLINE Words LowWords(Words a, Words b) {
  return __builtin_shufflevector(a, b, 0, 8, 1, 9, 4, 12, 5, 13);
}
QELPRF_INLINE Words HighWords(Words a, Words b) {
  return __builtin_shufflevector(a, b, 2, 10, 3, 11, 6, 14, 7, 15);
}
#else
QELPRF_INLINE Words LowWords(Words a, Words b) { return __builtin_shufflevector(a, b, 0, 4, 1, 5); }
QELPRF_INLINE Words HighWords(Words a, Words b) {
  return __builtin_shufflevector(a, b, 2, 6, 3, 7);
}
#endif

#define QELPRF_TURNED(n) n + 3, n + 2, n + 1, n
#define QELPRF_TURNED16(n) \
  QELPRF_TURNED(n), QELPRF_TURNED(n + 4), QELPRF_TURNED(n + 8), QELPRF_TURNED(n + 12)
#define QELPRF_NEXT16(n)                                                                    \
  n, n + 1, n + 2, n + 3, n + 4, n + 5, n + 6, n + 7, n + 8, n + 9, n + 10, n + 11, n + 12, \
      n + 13, n + 14, n + 15

// The groups of every second entry from `n` on side by side, in host order.
template <class Places>
QELPRF_INLINE Words EverySecond(const Places& at, size_t n) {
#if QELPRF_WIDTH == 8
#ifdef __clang__
  const Bytes32 low = __builtin_shufflevector(LoadGroup(at[n]), LoadGroup(at[n + 2]),
                                              QELPRF_NEXT16(0), QELPRF_NEXT16(16));
  const Bytes32 high = __builtin_shufflevector(LoadGroup(at[n + 4]), LoadGroup(at[n + 6]),
                                               QELPRF_NEXT16(0), QELPRF_NEXT16(16));
  const Bytes64 all = __builtin_shufflevector(low, high, QELPRF_NEXT16(0), QELPRF_NEXT16(16),
                                              QELPRF_NEXT16(32), QELPRF_NEXT16(48));
#else
  // g++ 12 takes three instructions for each of these otherwise.
  Lanes16 lanes = __builtin_ia32_si512_si(reinterpret_cast<Lanes4>(LoadGroup(at[n])));
#define QELPRF_INSERT(i)                   \
  lanes = __builtin_ia32_inserti32x4_mask( \
      lanes, reinterpret_cast<Lanes4>(LoadGroup(at[n + 2 * i])), i, lanes, uint16_t{0xFFFF})
  QELPRF_INSERT(1);
  QELPRF_INSERT(2);
  QELPRF_INSERT(3);
#undef QELPRF_INSERT
  const Bytes64 all = reinterpret_cast<Bytes64>(lanes);
#endif
  return reinterpret_cast<Words>(__builtin_shufflevector(
      all, all, QELPRF_TURNED16(0), QELPRF_TURNED16(16), QELPRF_TURNED16(32), QELPRF_TURNED16(48)));
#elif QELPRF_WIDTH == 4
  const Bytes32 all = __builtin_shufflevector(LoadGroup(at[n]), LoadGroup(at[n + 2]),
                                              QELPRF_NEXT16(0), QELPRF_NEXT16(16));
  return reinterpret_cast<Words>(
      __builtin_shufflevector(all, all, QELPRF_TURNED16(0), QELPRF_TURNED16(16)));
#else
  // Not all of these processors shuffle bytes: those of each half word are turned by shifts, then
  // the half words.
  const Halves halves = reinterpret_cast<Halves>(LoadGroup(at[n]));
  const Halves turned = halves >> 8 | halves << 8;
  const Halves low = __builtin_shufflevector(turned, turned, 1, 0, 3, 2, 4, 5, 6, 7);
  return reinterpret_cast<Words>(__builtin_shufflevector(low, low, 0, 1, 2, 3, 5, 4, 7, 6));
#endif
}

#undef QELPRF_TURNED
#undef QELPRF_TURNED16
#undef QELPRF_NEXT16

// Words become doubles without a conversion, which few processors have for 64 bits: as the fraction
// of a double of 2^52 and more words are exact, too, and in their order: with its upper half above
// them, as the shuffles that sort words out put it there, they are compared as doubles, and one
// subtraction converts them.
constexpr uint64_t kAbove = 0x4330000000000000;

template <class Places>
QELPRF_INLINE Group LoadGroups(const Places& at) {
  const Words above = Words{} + static_cast<uint32_t>(kAbove >> 32);
  const Words even = EverySecond(at, 0);
  const Words odd = EverySecond(at, 1);
  const Words low = LowWords(even, odd);
  const Words high = HighWords(even, odd);
  return {{reinterpret_cast<Wide>(LowWords(low, above)),
           reinterpret_cast<Wide>(HighWords(low, above)),
           reinterpret_cast<Wide>(LowWords(high, above)),
           reinterpret_cast<Wide>(HighWords(high, above))}};
}

QELPRF_INLINE Doubles ToDoubles(Wide w) {
  return reinterpret_cast<Doubles>(w) - 4503599627370496.0;
}
QELPRF_INLINE Wide Larger(Wide a, Wide b) {
  const Doubles x = reinterpret_cast<Doubles>(a);
  const Doubles y = reinterpret_cast<Doubles>(b);
  // Not always reached: lanes choose here, not the program.
  return reinterpret_cast<Wide>(x < y ? y : x);
}

// The groups at `offset` of the entries of kWidth lanes from `lane` on, which follow each other at
// `step`, or are scattered and those of `lanes`.
template <bool kScattered>
QELPRF_INLINE Group LoadFrom(const TileEntries& entries, size_t step, size_t lane, size_t offset,
                             const uint8_t* const (TileEntries::*lanes)[8]) {
  if constexpr (kScattered) {
    return LoadGroups(Scattered{entries.*lanes + lane, offset});
  } else {
    return LoadGroups(InLine{entries.first + lane * step + offset, step});
  }
}

// The lanes of a byte's bits. Compared as words, which all processors can.
QELPRF_INLINE Masks LanesOf(unsigned bits, size_t lane) {
  Words bit = {};
  for (size_t i = 0; i < 2 * kWidth; ++i) bit[i] = 1U << i / 2;
  return reinterpret_cast<Masks>((bit & (Words{} + (bits >> lane))) == bit);
}

constexpr uint64_t kWord = 0xFFFFFFFF;
constexpr Wide kZeroWords = Wide{} + kAbove;
// The number that a word of a group is, as 64 bits.
QELPRF_INLINE Wide NumberOf(Wide word) { return word & kWord; }
// And back.
QELPRF_INLINE Wide WordOf(Wide number) { return number | kAbove; }

// Not always reached: lanes choose here, not the program.
QELPRF_INLINE Doubles Choose(Masks mask, Doubles yes, Doubles no) { return mask ? yes : no; }
// Not always reached: lanes choose here, not the program.
QELPRF_INLINE Doubles Larger(Doubles a, Doubles b) { return a < b ? b : a; }
// Not always reached: lanes choose here, not the program.
QELPRF_INLINE Doubles Smaller(Doubles a, Doubles b) { return b < a ? b : a; }
// Whether the top bit of a lane is set.
QELPRF_INLINE bool AnyOf(Masks mask) {
#if !defined(__x86_64__) || QELPRF_WIDTH == 2
  int64_t any = 0;
  for (size_t i = 0; i < kWidth; ++i) any |= mask[i];
  return any < 0;
#elif QELPRF_WIDTH == 8
  typedef long long Lanes8 __attribute__((vector_size(64)));
  return __builtin_ia32_cvtq2mask512(reinterpret_cast<Lanes8>(mask)) != 0;
#else
  return __builtin_ia32_movmskpd256(reinterpret_cast<Doubles>(mask)) != 0;
#endif
}

}  // namespace
