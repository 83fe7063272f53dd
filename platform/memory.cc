// Memory of the machine: see the header.
#include "platform/memory.h"

#include <sys/mman.h>

void PreferLargePages(void* block, size_t size) {
#ifdef MADV_HUGEPAGE
  ::madvise(block, size, MADV_HUGEPAGE);
#else
  static_cast<void>(block);
  static_cast<void>(size);
#endif
}
