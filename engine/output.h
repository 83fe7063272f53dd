// The output in progress: created under its (temporary) name, finished under its final one.
#pragma once

#include <cstdint>
#include <vector>

// What the driver knows of the output in progress.
struct Output {
  bool active = false;              // created and not yet finished
  bool named = false;               // it has its final name
  bool durable = false;             // and that is on disk
  uint8_t revision = 0;             // of its header
  std::vector<const char*> inputs;  // written to it, as in the target list
};
extern Output output;

// Creates the output of the current input under a name of its own (date and array), or as the
// sequel of the output just finished, and writes its header. Failure: messages 102 and 114,
// status 1. False: an automatic run has finished an output of that path already, reported.
bool OpenNewOutput();
bool OpenSequel();

// Whether the output in progress is followed by a sequel.
enum class Followed : uint8_t { kNo, kBySequel };

// Closes the output, gives it its final name and reports its inputs up to position `end`. In an
// automatic run an output and its sequels get their names together, when the last of them is
// finished, or none does: the first name stands for the whole day or month, and no later run would
// make the others.
void FinishOutput(int32_t end, Followed followed = Followed::kNo);

// Gives a finished output its final name: automatic runs cut "_tmp" off. Failure, and so an archive
// that has the name already: message 111 ("rename", "fsync"), 1 ORed into arcdel_errflg.
void RenameWriteFname(const char* name);

// Forgets which paths the last run has finished.
void ForgetOutputs();
