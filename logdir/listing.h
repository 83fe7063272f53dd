// What a directory holds, read once and told with everything that went wrong.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// Room of one listed name, its terminating zero included.
inline constexpr size_t kNameSlot = 64;

struct Listing {
  const char* call = nullptr;  // the call that failed: the directory cannot be listed
  int error = 0;
  std::vector<std::string> names;   // everything but directories, in the order of the directory
  std::vector<std::string> unread;  // their status is not available; noted (logdir/unread.h)
  // Names that do not fit a slot. Cut, they would be those of other files.
  std::vector<std::string> oversized;
};

// Lists `directory`, which ends in "/". Says nothing. A name that is gone when its status is asked
// for is passed over, and so is a link that leads nowhere.
Listing ListDirectory(const char* directory);

// As a run lists: a directory that cannot be listed ends the process with messages 103 and 114. A
// name without status gives message 102, one that does not fit a slot a trace line.
Listing ListForRun(const char* directory);

// The end of a run whose `directory` cannot be listed.
[[noreturn]] void EndUnlisted(const char* directory, const Listing& listing);
