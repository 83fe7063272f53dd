// Structure records in archives: see the header.
#include "tools/audit/recompute_structure.h"

#include <algorithm>
#include <cstring>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

namespace {

std::span<const uint8_t> BasicOf(std::span<const uint8_t> record) {
  return Carve(record, Load32(record.data() + kAtFirstHeader + 4), kBasicSize);
}

void PutDescriptor(std::vector<uint8_t>& out, size_t slot, uint16_t first, uint16_t count,
                   size_t offset) {
  Store16(out.data() + slot, first);
  Store16(out.data() + slot + 2, count);
  Store32(out.data() + slot + 4, static_cast<uint32_t>(offset));
}

void Append(std::vector<uint8_t>& out, std::span<const uint8_t> bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

}  // namespace

StructureCounts CountsOf(const RevisionLayout& layout, std::span<const uint8_t> record) {
  StructureCounts counts;
  const auto basic = BasicOf(record);
  counts.held = true;
  counts.revision = layout.revision;
  for (size_t i = 0; i < layout.list_count; ++i) {
    counts.lists[i] = Load16(record.data() + layout.lists[i].header_at + 2);
  }
  for (size_t i = 0; i < counts.items.size(); ++i) {
    const ItemRow& row = kItemRows[i];
    if (row.basic_at != 0 && row.span.Holds(layout.revision)) {
      counts.items[i] = Load16(basic.data() + row.basic_at);
    }
  }
  return counts;
}

bool SameCounts(const RevisionLayout& layout, const StructureCounts& before,
                const StructureCounts& now) {
  if (!before.held || before.revision != layout.revision || before.lists != now.lists) return false;
  for (size_t i = 0; i < now.items.size(); ++i) {
    if ((now.items[i] & kBasicPresent) != 0 && now.items[i] != before.items[i]) return false;
  }
  return true;
}

bool HasWaitTimes(const RevisionLayout& layout, std::span<const uint8_t> record) {
  const auto waits = std::find_if(std::begin(kItemRows), std::end(kItemRows),
                                  [](const ItemRow& row) { return row.kind == kWaittm; });
  return waits->span.Holds(layout.revision) &&
         (BasicOf(record)[kBasicFlags] & kBasicWaitTimes) != 0;
}

std::span<const uint8_t> ListBytes(std::span<const uint8_t> record, const ListRow& row) {
  const uint16_t first = Load16(record.data() + row.header_at);
  const SectionPlace place = PlaceAt(record, row.header_at);
  const uint8_t choice = BasicOf(record)[kBasicIncluded];
  if (place.count == 0 || !IsIncluded(row.included, choice)) return {};
  const uint64_t entry = row.entry == kSizeFromDescriptor ? first : row.entry;
  if (row.total_length_at == kNone) return Carve(record, place.offset, place.count * entry);
  uint64_t size = 0;
  for (uint32_t i = 0; i < place.count; ++i) {
    const auto fixed = Carve(record, place.offset + size, entry);
    if (fixed.empty()) return {};
    size += Load32(fixed.data() + row.total_length_at);
  }
  return Carve(record, place.offset, size);
}

std::vector<uint8_t> PutStructure(const RevisionLayout& layout, std::span<const uint8_t> record,
                                  bool continuation) {
  std::vector<uint8_t> out(layout.row.record_head, 0);
  std::copy_n(record.begin(), kAtLength, out.begin());  // tag, flag byte and stamp
  out[kAtContinuation] = continuation ? 1 : 0;
  if (layout.row.carries_pair) {
    std::memcpy(out.data() + kAtIntervalValue, record.data() + kAtIntervalValue, 2);
  }
  PutDescriptor(out, kAtFirstHeader, Load16(record.data() + kAtFirstHeader),
                Load16(record.data() + kAtFirstHeader + 2), out.size());
  Append(out, BasicOf(record));
  // Of ranks and pools one list is there, and both descriptors hold its offset.
  size_t shared = 0;
  for (const ListRow& row : layout.Lists()) {
    if (row.fixed_descriptor) PutDescriptor(out, row.header_at, 4, 0, 0);
    if (!row.written) continue;
    const bool either = row.included != Included::kAlways;
    if (either && shared == 0) shared = out.size();
    PutDescriptor(out, row.header_at, Load16(record.data() + row.header_at),
                  Load16(record.data() + row.header_at + 2), either ? shared : out.size());
    Append(out, ListBytes(record, row));
  }
  const size_t trailing_at = layout.row.trailing_at;
  if (trailing_at != 0) {
    std::memcpy(out.data() + trailing_at + 4, record.data() + trailing_at + 4, 4);
    const uint32_t trailing = Load32(record.data() + trailing_at);
    if (trailing != 0) {
      Store32(out.data() + trailing_at, static_cast<uint32_t>(out.size()));
      Append(out, record.subspan(trailing));
    }
  }
  Store32(out.data() + kAtLength, static_cast<uint32_t>(out.size()));
  return out;
}

}  // namespace psltool
