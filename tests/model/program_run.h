// Runs the built archiver on a set of files in a directory of its own and compares what it leaves
// with what the slow model says.

#ifndef TESTS_MODEL_PROGRAM_RUN_H_
#define TESTS_MODEL_PROGRAM_RUN_H_

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/model/bytes.h"
#include "tests/model/slow_archiver.h"

namespace model {

/// A fresh directory that is removed with everything in it at the end.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

struct ProgramResult {
  int status = 0;  // exit status; negative: the number of the signal that ended the process
  std::map<std::string, Bytes> files;  // files that were not among the inputs
  std::string error_text;              // what it wrote to standard error
};

/// Writes `inputs` to a fresh directory and runs `program` there with the options and the inputs'
/// names as they stand, `TZ` set to `zone`.
ProgramResult RunProgram(const std::string& program, const std::vector<InputFile>& inputs,
                         const RunOptions& options, const std::string& zone);

/// Empty when the program did what the model says; else the first difference in words.
std::string Difference(const RunResult& expected, const ProgramResult& actual);

}  // namespace model

#endif  // TESTS_MODEL_PROGRAM_RUN_H_
