// Opening files that others may be at.
#pragma once

// Opens a file for reading without waiting for whom a pipe would wait for. A regular file that
// another process holds a lease on (a file server does) is waited for, until the lease is given up.
// Returns the descriptor, or -1 with errno.
int OpenToRead(const char* path);
