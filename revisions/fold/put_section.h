// Putting the slots of a kind as a section: eight at a time by a vector kernel, or one by one.
#pragma once

#include <algorithm>
#include <cstring>

#include "areas/finfo.h"
#include "revisions/fold/accumulate.h"
#include "revisions/fold/kernel.h"
#include "revisions/sets/open_slots.h"

// Puts the slots of a tile, `lanes` of them in use, their words made by the kernel.
template <FormId kId, QuadRule kRule>
uint8_t* PutTile(uint8_t* out, const ResourceSet& set, uint32_t mask, int32_t index, size_t lanes) {
  constexpr const Form& kForm = kForms[kId];
  constexpr size_t kGroupBytes = kForm.quadsets * kQuadsetSize;
  constexpr size_t kExtremeBytes = kForm.tracked * kQuadsetSize;
  static_assert(kGroupBytes + kExtremeBytes <= kMostWords * 4);
  // The words of the tracked groups follow each other when the mask lacks none of them.
  constexpr uint32_t kTracked = ~(0xFFFFFFFFU >> (4 * kForm.tracked));
  const bool all = (mask & kTracked) == kTracked;
  PutRun run;
  run.quadsets = kForm.quadsets;
  run.tracked = kForm.tracked;
  run.next = set.fields_per_slot * kLanes;
  OpenSlots::Fetch(set, index + static_cast<int32_t>(kLanes));
  for (size_t lane = 0; lane < kLanes; ++lane) {
    run.time[lane] =
        lane < lanes ? OpenSlots::At(set, index + static_cast<int32_t>(lane)).head.time : 0;
  }
  (kRule == QuadRule::kCurrent ? fold_kernels->put_current : fold_kernels->put_older)(
      OpenSlots::Fields(set, index), run);
  for (size_t lane = 0; lane < lanes; ++lane) {
    const SlotRef slot = OpenSlots::At(set, index + static_cast<int32_t>(lane));
    std::memset(out, 0, kForm.quadsets_at);
    PutHead<kId>(out, slot.head, set.key_count);
    if (IsIdle<kId>(slot)) {
      out[kForm.compact] = 1;
      out += kForm.head;
      continue;
    }
    static_assert(kForm.size == kForm.quadsets_at + kGroupBytes);
    std::memcpy(out + kForm.quadsets_at, run.words[lane], kGroupBytes);
    out += kForm.size;
    // Not reached: that a word is missing, as archives hold those of all groups.
    if (all) {
      std::memcpy(out, run.words[lane] + kGroupBytes / 8, kExtremeBytes);
      out = PutWords<kId>(out + kExtremeBytes, slot, mask & ~kTracked);
    } else {
      out = PutWords<kId>(out, slot, mask);
    }
  }
  return out;
}

// Puts the slots `from`, which begins a tile, to before `to`.
template <FormId kId, QuadRule kRule>
uint8_t* PutSlots(uint8_t* out, Kind kind, int32_t from, int32_t to) {
  constexpr auto kStep = static_cast<int32_t>(kLanes);
  const ResourceSet& set = resource_sets[kind];
  const uint32_t mask = finfo.items[kind].out_mask;
  int32_t i = from;
  if constexpr (kForms[kId].quadsets != 0) {
    for (; fold_kernels != nullptr && i < to; i += kStep) {
      const auto lanes = static_cast<size_t>(std::min(kStep, to - i));
      out = PutTile<kId, kRule>(out, set, mask, i, lanes);
    }
  }
  for (; i < to; ++i) {
    out = PutEntry<kId, kRule>(out, OpenSlots::At(set, i), set.key_count, mask);
  }
  return out;
}

// Bytes of the section that PutSlots makes of all slots.
template <FormId kId>
size_t SizeOfSlots(Kind kind) {
  constexpr const Form& kForm = kForms[kId];
  const ResourceSet& set = resource_sets[kind];
  const size_t full = kForm.size + size_t{finfo.items[kind].out_count} * 4;
  size_t idle = 0;
  if constexpr (kForm.idles) {
    for (int32_t i = 0; i < set.entries; ++i) idle += IsIdle<kId>(OpenSlots::At(set, i)) ? 1U : 0U;
  }
  return (static_cast<size_t>(set.entries) - idle) * full + idle * kForm.head;
}
