// The one place where the process ends: everything that must stop the program calls EndProcess, so
// that tests and fuzzers can put a function of their own in its way.
#pragma once

// Called by EndProcess instead of exit when set; it must not return (it throws or jumps).
using EndProcessHook = void (*)(int status);
extern EndProcessHook end_process_hook;

// Ends the process with `status` after flushing standard output. Never returns.
[[noreturn]] void EndProcess(int status);

// Opens the null device where standard input, output or error is closed, so that no file of the run
// gets their numbers: a message would otherwise be written into an archive.
void OpenStandardDescriptors();
