// Automatic selection: retention limits, and the inputs of the hour run and the day run chosen from
// the archive directory of the server.
#pragma once

#include <cstdint>
#include <string>

#include "engine/unarchived.h"
#include "logdir/autorules.h"

// Files of earlier revisions are archived by hand only, and never removed.
inline constexpr uint8_t kLowestAutoRevision = 0x17;

// Takes the current time once and computes the limit of each class with a retention period.
// Returns 0.
int GetTimeSpan();

// The same for the time `now`.
void TakeLimits(int64_t now);

// Computes the limit of the class `letter` ("L" PSL, "H" hour PSA, "D" day PSA) from its encoded
// period and the class's current time.
void GetSaveTime(int32_t encoded, char letter);

// Selects the inputs of the run of level finfo.level ("H" or "D") into TargetList, Ntarget and
// FlistBuf. Ends the process when the "archive" directory can neither be opened nor created.
void GetTargetFile();

// Notes what the unreadable files of a selection hold up, so that removal leaves it, and the
// selection that follows in the same night passes over it, too.
void NoteHeldUp(char level, const AutoSelection& selection, UnarchivedPeriods& noted);

// Level of the file `name` in the archive directory or its "archive" subdirectory: 1 for an hour
// archive or an empty file, 2 for a day archive, 0 for any other, -1 when it does not open.
int CheckAutoFileLevel(const char* name);

// 0 when `name` has a format revision that is archived automatically, else -1.
int CheckAutoFileVer(const char* name);

// Both as the rules of selection and removal call them.
const AutoProbe& FileProbe();

// The subdirectory of the archives, ending in "/".
const char* ArchiveSubdirectory();

// Path of a file of the archive directory or its "archive" subdirectory, as LiesInArchive has it.
std::string AutoFilePath(const std::string& name);

// True when the path of the file `name` of an archive `directory` (which ends in "/"), and that of
// the archive made of it under its temporary name, have at most 255 characters. A run leaves others
// alone.
bool FitsPaths(const std::string& directory, const std::string& name);
