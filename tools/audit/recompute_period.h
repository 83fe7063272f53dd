// The sums of an array: the resources that its structure record names, what the intervals of a
// period add up to, and the statistics record that an archive must hold for the period.
//
// Independent of revisions/statistics.cc and revisions/sets/: Start, Drop and DropFound (which
// resources there are), PlaceOfKey (lookup.cc), AddSection and Add (folding), Put, EndPeriod and
// Abandon. Shared: section rows, and with check the tables of tools/reading/array_tables.h and
// whether a record is sound.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/audit/recompute_entry.h"
#include "tools/audit/recompute_items.h"
#include "tools/reading/array_tables.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

// An entry on its way into a sum, for those who watch.
struct AddedEntry {
  Kind kind;
  uint32_t key;  // of the resource that takes it
  std::span<const uint8_t> record;
  std::span<const uint8_t> entry;
  std::span<const uint8_t> words;
  const EntryRules& rules;
};

class PeriodWatcher {
 public:
  virtual ~PeriodWatcher() = default;
  virtual void Added(const AddedEntry& entry) = 0;
  virtual void Taken(std::span<const uint8_t> record, const TakenItem& item) = 0;
};

// The resources of one kind.
struct KindSums {
  std::vector<ResourceSum> resources;
  std::vector<std::pair<uint32_t, uint32_t>> by_key;  // key and place, sorted
  bool unique = true;
};

class PeriodSums {
 public:
  explicit PeriodSums(PeriodWatcher* watcher = nullptr) : watcher_(watcher) {}

  const ArrayTables& tables() const { return tables_; }
  const KindSums& kind(Kind kind) const { return kinds_[kind]; }
  const ItemSums& items() const { return items_; }

  // Takes the resources of a structure record; all sums start anew.
  void Start(const RevisionLayout& layout, ArrayTables tables);
  void Drop();
  // Forgets the resources that only statistics records name.
  void DropFound();

  // Remembers what the period's record carries of the record read last, before it is added.
  void Note(const RevisionLayout& layout, std::span<const uint8_t> record);

  // Adds a statistics record that has been found sound. `found`: resources that it names first.
  void Add(const PslHeader& header, const RevisionLayout& layout, std::span<const uint8_t> record,
           const std::array<KeyTable, kSectionKinds>& found);

  void MarkPairs() { items_.MarkPairs(); }

  // The statistics record of the period, in the layout given.
  std::vector<uint8_t> Put(const RevisionLayout& layout, uint8_t file_revision) const;
  // All sums become empty; the next record is the first of its period.
  void EndPeriod();
  // The same for an abandoned input, of which nothing is held.
  void Abandon();

  bool any() const { return any_; }

 private:
  void StartKind(Kind kind);
  void AddSection(const PslHeader& header, const RevisionLayout& layout, const SectionRow& row,
                  std::span<const uint8_t> record);
  size_t PlaceOfKey(Kind kind, uint32_t key, uint32_t position);

  PeriodWatcher* watcher_;
  ArrayTables tables_;
  std::array<KeyTable, kSectionKinds> listed_;  // as the structure record has them
  std::array<KindSums, kSectionKinds> kinds_;
  ItemSums items_;
  std::array<size_t, kSectionKinds> cursors_ = {};
  std::array<uint16_t, kSectionKinds> firsts_ = {};  // first fields of section headers
  uint16_t items_first_ = 0;
  uint32_t stamp_ = 0;
  uint8_t flag_ = 0;
  bool any_ = false;   // a record was added
  bool first_ = true;  // the next record is the first of the period
};

}  // namespace psltool
