// The history of one resource: what each statistics record of a file says about it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/kinds.h"
#include "tools/progress.h"
#include "tools/psl_reader.h"

struct ResourceKey {
  std::vector<uint8_t> bytes;  // as in the file
};

// Reads "21" for kinds with a number, "1.4" for kinds with several key bytes. Empty: not a key of
// the form.
std::optional<ResourceKey> ParseKey(const KeyBytes& key, const std::string& text);

// What one record holds about the resource.
struct Period {
  uint32_t stamp;
  uint32_t length;    // milliseconds; 0: no valid interval
  double operations;  // of the counter group asked for
  uint32_t first;     // averages and maximum per operation
  uint32_t largest;
  uint32_t volume;
  std::optional<double> peak;   // highest rate, operations per second
  std::optional<double> usage;  // percent
};

// The section row of a kind in a revision, or null.
const SectionRow* SectionOf(const RevisionLayout& layout, Kind kind);

// Appends the periods of the reader's file to `periods`. `group`: the counter group, from 0. False:
// reported.
bool ReadHistory(PslReader& reader, Kind kind, const ResourceKey& key, uint32_t group,
                 std::vector<Period>& periods, Progress* progress = nullptr);
