// Optional items of statistics records: concurrent copies, copy pairs of logical disks and pools,
// wait times of logical disks, cabinets. Each kind that the structure record announces has a block
// that gathers its elements over a period.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "engine/layout/layout.h"
#include "revisions/sets/slots.h"

struct ItemBlock {
  const ItemRow* row = nullptr;
  int32_t capacity = 0;  // configured elements (wait times: logical disks)
  uint32_t status = 0;   // of the last item of the period
  uint32_t time = 0;     // sum of the items' interval lengths
  uint8_t written = 1;   // set when the structure record was written; cleared by the next item
  uint8_t due = 1;       // copy pairs: the next item marks all held pairs (structure record, "LDM")
  uint8_t flag = 0;      // OR of the items' flag bytes
  uint8_t taken = 0;     // Conc: an item came in this period
  uint16_t carried = 0;  // u16 of the item head, as last read
  uint32_t items = 0;    // Cab: items of the period
  int32_t held = 0;      // elements stored; they fill the slots from 0 up
  std::vector<uint8_t> bytes;                   // elements as read
  std::vector<uint8_t> present;                 // elements that are due in this period
  std::vector<double> sums;                     // Cab: sum of values
  std::vector<Accumulated> gathered;            // wait times
  std::unordered_map<uint32_t, int32_t> index;  // slot by element key

  uint8_t* Element(int32_t i) { return bytes.data() + static_cast<size_t>(i) * row->element; }
};

// The blocks by name; null while the kind is not configured.
extern ItemBlock* sta_conc_arc;
extern ItemBlock* sta_ld_cp_arc;
extern ItemBlock* sta_pool_cp_arc;
extern ItemBlock* sta_mvwait_arc;
extern ItemBlock* sta_cab_arc;

// Frees all blocks.
void DropItemBlocks();

// Zeroes the configured numbers, which the "LDM" rule looks at.
void ForgetConfiguredItems();

// Makes the blocks that the basic information of a structure record announces. `logical_disks`: the
// count of the logical-disk list, for wait times.
void MakeItemBlocks(const uint8_t* basic, uint8_t revision, int32_t logical_disks);

// Takes one item (its bytes, head included) into its block. False: broken record, reported.
bool TakeItem(const ItemRow& row, const uint8_t* item, size_t size);

// Number of items that the period writes, and the bytes that they need at most.
uint32_t ItemsToWrite();
size_t LargestItems();

// Puts the items; returns the first byte behind them.
uint8_t* PutItems(uint8_t* out);

// Clears what belongs to a period.
void ClearItems();

// Clears what the kinds hold from period to period.
void ForgetItems();

// Notes that a structure record was written. Returns 1 when a cabinet block exists, else 0.
int NoteStructureWritten();
