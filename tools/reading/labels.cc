// Labels: see the header.
#include "tools/reading/labels.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

#include "engine/layout/layout.h"
#include "tools/output/characters.h"
#include "tools/output/report.h"
#include "tools/reading/file_summary.h"
#include "tools/reading/kind_names.h"
#include "tools/reading/text_lines.h"

namespace psltool {

namespace {

constexpr size_t kMostBytes = 64;  // of a name: tables are to stay readable
constexpr std::string_view kWaitTime = "wait-time";
constexpr std::string_view kAnyArray = "*";

const std::string kNoName;

// Takes the first word off a line.
std::string_view Word(std::string_view& line) {
  const size_t from = std::min(line.find_first_not_of(" \t"), line.size());
  const size_t to = std::min(line.find_first_of(" \t", from), line.size());
  const std::string_view word = line.substr(from, to - from);
  line.remove_prefix(to);
  return word;
}

std::string_view Trimmed(std::string_view text) {
  const size_t from = text.find_first_not_of(" \t\r");
  if (from == std::string_view::npos) return {};
  return text.substr(from, text.find_last_not_of(" \t\r") - from + 1);
}

std::optional<uint32_t> NumberOf(std::string_view text) {
  uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  // "021" would never be met: keys are printed without zeros in front.
  const bool plain = text == "0" || !text.starts_with('0');
  if (error != std::errc() || end != text.data() + text.size() || !plain) return std::nullopt;
  return number;
}

bool IsKind(std::string_view word) { return word == kWaitTime || KindOf(word).has_value(); }

// Most counter groups that entries of a kind have in any revision.
size_t GroupsOf(std::string_view word) {
  if (word == kWaitTime) return 1;
  size_t most = 0;
  for (const SectionRow& row : kSectionRows) {
    if (row.kind != KindOf(word)) continue;
    const Form& form = kForms[row.form];
    const auto more = std::count_if(form.more_quadsets.begin(), form.more_quadsets.end(),
                                    [](uint8_t at) { return at != 0; });
    most = std::max(most, form.quadsets + static_cast<size_t>(more));
  }
  return most;
}

// The largest value of each part that a key of the kind can have. Parts behind the first `least`
// can be missing.
struct KeyShape {
  std::vector<uint32_t> most;
  size_t least;
};

KeyShape ShapeOf(std::string_view word) {
  constexpr uint32_t kByte = 0xFF;
  constexpr uint32_t kWord = 0xFFFF;
  if (word == kWaitTime || word == NameOf(kConc).word) return {{kWord}, 1};
  if (word == NameOf(kCab).word) return {{kByte, kWord}, 2};
  for (const SectionRow& row : kSectionRows) {
    if (row.kind != KindOf(word)) continue;
    const KeyBytes& key = kForms[row.form].key;
    if (key.number) return {{kWord}, 1};
    // Not every array uses the second byte of cache segments.
    return {std::vector<uint32_t>(key.count, kByte), row.kind == kCheseg ? size_t{1} : key.count};
  }
  return {std::vector<uint32_t>(4, kByte), 4};  // copy pairs
}

bool IsKey(std::string_view kind, std::string_view text) {
  const KeyShape shape = ShapeOf(kind);
  size_t parts = 0;
  while (true) {
    const size_t point = text.find('.');
    const auto number = NumberOf(text.substr(0, point));
    if (!number || parts == shape.most.size() || *number > shape.most[parts]) return false;
    ++parts;
    if (point == std::string_view::npos) return parts >= shape.least;
    text.remove_prefix(point + 1);
  }
}

std::string TroubleOfName(std::string_view name) {
  if (name.empty()) return "the name is missing";
  if (name.size() > kMostBytes) return fmt::format("the name has more than {} bytes", kMostBytes);
  for (size_t at = 0; at < name.size();) {
    const size_t size = CharacterAt(name, at);
    const auto byte = static_cast<uint8_t>(name[at]);
    // U+0080 to U+009F command terminals as the bytes below the blank do.
    const bool late = byte == 0xC2 && at + 1 < name.size() && IsInsideCharacter(name[at + 1]);
    if (size == 0) {
      return byte < 0x20 || byte == 0x7F || late ? "the name holds a control character"
                                                 : "the name is no UTF-8";
    }
    at += size;
  }
  return "";
}

}  // namespace

bool Labels::Read(const std::string& path) {
  return path.empty() || EachLine(path, [this](const std::string& line, size_t number) {
           return Take(line, number);
         });
}

std::string Labels::Take(std::string_view line, size_t number) {
  line = Trimmed(line);
  if (line.empty() || line.starts_with('#')) return "";
  const std::string_view word = Word(line);
  if (word == "group") return TakeGroup(line, number);
  if (word == "resource") return TakeResource(line, number);
  if (word == "unit") return TakeUnit(line);
  return "the line begins with neither \"group\", \"resource\" nor \"unit\"";
}

std::string Labels::TakeUnit(std::string_view rest) {
  const std::string_view what = Word(rest);
  const std::string_view unit = Trimmed(rest);
  if (what != "first")
    return fmt::format("the unit of \"{}\" cannot be told, that of first can", what);
  if (unit != "us" && unit != "ms" && unit != "s") {
    return fmt::format("\"{}\" is none of the units us, ms and s", unit);
  }
  if (!unit_of_first_.empty()) return "the unit of first is told twice";
  unit_of_first_ = unit;
  return "";
}

std::string Labels::TakeGroup(std::string_view rest, size_t number) {
  const std::string kind(Word(rest));
  const std::string group(Word(rest));
  if (!IsKind(kind)) return fmt::format("\"{}\" is no kind of resources", kind);
  const size_t groups = GroupsOf(kind);
  if (groups == 0) return fmt::format("{} has no counter groups", kind);
  const auto which = NumberOf(group);
  if (!which || *which == 0 || *which > groups) {
    return fmt::format("\"{}\" is no counter group of {}, which has {}", group, kind, groups);
  }
  const std::string_view name = Trimmed(rest);
  if (std::string trouble = TroubleOfName(name); !trouble.empty()) return trouble;
  const auto [other, is_new] =
      groups_.try_emplace({kind, *which}, Label{std::string(name), number});
  return is_new ? "" : fmt::format("the group is named in line {} already", other->second.line);
}

std::string Labels::TakeResource(std::string_view rest, size_t number) {
  const std::string array(Word(rest));
  const std::string kind(Word(rest));
  const std::string key(Word(rest));
  if (!IsKind(kind)) return fmt::format("\"{}\" is no kind of resources", kind);
  if (!IsKey(kind, key)) return fmt::format("\"{}\" is no key of {}", key, kind);
  const std::string_view name = Trimmed(rest);
  if (std::string trouble = TroubleOfName(name); !trouble.empty()) return trouble;
  const auto [other, is_new] =
      resources_.try_emplace({kind, key, array}, Label{std::string(name), number});
  return is_new ? "" : fmt::format("the resource is named in line {} already", other->second.line);
}

const std::string& Labels::OfGroup(std::string_view kind, size_t group) const {
  const auto found = groups_.find({std::string(kind), group});
  return found == groups_.end() ? kNoName : found->second.name;
}

const std::string& Labels::OfResource(std::string_view array, std::string_view kind,
                                      std::string_view key) const {
  for (const std::string_view each : {array, kAnyArray}) {
    const auto found = resources_.find({std::string(kind), std::string(key), std::string(each)});
    if (found != resources_.end()) return found->second.name;
  }
  return kind == kWaitTime ? OfResource(array, NameOf(kLd).word, key) : kNoName;
}

std::string Labels::BehindGroup(std::string_view kind, size_t group) const {
  const std::string& name = OfGroup(kind, group);
  return name.empty() ? "" : fmt::format(" ({})", name);
}

std::string Labels::BehindResource(std::string_view array, std::string_view kind,
                                   std::string_view key) const {
  const std::string& name = OfResource(array, kind, key);
  return name.empty() ? "" : fmt::format(" ({})", name);
}

bool Labels::NameResourcesOf(std::string_view kind) const {
  const auto first = resources_.lower_bound({std::string(kind), "", ""});
  if (first != resources_.end() && std::get<0>(first->first) == kind) return true;
  return kind == kWaitTime && NameResourcesOf(NameOf(kLd).word);
}

bool Labels::NameGroup(size_t group) const {
  return std::any_of(groups_.begin(), groups_.end(),
                     [group](const auto& each) { return each.first.second == group; });
}

void FileLabels::Open(char level) { array_ = PartsOfName(path_, level).array; }

std::string ArrayOfArchive(const std::string& path) {
  const std::string of_day = PartsOfName(path, 'H').array;
  return of_day.empty() ? PartsOfName(path, 'D').array : of_day;
}

}  // namespace psltool
