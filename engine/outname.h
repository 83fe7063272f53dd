// Names of the run's outputs, put into its work areas. How names are made is in engine/names.h.
#pragma once

#include <cstddef>

// Copies the array name of an input path (base name without its date, cut at "." and "#") to
// `destination` (256 characters). A name without one: message 101 and the end with status 1.
void SetSubsystemName(char* destination, const char* path);

// Writes the output name for the current record time and output level into `buffer` (1,024).
void SetWriteFname(char* buffer);

// Writes the path of the output named `name` into wfpath.
void SetWritePath(const char* name);

// Turns wfname and wfpath into those of the next sequel ("#002", "#003", ...) of the same output.
void SetSequelNames();
