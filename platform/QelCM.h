// The server's common services that the archiver uses: one line of the trace file, one entry of
// the operation log. Both append with a single write, so that lines of several processes never mix,
// and end a line that a full disk has cut short before theirs.
#pragma once

#include <cstdint>

// Path of the trace file; empty means that no trace is kept (manual runs without "-ext").
extern char sgmtr_dmpfile[128];

// Trace control word; every caller sets it to 0 before a call.
extern int32_t sgmtr_dmptbl;

// Record of one operation-log entry, 44 bytes, integers in host order.
struct SgmcmMessage {
  char identifier[6];  // five digits and a terminating zero
  char program[14];    // zero-padded
  int32_t message_class;
  int32_t flag;
  int32_t unused;
  char reserved[12];
};
static_assert(sizeof(SgmcmMessage) == 44);

// Appends one line to the trace file: local time of the zone that the process started with, process
// id, "tag:line", `text` (whose own final newline is not doubled). Returns 0 when the line was
// appended, -1 when no trace file is set or it cannot be appended to (callers that must not lose a
// message then use standard error).
int fn_I_trace(const char* text, int one, int32_t* control, const char* tag, int line, int zero);

// Appends one entry to the operation log (kOperationLog of platform/places.h) and to syslog.
// `text` is used up to 200 characters. Returns 0 when the entry was appended to the log, else -1.
int SGMCM_OutMsg(const SgmcmMessage* message, const char* text);
