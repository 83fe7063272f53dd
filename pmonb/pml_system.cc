// The outside calls of the pruning: see the header.
#include "pmonb/pml_system.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

int Status(const char* path, struct stat* status) { return stat(path, status); }

int RenameToFreeName(const char* source, const char* target) {
  return renameat2(AT_FDCWD, source, AT_FDCWD, target, RENAME_NOREPLACE);
}

}  // namespace

// unlink, not remove: the latter would take an empty directory that came in the place of a file.
PmlSystem pml_system = {
    .open_dir = opendir,
    .read_dir = readdir,
    .close_dir = closedir,
    .status = Status,
    .make_dir = mkdir,
    .remove_file = unlink,
    .allocate = calloc,
    .make_time = mktime,
    .rename_file = RenameToFreeName,
    .run_command = system,
    .move_file = move_chink_pml,
    .check_volume = check_flash_exist,
    .check_name = check_pml_filename,
    .chosen = nullptr,
};
