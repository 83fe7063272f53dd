// Structure records: see the header.
#include "tools/making/make_structure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "engine/byteorder.h"
#include "engine/layout/layout.h"
#include "engine/pmonfile.h"

namespace psltool {

namespace {

constexpr uint16_t kPoolEntry = 64;  // where the list says its entry size itself
constexpr size_t kTrailingSize = 64;
constexpr uint32_t kConfigurationTag = 0x20240001;  // the carried word beside the trailing offset

using Bytes = std::vector<uint8_t>;

void PutText(uint8_t* at, size_t room, const std::string& text) {
  std::memcpy(at, text.data(), std::min(room, text.size()));
}

// Logical disk: name, capacity in blocks, and from the long form on its logical-volume numbers.
void FillLd(Bytes& entry, const ListRow& row, uint32_t i) {
  PutText(entry.data() + 8, 24, fmt::format("LD{:05}", i));
  if (row.total_length_at == kNone) return;
  Store32(entry.data() + 4, 0x00200000 * (1 + i % 8));
  const auto volumes = static_cast<uint16_t>(1 + i % 3);
  const size_t fixed = entry.size();
  entry.resize(fixed + 2 * size_t{volumes});
  for (size_t n = 0; n < volumes; ++n) {
    Store16(entry.data() + fixed + 2 * n, static_cast<uint16_t>(i + n));
  }
  Store16(entry.data() + 56, volumes);
  Store16(entry.data() + 58, 2);
  Store32(entry.data() + 60, static_cast<uint32_t>(fixed));
  Store32(entry.data() + row.total_length_at, static_cast<uint32_t>(entry.size()));
}

// Rank: the numbers of its logical disks, then the keys of its physical disks; 16 and 24 describe
// where they stand (size, count, offset).
void FillRank(Bytes& entry, const ListRow& row, const MakePlan& plan, const ArrayModel& model,
              uint32_t i) {
  const uint32_t ranks = plan.counts[kRank];
  const auto append = [&](Kind kind, size_t descriptor) {
    const auto start = static_cast<uint32_t>(entry.size());
    uint16_t members = 0;
    for (size_t n = i; n < model.resources[kind].size() && members < 16; n += ranks, ++members) {
      const Resource& member = model.resources[kind][n];
      entry.push_back(member.key[0]);
      entry.push_back(member.key[1]);
    }
    Store16(entry.data() + descriptor, 2);
    Store16(entry.data() + descriptor + 2, members);
    Store32(entry.data() + descriptor + 4, start);
  };
  Store32(entry.data() + 8, 0x01000000);
  append(kLd, 16);
  append(kPd, 24);
  Store32(entry.data() + row.total_length_at, static_cast<uint32_t>(entry.size()));
}

void AppendList(const MakePlan& plan, const ArrayModel& model, const ListRow& row, uint16_t size,
                uint32_t count, Bytes& record) {
  Bytes entry;
  for (uint32_t i = 0; i < count; ++i) {
    entry.assign(size, 0);
    if (row.kind != kNoKind) {
      const Resource& resource = model.resources[row.kind][i];
      const size_t keys = KeyCountOf(plan, row.kind);
      std::copy_n(resource.key.begin(), keys, entry.begin() + row.key_at);
    } else {
      Store32(entry.data(), i + 1);
    }
    if (row.kind == kLd) FillLd(entry, row, i);
    if (row.kind == kRank) FillRank(entry, row, plan, model, i);
    record.insert(record.end(), entry.begin(), entry.end());
  }
}

void FillBasic(const MakePlan& plan, const ArrayModel& model, uint8_t* basic) {
  PutText(basic, 64, model.name);
  if (HasOneOfRankAndPool(LayoutOf(plan.revision))) basic[kBasicIncluded] = plan.pools;
  if (HasSecondChesegKey(plan)) basic[kBasicFlags] |= kBasicSecondChesegKey;
  if (plan.wait_times) basic[kBasicFlags] |= kBasicWaitTimes;
  for (const ItemRow& row : kItemRows) {
    if (row.basic_at == 0 || !row.span.Holds(plan.revision) || plan.counts[row.kind] == 0) continue;
    const auto count = static_cast<uint16_t>(plan.counts[row.kind]);
    Store16(basic + row.basic_at, count | kBasicPresent);
  }
}

}  // namespace

void PutDescriptor(uint8_t* at, uint16_t first, uint32_t count, size_t offset) {
  Store16(at, first);
  Store16(at + 2, static_cast<uint16_t>(count));
  Store32(at + 4, static_cast<uint32_t>(offset));
}

void BuildStructure(const MakePlan& plan, const ArrayModel& model, uint32_t stamp, bool continued,
                    Bytes& record) {
  const RevisionLayout& layout = LayoutOf(plan.revision);
  const size_t head = layout.row.record_head;
  record.assign(head + kBasicSize, 0);
  FillBasic(plan, model, record.data() + head);
  PutDescriptor(record.data() + kAtFirstHeader, kBasicSize, 1, head);
  for (const ListRow& row : layout.Lists()) {
    const uint16_t size = row.entry == kSizeFromDescriptor ? kPoolEntry : row.entry;
    const uint32_t count = row.kind == kNoKind ? kOtherEntries : plan.counts[row.kind];
    // Of ranks and pools the excluded kind keeps its count and has no list.
    const bool included = IsIncluded(row.included, plan.pools ? 1 : 0);
    PutDescriptor(record.data() + row.header_at, size, count, included ? record.size() : 0);
    if (included) AppendList(plan, model, row, size, count, record);
  }
  if (layout.row.trailing_at != 0) {
    const size_t at = record.size();
    Store32(record.data() + layout.row.trailing_at, static_cast<uint32_t>(at));
    Store32(record.data() + layout.row.trailing_at + 4, kConfigurationTag);
    record.resize(at + kTrailingSize);
    PutText(record.data() + at, kTrailingSize, fmt::format("configuration of {}", model.name));
  }
  std::memcpy(record.data() + kAtTag, "CON", 3);
  Store32(record.data() + kAtTime, stamp);
  Store32(record.data() + kAtLength, static_cast<uint32_t>(record.size()));
  record[kAtContinuation] = continued ? 1 : 0;
  if (layout.row.carries_pair) {
    Store16(record.data() + kAtIntervalValue, static_cast<uint16_t>(plan.interval));
  }
}

}  // namespace psltool
