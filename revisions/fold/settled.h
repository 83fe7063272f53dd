// Settled slots: the one way to read slots outside folding. Asking for them folds what is pending,
// so that nobody can see a slot that lacks entries read before.
#pragma once

#include "revisions/fold/accumulate.h"
#include "revisions/fold/pending.h"
#include "revisions/sets/open_slots.h"

class SettledSlots {
 public:
  explicit SettledSlots(Kind kind) : set_(resource_sets[kind]) { Settle(kind); }

  const ResourceSet& set() const { return set_; }

  // A slot whose extremes are rates.
  template <FormId kId, QuadRule kRule>
  SlotRef At(int32_t index) const {
    const SlotRef slot = OpenSlots::At(set_, index);
    SettleRates<kId, kRule>(slot);
    return slot;
  }
  // The fields of a tile and its heads, for a kernel that makes rates of the extremes itself.
  double* TileFields(int32_t index) const { return OpenSlots::Fields(set_, index); }
  SlotRef InTile(int32_t index) const { return OpenSlots::At(set_, index); }

 private:
  const ResourceSet& set_;
};
