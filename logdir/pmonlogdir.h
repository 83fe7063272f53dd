// File lists: every file of a directory, and the inputs of a manual directory run chosen from it.
#pragma once

#include "logdir/listing.h"

// Lists the files (everything but directories) of `directory`, which ends in "/", into Flist, Nfile
// and FlistBuf, and allocates TargetList and the marks of the targets. Frees the lists held before.
// What cannot be read is told as ListForRun does, names that do not fit a slot are left out.
void SetFileList(const char* directory);

// Frees and clears everything that SetFileList allocates.
void FreeFileList();

// Sorts Flist and selects into TargetList the files of the run's level that are dated within
// StartTime and EndTime. Ends the process with message 107 when there is none, and when one of them
// could not be looked at.
void FindTargetFile();

// Sorts Flist ascending with TargetSort.
void SortFileList();

// qsort comparator of two pointers to names: byte by byte.
int TargetSort(const void* a, const void* b);
