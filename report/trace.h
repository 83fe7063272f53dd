// Trace lines of the command layer: plain progress lines that exist in the trace file only.
#pragma once

// Lines of automatic archiving that tools look for: a run begins with one of the starts, then names
// its root directory, and ends with the end when nothing failed.
inline constexpr char kTraceStart[] = "$main():arc start";
inline constexpr char kTraceForceStart[] = "$main():arc force start";
inline constexpr char kTraceUpdateStart[] = "$main():arc update start";
inline constexpr char kTraceRoot[] = "$main():root ";  // followed by the path
inline constexpr char kTraceEnd[] = "$main():arc end";

// Makes the installation's trace file (prefix + "etc/trace/Qelprfarc.trc") the trace file of this
// run.
void SetTraceFile();

// Formats one trace line with the tag "Qelprfarc". Nothing is written without a trace file.
void TraceLine(int line, const char* format, ...) __attribute__((format(printf, 2, 3)));
