// Start and end of the process: see the header.
#include "platform/process.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

EndProcessHook end_process_hook = nullptr;

void EndProcess(int status) {
  if (end_process_hook != nullptr) end_process_hook(status);
  std::exit(status);
}

void OpenStandardDescriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    // The lowest free number is the one that was found closed.
    if (::fcntl(fd, F_GETFD) == -1) static_cast<void>(::open("/dev/null", O_RDWR));
  }
}
