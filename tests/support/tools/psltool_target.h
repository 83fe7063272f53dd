// psltool's readers over bytes that nobody vouches for, inside this process: what the fuzzer and
// the test with damaged files have in common.
#pragma once

#include <cstdint>
#include <span>
#include <string>

struct PsltoolTargetResult {
  // Empty, or what the commands say that cannot both be true.
  std::string contradiction;
  bool clean = false;       // `check` finds no error
  char level = 0;           // of the file; 0: it has no header that can be read
  bool saved = false;       // `salvage` writes a file
  bool saved_more = false;  // and with resync one that holds more
};

// What is done with the bytes beside `check` and `info`.
inline constexpr unsigned kDumpForm = 1;     // the first of three: table, csv, ndjson
inline constexpr unsigned kExportForm = 8;   // the first of four: csv, wide, ndjson, openmetrics
inline constexpr unsigned kEveryForm = 127;  // of these seven
inline constexpr unsigned kSalvage = 128;    // in both ways
inline constexpr unsigned kEverything = kEveryForm | kSalvage;

// Writes the bytes to a file, does with it what `forms` says and removes everything.
PsltoolTargetResult RunPsltool(std::span<const uint8_t> bytes, unsigned forms = kEverything);
