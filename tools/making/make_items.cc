// Optional items: see the header.
#include "tools/making/make_items.h"

#include <cstring>

#include "engine/byteorder.h"
#include "engine/layout/layout.h"
#include "engine/pmonfile.h"
#include "tools/making/make_entries.h"

namespace psltool {

namespace {

constexpr uint32_t kHour = 3600;
constexpr size_t kConcPresent = 12;
constexpr size_t kWaitQuadset = 16;
constexpr size_t kCabValue = 8;

uint32_t ElementsOf(const MakePlan& plan, const ItemRow& row) {
  if (!row.span.Holds(plan.revision)) return 0;
  return row.kind == kWaittm ? (plan.wait_times ? plan.counts[kLd] : 0) : plan.counts[row.kind];
}

// Pairs are listed when the configuration is new and once an hour; cabinets in every record.
bool ListsElements(const ItemRow& row, const MakePlan& plan, const Interval& interval) {
  if (row.kind != kLdCp && row.kind != kPoolCp) return true;
  return interval.first || interval.stamp % kHour < plan.interval;
}

void PutElement(uint8_t* out, const ItemRow& row, const ArrayModel& model, const Interval& interval,
                uint32_t i, Random& random) {
  switch (row.kind) {
    case kConc:
      Store16(out, static_cast<uint16_t>(i));
      Store32(out + 4, random.Below(1000));  // copies made
      out[kConcPresent] = 1;
      break;
    case kWaittm: {
      const Resource& disk = model.resources[kLd][i];
      std::memcpy(out, disk.key.data(), 2);
      const double count = static_cast<double>(
          static_cast<uint64_t>(disk.full_rate * Demand(disk.group, interval.load) * 10));
      if (count == 0) break;
      const uint32_t wait = 50 + random.Below(200);
      PutQuadset(out + kWaitQuadset, count, wait, wait * (2 + random.Below(8)), 0);
      break;
    }
    case kCab:
      out[0] = static_cast<uint8_t>(i >> 8);
      Store16(out + 2, static_cast<uint16_t>(i));
      Store32(out + kCabValue, 1800 + random.Below(400));  // power in watts
      break;
    default:  // copy pairs: four key bytes, then what the collector knows of the pair
      Store32(out, i);
      Store16(out + 4, static_cast<uint16_t>(i + 0x1000));
      out[6] = 1;
      break;
  }
}

}  // namespace

size_t LargestItems(const MakePlan& plan) {
  size_t size = 0;
  for (const ItemRow& row : kItemRows) {
    if (const size_t count = ElementsOf(plan, row); count != 0) {
      size += kItemHead + count * row.element;
    }
  }
  return size;
}

uint8_t* PutItems(uint8_t* out, const MakePlan& plan, const ArrayModel& model,
                  const Interval& interval, Random& random, uint32_t& items) {
  for (const ItemRow& row : kItemRows) {
    uint32_t count = ElementsOf(plan, row);
    if (count == 0) continue;
    if (!ListsElements(row, plan, interval)) count = 0;
    const uint32_t size = static_cast<uint32_t>(kItemHead) + count * row.element;
    std::memset(out, 0, size);
    Store32(out + kAtStatus, 1);
    Store32(out + kAtInterval, plan.interval * 1000);
    Store32(out + kItemLength, size);
    out[kItemType] = row.type;
    out[kItemFlag] = count != 0 ? kItemTaken : 0;
    Store16(out + kItemCount, static_cast<uint16_t>(count));
    Store32(out + kItemFirst, static_cast<uint32_t>(kItemHead));
    for (uint32_t i = 0; i < count; ++i) {
      PutElement(out + kItemHead + size_t{i} * row.element, row, model, interval, i, random);
    }
    out += size;
    ++items;
  }
  return out;
}

}  // namespace psltool
