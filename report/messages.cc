// Numbered messages. One row per message says what its console text and its operation-log entry
// look like; OutputLogMsg decides by the kind of run where they go. Automatic runs have nobody at
// a console: there the console text goes to the trace file, and standard error is only the last
// resort, so that no message is lost.
#include "report/messages.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "areas/finfo.h"
#include "platform/QelCM.h"
#include "report/runinfo.h"
#include "report/zero_file.h"

ArcErrInfo arcerrinfo;
int32_t OptVerbose = 0;
int32_t OutMsgNum = 0;
MessageHook message_hook = nullptr;

namespace {

constexpr char kProgram[] = "Qelprfarc";
constexpr size_t kConsoleSize = 512;
constexpr size_t kLogLength = 200;

enum class ConsoleForm : uint8_t {
  kNone,
  kPlain,  // program, number, text
  kArg,    // ... and the argument
  kCall,   // ... and the argument, the failed call and its error number
};

enum class LogForm : uint8_t {
  kNone,
  kCall,    // text, failed call, error number, detail code
  kArg,     // the argument is the text's only "%s"
  kOutput,  // text and the name of the current output
  kDetail,  // text and the detail code
};

struct MessageRow {
  int32_t number;
  ConsoleForm console_form;
  const char* console;
  LogForm log_form;
  const char* log;
  const char* identifier;
  int32_t message_class;
  int32_t flag;
};

constexpr char kSystemCall[] = "System call error occurred";
constexpr char kNoResource[] = "Insufficient resource detected";

using enum ConsoleForm;
constexpr MessageRow kMessages[] = {
    {101, kArg, "Not PSL file", LogForm::kNone, "", "", 0, 0},
    {102, kCall, "Can't open file", LogForm::kCall, kSystemCall, "08094", 5, 0},
    {103, kCall, "Can't open directory", LogForm::kCall, kSystemCall, "08094", 5, 0},
    {104, kArg, "Invalid option", LogForm::kNone, "", "", 0, 0},
    {105, kPlain, "Can't input multi-level file", LogForm::kNone, "", "", 0, 0},
    {106, kArg, "Out of range", LogForm::kNone, "", "", 0, 0},
    {107, kPlain, "Can't find target file", LogForm::kNone, "", "", 0, 0},
    {108, kArg, "No more archiving", LogForm::kNone, "", "", 0, 0},
    {109, kPlain, "Can't allocate memory", LogForm::kCall, kNoResource, "08072", 5, 1},
    {110, kCall, "Read error", LogForm::kCall, kSystemCall, "08094", 5, 0},
    {111, kCall, "Write error", LogForm::kCall, kSystemCall, "08094", 5, 0},
    {112, kArg, "Record broken", LogForm::kArg, "There is broken psl(psa) file. file=%s",
     kBrokenIdentifier, 5, 1},
    {113, kNone, "", LogForm::kCall, kSystemCall, "08094", 5, 0},
    {114, kNone, "", LogForm::kArg, "Failed in %s of psl(psa) files.", kTaskFailedIdentifier, 4, 1},
    {115, kNone, "", LogForm::kDetail, "Program error occurred", "08099", 5, 1},
    {120, kArg, "Illegal file format", LogForm::kNone, "", "", 0, 0},
    {201, kPlain, "Warning: Find discontinuous file", LogForm::kOutput,
     "Psa file is not complete. file=", "08301", 5, 1},
};

bool AutomaticRun() { return arcdelinfo.auto_flg != 0 && arcdelinfo.emb_flg != 1; }

void CopyText(char* field, size_t size, const char* text) {
  const size_t length = std::min(strlen(text), size - 1);
  memmove(field, text, length);
  field[length] = '\0';
}

bool AppendToTrace(const char* text, int line) {
  sgmtr_dmptbl = 0;
  return fn_I_trace(text, 1, &sgmtr_dmptbl, kProgram, line, 0) == 0;
}

void WriteConsoleText(const MessageRow& row, const ArcErrInfo& info) {
  char text[kConsoleSize];
  // Message 112 is the only one whose argument may be missing.
  const bool bare = row.console_form == kPlain || (row.number == 112 && info.arg[0] == '\0');
  int length = 0;
  if (bare) {
    length = snprintf(text, sizeof text, "%s: %d %s\n", kProgram, row.number, row.console);
  } else if (row.console_form == kArg) {
    length = snprintf(text, sizeof text, "%s: %d %s -- %s\n", kProgram, row.number, row.console,
                      info.arg);
  } else {
    length = snprintf(text, sizeof text, "%s: %d %s -- %s  func=%s errno=%d\n", kProgram,
                      row.number, row.console, info.arg, info.func, info.err);
  }
  if (length >= static_cast<int>(sizeof text)) text[sizeof text - 2] = '\n';
  const bool to_trace = arcdelinfo.auto_flg != 0 || arcdelinfo.ext_flg != 0;
  if (!to_trace || !AppendToTrace(text, __LINE__)) fputs(text, stderr);
}

using LogText = char[kLogLength + 1];

// What does not fit is cut off.
void Append(const char* part, LogText& text) {
  const size_t length = strlen(text);
  CopyText(text + length, sizeof text - length, part);
}

void FormatLogText(const MessageRow& row, const ArcErrInfo& info, LogText& text) {
  const char* place = strstr(row.log, "%s");
  text[0] = '\0';
  switch (row.log_form) {
    case LogForm::kCall:
      snprintf(text, sizeof text, "%s func=%s errno=%d detcode=%08x", row.log, info.func, info.err,
               info.detcode);
      break;
    case LogForm::kArg:
      snprintf(text, sizeof text, "%.*s", static_cast<int>(place - row.log), row.log);
      Append(info.arg, text);
      Append(place + strlen("%s"), text);
      break;
    case LogForm::kOutput:
      snprintf(text, sizeof text, "%s", row.log);
      Append(wfname != nullptr ? wfname : "", text);
      break;
    case LogForm::kDetail:
      snprintf(text, sizeof text, "%s detcode=%08x", row.log, info.detcode);
      break;
    // Not reached: asked for log texts alone.
    case LogForm::kNone:
      break;
  }
}

bool WriteOperationLog(const MessageRow& row, const char* text) {
  SgmcmMessage entry{};
  CopyText(entry.identifier, sizeof entry.identifier, row.identifier);
  CopyText(entry.program, sizeof entry.program, kProgram);
  entry.message_class = row.message_class;
  entry.flag = row.flag;
  return SGMCM_OutMsg(&entry, text) == 0;
}

// A log text that has no other place.
void WriteToTraceOrStandardError(const char* text) {
  if (!AppendToTrace(text, __LINE__)) fprintf(stderr, "%s\n", text);
}

void WriteMessage(const MessageRow& row, ArcErrInfo* info) {
  const bool automatic = AutomaticRun();
  const bool have_input = rfname != nullptr && rfname[0] != '\0';
  const bool fill_112 = row.number == 112 && automatic && info->arg[0] == '\0';
  if (have_input && (row.number == 110 || fill_112)) {
    CopyText(info->arg, sizeof info->arg, rfname);
  }
  if (row.console_form != kNone) WriteConsoleText(row, *info);
  if (row.log_form == LogForm::kNone) return;

  LogText text;
  FormatLogText(row, *info, text);
  // A message with console text has been told already.
  const bool told = row.console_form != kNone;
  if (automatic) {
    if (row.number == 112 && finfo.level == 'H') CreateZeroFile();
    if (!WriteOperationLog(row, text) && !told) WriteToTraceOrStandardError(text);
  } else if (arcdelinfo.auto2_flg != 0 && !told) {
    // Pruning runs make no operation-log entries; a failed one still leaves a line.
    WriteToTraceOrStandardError(text);
  }
}

void ReportArchivedInputs(int32_t end) {
  const bool directory_run = (finfo.optclass & kOptDirectory) != 0;
  for (int32_t i = OutMsgNum; i < end; ++i) {
    const char* name = TargetList[i];
    // A null entry does not count, so a later call starts that much earlier.
    if (name == nullptr) continue;
    ++OutMsgNum;
    const size_t position = static_cast<size_t>(i);
    const bool passed_over =
        directory_run && position < finfo.target_marks_size && finfo.target_marks[position] == 1;
    if (passed_over) continue;
    const char* directory = directory_run && finfo.path != nullptr ? finfo.path : "";
    printf("%s%s --> %s\n", directory, name, wfname);
  }
}

}  // namespace

void OutputLogMsg(ArcErrInfo* info) {
  info->arg[sizeof info->arg - 1] = '\0';
  info->func[sizeof info->func - 1] = '\0';
  const auto* row = std::find_if(std::begin(kMessages), std::end(kMessages),
                                 [info](const MessageRow& r) { return r.number == info->msgno; });
  if (message_hook != nullptr) {
    message_hook(*info);
  } else if (row != std::end(kMessages)) {
    WriteMessage(*row, info);
  }
  *info = ArcErrInfo{};
}

void LogMessage(int32_t msgno, const char* arg, const char* func, int32_t err, uint32_t detcode) {
  arcerrinfo.msgno = msgno;
  if (arg != nullptr) CopyText(arcerrinfo.arg, sizeof arcerrinfo.arg, arg);
  if (func != nullptr) CopyText(arcerrinfo.func, sizeof arcerrinfo.func, func);
  arcerrinfo.err = err;
  arcerrinfo.detcode = detcode;
  OutputLogMsg(&arcerrinfo);
}

void LogTaskFailed() { LogMessage(114, arcdelinfo.arc_flg != 0 ? "archives" : "deletion"); }

void OutMsg(int32_t end) {
  if (OptVerbose != 0) ReportArchivedInputs(end);
  if (finfo.discontinuous && (OptVerbose != 0 || AutomaticRun())) {
    LogMessage(201, nullptr);
    finfo.discontinuous = false;
  }
}
