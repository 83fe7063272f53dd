// Names of the resource kinds on the command line, with what a person calls them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "areas/kinds.h"

namespace psltool {

struct KindName {
  Kind kind;
  const char* word;   // "ld"
  const char* title;  // "logical disks"
  uint32_t most;      // how many an array can have: limited by the key and by the 16-bit counts
  uint32_t usual;     // how many `make` gives an array that is not asked for a number
};

// All kinds that have a count of their own (wait times go with the logical disks).
std::span<const KindName> KindNames();

const KindName& NameOf(Kind kind);
std::optional<Kind> KindOf(std::string_view word);

// True when files of the revision can hold the kind.
bool HasKind(uint8_t revision, Kind kind);

}  // namespace psltool
