// Names of outputs: array name of an input, date and array of an archive, sequels.
#pragma once

#include <cstddef>

// Copies the array name of an input path (base name without its date, cut at "." and "#") to
// `destination` (256 characters). A name without one: message 101 and the end with status 1.
void SetSubsystemName(char* destination, const char* path);

// The same without a message: false when the name yields none.
bool ArrayNameOf(const char* path, char* name, size_t size);

// Where automatic runs keep a file: names with ".psl" lie in the archive directory (that decides,
// whatever else a name holds), all others in its "archive" subdirectory.
bool LiesInArchive(const char* name);

// Writes the output name for the current record time and output level into `buffer` (1,024).
void SetWriteFname(char* buffer);

// Writes the path of the output named `name` into wfpath.
void SetWritePath(const char* name);

// Turns wfname and wfpath into those of the next sequel ("#002", "#003", ...) of the same output.
void SetSequelNames();
