// The monitor daemon's configuration segment (System V shared memory, integers in host order).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

extern void* shmptr;    // address of the attached segment; null: none, -1: attaching failed
extern size_t shmsize;  // its size in bytes

// Reads the attached segment into arcdelinfo. Returns 0, or -1 when the configuration is invalid.
int GetSvrSG();

// The counterpart for "-mode user", which no server offers any more. Always returns -1.
int GetUserSG();

// The steps of reading a segment, without a report. Of a failed system call errno tells; a segment
// that was refused is still attached.
enum class SegmentVerdict : uint8_t {
  kRead,
  kNotAttached,
  kNotDetached,
  kRefused,  // the configuration is invalid
};
SegmentVerdict ReadSegment(int number);

// The same of a segment's bytes.
SegmentVerdict ReadSegmentBytes(const std::vector<char>& bytes);

// Attaches the segment named on the command line, reads it and detaches it. Returns false after
// reporting a failure; the segment may then still be attached.
bool ReadConfiguration();

// Detaches a segment that is still attached, at the end of the run.
void DetachSegment();
