// Days and months without their archive: see the header.
#include "engine/unarchived.h"

#include <optional>
#include <string_view>

#include "engine/names.h"

UnarchivedPeriods unarchived;

namespace {

// The digits of the date that a name begins with.
std::string DigitsOf(const char* name, size_t count) {
  return std::string(BaseName(name).substr(0, count));
}

}  // namespace

void UnarchivedPeriods::Note(const char* name, char level) {
  const std::optional<std::string_view> array = ArrayOf(name);
  if (array) {
    periods_.emplace(*array, DigitsOf(name, level == 'D' ? kMonthDigits : kDayDigits));
  } else {
    single_names_.emplace(BaseName(name));
  }
}

bool UnarchivedPeriods::Hold(const char* name) const {
  const std::optional<std::string_view> array = ArrayOf(name);
  if (!array) return single_names_.contains(std::string(BaseName(name)));
  const std::string of_array(*array);
  return periods_.contains({of_array, DigitsOf(name, kMonthDigits)}) ||
         periods_.contains({of_array, DigitsOf(name, kDayDigits)});
}
