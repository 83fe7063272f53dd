// Unfinished files: see the header. The table has a fixed place, since a signal handler must not
// allocate.
#include "tools/output/unfinished.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <climits>
#include <cstring>

namespace psltool {

namespace {

struct Place {
  std::atomic<bool> used = false;
  std::array<char, PATH_MAX> path = {};
};

std::array<Place, 8> places;

void RemoveAndEnd(int number) {
  RemoveUnfinished();
  signal(number, SIG_DFL);
  raise(number);
}

}  // namespace

void RememberUnfinished(const std::string& path) {
  if (path.size() >= PATH_MAX) return;
  for (Place& place : places) {
    if (place.used) continue;
    std::memcpy(place.path.data(), path.c_str(), path.size() + 1);
    place.used = true;
    return;
  }
}

void ForgetUnfinished(const std::string& path) {
  for (Place& place : places) {
    if (place.used && path == place.path.data()) place.used = false;
  }
}

void RemoveUnfinished() {
  for (const Place& place : places) {
    if (place.used) unlink(place.path.data());
  }
}

void SetSignals() {
  signal(SIGXFSZ, SIG_IGN);
  signal(SIGPIPE, RemoveAndEnd);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    // Started with nohup and the like, the tool goes on.
    if (signal(number, RemoveAndEnd) == SIG_IGN) signal(number, SIG_IGN);
  }
}

SignalsHeld::SignalsHeld() {
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, &before_);
}

SignalsHeld::~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

}  // namespace psltool
