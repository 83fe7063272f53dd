// Files under construction and the signals that could leave them behind: whatever ends the tool, no
// half file stays.
#pragma once

#include <signal.h>

#include <string>

namespace psltool {

// A file that is to be removed when a signal ends the tool. A few at a time; what finds no room is
// only removed by its owner.
void RememberUnfinished(const std::string& path);
void ForgetUnfinished(const std::string& path);

// Removes them all, for an end in which nobody else does it. Safe in a signal handler.
void RemoveUnfinished();

// Sets the signals of the tool. A reader that goes away ends it without a message, also when the
// caller ignores SIGPIPE; a file that would exceed the size limit is a failed write, not an end
// with a core file; an interruption removes what is unfinished.
void SetSignals();

// Holds all signals back while it exists: no end comes between the steps that make a file and see
// to its removal.
class SignalsHeld {
 public:
  SignalsHeld();
  ~SignalsHeld();
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t before_;
};

}  // namespace psltool
