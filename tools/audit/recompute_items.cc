// Optional items: see the header.
#include "tools/audit/recompute_items.h"

#include <algorithm>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/audit/recompute_math.h"
#include "tools/reading/check_items.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

namespace {

constexpr size_t kConcPresent = 12;
constexpr size_t kCabValue = 8;

bool IsPair(Kind kind) { return kind == kLdCp || kind == kPoolCp; }

// What tells the elements of a kind from each other.
uint32_t KeyOfElement(Kind kind, std::span<const uint8_t> element) {
  if (kind == kConc) return Load16(element.data());
  if (kind == kCab) return (uint32_t{element[0]} << 16) | Load16(element.data() + 2);
  return Load32(element.data());
}

// Keeps an element in its own place, or in a free one; without either it is passed over. The place.
size_t Keep(ItemSum& sum, std::span<const uint8_t> bytes) {
  const uint32_t key = KeyOfElement(sum.row->kind, bytes);
  const auto found = sum.index.find(key);
  if (found == sum.index.end()) {
    const size_t place = sum.elements.size();
    if (place == sum.room) return place;
    sum.index.emplace(key, place);
    sum.elements.push_back({{bytes.begin(), bytes.end()}, true, 0, {}});
    return place;
  }
  ItemSum::Element& element = sum.elements[found->second];
  if (std::equal(bytes.begin(), bytes.end(), element.bytes.begin())) return found->second;
  element.bytes.assign(bytes.begin(), bytes.end());
  element.due = true;
  return found->second;
}

void AddWait(ItemSum& sum, std::span<const uint8_t> bytes, size_t place, uint32_t length) {
  ItemSum::Element& element = sum.elements[place];
  element.bytes.assign(sum.row->element, 0);
  std::copy_n(bytes.begin(), 2, element.bytes.begin());
  AddGroup(QuadRule::kCurrent, bytes.data() + kQuadsetSize, length, element.waits);
  element.due = true;
}

void Forget(ItemSum& sum) {
  const size_t left = sum.row->kind == kWaittm ? sum.room : 0;
  sum.carried = 0;
  sum.index.clear();
  sum.elements.assign(left, {});
}

}  // namespace

void ItemSums::Drop() {
  for (auto& sum : sums_) sum.reset();
}

void ItemSums::Start(const RevisionLayout& layout, const ArrayTables& tables) {
  Drop();
  layout_ = &layout;
  for (size_t i = 0; i < sums_.size(); ++i) {
    const ItemRow& row = kItemRows[i];
    const int32_t room = tables.item_room[row.kind];
    if (!row.span.Holds(layout.revision) || room < 0) continue;
    sums_[i].emplace();
    sums_[i]->row = &row;
    sums_[i]->room = static_cast<size_t>(room);
    if (row.kind == kWaittm) sums_[i]->elements.resize(static_cast<size_t>(room));
  }
}

void ItemSums::Add(std::span<const uint8_t> record, const FindDisk& find_disk, const Watch& watch) {
  const SectionPlace place = PlaceAt(record, kItemsHeader);
  if (layout_ == nullptr || place.count == 0 || place.offset == 0) return;
  uint64_t at = place.offset;
  for (uint32_t i = 0; i < place.count; ++i) {
    const auto head = Carve(record, at, kItemHead);
    if (head.empty()) return;
    const auto item = Carve(record, at, Load32(head.data() + kItemLength));
    if (item.size() < kItemHead) return;
    for (auto& sum : sums_) {
      if (sum && sum->row->type == item[kItemType]) AddItem(*sum, item, find_disk, watch);
    }
    at += item.size();
  }
}

void ItemSums::AddItem(ItemSum& sum, std::span<const uint8_t> item, const FindDisk& find_disk,
                       const Watch& watch) {
  const Kind kind = sum.row->kind;
  const size_t size = sum.row->element;
  const uint32_t length = Load32(item.data() + kAtInterval);
  sum.status = Load32(item.data() + kAtStatus);
  sum.time += length;
  sum.flag |= item[kItemFlag];
  sum.carried = Load16(item.data() + kItemCarried);
  ++sum.items;
  TakenItem taken = {sum, item, {}};
  if (TakesElements(*layout_, *sum.row, item)) {
    const uint32_t count = Load16(item.data() + kItemCount);
    const auto elements = Carve(item, Load32(item.data() + kItemFirst), uint64_t{count} * size);
    for (uint32_t i = 0; i < count && !elements.empty(); ++i) {
      const auto bytes = elements.subspan(i * size, size);
      size_t place = 0;
      if (kind == kWaittm) {
        place = find_disk(Load16(bytes.data()), i);
        if (place < sum.elements.size()) AddWait(sum, bytes, place, length);
      } else {
        place = Keep(sum, bytes);
      }
      if (watch) taken.elements.push_back({bytes, place});
    }
  }
  if (IsPair(kind)) {
    if (sum.all_due || !layout_->row.pair_flag_by_count) {
      for (ItemSum::Element& element : sum.elements) element.due = true;
    }
    sum.all_due = false;
  }
  if (kind == kCab) {
    for (ItemSum::Element& element : sum.elements) {
      element.sum += Load32(element.bytes.data() + kCabValue);
    }
  }
  if (watch) watch(taken);
}

void ItemSums::MarkPairs() {
  for (auto& sum : sums_) {
    if (sum && IsPair(sum->row->kind)) sum->all_due = true;
  }
}

bool ItemSums::IsDue(const ItemSum& sum, const ItemSum::Element& element) const {
  if (sum.row->kind == kConc) return element.bytes[kConcPresent] == 1;
  if (sum.row->kind == kCab) return sum.items != 0;
  return element.due;
}

void ItemSums::PutItem(const ItemSum& sum, std::vector<uint8_t>& out) const {
  const Kind kind = sum.row->kind;
  const size_t start = out.size();
  out.resize(start + kItemOutHead, 0);
  uint16_t count = 0;
  for (const ItemSum::Element& element : sum.elements) {
    if (!IsDue(sum, element)) continue;
    ++count;
    out.insert(out.end(), element.bytes.begin(), element.bytes.end());
    uint8_t* const put = out.data() + out.size() - sum.row->element;
    if (kind == kWaittm) PutGroup(QuadRule::kCurrent, element.waits, 0, put + kQuadsetSize);
    if (kind == kCab) Store32(put + kCabValue, Word(element.sum / sum.items));
  }
  uint8_t flag = sum.flag;
  if (IsPair(kind) && layout_->row.pair_flag_by_count) flag = count != 0 ? kItemTaken : 0;
  if (kind == kCab) flag = count != 0 ? static_cast<uint8_t>(flag | kItemTaken) : 0;
  uint8_t* const head = out.data() + start;
  Store32(head + kAtStatus, sum.status);
  Store32(head + kAtInterval, sum.time);
  Store32(head + kItemLength, static_cast<uint32_t>(out.size() - start));
  head[kItemType] = sum.row->type;
  head[kItemFlag] = flag;
  Store16(head + kItemCarried, sum.carried);
  Store16(head + kItemCount, count);
  Store32(head + kItemFirst, kItemOutHead);
}

uint32_t ItemSums::Put(std::vector<uint8_t>& out) const {
  uint32_t count = 0;
  for (const auto& sum : sums_) {
    if (!sum || (sum->row->kind == kConc && sum->items == 0)) continue;
    PutItem(*sum, out);
    ++count;
  }
  return count;
}

const ItemSum* ItemSums::Find(Kind kind) const {
  for (const auto& sum : sums_) {
    if (sum && sum->row->kind == kind) return &*sum;
  }
  return nullptr;
}

void ItemSums::EndPeriod() {
  for (auto& sum : sums_) {
    if (!sum) continue;
    sum->status = sum->time = sum->items = 0;
    sum->flag = 0;
    const Kind kind = sum->row->kind;
    if (kind == kConc || kind == kWaittm) {
      Forget(*sum);  // nothing of these outlives its period
      continue;
    }
    for (ItemSum::Element& element : sum->elements) {
      element.due = false;
      element.sum = 0;
    }
  }
}

void ItemSums::Abandon() {
  EndPeriod();
  for (auto& sum : sums_) {
    if (sum) Forget(*sum);
  }
}

}  // namespace psltool
