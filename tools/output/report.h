// How the commands of psltool report a failure: one line on standard error that names the file.
#pragma once

#include <string_view>

namespace psltool {

// Exit statuses.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;    // findings, or a file that is broken
inline constexpr int kExitRefused = 2;   // the command line asks for what cannot be
inline constexpr int kExitUnusable = 2;  // a file could not be read or written

// Prints "psltool: <what>: <reason>", both as Shown. Returns false, so that callers can return it.
bool Fail(std::string_view what, std::string_view reason);

// The same, returning the status to exit with.
inline int FailWith(int status, std::string_view what, std::string_view reason) {
  Fail(what, reason);
  return status;
}

}  // namespace psltool
