// Removal of expired files at the end of an automatic archiving run.
#pragma once

#include <cstdint>

#include "engine/unarchived.h"
#include "logdir/autorules.h"
#include "logdir/limits.h"

// What becomes of one file.
enum class RemovalVerdict : uint8_t {
  kTemporary,    // left by an interrupted run: removed
  kExpired,      // its retention is over: removed
  kInTime,       // its retention is not over
  kNoRetention,  // files of its class are kept for ever
  kOtherFile,    // the name is not that of a log or archive, or has no date; or of neither level
  kRefused,      // is empty, or of a revision that is not removed, or gone
  kUnreadable,   // a call failed on it, so nobody knows what it is: it stays
  kUnarchived,   // expired, but this run did not make its archive: left to the next run
};

inline bool IsRemoved(RemovalVerdict verdict) {
  return verdict == RemovalVerdict::kTemporary || verdict == RemovalVerdict::kExpired;
}

// The rules, without any effect: for a log, the daylight flag of the run being `isdst`, and for a
// file of the "archive" subdirectory.
RemovalVerdict JudgeLogRemoval(const char* name, int isdst, const AutoProbe& probe,
                               const Limits& limits);
RemovalVerdict JudgeArchiveRemoval(const char* name, const AutoProbe& probe, const Limits& limits);

// The first moment at which these rules let a sound log, or archive of level 1 (hour) or 2 (day),
// be removed; 0 when they never do.
int64_t LogExpiry(const char* name, const RetentionCodes& codes);
int64_t ArchiveExpiry(const char* name, int level, const RetentionCodes& codes);

// The verdict when it is known what this run left without its archive: such files stay.
RemovalVerdict LeaveUnarchived(const char* name, RemovalVerdict verdict,
                               const UnarchivedPeriods& noted);

// Removes the files whose retention period has run out and every abandoned temporary archive.
// Returns 0, or -1 when a removal failed or a file could not be looked at. A directory that cannot
// be listed ends the process with messages 103 and 114.
int ArcDelete();

// Lists the files to be removed. Returns their number.
int32_t CreatDelList();

// Removes the first `count` listed files. Returns 0, or -1 when at least one stays.
int DelFile(int32_t count);

// The name at position `i` of the list.
const char* DelListName(int32_t i);

// Frees the list.
void FreeDelList();
