// Vector kernels: the arithmetic of FoldQuadset and MergeWords for eight slots at a time. The
// scalar functions are the definition; every kernel gives the same bits (IEEE operations in the
// same order, no contraction), so the choice depends on the processor alone.
#pragma once

#include <cstddef>
#include <cstdint>

// One entry for each slot of a tile. A lane that is to stay as it is points to zeros and has length
// 0.
struct FoldTile {
  const uint8_t* quadsets[8];  // first counter group, as in the file
  double length[8];            // interval in milliseconds; 0: no extremes
};

// Extended words for each slot of a tile, as in the file, four for each tracked group.
struct MergeTile {
  const uint8_t* words[8];
  int64_t take[8];  // -1: merge the lane; 0: leave it
};

struct FoldKernels {
  const char* name;
  // Folds `quadsets` groups into the tile's fields, extremes of the first `tracked` ones. `fields`:
  // sums of all groups, then extremes, eight lanes each (slots.h).
  void (*fold_current)(double* fields, const FoldTile& tile, size_t quadsets, size_t tracked,
                       bool first);
  void (*fold_older)(double* fields, const FoldTile& tile, size_t quadsets, size_t tracked,
                     bool first);
  // Merges the words of `tracked` groups into the extremes at `extremes`.
  void (*merge)(double* extremes, const MergeTile& tile, size_t tracked, bool first);
};

// Kernels that this processor can run, best first; ends with a null entry. Empty on processors that
// only have the scalar path.
const FoldKernels* const* AvailableKernels();

// The kernels in use: the best available, or what SetKernels chose. Null: the scalar path.
extern const FoldKernels* fold_kernels;
void SetKernels(const FoldKernels* kernels);
