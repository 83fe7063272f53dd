// The outside calls of the pruning: see the header.
#include "pmonb/pml_system.h"

#include <unistd.h>

#include <cstdlib>

#include "platform/directory.h"

namespace {

int Status(const char* path, struct stat* status) { return stat(path, status); }

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
