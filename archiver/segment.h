// The monitor daemon's configuration segment (System V shared memory, integers in host order).
#pragma once

#include <cstddef>

extern void* shmptr;    // address of the attached segment; null: none, -1: attaching failed
extern size_t shmsize;  // its size in bytes

// Reads the attached segment into arcdelinfo. Returns 0, or -1 when the configuration is invalid.
int GetSvrSG();

// The counterpart for "-mode user", which no server offers any more. Always returns -1.
int GetUserSG();

// Attaches the segment named on the command line, reads it and detaches it. Returns false after
// reporting a failure; the segment may then still be attached.
bool ReadConfiguration();

// Detaches a segment that is still attached, at the end of the run.
void DetachSegment();
