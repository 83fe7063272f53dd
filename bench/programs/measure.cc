// Runs a command and prints its wall-clock seconds, CPU seconds and peak memory in KiB. A small
// program does this because the kernel counts the memory of whoever starts a process, too: started
// by an interpreter, nothing seems to need less than the interpreter. Compiled by scripts/bench.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace {

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: measure COMMAND [ARGUMENT...]\n");
    return 2;
  }
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == -1) {
    std::perror("fork");
    return 1;
  }
  if (child == 0) {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) _exit(126);
    execvp(argv[1], argv + 1);
    std::perror(argv[1]);
    _exit(127);
  }
  int status = 0;
  rusage usage = {};
  if (wait4(child, &status, 0, &usage) == -1) {
    std::perror("wait4");
    return 1;
  }
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::fprintf(stderr, "%s failed\n", argv[1]);
    return 1;
  }
  std::printf("%.6f %.6f %ld\n", wall.count(), Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
              usage.ru_maxrss);
  return 0;
}
