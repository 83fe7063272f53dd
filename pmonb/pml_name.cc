// The shape of a PML file name.
#include <cstring>
#include <string_view>

#include "pmonb/pml_calls.h"

namespace {

constexpr size_t kMinLength = 21;
constexpr size_t kMaxLength = 52;
constexpr size_t kDateDigits = 8;
constexpr size_t kNumberDigits = 3;
constexpr size_t kLongestEnd = 12;  // "#001_001.pml"
static_assert(kMaxLength == kDateDigits + kLongestPmlArray + kLongestEnd);

bool StartsWithDigits(std::string_view text, size_t count) {
  if (text.size() < count) return false;
  return text.substr(0, count).find_first_not_of("0123456789") == std::string_view::npos;
}

// Whether a mark found at `position` (npos: none) leaves room for exactly one number before it.
bool AbsentOrBehindNumber(size_t position) {
  return position == std::string_view::npos || position == kNumberDigits;
}

bool HasPmlShape(std::string_view name) {
  if (name.size() < kMinLength || name.size() > kMaxLength) return false;
  if (!StartsWithDigits(name, kDateDigits)) return false;
  const std::string_view array = name.substr(kDateDigits);
  const size_t hash = array.find('#');
  if (hash == std::string_view::npos || hash == 0) return false;
  const std::string_view first = array.substr(hash + 1);
  const size_t underscore = first.find('_');
  if (underscore != kNumberDigits || !StartsWithDigits(first, kNumberDigits)) return false;
  const std::string_view second = first.substr(underscore + 1);
  return AbsentOrBehindNumber(second.rfind('.')) && StartsWithDigits(second, kNumberDigits);
}

}  // namespace

PmlShape JudgePmlName(std::string_view name) {
  if (HasPmlShape(name)) return PmlShape::kRight;
  if (!StartsWithDigits(name, kDateDigits)) return PmlShape::kNoDate;
  const size_t hash = name.rfind('#');
  if (hash == std::string_view::npos || hash <= kDateDigits) return PmlShape::kNoArray;
  const std::string_view array = name.substr(kDateDigits, hash - kDateDigits);
  if (array.find('#') != std::string_view::npos) return PmlShape::kHashInArray;
  return array.size() > kLongestPmlArray ? PmlShape::kLongArray : PmlShape::kOtherEnd;
}

int check_pml_filename(const char* name) {
  if (name == nullptr) return -2;
  return JudgePmlName(name) == PmlShape::kRight ? 0 : -1;
}
