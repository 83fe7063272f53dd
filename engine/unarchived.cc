// Days and months without their archive: see the header.
#include "engine/unarchived.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "engine/names.h"

namespace {

std::set<std::pair<std::string, std::string>> periods;  // array, date digits
std::set<std::string> single_names;

// The digits of the date that a name begins with.
std::string DigitsOf(const char* name, size_t count) {
  return std::string(BaseName(name).substr(0, count));
}

}  // namespace

void NoteUnarchived(const char* name, char level) {
  const std::optional<std::string_view> array = ArrayOf(name);
  if (array) {
    periods.emplace(*array, DigitsOf(name, level == 'D' ? kMonthDigits : kDayDigits));
  } else {
    single_names.emplace(BaseName(name));
  }
}

bool IsUnarchived(const char* name) {
  const std::optional<std::string_view> array = ArrayOf(name);
  if (!array) return single_names.contains(std::string(BaseName(name)));
  const std::string of_array(*array);
  return periods.contains({of_array, DigitsOf(name, kMonthDigits)}) ||
         periods.contains({of_array, DigitsOf(name, kDayDigits)});
}

void ForgetUnarchived() {
  periods.clear();
  single_names.clear();
}
