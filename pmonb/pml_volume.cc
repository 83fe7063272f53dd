// Whether a volume of its own is mounted at a path, told from the device numbers.
#include <cerrno>
#include <cstdio>

#include "pmonb/pml_calls.h"
#include "pmonb/pml_detail.h"
#include "pmonb/pml_system.h"

namespace {

constexpr int kMounted = 0;
constexpr int kNotMounted = 2;
constexpr int kStatFailed = 4;

int Report(PmlErrorBlock* block, int result, const char* text, uint32_t detail, int error) {
  snprintf(block->text, sizeof block->text, "%s", text);
  block->detail = detail;
  block->err_no = error;
  return result;
}

}  // namespace

int check_flash_exist(const char* path, PmlErrorBlock* block) {
  if (block == nullptr) return kPmlNullArgument;
  if (path == nullptr) return Report(block, kPmlNullArgument, "param", kPmlDetNoPath, 0);
  struct stat root {};
  if (pml_system.status("/", &root) != 0) {
    return Report(block, kStatFailed, "stat", kPmlDetStatRoot, errno);
  }
  struct stat volume {};
  if (pml_system.status(path, &volume) != 0) {
    if (errno == ENOENT) return kNotMounted;
    return Report(block, kStatFailed, "stat", kPmlDetStatPath, errno);
  }
  return volume.st_dev == root.st_dev ? kNotMounted : kMounted;
}
