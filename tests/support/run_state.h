// Brings the process-wide state of a run back to its start, and takes what would leave the process:
// the end of the process, standard error and standard output.
#pragma once

#include <string>

// Clears every work area that the command layer and the file selection write.
void ResetRunState();

// Thrown instead of ending the process while a StatusOf call is active.
struct ProcessEnded {
  int status;
};

// Installs the hook that throws ProcessEnded; the destructor puts the earlier one back.
class EndProcessGuard {
 public:
  EndProcessGuard();
  ~EndProcessGuard();
  EndProcessGuard(const EndProcessGuard&) = delete;
  EndProcessGuard& operator=(const EndProcessGuard&) = delete;

 private:
  void (*before_)(int);
};

inline constexpr int kReturned = -1;

// Calls `body`. Returns the status with which it would have ended the process, or kReturned.
template <typename Body>
int StatusOf(Body body) {
  EndProcessGuard guard;
  try {
    body();
  } catch (const ProcessEnded& ended) {
    return ended.status;
  }
  return kReturned;
}

// Collects what is written to a descriptor (1 or 2).
class Capture {
 public:
  explicit Capture(int fd);
  ~Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  // What was written since the start.
  std::string Text() const;

 private:
  int fd_;
  int saved_;
  int file_;
};

// Sets the variable TZ while it exists.
class TimeZone {
 public:
  explicit TimeZone(const char* value);
  ~TimeZone();
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

 private:
  bool was_set_;
  std::string before_;
};

// Makes CurrentTime answer the UTC time given as "YYYY-MM-DD hh:mm:ss". Ends with ResetRunState.
void SetClock(const std::string& utc);
