// The archive driver: one archive run over the target list.
#pragma once

// Makes the archives of the inputs in TargetList. Ends the process with status 1 on fatal errors.
void ArcMain();

// Releases and clears the memory of a run: slots, tables, lists, marks, header buffers.
void MemoryFree();

// Sets pmonarc_stat to 2 before a run. EndArchive does nothing.
void InitArchiver();
void EndArchive();
