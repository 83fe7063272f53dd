// Runs the built archiver on a set of files in a directory of its own and compares what it leaves
// with what the slow model says.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/model/bytes.h"
#include "tests/model/slow_archiver.h"

struct ArchiverRun {
  int status = 0;                             // as in ProgramResult
  std::map<std::string, model::Bytes> files;  // files that were not among the inputs
  std::string error_text;                     // what it wrote to standard error
};

// Writes `inputs` to a fresh directory and runs `program` there with the options and the inputs'
// names as they stand, `TZ` set to `zone`.
ArchiverRun RunArchiverOn(const std::string& program, const std::vector<model::InputFile>& inputs,
                          const model::RunOptions& options, const std::string& zone);

// Empty when the program did what the model says; else the first difference in words.
std::string Difference(const model::RunResult& expected, const ArchiverRun& actual);
