// Files that a failed call keeps from being looked at while files are chosen, listed or removed.
// The call is noted where it fails; whoever is to tell of the file does so once in a run.
#pragma once

#include <cstdint>
#include <string>

// Remembers why the file at `path` could not be looked at: the call, its errno, the detail code of
// the place.
void NoteUnread(const std::string& path, const char* call, int error, uint32_t detail);

// Remembers that the path of a file is longer than the program's paths may be.
void NoteLongPath(const std::string& path);

// Message 102 with the call noted, and 1 ORed into arcdel_errflg; for a path that is too long a
// trace line about the directory instead, once for all its files. True when it was told for the
// first time in this run.
bool ReportUnread(const std::string& path);

// A trace line, once in a run, for a name that is longer than the lists hold.
void ReportOversized(const std::string& path);

// Why `path` could not be looked at, as an errno (ENAMETOOLONG for a path that is too long); 0 when
// nothing is noted.
int UnreadError(const std::string& path);

// A new run tells everything again.
void ForgetUnread();
