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
  bool saved = false;       // `salvage` writes a file
  bool saved_more = false;  // and with resync one that holds more
};

// Writes the bytes to a file, runs `check`, `dump` and `export` in all forms of text and `salvage`
// in both ways over it and removes everything.
PsltoolTargetResult RunPsltool(std::span<const uint8_t> bytes);
