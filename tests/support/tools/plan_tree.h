// Random archive directories for the plan of an automatic run: logs and archives of all levels,
// sound ones, broken ones and what is none of them, and what a directory looks like to the last
// bit.
#pragma once

#include <map>
#include <random>
#include <string>

#include "tests/support/tempdir.h"

// Logs, hour archives and day archives made once, by name.
struct SampleFiles {
  std::map<std::string, std::string> logs;
  std::map<std::string, std::string> hours;
  std::map<std::string, std::string> days;
};

// Of three arrays, one of them named "15A" and one with two logs a day, from `first_day` on.
SampleFiles MakeSamples(const std::string& first_day, int days, const std::string& zone);

// Puts a random choice of the samples and all sorts of other things into `directory` + "/arc".
void FillArchiveDirectory(const SampleFiles& samples, const TempDir& directory,
                          std::mt19937& random);

// Everything below a path: type, mode, size, modification time, content or target of each entry.
std::map<std::string, std::string> StateOf(const std::string& path);
