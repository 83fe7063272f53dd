// Trace lines of the command layer: see the header.
#include "report/trace.h"

#include <cstdarg>
#include <cstdio>

#include "platform/QelCM.h"
#include "platform/places.h"
#include "platform/prefix.h"

void SetTraceFile() {
  const int length =
      snprintf(sgmtr_dmpfile, sizeof sgmtr_dmpfile, "%s%s", kInstallPrefix, kTraceFile);
  // A path that was cut would be another file: better none, so that messages use standard error.
  // Not reached: the prefixes of the builds under test are short.
  if (length < 0 || static_cast<size_t>(length) >= sizeof sgmtr_dmpfile) sgmtr_dmpfile[0] = '\0';
}

void TraceLine(int line, const char* format, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  sgmtr_dmptbl = 0;
  fn_I_trace(text, 1, &sgmtr_dmptbl, kTraceTag, line, 0);
}
