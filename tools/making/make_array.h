// The resources of a made-up array: their keys, how much work each can do, and what never changes.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "areas/kinds.h"
#include "tools/making/make_load.h"
#include "tools/making/make_plan.h"

namespace psltool {

struct Resource {
  std::array<uint8_t, 3> key;  // as in the file
  Group group;
  bool hot;
  bool mark;                        // the mark that logical disks and pools keep
  double full_rate;                 // operations per second at full load
  double service;                   // microseconds per operation when nothing else waits
  double size;                      // bytes per operation
  std::array<uint32_t, 2> carried;  // words without a meaning of their own
  uint32_t idle_place;              // in the rows of those that rest,
  uint32_t not_valid_place;         // and of those that are not measured, one after the other
};

struct ArrayModel {
  std::string name;
  uint64_t seed = 0;
  std::array<std::vector<Resource>, kSectionKinds> resources;
};

// Key bytes of a kind that an array of this plan uses: as many as the revision's entry form has,
// but only one for cache segments without the second key byte.
uint8_t KeyCountOf(const MakePlan& plan, Kind kind);

ArrayModel MakeArray(const MakePlan& plan, size_t position);

}  // namespace psltool
