// Optional items over a period: which elements an archive must hold, and the items byte for byte.
//
// Independent of revisions/items.cc, function by function: Start and Drop (blocks of a structure
// record), Add, AddItem and IsDue (folding), PutItem and Put (what is written, and when),
// MarkPairs, EndPeriod and Abandon (what outlives a period). Shared: item rows, byte order, the
// walk over items that have been found sound.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "engine/layout/layout.h"
#include "tools/audit/recompute_entry.h"
#include "tools/reading/array_tables.h"

namespace psltool {

// The elements of one kind.
struct ItemSum {
  const ItemRow* row = nullptr;
  size_t room = 0;  // configured elements; wait times: logical disks
  uint32_t status = 0;
  uint32_t time = 0;
  uint8_t flag = 0;
  uint16_t carried = 0;
  uint32_t items = 0;   // taken in the period
  bool all_due = true;  // pairs: the next item makes all of them due
  struct Element {
    std::vector<uint8_t> bytes;  // as read last; empty: a wait time that was not named
    bool due = false;
    double sum = 0;  // cabinets
    GroupSum waits;
  };
  std::vector<Element> elements;
  std::unordered_map<uint32_t, size_t> index;  // place of an element's key
};

// An item that has been added, for those who watch.
struct TakenItem {
  struct Element {
    std::span<const uint8_t> bytes;
    size_t place;  // in `sum.elements`; behind its end: passed over
  };
  const ItemSum& sum;  // with the item in it
  std::span<const uint8_t> item;
  std::vector<Element> elements;
};

class ItemSums {
 public:
  // Starts anew with what a structure record marks present.
  void Start(const RevisionLayout& layout, const ArrayTables& tables);
  void Drop();

  // Adds the optional items of a statistics record, which has been found sound. `find_disk` gives
  // the place of a logical disk by its number and the element's position.
  using FindDisk = std::function<size_t(uint32_t number, uint32_t position)>;
  using Watch = std::function<void(const TakenItem&)>;
  void Add(std::span<const uint8_t> record, const FindDisk& find_disk, const Watch& watch);

  // An "LDM" record makes all pairs due.
  void MarkPairs();

  // Appends the items of the period; returns how many.
  uint32_t Put(std::vector<uint8_t>& out) const;
  void EndPeriod();
  // The same for an abandoned input: what was read of it is not held either.
  void Abandon();

  // The sums of a kind, or null when the structure record does not mark it present.
  const ItemSum* Find(Kind kind) const;

 private:
  void AddItem(ItemSum& sum, std::span<const uint8_t> item, const FindDisk& find_disk,
               const Watch& watch);
  bool IsDue(const ItemSum& sum, const ItemSum::Element& element) const;
  void PutItem(const ItemSum& sum, std::vector<uint8_t>& out) const;

  const RevisionLayout* layout_ = nullptr;
  std::array<std::optional<ItemSum>, std::size(kItemRows)> sums_;
};

}  // namespace psltool
