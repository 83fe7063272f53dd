// The time that each statistics record of a file stands for, and which records a span asks for.

#ifndef TESTS_FIGURES_PERIODS_H_
#define TESTS_FIGURES_PERIODS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/figures/entries.h"

namespace figures {

/// Of days and of texts: UTC, or the environment's `TZ`.
enum class Clock { kLocal, kUtc };

struct Period {
  uint32_t stamp = 0;
  int64_t begin = 0;
  int64_t end = 0;    // the first second behind it; of logs the stamp
  bool whole = true;  // the only record of its hour or day
  Clock days = Clock::kLocal;
};

/// The periods of a file's records. `otherwise`: of day archives whose header does not tell whose
/// days they have.
std::vector<Period> PeriodsOf(const File& file, Clock otherwise);

/// Records that lie in the span of two moments, both included; those of logs by their stamps. A day
/// is that date on the clock of the question. Nothing: pieces of days on two clocks, which this
/// calculation leaves open.
std::optional<bool> IsChosen(char level, const Period& period, int64_t from, int64_t to,
                             Clock clock);

/// The first moment of the date that holds a moment, and the first one behind it.
struct Date {
  int64_t begin = 0;
  int64_t end = 0;
  int year = 0, month = 0, day = 0;
};
Date DateOf(int64_t moment, Clock clock);

/// "2024-03-04T10:00:00+01:00", of UTC "2024-03-04T10:00:00Z".
std::string IsoText(int64_t moment, Clock clock);

}  // namespace figures

#endif  // TESTS_FIGURES_PERIODS_H_
