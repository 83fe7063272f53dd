// The one way in which a broken record is reported.
#pragma once

// Message 112 naming the current input. A manual run then removes its output and ends with status
// 1; in an automatic run auto_break_flg is set and the caller leaves the record. `reason` says what
// is wrong (offset rules, a count, a length); it does not change the message and is kept in
// broken_reason for the trace of tests and tools. Returns false, so that readers can return it.
bool BrokenRecord(const char* reason);

extern const char* broken_reason;
