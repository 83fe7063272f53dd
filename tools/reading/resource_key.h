// Keys of resources as people give them, and the section that holds a kind.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "areas/kinds.h"
#include "engine/layout/layout.h"

namespace psltool {

struct ResourceKey {
  std::vector<uint8_t> bytes;  // as in the file
};

// Reads "21" for kinds with a number, "1.4" for kinds with several key bytes. Empty: not a key of
// the form.
std::optional<ResourceKey> ParseKey(const KeyBytes& key, const std::string& text);

}  // namespace psltool
