// All reports of the program: numbered messages to the console, the trace and the operation log,
// and the verbose lines of finished outputs.
#pragma once

#include <cstdint>

// The message record. Fill it, call OutputLogMsg; it is cleared by every call.
struct ArcErrInfo {
  int32_t msgno;
  char arg[1024];
  char func[20];
  int32_t err;
  uint32_t detcode;
};
extern ArcErrInfo arcerrinfo;

extern int32_t OptVerbose;  // "-v"
extern int32_t OutMsgNum;   // position in TargetList up to which inputs were reported

// Identifiers of entries in the operation log by which failures are known: a broken file, a task
// that failed.
inline constexpr char kBrokenIdentifier[] = "08300";
inline constexpr char kTaskFailedIdentifier[] = "08320";

// When set, gets every message instead of console, trace and operation log.
using MessageHook = void (*)(const ArcErrInfo& info);
extern MessageHook message_hook;

// Formats and writes the message in `info` (console or trace, operation log), then clears it.
// Never ends the process.
void OutputLogMsg(ArcErrInfo* info);

// Fills arcerrinfo and calls OutputLogMsg. `arg` and `func` may be null: the field then keeps the
// text it last held (it is empty after every message).
void LogMessage(int32_t msgno, const char* arg, const char* func = nullptr, int32_t err = 0,
                uint32_t detcode = 0);

// Message 114 with the task word: "archives" when archiving is enabled, else "deletion".
void LogTaskFailed();

// Reports the inputs from OutMsgNum up to (not including) position `end` as archived into wfname
// when "-v" is given, then message 201 when it is due.
void OutMsg(int32_t end);
