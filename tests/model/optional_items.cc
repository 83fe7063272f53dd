// The optional items' slots: an element goes into the slot that holds its key, else into the next
// free one, else nowhere.

#include "tests/model/optional_items.h"

namespace model {
namespace {

constexpr std::size_t kItemHead = 24;
constexpr std::size_t kItemHeadOut = 32;

ItemBlock* BlockOf(ArchiveState& state, uint8_t type) {
  switch (type) {
    case kConcItem:
      return HasConc(state.revision) ? &state.conc : nullptr;
    case kLdCpItem:
      return HasPairs(state.revision) ? &state.ld_cp : nullptr;
    case kPoolCpItem:
      return HasPairs(state.revision) ? &state.pool_cp : nullptr;
    case kWaitTimeItem:
      return HasWaitTime(state.revision) ? &state.wait_time : nullptr;
    case kCabItem:
      return HasCab(state.revision) ? &state.cab : nullptr;
    default:
      return nullptr;
  }
}

std::size_t ElementSize(uint8_t type) {
  switch (type) {
    case kLdCpItem:
    case kWaitTimeItem:
      return 32;
    case kPoolCpItem:
      return 48;
    default:
      return 16;
  }
}

bool ElementsTaken(int revision, uint8_t type, uint8_t flag) {
  const bool marked = (flag & 0x80) != 0;
  if (type == kLdCpItem || type == kPoolCpItem) return revision == 0x1B || marked;
  if (type == kCabItem) return marked;
  return true;
}

Bytes ElementKey(uint8_t type, const Bytes& element) {
  if (type == kConcItem) return {element[0], element[1]};
  if (type == kCabItem) return {element[0], element[2], element[3]};
  return {element[0], element[1], element[2], element[3]};
}

Element* SlotFor(ItemBlock& block, uint8_t type, const Bytes& bytes) {
  for (Element& element : block.elements) {
    if (element.held && ElementKey(type, element.bytes) == ElementKey(type, bytes)) return &element;
  }
  for (Element& element : block.elements) {
    if (!element.held) return &element;
  }
  return nullptr;
}

void StoreElement(ItemBlock& block, uint8_t type, const Bytes& bytes) {
  Element* element = SlotFor(block, type, bytes);
  if (element == nullptr) return;
  if (!element->held || element->bytes != bytes) element->present = true;
  element->held = true;
  element->bytes = bytes;
}

void FoldWaitTime(ArchiveState& state, const Bytes& bytes) {
  for (const KindRule& rule : KindRules(state.revision)) {
    if (rule.kind != Kind::kLd) continue;
    const std::size_t index = FindResource(state, rule, {bytes[0], bytes[1]}, 0);
    Element& element = state.wait_time.elements.at(index);
    element.held = true;
    element.present = true;
    element.bytes = bytes;
    FoldQuad(element.quad, ReadQuad(bytes, 16), 0, false);
  }
}

Bytes ElementOut(uint8_t type, const Element& element, uint32_t items) {
  Bytes bytes = element.bytes;
  if (type == kCabItem) Patch32(bytes, 8, ToU32(element.sum / items));
  if (type == kWaitTimeItem) {
    bytes = {element.bytes[0], element.bytes[1]};
    bytes.resize(32, 0);
    PatchQuad(bytes, 16, QuadOut(element.quad, 0, false));
  }
  return bytes;
}

bool ElementDue(uint8_t type, const Element& element, const ItemBlock& block) {
  if (!element.held) return false;
  if (type == kConcItem) return element.bytes[12] == 1;
  if (type == kCabItem) return block.items > 0;
  return element.present;
}

Bytes ItemOut(int revision, uint8_t type, const ItemBlock& block) {
  Bytes elements;
  uint16_t count = 0;
  for (const Element& element : block.elements) {
    if (!ElementDue(type, element, block)) continue;
    Append(elements, ElementOut(type, element, block.items));
    ++count;
  }
  uint8_t flag = block.flag;
  const bool pair = type == kLdCpItem || type == kPoolCpItem;
  if (pair && revision >= 0x1C) flag = count > 0 ? 0x80 : 0;
  if (type == kCabItem) flag = count > 0 ? static_cast<uint8_t>(flag | 0x80) : uint8_t{0};

  Bytes item(kItemHeadOut, 0);
  Patch32(item, 0, block.status);
  Patch32(item, 4, block.time);
  Patch32(item, 8, static_cast<uint32_t>(kItemHeadOut + elements.size()));
  item[12] = type;
  item[13] = flag;
  Patch16(item, 16, block.word16);
  Patch16(item, 18, count);
  Patch32(item, 20, kItemHeadOut);
  Append(item, elements);
  return item;
}

// The elements and the word at 16 stay from period to period.
void ClearKept(ItemBlock& block) {
  block.status = 0;
  block.time = 0;
  block.flag = 0;
  block.items = 0;
  for (Element& element : block.elements) {
    element.present = false;
    element.sum = 0;
  }
}

void ClearWhole(ItemBlock& block) {
  ClearKept(block);
  block.word16 = 0;
  for (Element& element : block.elements) element = Element();
}

}  // namespace

void TakeItem(ArchiveState& state, const Bytes& item) {
  const uint8_t type = Get8(item, 12);
  ItemBlock* block = BlockOf(state, type);
  if (block == nullptr) return;
  if (!block->exists) throw BrokenRecord("item of a kind that is not configured");
  const uint8_t flag = Get8(item, 13);
  block->status = Get32(item, 0);
  block->time += Get32(item, 4);
  block->flag = static_cast<uint8_t>(block->flag | flag);
  block->word16 = Get16(item, 16);
  block->items += 1;

  const std::size_t count = Get16(item, 18);
  if (ElementsTaken(state.revision, type, flag) && count != 0) {
    if (count > block->elements.size()) throw BrokenRecord("more elements than configured");
    std::size_t at = Get32(item, 20);
    if (at < kItemHead) throw BrokenRecord("elements inside the item's head");
    for (std::size_t i = 0; i < count; ++i) {
      const Bytes bytes = Slice(item, at, ElementSize(type));
      at += bytes.size();
      if (type == kWaitTimeItem) {
        FoldWaitTime(state, bytes);
      } else {
        StoreElement(*block, type, bytes);
      }
    }
  }
  if (type == kLdCpItem || type == kPoolCpItem) {
    if (state.revision == 0x1B || block->mark_all) {
      for (Element& element : block->elements) {
        if (element.held) element.present = true;
      }
    }
    block->mark_all = false;
  }
  if (type == kCabItem) {
    for (Element& element : block->elements) {
      if (element.held) element.sum += Get32(element.bytes, 8);
    }
  }
}

std::vector<Bytes> ItemsOut(const ArchiveState& state) {
  std::vector<Bytes> items;
  const int revision = state.revision;
  if (state.conc.exists && state.conc.items > 0) {
    items.push_back(ItemOut(revision, kConcItem, state.conc));
  }
  if (state.ld_cp.exists) items.push_back(ItemOut(revision, kLdCpItem, state.ld_cp));
  if (state.pool_cp.exists) items.push_back(ItemOut(revision, kPoolCpItem, state.pool_cp));
  if (state.wait_time.exists) items.push_back(ItemOut(revision, kWaitTimeItem, state.wait_time));
  if (state.cab.exists) items.push_back(ItemOut(revision, kCabItem, state.cab));
  return items;
}

void ClearItems(ArchiveState& state) {
  ClearWhole(state.conc);
  ClearWhole(state.wait_time);
  ClearKept(state.ld_cp);
  ClearKept(state.pool_cp);
  ClearKept(state.cab);
}

}  // namespace model
