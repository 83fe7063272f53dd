// Which mutant is chosen, and which are reached: both in a file, QELPRF_MUTANT_STATE, as tests give
// the programs that they start little of their environment. It is mapped before anything else runs;
// programs that cannot open it are without mutants. The file: the number chosen, in four bytes, and
// a byte for each mutant.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>

namespace {

constexpr size_t kSize = 1 << 16;
unsigned char nowhere[kSize];

}  // namespace

extern "C" {
int qelprf_mutant_chosen = -1;
unsigned char* qelprf_mutant_reached = nowhere;

// Past the C library, in which tests let calls fail.
__attribute__((constructor(101))) void qelprf_mutant_choose() {
  const long fd = syscall(SYS_openat, AT_FDCWD, QELPRF_MUTANT_STATE, O_RDWR | O_CLOEXEC);
  if (fd < 0) return;
  const long at = syscall(SYS_mmap, nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0L);
  syscall(SYS_close, fd);
  if (at < 0 && at > -4096) return;
  unsigned char* const mapped = reinterpret_cast<unsigned char*>(at);
  memcpy(&qelprf_mutant_chosen, mapped, sizeof qelprf_mutant_chosen);
  qelprf_mutant_reached = mapped + sizeof qelprf_mutant_chosen;
}
}
