// Statistics records: see the header.
#include "tools/making/make_statistics.h"

#include <cstring>

#include "engine/byteorder.h"
#include "engine/layout/layout.h"
#include "engine/pmonfile.h"
#include "tools/making/make_entries.h"
#include "tools/making/make_items.h"
#include "tools/making/make_random.h"
#include "tools/making/make_structure.h"

namespace psltool {

namespace {

constexpr uint32_t kMaxima = 0xAAAAAAAA;  // largest and smallest values take turns from bit 31 down

bool Includes(const MakePlan& plan, const SectionRow& row) {
  return IsIncluded(row.included, plan.pools ? 1 : 0);
}

size_t LargestRecord(const MakePlan& plan, const std::array<uint32_t, kSectionKinds>& masks) {
  const RevisionLayout& layout = LayoutOf(plan.revision);
  size_t size = layout.row.record_head + LargestItems(plan);
  for (const SectionRow& row : layout.Sections()) {
    if (!Includes(plan, row)) continue;
    size += size_t{plan.counts[row.kind]} * FullEntrySize(kForms[row.form], masks[row.kind]);
  }
  return size;
}

}  // namespace

std::array<uint32_t, kSectionKinds> ItemMasksOf(const MakePlan& plan, Extended words) {
  std::array<uint32_t, kSectionKinds> masks = {};
  if (words == Extended::kNoWords) return masks;
  const RevisionLayout& layout = LayoutOf(plan.revision);
  for (const BitmapRow& row : layout.Bitmaps()) {
    if (row.kind == kReservedItems) continue;
    masks[row.kind] = words == Extended::kAllWords ? row.full : row.full & kMaxima;
  }
  return masks;
}

size_t BuildStatistics(const MakePlan& plan, const ArrayModel& model, const Interval& interval,
                       std::vector<uint8_t>& record) {
  const RevisionLayout& layout = LayoutOf(plan.revision);
  const auto masks = ItemMasksOf(plan, interval.words);
  const size_t room = LargestRecord(plan, masks);
  if (record.size() < room) record.resize(room);
  uint8_t* const start = record.data();
  std::memset(start, 0, layout.row.record_head);
  uint8_t* out = start + layout.row.record_head;
  // A stream of its own for each record: how days are cut into files changes no record.
  Random random(Mix(model.seed, interval.stamp));
  for (const SectionRow& row : layout.Sections()) {
    const Form& form = kForms[row.form];
    const bool included = Includes(plan, row);
    PutDescriptor(start + row.header_at, form.size, plan.counts[row.kind],
                  included ? static_cast<size_t>(out - start) : 0);
    if (!included) continue;
    const uint32_t all = plan.counts[row.kind];
    const EntryContext context = {
        .form = &form,
        .rule = layout.row.rule,
        .revision = plan.revision,
        .key_count = KeyCountOf(plan, row.kind),
        .mask = masks[row.kind],
        .interval = plan.interval,
        .perturbed = plan.profile == Profile::kOffice,
        .load = interval.load,
        .idle = WindowAt(plan.idle_share, all, interval.stamp, kIdlePeriod),
        .not_valid = WindowAt(plan.not_valid_share, all, interval.stamp, kNotValidPeriod)};
    for (const Resource& resource : model.resources[row.kind]) {
      out = PutEntry(out, context, resource, random);
    }
  }
  if (layout.has_items) {
    const auto offset = static_cast<size_t>(out - start);
    uint32_t items = 0;
    out = PutItems(out, plan, model, interval, random, items);
    if (items != 0) PutDescriptor(start + kItemsHeader, kItemHead, items, offset);
  }
  const auto size = static_cast<size_t>(out - start);
  std::memcpy(start + kAtTag, "STA", 3);
  Store32(start + kAtTime, interval.stamp);
  Store32(start + kAtLength, static_cast<uint32_t>(size));
  if (layout.row.carries_pair) {
    Store16(start + kAtIntervalValue, static_cast<uint16_t>(plan.interval));
  }
  return size;
}

}  // namespace psltool
