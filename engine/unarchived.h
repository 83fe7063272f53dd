// The days and months that this run leaves without the archive that it set out to make: inputs that
// were abandoned, passed over or refused, outputs that could not be finished. Removal leaves their
// inputs, whatever their age, so that the next run can try again.
#pragma once

// Notes the day (level 'H') or the month (level 'D') of the array that a log's or hour archive's
// name tells. A name that tells none stands for itself.
void NoteUnarchived(const char* name, char level);

// True when the day or the month of this log or archive was noted, or the name itself.
bool IsUnarchived(const char* name);

// Forgets all notes, as a new run starts without them. They outlive the runs over both levels.
void ForgetUnarchived();
