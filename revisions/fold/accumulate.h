// Folding statistics entries into slots and writing slots as entries: templates over the constexpr
// form rows, so that each form's loop is compiled for its own fields.
#pragma once

#include <cstring>

#include "areas/finfo.h"
#include "engine/broken.h"
#include "engine/byteorder.h"
#include "engine/layout/layout.h"
#include "revisions/fold/quadset.h"
#include "revisions/sets/lookup.h"
#include "revisions/sets/slots.h"

// What is the same for all entries of a section.
struct FoldContext {
  bool first;         // first-interval flag
  bool compute;       // the input has no extended words: extremes come from rates
  uint8_t key_count;  // key bytes in use
  uint8_t revision;
  const ItemMasks& masks;
};

inline FoldContext ContextOf(Kind kind) {
  const ItemMasks& masks = finfo.items[kind];
  return {finfo.first_interval, masks.in_count == 0, resource_sets[kind].key_count, finfo.revision,
          masks};
}

template <FormId kId>
inline void LoadKey(uint8_t* key, const uint8_t* entry, size_t count = 3) {
  constexpr const KeyBytes& kKey = kForms[kId].key;
  for (size_t i = 0; i < kKey.count; ++i) {
    if (i < count) key[i] = entry[kKey.at[i]];
  }
}

constexpr bool IsSet(const FlagBit& flag, const uint8_t* entry) {
  return (entry[flag.at] & flag.bit) != 0;
}

// The ratio beside the busy ratio of cache segments, or the two bytes that stand there instead.
template <FormId kId>
inline void FoldSecondRatio(SlotHead& head, const uint8_t* entry, double length,
                            const FoldContext& context) {
  constexpr const Form& kForm = kForms[kId];
  if constexpr (kForm.second_ratio != kNone) {
    head.second_flags = entry[kForm.second_flags];
    if ((head.second_flags & 0x80) != 0) {
      std::memcpy(head.second_bytes.data(), entry + kForm.second_ratio, 2);
    } else if (context.key_count < kForm.key.count) {
      head.second_busy += (Load16(entry + kForm.second_ratio) * length) / kRatioScale;
    }
  }
}

// What a slot has from its last valid entry, status apart.
template <FormId kId>
inline void TakeLast(SlotHead& head, const uint8_t* entry, const FoldContext& context) {
  constexpr const Form& kForm = kForms[kId];
  for (size_t i = 0; i < kForm.carried.size(); ++i) {
    if (kForm.carried[i] != kNone) head.carried[i] = Load32(entry + kForm.carried[i]);
  }
  if constexpr (kForm.kept.at != kNone) {
    if (context.revision >= kForm.kept_from) head.kept = IsSet(kForm.kept, entry);
  }
}

// Folds the head of an entry: everything but counter groups. Returns false for a not-valid entry,
// which refreshes the key only.
template <FormId kId>
inline bool FoldHead(SlotHead& head, const uint8_t* entry, const FoldContext& context) {
  constexpr const Form& kForm = kForms[kId];
  // An entry can go to a slot of another key (ResumeForKey).
  LoadKey<kId>(head.key.data(), entry, context.key_count);
  if constexpr (kForm.kept_always) {
    if (context.revision >= kForm.kept_from) head.kept = IsSet(kForm.kept, entry);
  }
  if (entry[kForm.not_valid] != 0) return false;

  const uint32_t interval = Load32(entry + kAtInterval);
  const double length = interval;
  head.status = Load32(entry + kAtStatus);
  head.time += interval;
  if constexpr (kForm.filled_from != 0) {
    if (context.revision < kForm.filled_from) return true;
  }
  TakeLast<kId>(head, entry, context);
  if constexpr (kForm.counted.at != kNone) head.counted += IsSet(kForm.counted, entry) ? 1U : 0U;
  if constexpr (kForm.sticky.at != kNone) {
    head.sticky = static_cast<uint8_t>(head.sticky | (IsSet(kForm.sticky, entry) ? 1 : 0));
  }
  FoldSecondRatio<kId>(head, entry, length, context);

  if constexpr (kForm.ratio != kNone) {
    const double ratio = Load16(entry + kForm.ratio);
    bool present = true;
    if constexpr (kForm.ratio_flag.at != kNone) present = IsSet(kForm.ratio_flag, entry);
    if (present) {
      head.busy += (ratio * length) / kRatioScale;
      head.ratio_count += 1;
    }
    if (context.compute && (present || kForm.ratio_extremes_always)) {
      TrackMaximum(head.ratio_maximum, ratio, context.first);
      TrackMinimum(head.ratio_minimum, ratio, context.first);
    }
  }
  return true;
}

// Folds the counter groups of an entry, which stand at `quadsets` (elsewhere than in the entry when
// it is compact: zeros).
template <FormId kId, QuadRule kRule>
inline void FoldGroups(const SlotRef& slot, const uint8_t* entry, const uint8_t* quadsets,
                       const FoldContext& context) {
  constexpr const Form& kForm = kForms[kId];
  const double length = Load32(entry + kAtInterval);
  for (size_t i = 0; i < kForm.quadsets; ++i) {
    double* extremes = i < kForm.tracked && context.compute ? &slot.Extreme(4 * i) : nullptr;
    FoldQuadset<kRule>(GroupRef<kLanes>{&slot.Sum(i, 0), extremes}, quadsets + i * kQuadsetSize,
                       length, context.first);
  }
}

// The extreme that an item bit names, by its position from bit 31 down; null beyond the form's.
template <FormId kId>
inline double* ExtremeAt(const SlotRef& slot, size_t position) {
  constexpr size_t kRatioAt = size_t{4} * kForms[kId].tracked;
  if (position < kRatioAt) return &slot.Extreme(position);
  if (position == kRatioAt) return &slot.head.ratio_maximum;
  if (position == kRatioAt + 1) return &slot.head.ratio_minimum;
  return nullptr;
}

// Merges the extended words of an entry: maxima at even, minima at odd positions of the item bits.
// Bits that the revision's full mask lacks have their word, which is passed over.
template <FormId kId>
inline void MergeWords(const SlotRef& slot, const uint8_t* words, const FoldContext& context) {
  for (size_t position = 0; position < 32; ++position) {
    const uint32_t bit = kCountTopBit >> position;
    if ((context.masks.in_mask & bit) == 0) continue;
    const double word = Load32(words);
    words += 4;
    double* field = ExtremeAt<kId>(slot, position);
    // Not reached: that the form lacks a word that the full mask names.
    if ((context.masks.out_mask & bit) == 0 || field == nullptr) continue;
    (position % 2 == 0 ? TrackMaximum : TrackMinimum)(*field, word, context.first);
  }
}

template <FormId kId>
inline bool IsIdle(const SlotRef& slot) {
  constexpr const Form& kForm = kForms[kId];
  if constexpr (!kForm.idles) return false;
  if (kForm.idle_by_busy && !(slot.head.busy < 1.0)) return false;
  for (size_t i = 0; i < kForm.quadsets; ++i) {
    if (!(slot.Sum(i, 0) < 1.0)) return false;
  }
  return true;
}

// Puts the entry's head: everything but counter groups.
template <FormId kId>
inline void PutHead(uint8_t* entry, const SlotHead& head, uint8_t key_count) {
  constexpr const Form& kForm = kForms[kId];
  Store32(entry + kAtStatus, head.status);
  Store32(entry + kAtInterval, head.time);
  const bool empty = head.time == 0;
  if (empty) entry[kForm.not_valid] = 1;
  for (size_t i = 0; i < kForm.carried.size(); ++i) {
    if (kForm.carried[i] != kNone) Store32(entry + kForm.carried[i], head.carried[i]);
  }
  if constexpr (kForm.ratio != kNone) {
    if (!empty) Store16(entry + kForm.ratio, RatioWord((head.busy / head.time) * kRatioScale));
    if constexpr (kForm.ratio_flag.at != kNone) {
      if (head.ratio_count > 0) entry[kForm.ratio_flag.at] |= kForm.ratio_flag.bit;
    }
  }
  if constexpr (kForm.counted.at != kNone) {
    if (head.counted > 0) entry[kForm.counted.at] |= kForm.counted.bit;
  }
  if constexpr (kForm.sticky.at != kNone) {
    if (head.sticky != 0) entry[kForm.sticky.at] |= kForm.sticky.bit;
  }
  if constexpr (kForm.kept.at != kNone) {
    if (head.kept != 0) entry[kForm.kept.at] |= kForm.kept.bit;
  }
  if constexpr (kForm.second_ratio != kNone) {
    entry[kForm.second_flags] = head.second_flags;
    if ((head.second_flags & 0x80) != 0) {
      std::memcpy(entry + kForm.second_ratio, head.second_bytes.data(), 2);
    } else if (!empty && key_count < kForm.key.count) {
      Store16(entry + kForm.second_ratio,
              static_cast<uint16_t>(ToU32((head.second_busy / head.time) * kRatioScale)));
    }
  }
  for (size_t i = 0; i < kForm.key.count; ++i) {
    if (i < key_count) entry[kForm.key.at[i]] = head.key[i];
  }
}

// Puts the output extended words; returns the first byte behind them.
template <FormId kId>
inline uint8_t* PutWords(uint8_t* out, const SlotRef& slot, uint32_t mask) {
  for (size_t position = 0; position < 32; ++position) {
    if ((mask & (kCountTopBit >> position)) == 0) continue;
    const double* field = ExtremeAt<kId>(slot, position);
    // Not always reached: no mask of the tables has more bits than the form has words.
    Store32(out, field != nullptr ? ToU32(*field) : 0);
    out += 4;
  }
  return out;
}

// Puts one slot as an entry (compact when idle) with its extended words. `out` must have room for
// the full entry. Returns the first byte behind it.
template <FormId kId, QuadRule kRule>
inline uint8_t* PutEntry(uint8_t* out, const SlotRef& slot, uint8_t key_count, uint32_t out_mask) {
  constexpr const Form& kForm = kForms[kId];
  std::memset(out, 0, kForm.size);
  PutHead<kId>(out, slot.head, key_count);
  if (IsIdle<kId>(slot)) {
    out[kForm.compact] = 1;
    return out + kForm.head;
  }
  for (size_t i = 0; i < kForm.quadsets; ++i) {
    PutQuadset<kRule>(out + kForm.quadsets_at + i * kQuadsetSize,
                      GroupRef<kLanes>{&slot.Sum(i, 0), nullptr}, slot.head.time);
  }
  return PutWords<kId>(out + kForm.size, slot, out_mask);
}
