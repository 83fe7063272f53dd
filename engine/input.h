// Opening the inputs of a run and checking them before anything is written.
#pragma once

#include <cstdint>
#include <string>

#include "engine/header.h"

// Path under which an input is opened: in directory and automatic runs its directory is put before
// the name as it stands in the target list.
std::string InputPath(const char* name);

// First pass over TargetList: every input is opened and its header judged. A manual run ends (102,
// or the message of the header check) at the first bad one; an automatic run drops it, ORs 1 into
// arcdel_errflg, and gets a new TargetList of what is left. Entries that are to be passed over
// silently become null.
void CheckInputs();

// What a look at an input tells, without any effect on the run.
struct InputLook {
  int error = 0;  // of the call that failed: the input does not open, or cannot be read
  bool opened = false;
  HeaderVerdict verdict = HeaderVerdict::kAccepted;
  uint8_t revision = 0;  // when its header is accepted
  char level = 0;
  int64_t time = 0;
};

// Looks at an input of an automatic run, as the check of its inputs will.
InputLook LookAtInput(const std::string& path);

// Opens an input for reading on rfd. On failure logs message 102 ("fopen", `detail`); a manual run
// then ends with status 1, the output in progress left as it is; an automatic run ORs 1 into
// arcdel_errflg, remembers the name, and gets false.
bool OpenInput(const char* name, unsigned detail);

void CloseInput();

// True when the file behind `path` is one of the run's inputs, passed over or not.
bool IsInputFile(const char* path);

// True when an input of the same array and period (day for level 'H', month for 'D') as `name`
// could not be opened in this run.
bool LacksInputOf(const char* name, char level);

// Forgets identities and failures of the last run.
void ForgetInputs();
