// One input and one output around the revision code: records are fed through the record stream, and
// what was written is taken as records. Everything process-wide is reset at both ends.
#pragma once

#include <cstdint>
#include <vector>

#include "areas/kinds.h"
#include "tests/support/entry_bytes.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

namespace revtest {

class RevisionRun {
 public:
  explicit RevisionRun(int revision, char input_level = 'L', char output_level = 'H');
  ~RevisionRun();
  RevisionRun(const RevisionRun&) = delete;
  RevisionRun& operator=(const RevisionRun&) = delete;

  // Takes the run for an automatic one. Messages stay on standard error.
  void Automatic();

  // The input's item bitmap of a kind. 0 (the start): no extended words.
  void InputMask(Kind kind, uint32_t mask);

  // Appends a record to the input and reads it.
  void Feed(const Bytes& record);
  // Appends a record; reads all that were appended.
  void Append(const Bytes& record);
  void ReadOn();

  // Writes the period in progress as the end of the input does; the output goes on.
  void Flush();

  // Records written since the last call.
  std::vector<Bytes> Output();
  // Flushes, then takes the output; the only statistics record in it.
  Bytes Period();

  // Whether feeding `record` reports a broken record: message 112 with the input's name, and in a
  // manual run the output removed and status 1, in an automatic run the input abandoned.
  bool Breaks(const Bytes& record);

  // Goes on with a further input of the same output (its first record is fed next).
  void NextInput(bool next_day);

  bool OutputExists() const { return directory_.Exists("output"); }

 private:
  EndProcessGuard guard_;  // an unexpected end of the run throws
  TempDir directory_;
  size_t taken_ = 0;
};

// Bytes of the section of a kind in a statistics record from its header's offset on.
Bytes SectionOf(const Bytes& record, int revision, Kind kind, size_t size);

// The optional items of a statistics record.
std::vector<Bytes> ItemsOf(const Bytes& record);

}  // namespace revtest
