// Made-up statistics entries: what a resource did in one interval, put into the entry form of the
// revision.
#pragma once

#include <cstdint>

#include "engine/layout/layout.h"
#include "tools/making/make_array.h"
#include "tools/making/make_random.h"

namespace psltool {

// What is the same for all entries of a section in one record.
struct EntryContext {
  const Form* form;
  QuadRule rule;
  uint8_t revision;
  uint8_t key_count;  // key bytes in use
  uint32_t mask;      // extended words behind a full entry
  uint32_t interval;  // seconds
  bool perturbed;     // now and then an entry is not valid or lacks its ratio
  Load load;
  Window idle;
  Window not_valid;
};

// Bytes of an entry that is not compact.
uint32_t FullEntrySize(const Form& form, uint32_t mask);

// Puts one entry; returns the first byte behind it. There must be room for a full entry.
uint8_t* PutEntry(uint8_t* out, const EntryContext& context, const Resource& resource,
                  Random& random);

// A counter group of `count` operations.
void PutQuadset(uint8_t* out, double count, uint32_t first, uint32_t largest, uint32_t volume);

// A count word: above 31 bits in units of 256, with the top bit set.
uint32_t CountWord(double count);

}  // namespace psltool
