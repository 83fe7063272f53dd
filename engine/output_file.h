// The output in progress as a file, and how its final name comes to it.
//
// Automatic runs write under a temporary name, made anew: whatever stands there is removed, never
// followed. Manual runs write a file without any name (where the file system cannot do that, one
// beside the output) and give it the output's path when it is whole, so that a killed run leaves
// there what stood there before. Devices, pipes and links are written as they are, and never
// removed.
#pragma once

#include <csignal>

// Opens a file for wfpath on wfd. Returns 0 or the error number; wfd is then -1.
int CreateOutputFile();

// Closes wfd; a manual run's output gets its path. Returns null, or the name of the call that
// failed, errno set; the output is then still to be discarded.
const char* CompleteOutputFile();

// Gives a finished archive of an automatic run its final name. One that is there already is not
// replaced, unless it is empty. Returns null, or the name of the call that failed, errno set.
const char* RenameOutputFile(const char* from, const char* to);

// A call failed while the output `name` was finished: message 111. A manual run discards the output
// and ends with status 1; an automatic run keeps the temporary name, ORs 1 into arcdel_errflg and
// goes on.
void FinishFailed(const char* name, const char* call);

// Ends a run with status 1; a manual run leaves what has been written of its output under the final
// name.
[[noreturn]] void LeaveOutputAndEnd();

// Closes wfd if it is open and removes what was written, if that is a regular file of this run.
void DiscardOutputFile();

// Ends the care for the file: it has its final name, or keeps its temporary one.
void ReleaseOutputFile();

// True while a temporary file of an automatic run stands at wfpath, or may: SIGTERM removes it.
extern volatile std::sig_atomic_t temporary_at_wfpath;

// Finished temporary files that wait until the archives that belong to them are finished, too.
// The file at wfpath becomes one of them.
void KeepWaiting();

// Removes them; safe in a signal handler.
void RemoveWaiting();

// They have their names, or keep their temporary ones.
void ForgetWaiting();
