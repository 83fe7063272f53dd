// Pruning of performance monitor logs ("-auto2").
#pragma once

#include <cstdint>

struct PmlDelParam;

struct PmlSystem;

// Deletes PML files by the numbers of the command line, or, on an embedded system volume, down to
// the volume's capacity, and then takes over the staged ones. Failures are only traced.
void PrunePmlFiles();

// The same with other hands (pmonb/pml_system.h), which may do nothing but write down: `begin` is
// called before each step with its mode and `end`, with the result, after it.
struct PruneRehearsal {
  const PmlSystem& hands;
  void (*begin)(int8_t mode);
  void (*end)(int8_t mode, int result, const PmlDelParam& param);
};
void RehearsePruning(const PruneRehearsal& rehearsal);

// Size limit in bytes of an embedded volume of `capacity` megabytes, split as the pruning routine
// takes it. The smallest volumes keep a reserve.
struct SizeLimit {
  uint32_t high;
  uint32_t low;
};
SizeLimit EmbeddedLimit(int32_t capacity);
