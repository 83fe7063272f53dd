// What entries in table order begin with, kept for each kind until its table is another.
#pragma once

#include <cstdint>

#include "engine/layout/layout.h"
#include "revisions/fold/tile_entries.h"
#include "revisions/sets/slots.h"

// The expected signatures of a kind's entries, eight bytes for each slot and whole tiles.
struct KindSignatures {
  uint32_t provided = 0;  // of the set when they were made
  FormId form = {};
  Buffer bytes;
};
KindSignatures& SignaturesOf(Kind kind);

template <FormId kId>
const uint8_t* ExpectedSignatures(Kind kind) {
  const ResourceSet& set = resource_sets[kind];
  KindSignatures& held = SignaturesOf(kind);
  // A 0x10 file can have records of two layouts.
  if (held.provided == set.provided && held.form == kId && held.bytes.data() != nullptr) {
    return held.bytes.data();
  }
  held.provided = set.provided;
  held.form = kId;
  uint8_t* const first = held.bytes.Reserve(static_cast<size_t>(set.entries) * 8 + 8);
  for (int32_t i = 0; i < set.entries; ++i) {
    PutSignature<kId>(first + static_cast<size_t>(i) * 8, set.KeyOf(i), set.key_count, 0);
  }
  return first;
}
