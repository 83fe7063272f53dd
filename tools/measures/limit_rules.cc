// Rules: see the header. A line is taken apart word by word, from left to right.
#include "tools/measures/limit_rules.h"

#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "tools/output/report.h"
#include "tools/reading/kind_names.h"
#include "tools/reading/text_lines.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

constexpr std::array<const char*, 5> kStatistics = {"mean", "max", "min", "median", "p95"};
constexpr std::array<const char*, 4> kComparisons = {">", ">=", "<", "<="};
constexpr std::array<std::string_view, 7> kDays = {"mon", "tue", "wed", "thu", "fri", "sat", "sun"};

struct UnitRow {
  std::string_view word;
  std::string_view unit;  // of the measure
  double factor;
};
constexpr UnitRow kUnits[] = {
    {"%", "%", 1},         {"ops/s", "ops/s", 1},    {"/s", "ops/s", 1},
    {"KiB/s", "KiB/s", 1}, {"MiB/s", "KiB/s", 1024}, {"GiB/s", "KiB/s", 1024.0 * 1024}};

struct LengthRow {
  std::array<std::string_view, 4> words;
  uint32_t seconds;
};
constexpr LengthRow kLengths[] = {{{"min", "minute", "minutes", "min"}, 60},
                                  {{"h", "hour", "hours", "h"}, 3600},
                                  {{"d", "day", "days", "d"}, 86400}};

constexpr size_t kMostBytes = 1000;  // of a line

std::vector<std::string> WordsOf(std::string_view line) {
  std::vector<std::string> words;
  size_t at = 0;
  while ((at = line.find_first_not_of(" \t\r", at)) != std::string_view::npos) {
    const size_t end = std::min(line.find_first_of(" \t\r", at), line.size());
    words.emplace_back(line.substr(at, end - at));
    at = end;
  }
  return words;
}

std::vector<std::string> Parts(const std::string& text, char between) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == between) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

std::optional<double> Number(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  return whole && std::isfinite(number) && number >= 0 ? std::optional(number) : std::nullopt;
}

class RuleReader {
 public:
  RuleReader(std::string_view line, const Labels& labels) : words_(WordsOf(line)), labels_(labels) {
    for (const std::string& word : words_) rule_.text += (rule_.text.empty() ? "" : " ") + word;
  }

  ReadRule Read() {
    const bool read = TakeKinds() && TakeChoices() && TakeMeasure() && TakeLimit() &&
                      (std::isfinite(rule_.limit) || Wrong("the limit is too large")) && TakeRest();
    if (read) return {std::move(rule_), ""};
    return {std::nullopt, std::move(why_)};
  }

 private:
  bool Wrong(std::string why) {
    why_ = std::move(why);
    return false;
  }
  bool Ended() const { return at_ == words_.size(); }
  // "" behind the last one.
  const std::string& Word() const {
    static const std::string kNone;
    return Ended() ? kNone : words_[at_];
  }
  bool Take(std::string_view word) {
    if (Word() != word) return false;
    ++at_;
    return true;
  }

  bool TakeKinds() {
    for (const std::string& word : Parts(words_[at_++], ',')) {
      const auto kind = KindOfWord(word);
      if (!kind) return Wrong(fmt::format("\"{}\" is no kind of resources", word));
      rule_.kinds.push_back(*kind);
    }
    return true;
  }

  bool TakeChoices() {
    while (Word() == "key" || Word() == "array" || Word() == "group") {
      const std::string what = words_[at_++];
      if (Ended()) return Wrong(fmt::format("nothing stands behind \"{}\"", what));
      const std::string value = words_[at_++];
      if (what == "key") rule_.key = value;
      if (what == "array") rule_.array = value;
      if (what != "group") continue;
      unsigned most = 0;
      for (const Kind kind : rule_.kinds) most = std::max(most, GroupsOfKind(kind));
      const auto group = Number(value);
      if (!group || *group < 1 || *group > most || *group != std::floor(*group)) {
        return Wrong(
            fmt::format("\"{}\" is no counter group of {}, which has {}", value, words_[0], most));
      }
      rule_.group = static_cast<unsigned>(*group);
    }
    return true;
  }

  bool TakeMeasure() {
    rule_.measure = MeasureOf(Word());
    if (rule_.measure == nullptr) {
      return Wrong(fmt::format("\"{}\" is no measure; these are: {}", Word(),
                               fmt::join(MeasureNames(), ", ")));
    }
    for (const Kind kind : rule_.kinds) {
      if (HasMeasure(kind, *rule_.measure)) continue;
      return Wrong(fmt::format("{} has no {}", WordOfKind(kind), Word()));
    }
    if (rule_.group != 0 && !rule_.measure->grouped) {
      return Wrong(fmt::format("{} is no measure of a counter group", Word()));
    }
    ++at_;
    // As people say it: "busy % max", "mean time".
    static_cast<void>((rule_.measure->unit == "%" && Take("%")) ||
                      (rule_.measure->metric == "first" && Take("time")));
    const auto* const found = std::find(kStatistics.begin(), kStatistics.end(), Word());
    if (found == kStatistics.end()) return true;
    rule_.statistic = static_cast<LimitStatistic>(found - kStatistics.begin());
    ++at_;
    return true;
  }

  bool TakeLimit() {
    const auto* const found = std::find(kComparisons.begin(), kComparisons.end(), Word());
    if (found == kComparisons.end()) {
      return Wrong(Ended() ? "the limit is missing, as in \"> 80\""
                           : fmt::format("\"{}\" stands where >, >=, < or <= must", Word()));
    }
    rule_.comparing = static_cast<Comparing>(found - kComparisons.begin());
    ++at_;
    // "80%" is "80 %".
    const std::string word = Word();
    const size_t digits = std::min(word.find_first_not_of("0123456789.eE+-"), word.size());
    const auto number = Number(std::string_view(word).substr(0, digits));
    if (!number) return Wrong(fmt::format("\"{}\" is no number of 0 or more", word));
    rule_.limit = *number;
    ++at_;
    if (digits < word.size()) return TakeUnit(word.substr(digits));
    if (Ended() || Word() == "for" || Word() == "on" || Word() == "between") return true;
    return TakeUnit(words_[at_++]);
  }

  bool TakeUnit(const std::string& word) {
    for (const UnitRow& row : kUnits) {
      if (row.word != word || row.unit != rule_.measure->unit) continue;
      rule_.limit *= row.factor;
      return true;
    }
    if (const auto asked = MicrosecondsOf(word)) {
      const bool time = IsTime(*rule_.measure);
      const auto own = MicrosecondsOf(labels_.unit_of_first());
      if (time && own) {
        rule_.limit *= *asked / *own;
        return true;
      }
      if (time) {
        return Wrong(
            fmt::format("files do not tell the unit of {}: a line \"unit first us\" (or "
                        "ms, s) in the file of --labels does; without it a limit has no "
                        "unit",
                        rule_.measure->name));
      }
    }
    return Wrong(fmt::format("\"{}\" is no unit of {}{}", word, rule_.measure->name,
                             rule_.measure->unit.empty()
                                 ? ", which has that of the file"
                                 : fmt::format(", which has {}", rule_.measure->unit)));
  }

  bool TakeRest() {
    while (!Ended()) {
      const std::string what = words_[at_++];
      const bool taken = what == "for"       ? TakeLength()
                         : what == "on"      ? TakeDays()
                         : what == "between" ? TakeHours()
                                             : Wrong(fmt::format("\"{}\" is not understood", what));
      if (!taken) return false;
    }
    return true;
  }

  bool TakeLength() {
    if (!rule_.OfIntervals()) {
      return Wrong(fmt::format("{} is one of the whole span, which lasts as long as it does",
                               WordOf(rule_.statistic)));
    }
    const auto number = Number(Word());
    if (!number) return Wrong(fmt::format("\"{}\" is no length of time", Word()));
    ++at_;
    for (const LengthRow& row : kLengths) {
      if (std::find(row.words.begin(), row.words.end(), Word()) == row.words.end()) continue;
      const double seconds = *number * row.seconds;
      constexpr double kMost = 366.0 * 86400;
      if (seconds > kMost) return Wrong("more than a year is no length of time to wait for");
      rule_.seconds = static_cast<uint32_t>(seconds);
      ++at_;
      return true;
    }
    return Wrong(fmt::format("\"{}\" is no unit of time: minutes, hours or days", Word()));
  }

  static std::optional<size_t> Day(const std::string& word) {
    const auto* const found = std::find(kDays.begin(), kDays.end(), word);
    if (found == kDays.end()) return std::nullopt;
    return static_cast<size_t>(found - kDays.begin());
  }

  bool TakeDays() {
    rule_.days = 0;
    for (const std::string& part : Parts(Word(), ',')) {
      const std::vector<std::string> ends = Parts(part, '-');
      const auto first = Day(ends.front());
      const auto last = Day(ends.back());
      if (!first || !last || ends.size() > 2) {
        return Wrong(fmt::format("\"{}\" is no day like mon, or days like mon-fri,sun", part));
      }
      for (size_t i = *first;; i = (i + 1) % kDays.size()) {
        rule_.days |= static_cast<uint8_t>(1U << i);
        if (i == *last) break;
      }
    }
    ++at_;
    return true;
  }

  bool Clock(int64_t& seconds) {
    const std::vector<std::string> parts = Parts(Word(), ':');
    const auto hour = Number(parts.front());
    const auto minute = Number(parts.back());
    const bool two = parts.size() == 2 && parts[0].size() == 2 && parts[1].size() == 2 &&
                     Word().find_first_not_of("0123456789:") == std::string::npos;
    if (!two || !hour || !minute || *minute > 59 || *hour * 60 + *minute > 24 * 60) {
      return Wrong(fmt::format("\"{}\" is no time of day like 08:00", Word()));
    }
    seconds = static_cast<int64_t>(*hour * 60 + *minute) * 60;
    ++at_;
    return true;
  }

  bool TakeHours() {
    if (!Clock(rule_.from)) return false;
    if (!Take("and")) return Wrong("\"between\" needs two times of day with \"and\" between them");
    if (!Clock(rule_.to)) return false;
    return rule_.from != rule_.to || Wrong("the hours begin when they end");
  }

  static std::optional<double> MicrosecondsOf(std::string_view word) {
    if (word == "us") return 1.0;
    if (word == "ms") return 1e3;
    return word == "s" ? std::optional(1e6) : std::nullopt;
  }

  std::vector<std::string> words_;
  const Labels& labels_;
  size_t at_ = 0;
  LimitRule rule_;
  std::string why_;
};

bool Matches(const std::string& pattern, const std::string& text) {
  return pattern.empty() || fnmatch(pattern.c_str(), text.c_str(), FNM_NOESCAPE) == 0;
}

}  // namespace

const char* WordOf(LimitStatistic statistic) { return kStatistics[static_cast<size_t>(statistic)]; }
const char* WordOf(Comparing comparing) { return kComparisons[static_cast<size_t>(comparing)]; }

bool LimitRule::IsBroken(double value) const {
  switch (comparing) {
    case Comparing::kAbove:
      return value > limit;
    case Comparing::kAtLeast:
      return value >= limit;
    case Comparing::kBelow:
      return value < limit;
    case Comparing::kAtMost:
      break;
  }
  return value <= limit;
}

bool LimitRule::HasKind(Kind kind) const {
  return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

bool LimitRule::HasKey(const std::string& its) const { return Matches(key, its); }
bool LimitRule::HasArray(const std::string& its) const { return Matches(array, its); }

bool LimitRule::Covers(const RecordPeriod& period, Zone zone) const {
  const Civil begin = CivilAt(period.begin, zone);
  if ((days >> WeekdayOf(begin) & 1) == 0) return false;
  if (from == to) return true;
  // Hours that pass midnight are those of two days.
  const Civil midnight = CivilOf(DateOf(begin));
  const int64_t length = int64_t{period.end} - period.begin;
  const int64_t clock = begin - midnight;
  const int64_t end = to > from ? to : to + kSecondsOfDay;
  for (const int64_t at : {clock, clock + kSecondsOfDay}) {
    if (at >= from && at + length <= end) return true;
  }
  return false;
}

ReadRule ReadLimitRule(std::string_view line, const Labels& labels) {
  const size_t first = line.find_first_not_of(" \t\r");
  if (first == std::string_view::npos || line[first] == '#') return {};
  if (line.size() > kMostBytes) {
    return {std::nullopt, fmt::format("the line has more than {} bytes", kMostBytes)};
  }
  for (const char c : line) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte < 0x20 && c != '\t' && c != '\r') || byte > 0x7E) {
      return {std::nullopt, "the line holds a character that rules do not have"};
    }
  }
  return RuleReader(line, labels).Read();
}

bool ReadLimitRules(const std::string& path, const Labels& labels, std::vector<LimitRule>& rules) {
  const auto take = [&](const std::string& line, size_t number) {
    ReadRule read = ReadLimitRule(line, labels);
    if (read.rule) {
      read.rule->line = number;
      rules.push_back(std::move(*read.rule));
    }
    return read.why;
  };
  return EachLine(path, take) && (!rules.empty() || Fail(path, "holds no rule"));
}

}  // namespace psltool
