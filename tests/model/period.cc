// Folding of statistics entries into slots and output of slots, for all kinds but the caches.

#include "tests/model/period.h"

namespace model {
namespace {

bool RatioPresent(const KindRule& rule, const Bytes& entry) {
  switch (rule.ratio_rule) {
    case RatioRule::kNone:
      return false;
    case RatioRule::kAlways:
      return true;
    case RatioRule::kBit:
      return (entry[rule.ratio_flag_at] & rule.ratio_flag) != 0;
  }
  return false;
}

bool IsHostPort(Kind kind) { return kind == Kind::kHp || kind == Kind::kHpNode; }

// From the extended words of an entry: bit 31 of the mask is the first extreme, bit 30 the next.
void MergeWords(const KindRule& rule, const FoldContext& context,
                const std::vector<uint32_t>& words, Slot& slot) {
  std::size_t next_word = 0;
  for (std::size_t position = 0; position < 32; ++position) {
    if ((context.input_mask & (0x80000000U >> position)) == 0) continue;
    const double value = words.at(next_word++);
    if (position >= static_cast<std::size_t>(rule.items)) continue;
    double& field = slot.extremes[position];
    if (context.first_interval) {
      field = value;
    } else if (position % 2 == 0) {
      if (field <= value) field = value;
    } else {
      if (value <= field) field = value;
    }
  }
}

void CarryWords(const KindRule& rule, const FoldContext& context, const Bytes& entry, Slot& slot) {
  switch (rule.kind) {
    case Kind::kHd:
    case Kind::kRd:
      slot.word16 = Get32(entry, 16);
      slot.word20 = Get32(entry, 20);
      break;
    case Kind::kPd:
    case Kind::kRank:
      if (context.revision >= 0x11) slot.word16 = Get32(entry, 16);
      break;
    case Kind::kPool:
      slot.word12 = Get32(entry, 12);
      break;
    case Kind::kCheseg:
      slot.cheseg_flags = entry[11];
      if ((entry[11] & 0x80) != 0) {
        slot.byte12 = entry[12];
        slot.byte13 = entry[13];
      } else if (!context.second_cheseg_key) {
        slot.second_busy += (static_cast<double>(Get16(entry, 12)) * Get32(entry, 4)) / 10000.0;
      }
      break;
    default:
      break;
  }
}

}  // namespace

Slot EmptySlot(const KindRule& rule, const Bytes& key) {
  Slot slot;
  slot.key = key;
  slot.quads.resize(rule.quads);
  slot.extremes.resize(static_cast<std::size_t>(rule.items), 0.0);
  return slot;
}

Bytes EntryKey(const KindRule& rule, const Bytes& entry, bool second_cheseg_key) {
  Bytes key;
  for (const std::size_t at : rule.entry_key) key.push_back(Get8(entry, at));
  if (rule.kind == Kind::kCheseg && second_cheseg_key) key.push_back(Get8(entry, 12));
  return key;
}

Bytes ListKey(const KindRule& rule, const Bytes& entry, bool second_cheseg_key) {
  Bytes key;
  for (const std::size_t at : rule.list_key) key.push_back(Get8(entry, at));
  if (rule.kind == Kind::kCheseg && second_cheseg_key) key.push_back(Get8(entry, 1));
  return key;
}

void FoldEntry(const KindRule& rule, const FoldContext& context, const Bytes& entry, bool compact,
               const std::vector<uint32_t>& words, Slot& slot) {
  slot.key = EntryKey(rule, entry, context.second_cheseg_key);
  // The pool's mark comes from every entry, not-valid ones included.
  if (rule.kind == Kind::kPool && context.revision >= 0x1F) slot.kept_mark = (entry[18] & 1) != 0;
  if (entry[rule.not_valid_at] != 0) return;

  const uint32_t length = Get32(entry, 4);
  slot.status = Get32(entry, 0);
  slot.time += length;
  const bool ratio_present = RatioPresent(rule, entry);
  const double ratio = rule.ratio_rule == RatioRule::kNone ? 0 : Get16(entry, rule.ratio_at);
  if (ratio_present) {
    slot.busy += (ratio * length) / 10000.0;
    slot.ratio_seen = true;
  }
  if (IsHostPort(rule.kind) && rule.ratio_rule == RatioRule::kBit && (entry[10] & 1) != 0) {
    slot.counted_seen = true;
  }
  if (rule.kind == Kind::kLd && context.revision >= 0x11 && (entry[13] & 2) != 0) {
    slot.sticky_mark = true;
  }
  if (rule.kind == Kind::kLd && context.revision >= 0x1F) slot.kept_mark = (entry[13] & 4) != 0;
  CarryWords(rule, context, entry, slot);

  const bool compute_extremes = context.input_mask == 0;
  const bool older = OlderQuadRule(context.revision);
  for (std::size_t i = 0; i < rule.quads; ++i) {
    const WireQuad quad = ReadQuad(entry, rule.quads_at + 16 * i);
    FoldQuad(slot.quads[i], quad, length, older);
    if (compute_extremes && i < rule.extreme_quads()) {
      FoldExtremes(&slot.extremes[4 * i], quad, length, context.first_interval, older);
    }
  }
  if (compute_extremes && rule.ratio_extremes() && (ratio_present || rule.kind == Kind::kLd)) {
    const std::size_t at = slot.extremes.size() - 2;
    UpdateMaximum(slot.extremes[at], ratio, context.first_interval);
    UpdateMinimum(slot.extremes[at + 1], ratio, context.first_interval);
  }
  if (!compute_extremes && !compact) MergeWords(rule, context, words, slot);
}

bool IsIdle(const KindRule& rule, const Slot& slot) {
  if (!rule.compact_output) return false;
  for (const SumQuad& quad : slot.quads) {
    if (quad.a0 >= 1.0) return false;
  }
  return rule.kind == Kind::kCheseg || slot.busy < 1.0;
}

Bytes EntryOut(const KindRule& rule, int revision, bool second_cheseg_key, const Slot& slot) {
  const bool idle = IsIdle(rule, slot);
  Bytes entry(rule.size, 0);
  Patch32(entry, 0, slot.status);
  Patch32(entry, 4, slot.time);
  for (std::size_t i = 0; i < rule.entry_key.size(); ++i) entry[rule.entry_key[i]] = slot.key[i];
  if (idle) entry[rule.compact_at] = 1;
  if (slot.time == 0) entry[rule.not_valid_at] = 1;
  if (rule.ratio_rule != RatioRule::kNone) {
    Patch16(entry, rule.ratio_at, RatioOut(slot.busy, slot.time));
  }
  if (rule.ratio_rule == RatioRule::kBit && slot.ratio_seen) {
    entry[rule.ratio_flag_at] = rule.ratio_flag;
  }
  switch (rule.kind) {
    case Kind::kHp:
    case Kind::kHpNode:
      if (slot.counted_seen) entry[10] = static_cast<uint8_t>(entry[10] | 1);
      break;
    case Kind::kLd:
      if (slot.sticky_mark) entry[13] = static_cast<uint8_t>(entry[13] | 2);
      if (slot.kept_mark) entry[13] = static_cast<uint8_t>(entry[13] | 4);
      break;
    case Kind::kPool:
      Patch32(entry, 12, slot.word12);
      if (slot.kept_mark) entry[18] = 1;
      break;
    case Kind::kHd:
    case Kind::kRd:
      Patch32(entry, 16, slot.word16);
      Patch32(entry, 20, slot.word20);
      break;
    case Kind::kPd:
    case Kind::kRank:
      if (revision >= 0x11) Patch32(entry, 16, slot.word16);
      break;
    case Kind::kCheseg:
      entry[11] = slot.cheseg_flags;
      if ((slot.cheseg_flags & 0x80) != 0) {
        entry[12] = slot.byte12;
        entry[13] = slot.byte13;
      } else if (!second_cheseg_key) {
        Patch16(entry, 12, SecondRatioOut(slot.second_busy, slot.time));
      }
      if (second_cheseg_key) entry[12] = slot.key[1];
      break;
    default:
      break;
  }
  if (idle) {
    entry.resize(rule.head);
    return entry;
  }
  for (std::size_t i = 0; i < rule.quads; ++i) {
    PatchQuad(entry, rule.quads_at + 16 * i,
              QuadOut(slot.quads[i], slot.time, OlderQuadRule(revision)));
  }
  for (const double extreme : slot.extremes) Append32(entry, ToU32(extreme));
  return entry;
}

}  // namespace model
