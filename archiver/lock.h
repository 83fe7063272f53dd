// The lock that keeps two automatic archivers of one server apart: a record lock on the file
// kLockFile (platform/places.h) below the root directory.
#pragma once

#include <sys/types.h>

#include <cstdint>

extern char lockfile_path[300];
extern int32_t lockfile_fd;  // -1 when not open

// Opens the lock file, creating it when missing, and tests whether another process holds a lock on
// it. Returns 0 when it is free; otherwise -1, with the file closed again.
int Arc_chksgm(const char* path);

// Asks who holds the lock on the file, without taking or making anything. 0: nobody, or there is no
// such file; -1: it cannot be told, errno says why.
pid_t LockHolder(const char* path);

// Takes the write lock without waiting. Returns 0, or -1 after messages 113 and 114.
int Arc_Lock();

// Releases the lock and closes the file, if it is open.
void Arc_Unlock();

// Releases the lock and closes the file without a report: all calls are async-signal-safe.
void DropLock();
