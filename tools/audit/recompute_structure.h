// Structure records in archives: what becomes of one that was read, and when it is left out.
//
// Independent of revisions/structure.cc: CountsOf, SameCounts and HasWaitTimes (which records are
// left out) and PutStructure (what becomes of one) are second writings; so is ListBytes. `check` of
// archives asks PutStructure, too. Shared: list rows, byte order.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/layout/layout.h"

namespace psltool {

// The counts by which a structure record is told to change nothing.
struct StructureCounts {
  bool held = false;
  uint8_t revision = 0;
  std::array<uint16_t, 20> lists = {};
  std::array<uint16_t, std::size(kItemRows)> items = {};  // words of the basic information
};

// Counts of a structure record whose head and basic information are in place.
StructureCounts CountsOf(const RevisionLayout& layout, std::span<const uint8_t> record);

// True when `now` says nothing that `before` did not: same lists, and each optional kind that is
// marked present was so with the same number.
bool SameCounts(const RevisionLayout& layout, const StructureCounts& before,
                const StructureCounts& now);

// True when the record announces wait times, which keep it in the archive.
bool HasWaitTimes(const RevisionLayout& layout, std::span<const uint8_t> record);

// The record as an archive must hold it. `record` has been found sound.
std::vector<uint8_t> PutStructure(const RevisionLayout& layout, std::span<const uint8_t> record,
                                  bool continuation);

// Bytes of a list with its variable parts, empty when the record does not carry it.
std::span<const uint8_t> ListBytes(std::span<const uint8_t> record, const ListRow& row);

}  // namespace psltool
