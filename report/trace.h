// Trace lines of the command layer: plain progress lines that exist in the trace file only.
#pragma once

// Makes the installation's trace file (kTraceFile of platform/places.h) that of this run.
void SetTraceFile();

// Formats one trace line with the tag "Qelprfarc". Nothing is written without a trace file.
void TraceLine(int line, const char* format, ...) __attribute__((format(printf, 2, 3)));
