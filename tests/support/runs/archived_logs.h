// Random logs written to a directory and archived there by the program, level by level, for tests
// that look at archives beside their inputs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/model/random_logs.h"
#include "tests/support/tempdir.h"

struct ArchivedFile {
  std::string path;
  std::vector<std::string> inputs;  // paths, in the order in which the run took them
};

class ArchivedLogs {
 public:
  // Logs of the model's generator.
  ArchivedLogs(uint64_t seed, uint8_t revision, const model::CaseOptions& options,
               std::string zone);

  const TempDir& directory() const { return directory_; }
  const std::vector<std::string>& logs() const { return logs_; }

  // Archives files into a new subdirectory and tells what came out; nothing when the run failed.
  // `program`: empty for the product.
  std::vector<ArchivedFile> Archive(const std::vector<std::string>& inputs, const std::string& into,
                                    const std::vector<std::string>& options = {},
                                    const std::string& program = {}) const;

 private:
  TempDir directory_;
  std::string zone_;
  std::vector<std::string> logs_;
};

// Paths of the files, each once.
std::vector<std::string> PathsOf(const std::vector<ArchivedFile>& files);
