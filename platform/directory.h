// Directories as such: making changes of their entries survive a power failure.
#pragma once

// Syncs a directory. Returns null, or the name of the call that failed, errno set.
const char* SyncDirectory(const char* path);
