// An automatic run as it is ordered, brought into the work areas without beginning it: for whoever
// asks the rules what such a run would do.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

struct RunOrder {
  bool array_update = false;        // "-mode arrayupdate" instead of "-mode svr"
  bool force = false;               // "-force"
  bool prune = false;               // "-auto2" instead of "-auto"
  std::array<int, 3> numbers = {};  // of "-auto2"
  int segment = -1;                 // of the configuration; -1: `bytes` are one
  std::vector<char> bytes = {};
};

enum class OrderVerdict : uint8_t {
  kReady,
  kNoSegment,  // errno tells why
  kRefused,    // the configuration is invalid
};

// Clears the automatic-run record and fills it as a run of this order at the moment `now` would:
// options, configuration, limits of the retention classes; forgets what could not be looked at.
// Reports nothing.
OrderVerdict TakeOrder(const RunOrder& order, int64_t now);
