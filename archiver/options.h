// The command line: fills arcdelinfo, finfo, OptVerbose, TargetList and Ntarget from the arguments.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// Run-mode bits that the options of a command line add up.
inline constexpr int32_t kRunManual = 1;
inline constexpr int32_t kRunAuto = 2;   // "-auto"
inline constexpr int32_t kRunMode = 4;   // "-mode"
inline constexpr int32_t kRunAuto2 = 8;  // "-auto2"

// An option, as manual pages, completion and the tables of the documentation tell it. The parser
// goes by the same rows.
struct OptionText {
  // What its value stands for.
  enum class Value : uint8_t { kNone, kDirectory, kFile, kTime, kMode, kNumbers };
  // Whom it is for.
  enum class Use : uint8_t { kManual, kDaemon };

  const char* name;
  const char* value_name;  // as in a synopsis; empty: takes none
  Value value;
  Use use;
  const char* text;
};

// All options, in the order in which people are told of them.
std::span<const OptionText> OptionTexts();

// The words that "-mode" takes.
std::span<const char* const> ModeWords();

// Parses the arguments and checks their combination; every refusal ends the process through Usage.
// Returns the time text of "-hour" or "-day", or null.
const char* ParseCommandLine(int argc, char** argv);

// Parses a non-empty string of decimal digits with a value up to `maximum`. Returns false, with
// `*value` untouched, when `text` is anything else.
bool ParseNumber(const char* text, int64_t maximum, int64_t* value);

// True when `text` is a non-empty string of decimal digits.
bool AllDigits(const char* text);
