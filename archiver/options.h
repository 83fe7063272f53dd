// The command line: fills arcdelinfo, finfo, OptVerbose, TargetList and Ntarget from the arguments.
#pragma once

#include <cstddef>
#include <cstdint>

// Run-mode bits that the options of a command line add up.
inline constexpr int32_t kRunManual = 1;
inline constexpr int32_t kRunAuto = 2;   // "-auto"
inline constexpr int32_t kRunMode = 4;   // "-mode"
inline constexpr int32_t kRunAuto2 = 8;  // "-auto2"

// Parses the arguments and checks their combination; every refusal ends the process through Usage.
// Returns the time text of "-hour" or "-day", or null.
const char* ParseCommandLine(int argc, char** argv);

// Parses a non-empty string of decimal digits with a value up to `maximum`. Returns false, with
// `*value` untouched, when `text` is anything else.
bool ParseNumber(const char* text, int64_t maximum, int64_t* value);

// True when `text` is a non-empty string of decimal digits.
bool AllDigits(const char* text);
