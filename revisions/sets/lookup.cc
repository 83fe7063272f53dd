// Lookup of resources: see the header.
#include "revisions/sets/lookup.h"

#include <algorithm>

#include "engine/broken.h"

uint16_t usLdCursor = 0;
uint16_t usPdCursor = 0;

namespace {

// Sections nearly always follow their table, so that a search ends at its first entries. One that
// does not would pass by half the table for each of its entries: after so many passes over the
// whole table the keys are put in order, and searches ask there.
constexpr int32_t kNear = 4;
constexpr uint64_t kPatience = 8;

int32_t FirstInTable(const ResourceSet& set, const uint8_t* key, int32_t from, int32_t to) {
  for (int32_t i = from; i < to; ++i) {
    if (KeyMatches(set, i, key)) return i;
  }
  return -1;
}

uint64_t OrderOf(uint32_t key, int32_t index) {
  return uint64_t{key} << 32 | static_cast<uint32_t>(index);
}

void PutInOrder(ResourceSet& set) {
  set.order.resize(static_cast<size_t>(set.entries));
  for (int32_t i = 0; i < set.entries; ++i) {
    set.order[static_cast<size_t>(i)] = OrderOf(set.KeyNumber(set.KeyOf(i)), i);
  }
  std::sort(set.order.begin(), set.order.end());
}

int32_t FirstInOrder(const ResourceSet& set, const uint8_t* key, int32_t from, int32_t to) {
  const uint32_t number = set.KeyNumber(key);
  const auto found = std::lower_bound(set.order.begin(), set.order.end(), OrderOf(number, from));
  return found != set.order.end() && *found < OrderOf(number, to)
             ? static_cast<int32_t>(*found & 0xFFFFFFFF)
             : -1;
}

// The first of the entries `from` to before `to` whose key is `key`, or -1.
int32_t FirstWithKey(ResourceSet& set, const uint8_t* key, int32_t from, int32_t to) {
  const int32_t near = std::min(to, from + kNear);
  const int32_t found = FirstInTable(set, key, from, near);
  if (found >= 0 || near == to) return found;
  if (!set.order.empty()) return FirstInOrder(set, key, near, to);
  const int32_t far = FirstInTable(set, key, near, to);
  set.passed += static_cast<uint64_t>((far < 0 ? to : far) - near);
  if (set.passed > kPatience * static_cast<uint64_t>(set.entries)) PutInOrder(set);
  return far;
}

}  // namespace

int32_t MissingResource() {
  BrokenRecord("entry of a resource that is not configured");
  return -1;
}

int32_t ScanForKey(ResourceSet& set, const uint8_t* key) {
  return FirstWithKey(set, key, 0, set.entries);
}

int32_t ResumeForKey(ResourceSet& set, const uint8_t* key, uint16_t& cursor) {
  if (static_cast<int32_t>(cursor) >= set.entries - 1) cursor = 0;
  int32_t found = FirstWithKey(set, key, cursor, set.entries);
  if (found < 0) found = FirstWithKey(set, key, 0, cursor);
  if (found < 0) found = cursor;
  cursor = static_cast<uint16_t>(found);
  return found;
}

int32_t FindIndex(Kind kind, const uint8_t* key, int32_t position) {
  ResourceSet& set = resource_sets[kind];
  int32_t index = -1;
  switch (set.lookup) {
    case Lookup::kCursor:
      index = ResumeForKey(set, key, CursorOf(kind));
      break;
    case Lookup::kPosition:
      if (position < set.entries && KeyMatches(set, position, key)) index = position;
      break;
    case Lookup::kScan:
      index = ScanForKey(set, key);
      break;
  }
  return index >= 0 && index < set.entries ? index : MissingResource();
}
