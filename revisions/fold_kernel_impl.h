// Body of the vector kernels, compiled once for each vector width (QELPRF_WIDTH: 4 or 8 doubles)
// with the options of its processor. Written with the compiler's vector extensions. It includes
// nothing that holds inline functions: those would be compiled for the wrong processor and might be
// chosen for the whole program. Everything is therefore in an unnamed namespace.
#include "revisions/fold_kernel.h"

#define QELPRF_INLINE inline __attribute__((always_inline))

namespace {

constexpr size_t kWidth = QELPRF_WIDTH;
constexpr size_t kTileLanes = 8;
constexpr size_t kGroupBytes = 16;

typedef double Doubles __attribute__((vector_size(kWidth * 8)));
typedef int64_t Masks __attribute__((vector_size(kWidth * 8)));
typedef uint32_t Words __attribute__((vector_size(kWidth * 4)));
typedef int32_t SignedWords __attribute__((vector_size(kWidth * 4)));
typedef uint8_t Bytes16 __attribute__((vector_size(16)));
typedef uint32_t Words4 __attribute__((vector_size(16)));

// Without an assumption about alignment.
typedef Doubles LooseDoubles __attribute__((aligned(8), may_alias));
typedef Masks LooseMasks __attribute__((aligned(8), may_alias));
typedef Bytes16 LooseBytes __attribute__((aligned(1), may_alias));

QELPRF_INLINE Doubles Load(const double* p) { return *reinterpret_cast<const LooseDoubles*>(p); }
QELPRF_INLINE void Store(double* p, Doubles v) { *reinterpret_cast<LooseDoubles*>(p) = v; }

// Four words as they stand in the file, in host order.
QELPRF_INLINE Words4 LoadGroup(const uint8_t* p) {
  const Bytes16 b = *reinterpret_cast<const LooseBytes*>(p);
  return reinterpret_cast<Words4>(
      __builtin_shufflevector(b, b, 3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
}

struct Group {
  Words word[4];  // of all lanes
};

// The four words of one group, lane by lane turned to word by word.
QELPRF_INLINE Group LoadGroups(const uint8_t* const* lanes, size_t offset) {
#if QELPRF_WIDTH == 8
  Words row[4];
  for (size_t i = 0; i < 4; ++i) {
    row[i] = __builtin_shufflevector(LoadGroup(lanes[i] + offset), LoadGroup(lanes[i + 4] + offset),
                                     0, 1, 2, 3, 4, 5, 6, 7);
  }
  const Words low01 = __builtin_shufflevector(row[0], row[1], 0, 8, 1, 9, 4, 12, 5, 13);
  const Words low23 = __builtin_shufflevector(row[2], row[3], 0, 8, 1, 9, 4, 12, 5, 13);
  const Words high01 = __builtin_shufflevector(row[0], row[1], 2, 10, 3, 11, 6, 14, 7, 15);
  const Words high23 = __builtin_shufflevector(row[2], row[3], 2, 10, 3, 11, 6, 14, 7, 15);
  return {{__builtin_shufflevector(low01, low23, 0, 1, 8, 9, 4, 5, 12, 13),
           __builtin_shufflevector(low01, low23, 2, 3, 10, 11, 6, 7, 14, 15),
           __builtin_shufflevector(high01, high23, 0, 1, 8, 9, 4, 5, 12, 13),
           __builtin_shufflevector(high01, high23, 2, 3, 10, 11, 6, 7, 14, 15)}};
#else
  const Words r0 = LoadGroup(lanes[0] + offset);
  const Words r1 = LoadGroup(lanes[1] + offset);
  const Words r2 = LoadGroup(lanes[2] + offset);
  const Words r3 = LoadGroup(lanes[3] + offset);
  const Words low01 = __builtin_shufflevector(r0, r1, 0, 4, 1, 5);
  const Words low23 = __builtin_shufflevector(r2, r3, 0, 4, 1, 5);
  const Words high01 = __builtin_shufflevector(r0, r1, 2, 6, 3, 7);
  const Words high23 = __builtin_shufflevector(r2, r3, 2, 6, 3, 7);
  return {{__builtin_shufflevector(low01, low23, 0, 1, 4, 5),
           __builtin_shufflevector(low01, low23, 2, 3, 6, 7),
           __builtin_shufflevector(high01, high23, 0, 1, 4, 5),
           __builtin_shufflevector(high01, high23, 2, 3, 6, 7)}};
#endif
}

// Unsigned words as doubles, exactly: through the signed conversion that all processors have.
QELPRF_INLINE Doubles ToDoubles(Words w) {
  const Doubles shifted =
      __builtin_convertvector(reinterpret_cast<SignedWords>(w ^ 0x80000000U), Doubles);
  return shifted + 2147483648.0;
}

QELPRF_INLINE Doubles Choose(Masks mask, Doubles yes, Doubles no) {
  const Masks bits = (mask & reinterpret_cast<Masks>(yes)) | (~mask & reinterpret_cast<Masks>(no));
  return reinterpret_cast<Doubles>(bits);
}

template <bool kFirst>
QELPRF_INLINE void TrackMaximum(double* field, Doubles value, Masks take) {
  const Doubles old = Load(field);
  const Masks replace = kFirst ? take : take & ~reinterpret_cast<Masks>(value < old);
  Store(field, Choose(replace, value, old));
}
template <bool kFirst>
QELPRF_INLINE void TrackMinimum(double* field, Doubles value, Masks take) {
  const Doubles old = Load(field);
  const Masks replace = kFirst ? take : take & ~reinterpret_cast<Masks>(old < value);
  Store(field, Choose(replace, value, old));
}

template <bool kCurrent, bool kFirst>
QELPRF_INLINE void FoldLanes(double* sums, double* extremes, const uint8_t* const* lanes,
                             const double* lengths, size_t quadsets, size_t tracked) {
  const Doubles length = Load(lengths);
  const Masks timed = reinterpret_cast<Masks>(length != 0.0);
  // Lanes without a length divide by 1 and keep their extremes.
  const Doubles divisor = Choose(timed, length, length + 1.0);
  const Doubles seconds = divisor / 1000.0;
  for (size_t i = 0; i < quadsets; ++i, sums += 4 * kTileLanes) {
    const Group group = LoadGroups(lanes, i * kGroupBytes);
    const Doubles word = ToDoubles(group.word[0]);
    const Doubles q1 = ToDoubles(group.word[1]);
    const Doubles q2 = ToDoubles(group.word[2]);
    const Doubles q3 = ToDoubles(group.word[3]);
    const Masks scaled = reinterpret_cast<Masks>(word >= 2147483648.0);
    const Doubles count = Choose(scaled, (word - 2147483648.0) * 256.0, word);
    Store(sums, Load(sums) + count);
    Store(sums + kTileLanes, Load(sums + kTileLanes) + word * q1);
    const Doubles maximum = Load(sums + 2 * kTileLanes);
    Store(sums + 2 * kTileLanes, Choose(reinterpret_cast<Masks>(maximum <= q2), q2, maximum));
    Store(sums + 3 * kTileLanes,
          Load(sums + 3 * kTileLanes) + (kCurrent ? q3 * count : length * q3));
    if (i >= tracked) continue;
    const Doubles rate = (count * 1000.0 / divisor) * 1000.0;
    TrackMaximum<kFirst>(extremes, rate, timed);
    TrackMinimum<kFirst>(extremes + kTileLanes, rate, timed);
    const Doubles volume = kCurrent ? (q3 * count) / seconds / 1024.0 : q3;
    TrackMaximum<kFirst>(extremes + 2 * kTileLanes, volume, timed);
    TrackMinimum<kFirst>(extremes + 3 * kTileLanes, volume, timed);
    extremes += 4 * kTileLanes;
  }
}

template <bool kCurrent>
void Fold(double* fields, const FoldTile& tile, size_t quadsets, size_t tracked, bool first) {
  double* const extremes = fields + quadsets * 4 * kTileLanes;
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    if (first) {
      FoldLanes<kCurrent, true>(fields + lane, extremes + lane, tile.quadsets + lane,
                                tile.length + lane, quadsets, tracked);
    } else {
      FoldLanes<kCurrent, false>(fields + lane, extremes + lane, tile.quadsets + lane,
                                 tile.length + lane, quadsets, tracked);
    }
  }
}

template <bool kFirst>
QELPRF_INLINE void MergeLanes(double* extremes, const uint8_t* const* lanes, const int64_t* takes,
                              size_t tracked) {
  const Masks take = *reinterpret_cast<const LooseMasks*>(takes);
  for (size_t i = 0; i < tracked; ++i) {
    const Group group = LoadGroups(lanes, i * kGroupBytes);
    for (size_t word = 0; word < 4; ++word, extremes += kTileLanes) {
      const Doubles value = ToDoubles(group.word[word]);
      if (word % 2 == 0) {
        TrackMaximum<kFirst>(extremes, value, take);
      } else {
        TrackMinimum<kFirst>(extremes, value, take);
      }
    }
  }
}

void Merge(double* extremes, const MergeTile& tile, size_t tracked, bool first) {
  for (size_t lane = 0; lane < kTileLanes; lane += kWidth) {
    if (first) {
      MergeLanes<true>(extremes + lane, tile.words + lane, tile.take + lane, tracked);
    } else {
      MergeLanes<false>(extremes + lane, tile.words + lane, tile.take + lane, tracked);
    }
  }
}

}  // namespace
