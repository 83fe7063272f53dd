// How an input and the output in progress belong together: the rules of joining, over values. The
// driver acts on what they say; whoever wants to know beforehand asks for the same, with what is
// known of the inputs.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct JoinRules {
  char level;              // of the outputs: "H" or "D"
  bool no_period = false;  // "-noperiod": all inputs go into one day archive
};

// The output in progress.
struct JoinState {
  bool active = false;               // there is one
  bool emptied = false;              // it takes nothing more: an hour archive of a broken log
  uint8_t revision = 0;              // of its header
  std::string_view array = {};       // whose it is
  const char* last_input = nullptr;  // as in the target list
};

// The input at hand, when its header has been read.
struct InputFacts {
  char level = 0;
  uint8_t revision = 0;
  std::string_view array = {};
  int months = 0;  // from what was read last (engine/period.h), and within the month the days
  int days = 0;
};

enum class Joining : uint8_t {
  kJoins,        // the output in progress goes on with it
  kStartsNew,    // the output in progress, if there is one, ends before it; another begins
  kSequel,       // the output in progress ends before it; its next file begins
  kDayArchive,   // passed over: a day archive is not archived further
  kBefore,       // passed over: its month lies before that of the output
  kAfterBroken,  // passed over: the archive of its day was emptied by a broken record before it
};

// Before the input is opened: what the name alone tells. An hour archive goes on only with inputs
// of its own day, and between them one may have failed to open or been passed over.
Joining JoinByName(const JoinRules& rules, const JoinState& output, const char* input);

// What becomes of the input.
Joining Join(const JoinRules& rules, const JoinState& output, const InputFacts& input);

// Whether the input counts as one of the day after what was read last.
bool IsOfNextDay(const JoinRules& rules, const JoinState& output, const InputFacts& input);

// Whether the output ends behind an input that has been read. `next`: the one after it, or null.
bool EndsBehind(const JoinRules& rules, const char* input, const char* next);

// The time with which the next input is compared when one was abandoned: that of the last good
// record; when there is none of this output yet, that of the abandoned input's own header.
constexpr int64_t TimeBehindAbandoned(bool first_of_output, int64_t header_time, int64_t before) {
  return first_of_output ? header_time : before;
}

// Whether one of the inputs that could not be opened is of the day (level "H") or month ("D") of
// `name`, and of its array.
bool LacksInput(const std::vector<std::string>& unopened, std::string_view name, char level);

// Why a finished output of an automatic run keeps its temporary name, left to a later run.
enum class Shortfall : uint8_t {
  kNothing,
  kInput,      // an input of its period could not be opened: it would look complete
  kAbandoned,  // a day archive whose last input was abandoned
};
constexpr Shortfall ShortfallOf(char level, bool lacks_input, bool last_abandoned) {
  if (lacks_input) return Shortfall::kInput;
  return level == 'D' && last_abandoned ? Shortfall::kAbandoned : Shortfall::kNothing;
}
