// Directories as such: making changes of their entries survive a power failure, and entries that
// replace nothing.
#pragma once

// Syncs a directory. Returns null, or the name of the call that failed, errno set.
const char* SyncDirectory(const char* path);

// Renames `from` to `to` when nothing has that name yet. Returns 0, or -1 with errno: EEXIST, or
// EINVAL or ENOSYS where the file system or the kernel cannot tell in one step.
int RenameToFreeName(const char* from, const char* to);
