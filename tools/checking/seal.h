// Seals the finished logs and archives of a directory: SHA256SUMS holds the digest of each, and
// what no longer agrees with it is told.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/output/progress.h"

namespace psltool {

struct SealRequest {
  std::string directory;
  std::vector<std::string> renew;  // names whose present content is meant
  bool forget = false;             // drop the lines of files that are gone
  bool only_new = false;           // do not read what is sealed already
};

enum class SealState : uint8_t {
  kKept,       // sealed, and as it was
  kUnread,     // sealed, not looked at
  kAdded,      // newly sealed
  kRenewed,    // its line was replaced
  kForgotten,  // gone, its line was dropped
  kEmpty,      // a mark of the archiver, not sealed
  kChanging,   // new, but still being written: not sealed
  kChanged,    // finding: the digest differs from its line
  kGone,       // finding: sealed, but no longer there
  kBroken,     // finding: new, but `check` finds errors: not sealed
};

struct SealEntry {
  std::string name;
  SealState state;
  std::string text;  // of a broken file: its first error
};

struct SealReport {
  std::vector<SealEntry> entries;  // lines in their order, then new files by name
  bool written = false;            // SHA256SUMS is a new file
};

// True for states that make the exit status 1.
bool IsFinding(SealState state);
// "added".
const char* WordOf(SealState state);

// False: something could not be read or written, reported; SHA256SUMS is as it was.
bool Seal(const SealRequest& request, Progress& progress, SealReport& report);

}  // namespace psltool
