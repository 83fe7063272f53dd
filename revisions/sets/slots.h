// Resource sets: per kind the table of configured resources and the slots in which a period is
// gathered; slot i belongs to table entry i.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "areas/kinds.h"
#include "engine/buffer.h"
#include "engine/layout/layout.h"

// One counter group gathered over a period: sum of counts; sum of count x first average; largest
// maximum; sum of count (older rule: interval length) x second average.
struct Accumulated {
  double a[4];
};

// What every slot holds beside its counter groups; 64 bytes, one cache line.
struct SlotHead {
  uint32_t status;             // of the last valid entry
  uint32_t time;               // sum of interval lengths, milliseconds; wraps
  std::array<uint8_t, 3> key;  // as in the file
  uint8_t sticky;
  uint8_t kept;
  uint8_t second_flags;                 // cache segments: flags byte of the last valid entry
  std::array<uint8_t, 2> second_bytes;  // and its bytes 12 and 13 while they are no ratio
  uint32_t ratio_count;                 // intervals that carried a ratio
  uint32_t counted;                     // counted intervals of host ports
  std::array<uint32_t, 2> carried;
  double busy;  // sum of ratio x interval length / 10000
  double second_busy;
  double ratio_maximum;
  double ratio_minimum;
};
static_assert(sizeof(SlotHead) == 64);

// The counter groups of a set are kept apart from its heads, as fields of doubles for eight slots
// at a time (a tile), so that eight resources are folded by vector instructions: field f of slot i
// is fields[(i / 8) * fields_per_slot * 8 + f * 8 + i % 8]. Fields of a slot: a0 to a3 of each
// group, then the four extremes of each tracked group (largest and smallest operation rate, largest
// and smallest volume rate or, by the older rule, second average), in the order of the item bits.
// The vector kernels keep extremes as counts while all intervals of a slot have one length: that
// length is the last field, else 0 (SettleRates in kernel_impl.h).
inline constexpr size_t kLanes = 8;

// One slot: its head and its fields, kLanes apart.
struct SlotRef {
  SlotHead& head;
  double* fields;
  size_t quadsets;

  double& Sum(size_t quadset, size_t field) const { return fields[(quadset * 4 + field) * kLanes]; }
  // Extreme by its position among the item bits, ratio extremes apart.
  double& Extreme(size_t position) const { return fields[(quadsets * 4 + position) * kLanes]; }
  double& Length(size_t tracked) const { return fields[(quadsets + tracked) * 4 * kLanes]; }
};

struct CacheSlot {
  uint32_t status;
  uint32_t time;
  uint8_t key;
  uint8_t flag;  // OR of the entries' flag bytes
  double ratio_sum1;
  double maximum1;
  double ratio_sum2;
  double maximum2;
  double rate_sum1;
  double rate_sum2;
  std::array<Accumulated, 6> quadsets;
};

// Of the tables of structure records only the keys are kept, so many bytes apart.
inline constexpr size_t kKeyRoom = 4;

struct ResourceSet {
  int32_t count = 0;    // as the structure record announced; compared with section counts
  int32_t entries = 0;  // configured resources in the table (0 for the list that is not carried)
  Lookup lookup = Lookup::kScan;
  uint8_t key_count = 0;
  bool unique = false;           // no key occurs twice, so a hit at any position is the first one
  bool from_statistics = false;  // built by the statistics reader
  size_t head_size = 0;          // bytes of a slot's head: SlotHead, or all of a CacheSlot
  size_t quadsets = 0;
  size_t fields_per_slot = 0;
  Buffer keys;
  uint32_t provided = 0;  // how often slots were provided or dropped: other tables, other keys
  // For searches that go far, and only once they have (lookup.cc): key and position of all table
  // entries in ascending order, and how many entries such searches have looked at so far.
  std::vector<uint64_t> order;
  uint64_t passed = 0;

  const uint8_t* KeyOf(int32_t index) const {
    return keys.data() + static_cast<size_t>(index) * kKeyRoom;
  }
  uint32_t KeyNumber(const uint8_t* key) const {
    uint32_t number = 0;
    for (size_t i = 0; i < key_count; ++i) number = number << 8 | key[i];
    return number;
  }

 private:
  friend struct OpenSlots;   // open_slots.h
  Buffer block;              // the fields and, behind them, the heads
  uint8_t* heads = nullptr;  // each in a cache line of its own
  double* fields = nullptr;  // counter groups, in tiles, from a cache line's start on
};

extern std::array<ResourceSet, kSectionKinds> resource_sets;

// Revision whose structure record filled the sets; 0 when none is held.
extern uint8_t structure_revision;

// Byte 95 of its basic information: 0 = ranks are included, else pools.
extern uint8_t included_choice;

// The slot arrays by name; null while the kind has no resources.
// clang-format off
#define QELPRF_SLOT_ARRAYS(X) \
  X(sta_hd_arc, kHd) X(sta_rd_arc, kRd) X(sta_dd_arc, kDd) X(sta_hp_arc, kHp) \
  X(sta_hp_node_arc, kHpNode) X(sta_dp_arc, kDp) X(sta_cache_arc, kCache) \
  X(sta_ld_arc, kLd) X(sta_pd_arc, kPd) X(sta_rank_arc, kRank) X(sta_cheseg_arc, kCheseg) \
  X(sta_rp_arc, kRp) X(sta_mp_arc, kMp) X(sta_pool_arc, kPool)
// clang-format on
#define QELPRF_DECLARE(name, kind) extern uint8_t* name;
QELPRF_SLOT_ARRAYS(QELPRF_DECLARE)
#undef QELPRF_DECLARE
