// Rules of joining: see the header.
#include "engine/joining.h"

#include <algorithm>

#include "engine/names.h"
#include "engine/period.h"

namespace {

// Day archives are cut at months and arrays; "-noperiod" takes everything for one.
bool IsCutByMonth(const JoinRules& rules) { return rules.level == 'D' && !rules.no_period; }

}  // namespace

Joining JoinByName(const JoinRules& rules, const JoinState& output, const char* input) {
  if (!output.active) return Joining::kStartsNew;
  if (rules.level != 'H') return Joining::kJoins;
  if (CheckSameDay(output.last_input, input) != 0) return Joining::kStartsNew;
  return output.emptied ? Joining::kAfterBroken : Joining::kJoins;
}

Joining Join(const JoinRules& rules, const JoinState& output, const InputFacts& input) {
  if (input.level == 'D') return Joining::kDayArchive;
  if (!output.active) return Joining::kStartsNew;
  if (IsCutByMonth(rules)) {
    if (input.array != output.array) return Joining::kStartsNew;
    if (input.months < 0) return Joining::kBefore;
    if (input.months > 0) return Joining::kStartsNew;
  }
  return input.revision == output.revision ? Joining::kJoins : Joining::kSequel;
}

bool IsOfNextDay(const JoinRules& rules, const JoinState& output, const InputFacts& input) {
  if (!output.active || rules.level != 'D') return false;
  if (rules.no_period) return true;
  if (input.array != output.array) return false;
  return input.months == 1 || (input.months == 0 && input.days == 1);
}

bool LacksInput(const std::vector<std::string>& unopened, std::string_view name, char level) {
  return std::any_of(unopened.begin(), unopened.end(), [&](const std::string& missing) {
    return level == 'H' ? OfSameDay(name, missing) : OfSameMonth(name, missing);
  });
}

bool EndsBehind(const JoinRules& rules, const char* input, const char* next) {
  return rules.level != 'D' && CheckSameDay(input, next) != 0;
}
