// Files of all levels for the tests that hold the figures of psltool against the second
// calculation, and the switches of these tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

// Environment variables for longer or other runs than the suite's:
//   FIGURES_SEEDS    how many random cases for each revision
//   FIGURES_PSLTOOL  another program than the one just built
int FigureSeeds(int usual);
ProgramResult RunPsltool(const std::vector<std::string>& arguments,
                         const std::string& zone = "UTC");

// Random logs, their hour archives, and day archives of these and of the logs; seed 0: those of
// `psltool make`.
class FigureFiles {
 public:
  // `interval`: seconds, of made logs.
  FigureFiles(uint64_t seed, int revision, const std::string& zone = "UTC", int interval = 3000);

  const std::vector<std::string>& logs() const { return logs_; }
  const std::vector<std::string>& hours() const { return hours_; }
  const std::vector<std::string>& days() const { return days_; }
  std::vector<std::string> all() const;

 private:
  TempDir directory_;
  std::vector<std::string> logs_;
  std::vector<std::string> hours_;
  std::vector<std::string> days_;
  std::vector<std::string> straight_;  // day archives made of the logs
};
