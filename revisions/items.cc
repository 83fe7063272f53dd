// Optional items: see the header.
#include "revisions/items.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "areas/finfo.h"
#include "engine/broken.h"
#include "engine/byteorder.h"
#include "engine/family.h"
#include "platform/QelCM.h"
#include "revisions/fold/quadset.h"
#include "revisions/sets/lookup.h"

ItemBlock* sta_conc_arc = nullptr;
ItemBlock* sta_ld_cp_arc = nullptr;
ItemBlock* sta_pool_cp_arc = nullptr;
ItemBlock* sta_mvwait_arc = nullptr;
ItemBlock* sta_cab_arc = nullptr;

namespace {

constexpr size_t kConcPresent = PlaceInElement(kConc, Role::kPresent);
constexpr size_t kWaitGroup = PlaceInElement(kWaittm, Role::kGroups);
constexpr size_t kCabValue = PlaceInElement(kCab, Role::kValue);

// Counts of the basic information as the LDM rule sees them; a new output forgets them.
int32_t configured[kKinds];

ItemBlock*& BlockOf(Kind kind) {
  switch (kind) {
    case kConc:
      return sta_conc_arc;
    case kLdCp:
      return sta_ld_cp_arc;
    case kPoolCp:
      return sta_pool_cp_arc;
    case kWaittm:
      return sta_mvwait_arc;
    default:
      return sta_cab_arc;
  }
}

bool HasField(const ItemRow& row, Role role) { return FieldOfElement(row, role) != nullptr; }

bool ByCount() { return finfo.layout->row.pair_flag_by_count; }

void MakeBlock(const ItemRow& row, int32_t capacity) {
  auto block = std::make_unique<ItemBlock>();
  block->row = &row;
  block->capacity = capacity;
  const auto n = static_cast<size_t>(capacity);
  block->bytes.assign(n * row.element, 0);
  block->present.assign(n, 0);
  if (HasField(row, Role::kValue)) block->sums.assign(n, 0.0);
  if (HasField(row, Role::kGroups)) block->gathered.assign(n, Accumulated{});
  BlockOf(row.kind) = block.release();
}

uint32_t KeyOf(const ItemRow& row, const uint8_t* element) {
  uint32_t key = 0;
  for (const Field& field : FieldsOfList(row.fields)) {
    if (!field.IsKey()) break;  // keys come first
    for (size_t i = 0; i < field.width(); ++i) key = key << 8 | element[field.at + i];
  }
  return key;
}

void TraceNoSlot(Kind kind) {
  char text[64];
  std::snprintf(text, sizeof text, "optional item element without a slot(kind=%d)", kind);
  sgmtr_dmptbl = 0;
  fn_I_trace(text, 1, &sgmtr_dmptbl, "QelprfarcMain", __LINE__, 0);
}

// The slot that holds the element's key, else the next free one, else -1. `guess`: where the
// element before it stood, as items usually list their elements in slot order.
int32_t SlotFor(ItemBlock& block, const uint8_t* element, int32_t guess) {
  const uint32_t key = KeyOf(*block.row, element);
  if (guess < block.held && KeyOf(*block.row, block.Element(guess)) == key) return guess;
  const auto found = block.index.find(key);
  if (found != block.index.end()) return found->second;
  if (block.held == block.capacity) return -1;
  block.index.emplace(key, block.held);
  return block.held++;
}

// Stores elements by key; what is new or has changed becomes present.
void StoreElements(ItemBlock& block, const uint8_t* elements, uint32_t count) {
  const size_t size = block.row->element;
  int32_t guess = 0;
  for (uint32_t i = 0; i < count; ++i, elements += size) {
    const int32_t before = block.held;
    const int32_t slot = SlotFor(block, elements, guess);
    if (slot < 0) {
      TraceNoSlot(block.row->kind);
      continue;
    }
    guess = slot + 1;
    uint8_t* held = block.Element(slot);
    if (slot < before && std::memcmp(held, elements, size) == 0) continue;
    std::memcpy(held, elements, size);
    block.present[static_cast<size_t>(slot)] = 1;
  }
}

bool FoldWaitTimes(ItemBlock& block, const uint8_t* elements, uint32_t count, double length) {
  const ResourceSet& set = resource_sets[kLd];
  int32_t expected = 0;
  for (uint32_t i = 0; i < count; ++i, elements += block.row->element) {
    const int32_t slot = FindNext(set, kLd, elements, static_cast<int32_t>(i), expected);
    // Not reached: where there are wait times, a disk that no table has goes to where the search
    // before it ended.
    if (slot < 0) return false;
    expected = slot + 1;
    const auto at = static_cast<size_t>(slot);
    std::memcpy(block.Element(slot), elements, 2);
    FoldQuadset<QuadRule::kCurrent>(RefTo(block.gathered[at]), elements + kWaitGroup, length,
                                    finfo.first_interval);
    block.present[at] = 1;
  }
  return true;
}

// After a structure record or an "LDM" record the next item makes all held pairs due, so that every
// stretch of an archive tells them; up to 0x1B every item does.
void MarkPairs(ItemBlock& block, bool always) {
  if (always || block.due == 1) {
    for (int32_t i = 0; i < block.held; ++i) block.present[static_cast<size_t>(i)] = 1;
  }
  block.written = 0;
  block.due = 0;
}

void AddCabinetValues(ItemBlock& block) {
  block.items += 1;
  for (int32_t i = 0; i < block.held; ++i) {
    block.sums[static_cast<size_t>(i)] += Load32(block.Element(i) + kCabValue);
  }
}

bool IsDue(ItemBlock& block, int32_t i) {
  switch (block.row->written) {
    case Written::kPresent:
      return i < block.held && block.Element(i)[kConcPresent] == 1;
    case Written::kAll:
      return i < block.held && block.items > 0;
    default:
      return block.present[static_cast<size_t>(i)] != 0;
  }
}

bool IsWritten(const ItemBlock* block) {
  return block != nullptr && (block->row->written != Written::kPresent || block->taken == 1);
}

void PutElement(uint8_t* out, ItemBlock& block, int32_t i) {
  const size_t at = static_cast<size_t>(i);
  if (!block.gathered.empty()) {
    std::memset(out, 0, block.row->element);
    std::memcpy(out, block.Element(i), 2);
    PutQuadset<QuadRule::kCurrent>(out + kWaitGroup, RefTo(block.gathered[at]), 0);
    return;
  }
  std::memcpy(out, block.Element(i), block.row->element);
  if (!block.sums.empty()) Store32(out + kCabValue, ToU32(block.sums[at] / block.items));
}

uint8_t FlagToWrite(const ItemBlock& block, uint32_t count) {
  const Taken taken = block.row->taken;
  if (taken == Taken::kAlways || (taken == Taken::kByLaterFlag && !ByCount())) return block.flag;
  const uint8_t others = taken == Taken::kByFlag ? block.flag : 0;
  return count != 0 ? static_cast<uint8_t>(others | kItemTaken) : 0;
}

uint8_t* PutItem(uint8_t* out, ItemBlock& block) {
  uint8_t* const head = out;
  std::memset(head, 0, kItemOutHead);
  out += kItemOutHead;
  uint32_t count = 0;
  for (int32_t i = 0; i < block.capacity; ++i) {
    if (!IsDue(block, i)) continue;
    PutElement(out, block, i);
    out += block.row->element;
    ++count;
  }
  Store32(head + kAtStatus, block.status);
  Store32(head + kAtInterval, block.time);
  Store32(head + kItemLength, static_cast<uint32_t>(out - head));
  head[kItemType] = block.row->type;
  head[kItemFlag] = FlagToWrite(block, count);
  Store16(head + kItemCarried, block.carried);
  Store16(head + kItemCount, static_cast<uint16_t>(count));
  Store32(head + kItemFirst, kItemOutHead);
  return out;
}

void ForgetElements(ItemBlock& block) {
  block.carried = 0;
  block.held = 0;
  block.index.clear();
  std::fill(block.bytes.begin(), block.bytes.end(), uint8_t{0});
}

void ClearBlock(ItemBlock& block) {
  block.status = 0;
  block.time = 0;
  block.flag = 0;
  block.taken = 0;
  block.items = 0;
  std::fill(block.present.begin(), block.present.end(), uint8_t{0});
  std::fill(block.sums.begin(), block.sums.end(), 0.0);
  std::fill(block.gathered.begin(), block.gathered.end(), Accumulated{});
  if (!block.row->held) ForgetElements(block);
}

}  // namespace

void DropItemBlocks() {
  for (const ItemRow& row : kItemRows) {
    delete BlockOf(row.kind);
    BlockOf(row.kind) = nullptr;
  }
}

void MakeItemBlocks(const uint8_t* basic, uint8_t revision, int32_t logical_disks) {
  DropItemBlocks();
  for (const ItemRow& row : kItemRows) {
    configured[row.kind] = 0;
    if (!row.span.Holds(revision)) continue;
    if (row.basic_at == 0) {
      if ((basic[kBasicFlags] & kBasicWaitTimes) != 0) MakeBlock(row, logical_disks);
      continue;
    }
    const uint16_t word = Load16(basic + row.basic_at);
    if ((word & kBasicPresent) == 0) continue;
    configured[row.kind] = word & ~kBasicPresent;
    MakeBlock(row, configured[row.kind]);
  }
}

bool TakeItem(const ItemRow& row, const uint8_t* item, size_t size) {
  ItemBlock* block = BlockOf(row.kind);
  if (block == nullptr) return BrokenRecord("optional item of a kind that is not configured");
  const uint8_t flag = item[kItemFlag];
  const uint32_t interval = Load32(item + kAtInterval);
  const uint32_t count = Load16(item + kItemCount);
  const uint8_t* elements = nullptr;
  const bool taken = TakesElements(row, ByCount(), flag);
  if (taken && count != 0) {
    const uint32_t first = Load32(item + kItemFirst);
    if (first < kItemHead || first > size || uint64_t{count} * row.element > size - first) {
      return BrokenRecord("elements leave their optional item");
    }
    if (static_cast<int32_t>(count) > block->capacity) {
      return BrokenRecord("more elements than configured");
    }
    elements = item + first;
  }
  block->status = Load32(item + kAtStatus);
  block->time += interval;
  block->flag |= flag;
  block->carried = Load16(item + kItemCarried);
  block->taken = 1;
  if (row.written == Written::kNamed) {
    // Not reached: of the last, as above.
    return elements == nullptr || FoldWaitTimes(*block, elements, count, interval);
  }
  if (elements != nullptr) StoreElements(*block, elements, count);
  if (row.written == Written::kChanged) MarkPairs(*block, !ByCount());
  if (row.written == Written::kAll) AddCabinetValues(*block);
  return true;
}

uint32_t ItemsToWrite() {
  uint32_t n = 0;
  for (const ItemRow& row : kItemRows) n += IsWritten(BlockOf(row.kind)) ? 1U : 0U;
  return n;
}

size_t LargestItems() {
  size_t bytes = 0;
  for (const ItemRow& row : kItemRows) {
    const ItemBlock* block = BlockOf(row.kind);
    if (IsWritten(block)) {
      bytes += kItemOutHead + static_cast<size_t>(block->capacity) * row.element;
    }
  }
  return bytes;
}

uint8_t* PutItems(uint8_t* out) {
  for (const ItemRow& row : kItemRows) {
    ItemBlock* block = BlockOf(row.kind);
    if (IsWritten(block)) out = PutItem(out, *block);
  }
  return out;
}

void ClearItems() {
  for (const ItemRow& row : kItemRows) {
    ItemBlock* block = BlockOf(row.kind);
    if (block != nullptr) ClearBlock(*block);
  }
}

void ForgetItems() {
  for (const ItemRow& row : kItemRows) {
    ItemBlock* block = BlockOf(row.kind);
    if (block != nullptr) ForgetElements(*block);
  }
}

int NoteStructureWritten() {
  for (const ItemRow& row : kItemRows) {
    if (row.held && BlockOf(row.kind) != nullptr) BlockOf(row.kind)->written = 1;
  }
  return sta_cab_arc != nullptr ? 1 : 0;
}

void MarkPairsDue() {
  for (const ItemRow& row : kItemRows) {
    ItemBlock* const block = BlockOf(row.kind);
    if (row.held && configured[row.kind] > 0 && block != nullptr) block->due = 1;
  }
}

void ForgetConfiguredItems() {
  for (int32_t& count : configured) count = 0;
}
