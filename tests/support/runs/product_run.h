// Runs of the archiver as a user would start it, in a directory of the test's choice.
#pragma once

#include <string>
#include <vector>

#include "tests/support/process.h"

using Arguments = std::vector<std::string>;

inline ProgramResult RunProduct(const Arguments& arguments, const std::string& directory = "") {
  ProgramSettings settings;
  settings.directory = directory;
  return RunProgram(QELPRFARC_PATH, arguments, settings);
}
