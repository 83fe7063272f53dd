// Archive runs inside the test program: one call sets up the work areas as the command layer does,
// runs the driver, and hands back how it ended and what it said.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/tempdir.h"

struct EngineOutcome {
  int status;                      // exit status asked for, or kReturned
  std::string err;                 // standard error
  std::string out;                 // standard output
  std::vector<std::string> trace;  // texts of the trace lines
  int32_t failed;                  // arcdel_errflg
  std::vector<uint8_t> marks;      // per-target marks
};

struct ManualSettings {
  char level = 0;
  std::string directory = {};  // of outputs (and inputs with `by_directory`), ends in "/"
  std::string outpath = {};
  bool by_directory = false;  // as with "-p": names are looked for in `directory`
  bool noperiod = false;
  bool verbose = false;
};

// A manual run over the inputs as named.
EngineOutcome RunManual(const std::vector<std::string>& inputs, const ManualSettings& settings);

// An automatic run of level 'H' or 'D' over names in `directory`, whose "archive" subdirectory gets
// the outputs (and holds the inputs named ".psa").
EngineOutcome RunAutomatic(const TempDir& directory, const std::vector<std::string>& names,
                           char level);

// The trace texts that contain `part`.
std::vector<std::string> With(const std::string& part, const std::vector<std::string>& lines);

// Brings the engine's state back to its start and closes what a run left open.
void ResetEngine();
