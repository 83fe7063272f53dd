// The output in progress: created under its (temporary) name, finished under its final one.
#pragma once

#include <cstdint>

// What the driver knows of the output in progress.
struct Output {
  bool active = false;               // created and not yet finished
  uint8_t revision = 0;              // of its header
  const char* last_input = nullptr;  // input written to it last, as in the target list
};
extern Output output;

// Creates the output of the current input under a name of its own (date and array), or as the
// sequel of the output just finished, and writes its header. Failure: messages 102 and 114,
// status 1.
void OpenNewOutput();
void OpenSequel();

// Closes the output, gives it its final name and reports its inputs up to position `end`.
void FinishOutput(int32_t end);

// Gives a finished output its final name: automatic runs cut "_tmp" off. Nothing is done for a day
// archive whose last input was abandoned. Failure: message 111 ("rename"), 1 ORed into
// arcdel_errflg.
void RenameWriteFname(const char* name);

// Forgets which paths the last run has finished.
void ForgetOutputs();
