// Optional items: see the header.
#include "tools/making/make_items.h"

#include <cstring>

#include "engine/byteorder.h"
#include "engine/layout/layout.h"
#include "engine/pmonfile.h"
#include "tools/making/make_entries.h"

namespace psltool {

namespace {

constexpr uint32_t kItemsEvery = 3600;

uint32_t ElementsOf(const MakePlan& plan, const ItemRow& row) {
  if (!row.span.Holds(plan.revision)) return 0;
  return row.basic_at == 0 ? (plan.wait_times ? plan.counts[kLd] : 0) : plan.counts[row.kind];
}

// Pairs are listed when the configuration is new and once an hour; cabinets in every record.
bool ListsElements(const ItemRow& row, const MakePlan& plan, const Interval& interval) {
  if (row.written != Written::kChanged) return true;
  return interval.first || interval.stamp % kItemsEvery < plan.interval;
}

// Of numbered elements.
void PutKey(uint8_t* out, const ItemRow& row, uint32_t i) {
  for (const Field& field : FieldsOfList(row.fields)) {
    if (field.role == Role::kKey) out[field.at] = static_cast<uint8_t>(i >> 8);
    if (field.role == Role::kKeyNumber) Store16(out + field.at, static_cast<uint16_t>(i));
    if (field.role == Role::kKeyBytes) Store32(out + field.at, i);
  }
}

void PutWaits(uint8_t* out, const Field& group, const Resource& disk, const Interval& interval,
              const Window& idle, Random& random) {
  std::memcpy(out + PlaceInElement(kWaittm, Role::kKeyNumber), disk.key.data(), 2);
  if (idle.Holds(disk.idle_place)) return;
  const double count = static_cast<double>(
      static_cast<uint64_t>(disk.full_rate * Demand(disk.group, interval.load) * 10));
  if (count == 0) return;
  const uint32_t wait = 50 + random.Below(200);
  PutQuadset(out + group.at, count, wait, wait * (2 + random.Below(8)), 0);
}

void PutElement(uint8_t* out, const ItemRow& row, const ArrayModel& model, const Interval& interval,
                const Window& idle, uint32_t i, Random& random) {
  if (const Field* const group = FieldOfElement(row, Role::kGroups)) {
    PutWaits(out, *group, model.resources[kLd][i], interval, idle, random);
    return;
  }
  PutKey(out, row, i);
  if (const Field* const present = FieldOfElement(row, Role::kPresent)) {
    Store32(out + 4, random.Below(1000));  // copies made
    out[present->at] = 1;
  } else if (const Field* const value = FieldOfElement(row, Role::kValue)) {
    Store32(out + value->at, 1800 + random.Below(400));  // power in watts
  } else {                                               // what the collector knows of a pair
    Store16(out + 4, static_cast<uint16_t>(i + 0x1000));
    out[6] = 1;
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
  const Window idle = WindowAt(plan.idle_share, plan.counts[kLd], interval.stamp, kIdlePeriod);
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
      PutElement(out + kItemHead + size_t{i} * row.element, row, model, interval, idle, i, random);
    }
    out += size;
    ++items;
  }
  return out;
}

}  // namespace psltool
