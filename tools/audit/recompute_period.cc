// Sums of an array: see the header.
#include "tools/audit/recompute_period.h"

#include <algorithm>
#include <cstring>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/reading/check_statistics.h"

namespace psltool {

namespace {

EntryRules RulesOf(const RevisionLayout& layout, uint8_t file_revision, const SectionRow& row,
                   const KeyTable& table) {
  EntryRules rules;
  rules.form = &kForms[row.form];
  rules.rule = layout.row.rule;
  rules.revision = file_revision;
  rules.key_count = table.key_count;
  const BitmapRow* const bitmap = FindRow(LayoutOf(file_revision).Bitmaps(), row.kind);
  rules.out_mask = bitmap == nullptr ? 0 : bitmap->full;
  return rules;
}

}  // namespace

void PeriodSums::StartKind(Kind kind) {
  const KeyTable& table = tables_.kinds[kind];
  KindSums& sums = kinds_[kind];
  sums.resources.assign(table.keys.size(), {});
  sums.by_key.clear();
  for (uint32_t i = 0; i < table.keys.size(); ++i) {
    sums.resources[i].key = table.keys[i];
    sums.by_key.emplace_back(table.keys[i], i);
  }
  std::sort(sums.by_key.begin(), sums.by_key.end());
  sums.unique =
      std::adjacent_find(sums.by_key.begin(), sums.by_key.end(), [](const auto& a, const auto& b) {
        return a.first == b.first;
      }) == sums.by_key.end();
}

void PeriodSums::Start(const RevisionLayout& layout, ArrayTables tables) {
  tables_ = std::move(tables);
  listed_ = tables_.kinds;
  for (size_t kind = 0; kind < kSectionKinds; ++kind) StartKind(static_cast<Kind>(kind));
  items_.Start(layout, tables_);
  any_ = false;
  first_ = true;
}

void PeriodSums::Drop() {
  tables_ = ArrayTables();
  listed_ = tables_.kinds;
  for (KindSums& sums : kinds_) sums = KindSums();
  items_.Drop();
}

void PeriodSums::DropFound() {
  for (size_t i = 0; i < kSectionKinds; ++i) {
    if (!tables_.kinds[i].from_statistics) continue;
    tables_.kinds[i] = listed_[i];
    StartKind(static_cast<Kind>(i));
  }
}

void PeriodSums::Note(const RevisionLayout& layout, std::span<const uint8_t> record) {
  firsts_.fill(0);
  items_first_ = 0;
  for (const SectionRow& section : layout.Sections()) {
    firsts_[section.kind] = Load16(record.data() + section.header_at);
  }
  if (layout.has_items) items_first_ = Load16(record.data() + kItemsHeader);
}

// The place of the resource that takes an entry. Disks that are not listed go to the one found
// last, which is the archiver's way.
size_t PeriodSums::PlaceOfKey(Kind kind, uint32_t key, uint32_t position) {
  const KindSums& sums = kinds_[kind];
  const std::vector<uint32_t>& keys = tables_.kinds[kind].keys;
  const Lookup lookup = tables_.kinds[kind].lookup;
  if (lookup == Lookup::kPosition) return position;
  const auto first = [&]() -> size_t {
    if (sums.unique && position < keys.size() && keys[position] == key) return position;
    const auto at = std::lower_bound(sums.by_key.begin(), sums.by_key.end(),
                                     std::pair<uint32_t, uint32_t>(key, 0));
    return at != sums.by_key.end() && at->first == key ? at->second : keys.size();
  };
  if (lookup == Lookup::kScan) return first();
  size_t& cursor = cursors_[kind];
  if (cursor + 1 >= keys.size()) cursor = 0;
  size_t found = keys.size();
  if (sums.unique) {
    found = first();
  } else {
    for (size_t i = 0; i < keys.size() && found == keys.size(); ++i) {
      const size_t at = (cursor + i) % keys.size();
      if (keys[at] == key) found = at;
    }
  }
  if (found < keys.size()) cursor = found;
  return cursor;
}

void PeriodSums::AddSection(const PslHeader& header, const RevisionLayout& layout,
                            const SectionRow& row, std::span<const uint8_t> record) {
  const KeyTable& table = tables_.kinds[row.kind];
  std::vector<ResourceSum>& resources = kinds_[row.kind].resources;
  EntryRules rules = RulesOf(layout, header.revision, row, table);
  rules.in_mask = header.masks[row.kind];
  rules.first = first_;
  const bool cache = IsCacheForm(*rules.form);
  uint32_t position = 0;
  VisitSection(header, record, row,
               [&](std::span<const uint8_t> entry, std::span<const uint8_t> words) {
                 const uint32_t key = EntryKey(rules.form->key, table.key_count, entry);
                 const size_t place = PlaceOfKey(row.kind, key, position);
                 if (place < resources.size()) {
                   if (watcher_ != nullptr) {
                     watcher_->Added({row.kind, table.keys[place], record, entry, words, rules});
                   }
                   if (cache) {
                     AddCacheByKey(rules, entry, resources[place]);
                   } else {
                     AddEntry(rules, entry, words, resources[place]);
                   }
                 }
                 if (cache && position < resources.size()) {
                   AddCacheByPosition(rules, entry, resources[position]);
                 }
                 ++position;
               });
}

void PeriodSums::Add(const PslHeader& header, const RevisionLayout& layout,
                     std::span<const uint8_t> record,
                     const std::array<KeyTable, kSectionKinds>& found) {
  any_ = true;
  stamp_ = Load32(record.data() + kAtTime);
  flag_ = record[kAtFlag];
  for (size_t i = 0; i < kSectionKinds; ++i) {
    if (!found[i].from_statistics) continue;
    tables_.kinds[i] = found[i];
    StartKind(static_cast<Kind>(i));
  }
  for (const SectionRow& row : layout.Sections()) {
    if (IsRead(row, PlaceOf(record, row), tables_)) AddSection(header, layout, row, record);
  }
  ItemSums::Watch watch;
  if (watcher_ != nullptr) {
    watch = [&](const TakenItem& item) { watcher_->Taken(record, item); };
  }
  items_.Add(
      record, [this](uint32_t number, uint32_t i) { return PlaceOfKey(kLd, number, i); }, watch);
  first_ = false;
}

std::vector<uint8_t> PeriodSums::Put(const RevisionLayout& layout, uint8_t file_revision) const {
  std::vector<uint8_t> record(layout.row.record_head, 0);
  std::memcpy(record.data() + kAtTag, "STA", 3);
  record[kAtFlag] = flag_;
  Store32(record.data() + kAtTime, stamp_);
  const auto put_header = [&](size_t slot, uint16_t first, size_t count, size_t offset) {
    Store16(record.data() + slot, first);
    Store16(record.data() + slot + 2, static_cast<uint16_t>(count));
    Store32(record.data() + slot + 4, static_cast<uint32_t>(offset));
  };
  for (const SectionRow& row : layout.Sections()) {
    const KeyTable& table = tables_.kinds[row.kind];
    const bool carried = IsIncluded(row.included, tables_.choice);
    put_header(row.header_at, firsts_[row.kind], table.count, carried ? record.size() : 0);
    const EntryRules rules = RulesOf(layout, file_revision, row, table);
    for (const ResourceSum& sum : kinds_[row.kind].resources) PutEntry(rules, sum, record);
  }
  if (layout.has_items) {
    const size_t offset = record.size();
    const uint32_t count = items_.Put(record);
    if (count != 0) put_header(kItemsHeader, items_first_, count, offset);
  }
  Store32(record.data() + kAtLength, static_cast<uint32_t>(record.size()));
  return record;
}

void PeriodSums::EndPeriod() {
  for (size_t i = 0; i < kSectionKinds; ++i) {
    std::vector<ResourceSum>& resources = kinds_[i].resources;
    const std::vector<uint32_t>& keys = tables_.kinds[i].keys;
    for (size_t n = 0; n < resources.size(); ++n) {
      resources[n] = ResourceSum();
      resources[n].key = keys[n];
    }
  }
  items_.EndPeriod();
  any_ = false;
  first_ = true;
}

void PeriodSums::Abandon() {
  EndPeriod();
  items_.Abandon();
}

}  // namespace psltool
