// Removal of expired files at the end of an automatic archiving run.
#pragma once

#include <cstdint>

// Removes the files whose retention period has run out and every abandoned temporary archive.
// Returns 0, or -1 when the list could not be made or a removal failed.
int ArcDelete();

// Lists the files to be removed. Returns their number, or -1 when there is no memory for the list.
int32_t CreatDelList();

// Removes the first `count` listed files. Returns 0, or -1 when at least one stays.
int DelFile(int32_t count);

// The name at position `i` of the list.
const char* DelListName(int32_t i);

// Frees the list.
void FreeDelList();
