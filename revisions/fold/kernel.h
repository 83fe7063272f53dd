// Vector kernels: the arithmetic of FoldQuadset and MergeWords for eight slots and several
// intervals at a time. The scalar functions are the definition; every kernel gives the same bits
// (IEEE operations in the same order, no contraction), so the choice depends on the processor
// alone.
#pragma once

#include <cstddef>
#include <cstdint>

// Intervals that are folded at a time at most.
inline constexpr size_t kMostIntervals = 16;

// The entries of eight slots in one interval: they follow each other `step` bytes apart, all full
// and valid or all compact and valid; or, where the step is 0, each lane's is told for itself.
// Lanes that are not in use have zeros there.
struct TileEntries {
  const uint8_t* first;
  size_t step;
  size_t size;  // of all of them
  const uint8_t* entry[8];
  const uint8_t* groups[8];  // the same where the lane counts and has counter groups, else zeros
  uint8_t compact;           // bit n: the entry of lane n has no counter groups
  uint8_t valid;             // bit n: lane n counts
};

// Intervals of a tile that are folded together.
struct TileRun {
  size_t count;
  TileEntries of[kMostIntervals];  // oldest first
  // The oldest is the first of its period. If there are several, nothing has been folded into the
  // slots before; where there is one, entries of the same record may have been.
  bool first;
  size_t lanes;        // in use
  size_t step;         // that of all intervals; 0: they are scattered
  bool whole;          // each lane counts in all intervals
  uint8_t busy_lanes;  // bit n: lane n has counter groups in an interval
  // If they are scattered, those in which a lane has groups. In the others all that have a length
  // stand still, which is a rate of 0.
  size_t busy_count;
  const TileEntries* busy[kMostIntervals];
};

struct FoldRun {
  const TileRun* tile;
  const double (*lengths)[8];  // of all intervals, milliseconds; 0: the lane does not count
  size_t groups_at;            // of the first counter group in an entry
  size_t quadsets;
  size_t tracked;  // groups that have extremes
  bool compute;    // extremes come from rates; else extended words say them
  size_t next;     // doubles from this tile to the one folded next, 0: none follows
};

// The same for extended words.
struct MergeRun {
  const TileRun* tile;
  size_t words_at;       // in an entry
  size_t words;          // so many follow each other
  double* extremes[32];  // of each word: eight lanes; null: it is passed over
  uint32_t minima;       // bit n: word n is a minimum, else a maximum
};

// What of the heads of eight slots is summed up.
struct HeadRun {
  const TileRun* tile;
  size_t ratio_at;    // of the 16-bit ratio in a head, 14 or more; 0: there is none
  bool always;        // ratios are always present, else where the bit `there` is set
  bool track;         // ratios have extremes,
  bool track_always;  // whether they are present or not
  // Of the third word of a head and, above it, the fourth; 0: none.
  uint64_t there;
  uint64_t counted;
  uint64_t sticky;
};

struct HeadSums {
  double busy[8];  // sum of ratio x length / 10000; like the extremes of ratios it goes on
  double maximum[8];
  double minimum[8];
  uint64_t time[8];     // sum of lengths
  uint64_t ratios[8];   // their number
  uint64_t counted[8];  // number of counted bits
  uint64_t sticky[8];   // not 0: a sticky bit was set
  double lengths[kMostIntervals][8];
};

// The words of eight slots: of each lane four for each group and four for each tracked group.
inline constexpr size_t kMostWords = 48;
struct PutRun {
  size_t quadsets;
  size_t tracked;
  size_t next;                        // doubles to the next tile
  double time[8];                     // sum of lengths; the older rule divides by it
  uint64_t words[8][kMostWords / 2];  // as in the file
};

struct FoldKernels {
  const char* name;
  void (*fold_heads)(HeadRun run, HeadSums& sums);
  // Folds the run into the tile's fields: sums of all groups, then extremes, then the lengths that
  // extremes are to be divided by, eight lanes each (slots.h).
  void (*fold_current)(double* fields, const FoldRun& run);
  void (*fold_older)(double* fields, const FoldRun& run);
  void (*merge)(const MergeRun& run);
  // Turns a tile into words. Extremes become rates before.
  void (*put_current)(double* fields, PutRun& run);
  void (*put_older)(double* fields, PutRun& run);
};

// Those that the program was built with.
extern const FoldKernels kFoldKernelsAvx512;
extern const FoldKernels kFoldKernelsAvx2;
extern const FoldKernels kFoldKernelsPairs;

// Kernels that this processor can run, best first; ends with a null entry. Empty on processors that
// only have the scalar path.
const FoldKernels* const* AvailableKernels();

// The kernels in use: the best available, or what SetKernels chose. Null: the scalar path.
extern const FoldKernels* fold_kernels;
void SetKernels(const FoldKernels* kernels);
