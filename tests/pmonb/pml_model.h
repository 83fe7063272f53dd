// A model of the pruning, written from its rules alone: it shares nothing with the program,
// searches all files anew for each choice, reckons sizes in integers and dates with std::chrono,
// and matches names with a regular expression.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct PmlModelFile {
  unsigned dir;
  std::string path;
  uint64_t size;
  bool valid = false;
  bool chosen = false;
  int date = 0;    // YYMMDD
  int number = 0;  // what orders files of one date: smaller is older
};

struct PmlModelState {
  std::vector<PmlModelFile> files;  // in the order of directories and listing
  std::vector<unsigned> dirs;       // range, ascending
  uint64_t limit = 0;
  uint64_t margin = 0;
  uint32_t term = 0;
  uint32_t delete_count = 0;
  uint64_t total = 0;
  uint32_t count = 0;
  uint32_t total_lo = 0;
};

// Takes in the files of a directory, as subdirectory `dir`.
void ListForModel(PmlModelState& state, unsigned dir, const std::string& directory);

// Result of the mode; nothing when it acts.
std::optional<int> PmlRefusal(const PmlModelState& state, unsigned mode);

// Marks the files that go. The result of the mode.
int RunPmlModel(PmlModelState& state, unsigned mode);
