// Run control: from the command line to the end of the process.
#pragma once

// The whole program. Returns the exit status of a run that reaches its end, which is 0 even after
// reported failures; refusals and fatal failures end the process with status 1 before that.
int RunArchiver(int argc, char** argv);

// Checks the names in TargetList: ".psl" or ".psa" each, and all alike. Otherwise ends the process
// with message 101 or 105.
void CheckInputFile();

// The directory of "-o" or "-p" when a "/" had to be appended to it.
extern char iopath[1024];
