// Days and months without their archive: see the header.
#include "engine/unarchived.h"

#include <cstring>
#include <set>
#include <string>
#include <utility>

#include "engine/outname.h"

namespace {

constexpr size_t kMonthDigits = 6;
constexpr size_t kDayDigits = 8;

std::set<std::pair<std::string, std::string>> periods;  // array, date digits
std::set<std::string> single_names;

const char* BaseOf(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash != nullptr ? slash + 1 : path;
}

// False: the name tells no array.
bool ArrayOf(const char* name, std::string* array) {
  char text[256];
  if (!ArrayNameOf(name, text, sizeof text)) return false;
  *array = text;
  return true;
}

}  // namespace

void NoteUnarchived(const char* name, char level) {
  std::string array;
  if (!ArrayOf(name, &array)) {
    single_names.insert(BaseOf(name));
    return;
  }
  periods.emplace(array, std::string(BaseOf(name), level == 'D' ? kMonthDigits : kDayDigits));
}

bool IsUnarchived(const char* name) {
  std::string array;
  if (!ArrayOf(name, &array)) return single_names.contains(BaseOf(name));
  const char* base = BaseOf(name);
  return periods.contains({array, std::string(base, kMonthDigits)}) ||
         periods.contains({array, std::string(base, kDayDigits)});
}

void ForgetUnarchived() {
  periods.clear();
  single_names.clear();
}
