// What a program shows on a terminal.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "tests/support/process.h"

// Runs a shell script with both outputs on a terminal of its own; "$0" is psltool. Line ends are
// as the terminal gets them ("\r\n").
inline std::string OnTerminal(const std::string& script, const std::string& directory,
                              int* status = nullptr) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  if (terminal == -1 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) {
    ADD_FAILURE() << "no terminal";
    return "";
  }
  const std::string name = ptsname(terminal);
  RunningProgram program("/bin/sh", {"-c", "{ " + script + "; } > " + name + " 2>&1", PSLTOOL_PATH},
                         {directory, {}});
  // Read while it runs: a terminal that nobody reads is full at some time.
  std::string shown;
  siginfo_t end{};
  do {
    end.si_pid = 0;
    usleep(500);
    if (waitid(P_PID, static_cast<id_t>(program.pid()), &end, WEXITED | WNOHANG | WNOWAIT) != 0) {
      ADD_FAILURE() << "cannot be waited for";
      break;
    }
    char buffer[4096];
    for (ssize_t count; (count = read(terminal, buffer, sizeof buffer)) > 0;) {
      shown.append(buffer, static_cast<size_t>(count));
    }
  } while (end.si_pid == 0);
  close(terminal);
  const int ended = program.Wait().status;
  if (status != nullptr) *status = ended;
  return shown;
}
