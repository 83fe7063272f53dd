// Truncates the output of an automatic hour run that met a broken record.
#pragma once

// Closes the current output if one is open, then truncates (or creates, mode 0666) the file at
// wfpath. wfd ends as -1.
void CreateZeroFile();
