// File names: see the header.
#include "engine/names.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr std::string_view kFirstSequence = "#001";
constexpr std::string_view kSecondSequence = "#002";
constexpr int kFirstYear = 1900;
constexpr size_t kSequenceSize = 4;  // of "#" and the digits, at least

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Position of the last "." of a base name, or its end.
size_t ExtensionAt(std::string_view base) { return std::min(base.rfind('.'), base.size()); }

std::string_view From(std::string_view text, size_t at) {
  return text.substr(std::min(at, text.size()));
}

std::string SequenceText(int number) {
  char text[16];
  return {text, static_cast<size_t>(std::snprintf(text, sizeof text, "#%03d", number))};
}

// The date bytes of a header may be any: a month of three digits makes a longer name.
std::string DigitsOf(const FileDate& date, bool with_day) {
  char digits[64];
  int size =
      std::snprintf(digits, sizeof digits, "%04d%02d", date.year + kFirstYear, date.month + 1);
  if (with_day) size += std::snprintf(digits + size, 16, "%02d", date.day);
  return {digits, static_cast<size_t>(size)};
}

}  // namespace

std::string_view BaseName(std::string_view path) {
  // Without a "/" the position is the largest there is, and one more is 0.
  return path.substr(path.rfind('/') + 1);
}

std::string_view DirectoryPart(std::string_view path) {
  return path.substr(0, path.size() - BaseName(path).size());
}

bool IsTemporaryName(std::string_view name) {
  return ArchiveOfTemporary(name).size() < name.size();
}

std::string_view ArchiveOfTemporary(std::string_view name) {
  constexpr std::string_view kTemporary = ".psa_tmp";
  const size_t at = name.rfind(kTemporary);
  return at == std::string_view::npos ? name : name.substr(0, at + kArchiveExtension.size());
}

bool LiesInArchive(std::string_view name) {
  return name.find(kLogExtension) == std::string_view::npos;
}

bool BeginsWithDigits(std::string_view name, size_t count) {
  return name.size() >= count &&
         std::all_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(count), IsDigit);
}

std::string DateOfDigits(std::string_view name, size_t count) {
  std::string date(name.substr(0, 4));
  date.append("-").append(name.substr(4, 2));
  if (count == kDayDigits) date.append("-").append(name.substr(6, 2));
  return date;
}

std::string FirstDayOf(std::string_view name) {
  return std::string(name.substr(0, kMonthDigits)).append("01");
}

std::string_view StemInOrder(std::string_view path) {
  const std::string_view base = BaseName(path);
  const size_t hash = base.rfind('#');
  return base.substr(0, hash != std::string_view::npos ? hash : ExtensionAt(base));
}

std::string_view SortedArrayOf(std::string_view path) {
  return From(StemInOrder(path), kDayDigits);
}

std::string_view SequenceOf(std::string_view path) {
  const std::string_view base = BaseName(path);
  const size_t hash = base.rfind('#');
  if (hash == std::string_view::npos) return kFirstSequence;
  return From(base.substr(0, ExtensionAt(base)), hash);
}

std::array<std::string_view, 3> OrderParts(std::string_view path) {
  return {SortedArrayOf(path), BaseName(path).substr(0, kDayDigits), SequenceOf(path)};
}

std::string OrderKeyOf(std::string_view path) {
  std::string key;
  for (const std::string_view part : OrderParts(path)) key.append(part);
  return key;
}

std::string_view DayPathOf(std::string_view path) {
  return path.substr(0, DirectoryPart(path).size() + StemInOrder(path).size());
}

bool OfSameDay(std::string_view left, std::string_view right) {
  return DayPathOf(left) == DayPathOf(right);
}

std::string DayKeyOf(std::string_view path) {
  const std::string_view base = BaseName(path);
  const size_t hash = base.find('#');
  return std::string(base.substr(0, hash != std::string_view::npos ? hash : base.find('.')));
}

std::string MonthKeyOf(std::string_view path) { return MonthKeyOfDay(DayKeyOf(path)); }

std::string MonthKeyOfDay(const std::string& day_key) {
  if (day_key.size() < kDayDigits) return day_key;
  return day_key.substr(0, kMonthDigits) + day_key.substr(kDayDigits);
}

std::string ArchiveOfLog(std::string_view log) {
  log.remove_suffix(kLogExtension.size());
  return std::string(log.substr(0, log.find('#'))).append(kArchiveExtension);
}

std::string LogName(const FileDate& date, std::string_view array, unsigned sequence) {
  std::string name = DigitsOf(date, true).append(array);
  if (sequence != 0) name.append(SequenceText(static_cast<int>(sequence)));
  return name.append(kLogExtension);
}

std::string_view StemOf(std::string_view path) {
  const std::string_view base = BaseName(path);
  return base.substr(0, base.find_first_of("#."));
}

std::optional<std::string_view> ArrayOf(std::string_view path) {
  const std::string_view stem = StemOf(path);
  const bool has_extension = BaseName(path).find('.') != std::string_view::npos;
  if (!has_extension || stem.size() < kDayDigits) return std::nullopt;
  return stem.substr(kDayDigits);
}

bool OfSameMonth(std::string_view left, std::string_view right) {
  const std::optional<std::string_view> array = ArrayOf(left);
  return array && array == ArrayOf(right) &&
         BaseName(left).substr(0, kMonthDigits) == BaseName(right).substr(0, kMonthDigits);
}

std::string ArchiveName(char level, const FileDate& date, std::string_view array) {
  return DigitsOf(date, level == 'H').append(array).append(kArchiveExtension);
}

std::string SequelName(std::string path) {
  const size_t base = DirectoryPart(path).size();
  const size_t hash = path.rfind('#');
  if (hash == std::string::npos || hash < base) {
    return path.insert(base + ExtensionAt(BaseName(path)), kSecondSequence);
  }
  const std::string next = SequenceText(std::atoi(path.substr(hash + 1, 5).c_str()) + 1);
  path.resize(hash);
  return path.append(next).append(kArchiveExtension);
}

bool IsSequelName(std::string_view name) {
  return IsArchiveName(name) && BaseName(name).find('#') != std::string_view::npos;
}

bool IsArchiveOf(std::string_view stem, std::string_view name) {
  if (!name.starts_with(stem) || !IsArchiveName(name)) return false;
  name.remove_prefix(stem.size());
  if (name.size() < kArchiveExtension.size()) return false;
  const std::string_view sequence = name.substr(0, name.size() - kArchiveExtension.size());
  if (sequence.empty()) return true;
  return sequence.size() >= kSequenceSize && sequence[0] == '#' &&
         std::all_of(sequence.begin() + 1, sequence.end(), IsDigit);
}

std::string TemporaryOf(std::string_view name) { return std::string(name).append(kTemporaryEnd); }

std::string FinalOf(std::string_view temporary) {
  return std::string(temporary.substr(0, temporary.rfind('_')));
}
