// Names of inputs: see the header.
#include "tools/audit/recompute_inputs.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <ctime>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"

namespace psltool {

namespace {

constexpr size_t kDateDigits = 8;
constexpr size_t kMonthDigits = 6;
constexpr int kFirstYear = 1900;

// The name up to its "#", or up to its last "." without one.
std::string_view DayPart(std::string_view name) {
  const size_t hash = name.rfind('#');
  return name.substr(0, hash != std::string_view::npos ? hash : name.rfind('.'));
}

}  // namespace

std::string_view BaseNameOf(std::string_view path) {
  const size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::optional<InputName> NameOfInput(const std::string& path) {
  const std::string_view base = BaseNameOf(path);
  const size_t dot = base.find('.');
  if (dot == std::string_view::npos) return std::nullopt;
  const std::string_view stem = base.substr(0, dot);
  const size_t hash = stem.find('#');
  const std::string_view day = stem.substr(0, hash);
  if (day.size() < kDateDigits) return std::nullopt;
  InputName name;
  name.date = day.substr(0, kDateDigits);
  name.array = day.substr(kDateDigits);
  name.sequence = hash == std::string_view::npos ? "#001" : std::string(stem.substr(hash));
  return name;
}

std::string_view ArrayInOrder(const std::string& path) {
  const std::string_view day = DayPart(BaseNameOf(path));
  return day.substr(std::min(day.size(), kDateDigits));
}

std::string SortKeyOf(const std::string& path) {
  const std::string_view base = BaseNameOf(path);
  const std::string_view day = DayPart(base);
  const std::string_view stem = base.substr(0, base.rfind('.'));
  // Of a name that is too short, too, as the archiver takes them.
  const std::string_view date = base.substr(0, kDateDigits);
  const std::string_view array = ArrayInOrder(path);
  const std::string_view sequence =
      stem.size() > day.size() ? stem.substr(day.size()) : std::string_view("#001");
  return fmt::format("{}{}{}", array, date, sequence);
}

void SortInputs(std::vector<std::string>& paths) {
  std::stable_sort(paths.begin(), paths.end(), [](const std::string& a, const std::string& b) {
    return SortKeyOf(a) < SortKeyOf(b);
  });
}

bool SameDayNames(const std::string& left, const std::string& right) {
  return DayPart(BaseNameOf(left)) == DayPart(BaseNameOf(right));
}

unsigned SequelOf(const std::string& path) {
  const std::string_view base = BaseNameOf(path);
  const size_t hash = base.rfind('#');
  unsigned number = 1;
  if (hash != std::string_view::npos) {
    std::from_chars(base.data() + hash + 1, base.data() + base.size(), number);
  }
  return number;
}

std::vector<std::string> ArchiveStems(const std::string& input, const PslHeader& header,
                                      std::span<const uint8_t> header_record, char level,
                                      bool by_date_bytes) {
  const std::optional<InputName> name = NameOfInput(input);
  if (!name) return {};
  const auto stamp = static_cast<time_t>(Load32(header_record.data() + kAtTime));
  tm parts{};
  localtime_r(&stamp, &parts);
  std::vector<std::string> dates = {
      fmt::format("{:04}{:02}{:02}", parts.tm_year + kFirstYear, parts.tm_mon + 1, parts.tm_mday)};
  if (LayoutOf(header.revision).row.keeps_header) {
    dates.insert(by_date_bytes ? dates.begin() : dates.end(),
                 fmt::format("{:04}{:02}{:02}", header_record[kAtYear] + kFirstYear,
                             header_record[kAtMonth] + 1, header_record[kAtDay]));
  }
  dates.push_back(name->date);
  std::vector<std::string> stems;
  for (const std::string& date : dates) {
    const std::string stem =
        date.substr(0, level == 'D' ? kMonthDigits : kDateDigits) + name->array;
    if (std::find(stems.begin(), stems.end(), stem) == stems.end()) stems.push_back(stem);
  }
  return stems;
}

}  // namespace psltool
