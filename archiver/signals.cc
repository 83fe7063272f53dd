// Signal dispositions: see the header.
#include "archiver/signals.h"

#include <unistd.h>

#include <csignal>

#include "archiver/lock.h"
#include "areas/finfo.h"
#include "engine/output_file.h"

namespace {

constexpr int kIgnored[] = {
    SIGALRM, SIGHUP, SIGINT, SIGPIPE, SIGPOLL, SIGPROF, SIGURG, SIGVTALRM,
#ifdef SIGEMT
    SIGEMT,
#endif
#ifdef SIGLOST
    SIGLOST,
#endif
};

}  // namespace

void IgnoreSizeLimitSignal() { signal(SIGXFSZ, SIG_IGN); }

void SetSignal() {
  for (const int number : kIgnored) signal(number, SIG_IGN);
  signal(SIGTERM, Catch_sig);
}

void Catch_sig(int /*number*/) {
  if (wfd != -1) close(wfd);
  // Also a file that is closed and waits for its final name.
  if (wfd != -1 || temporary_at_wfpath != 0) unlink(wfpath);
  RemoveWaiting();
  DropLock();
  // No flush and no exit handlers: the run may have been interrupted in the middle of them.
  _exit(1);
}
