// One archive run over bytes that nobody vouches for, inside this process: what the fuzzers and the
// tests with damaged files have in common.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

struct ArchiveTargetOptions {
  bool automatic = false;  // automatic rules: broken inputs are abandoned, outputs renamed
  char level = 0;          // output level, 0 = as the input's header says
};

// How a run ended.
struct ArchiveTargetResult {
  int status = -1;                // exit status asked for, -1 when the run returned
  bool abandoned = false;         // an input failed in an automatic run
  std::vector<std::string> left;  // names in the run's directory, inputs apart
};

// Called when the run has ended, while its files are there: their directory, which ends in "/", and
// the names of the inputs.
using ArchiveLook =
    std::function<void(const std::string& directory, const std::vector<std::string>& inputs,
                       const ArchiveTargetResult& result)>;

// Writes each input under a name of its own day (all "20240101fz#001.psl" and up, "...psa" for
// level 'D'), archives them and removes everything. Messages go nowhere.
ArchiveTargetResult ArchiveBytes(std::span<const std::span<const uint8_t>> inputs,
                                 const ArchiveTargetOptions& options,
                                 const ArchiveLook& look = nullptr);
