// Folding and output of cache entries. From revision 0x21 on the second half of an entry goes into
// the slot of the entry's position, the first half into the slot of its key.

#include "tests/model/cache_section.h"

namespace model {
namespace {

// Mean or maximum in hundredths of a percent, kept between 1 and 10000 unless it is 0.
uint16_t ClampedRatio(double value) {
  if (value < 0.0) value = 0.0;
  if (value > 0.0 && value < 1.0) value = 1.0;
  if (value > 10000.0) value = 10000.0;
  return static_cast<uint16_t>(ToU32(value));
}

uint16_t ToU16(double value) {
  const uint32_t wide = ToU32(value);
  return wide > 0xFFFF ? uint16_t{0xFFFF} : static_cast<uint16_t>(wide);
}

uint32_t RateOut(double sum, uint32_t time) {
  return time == 0 ? 0 : ToU32((sum / time) * 1000000.0);
}

}  // namespace

void FoldCache(ArchiveState& state, const KindRule& rule, const Bytes& entry,
               std::size_t position) {
  const uint32_t length = Get32(entry, 4);
  CacheSlot& slot = state.caches[FindResource(state, rule, {entry[8]}, position)];
  slot.status = Get32(entry, 0);
  slot.time += length;
  if (entry[9] == 0) {
    slot.key = entry[8];
    slot.ratio_sum[0] += (static_cast<double>(Get16(entry, 16)) * length) / 10000.0;
    UpdateMaximum(slot.maximum[0], Get16(entry, 18), false);
    if (state.revision >= 0x1F) {
      for (std::size_t i = 0; i < 4; ++i) {
        FoldQuad(slot.quads[i], ReadQuad(entry, 32 + 16 * i), length, false);
      }
    }
  }
  if (state.revision < 0x21) return;
  CacheSlot& placed = state.caches[position];
  placed.ratio_sum[1] += (static_cast<double>(Get16(entry, 20)) * length) / 10000.0;
  UpdateMaximum(placed.maximum[1], Get16(entry, 22), false);
  placed.flag = static_cast<uint8_t>(placed.flag | entry[10]);
  placed.rate_sum[0] += (static_cast<double>(length) * Get32(entry, 24)) / 1000000.0;
  placed.rate_sum[1] += (static_cast<double>(length) * Get32(entry, 28)) / 1000000.0;
  FoldQuad(placed.quads[4], ReadQuad(entry, 96), length, false);
  FoldQuad(placed.quads[5], ReadQuad(entry, 112), length, false);
}

Bytes CacheOut(int revision, const CacheSlot& slot) {
  Bytes entry(128, 0);
  Patch32(entry, 0, slot.status);
  Patch32(entry, 4, slot.time);
  entry[8] = slot.key;
  if (slot.time == 0) entry[9] = 1;
  Patch16(entry, 16, RatioOut(slot.ratio_sum[0], slot.time));
  Patch16(entry, 18, ToU16(slot.maximum[0]));
  if (revision >= 0x21) {
    entry[10] = slot.flag;
    if (slot.time != 0) {
      Patch16(entry, 20, ClampedRatio((slot.ratio_sum[1] / slot.time) * 10000.0));
    }
    Patch16(entry, 22, ClampedRatio(slot.maximum[1]));
    Patch32(entry, 24, RateOut(slot.rate_sum[0], slot.time));
    Patch32(entry, 28, RateOut(slot.rate_sum[1], slot.time));
    PatchQuad(entry, 96, QuadOut(slot.quads[4], slot.time, false));
    PatchQuad(entry, 112, QuadOut(slot.quads[5], slot.time, false));
  }
  if (revision >= 0x1F) {
    for (std::size_t i = 0; i < 4; ++i) {
      PatchQuad(entry, 32 + 16 * i, QuadOut(slot.quads[i], slot.time, false));
    }
  }
  entry.resize(CacheEntrySize(revision));
  return entry;
}

}  // namespace model
