// OpenMetrics text: see the header.
#include "tests/support/tools/openmetrics_text.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <optional>
#include <set>
#include <stdexcept>

namespace {

struct Malformed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One line, eaten from the left.
class Line {
 public:
  explicit Line(std::string text) : text_(std::move(text)) {}

  bool Eat(const std::string& token) {
    if (text_.compare(at_, token.size(), token) != 0) return false;
    at_ += token.size();
    return true;
  }
  void Want(const std::string& token) {
    if (!Eat(token)) throw Malformed("'" + token + "' expected: " + text_);
  }
  // A name: letters, '_', (of metrics) ':', digits behind the first character.
  std::string Name(bool colons) {
    std::string name;
    for (; at_ < text_.size(); ++at_) {
      const char c = text_[at_];
      const bool digit = std::isdigit(static_cast<unsigned char>(c)) != 0;
      const bool letter = std::isalpha(static_cast<unsigned char>(c)) != 0;
      if (!(letter || c == '_' || (colons && c == ':') || (digit && !name.empty()))) break;
      name += c;
    }
    if (name.empty()) throw Malformed("name expected: " + text_);
    return name;
  }
  std::string Quoted() {
    Want("\"");
    std::string value;
    while (at_ < text_.size() && text_[at_] != '"') {
      if (text_[at_] == '\\') {
        ++at_;
        const char c = at_ < text_.size() ? text_[at_] : '\0';
        if (c != 'n' && c != '"' && c != '\\') throw Malformed("escape: " + text_);
        value += c == 'n' ? '\n' : c;
      } else {
        value += text_[at_];
      }
      ++at_;
    }
    Want("\"");
    return value;
  }
  template <class Number>
  Number Numeral() {
    Number number{};
    const auto [end, error] =
        std::from_chars(text_.data() + at_, text_.data() + text_.size(), number);
    if (error != std::errc()) throw Malformed("number expected: " + text_);
    at_ = static_cast<size_t>(end - text_.data());
    return number;
  }
  std::string Rest() {
    std::string rest = text_.substr(at_);
    at_ = text_.size();
    return rest;
  }
  void End() const {
    if (at_ != text_.size()) throw Malformed("end of line expected: " + text_);
  }

 private:
  std::string text_;
  size_t at_ = 0;
};

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

class Reader {
 public:
  explicit Reader(OpenMetricsText& result) : result_(result) {}

  void Take(const std::string& text) {
    if (ended_) throw Malformed("a line behind # EOF");
    Line line(text);
    if (line.Eat("# EOF")) {
      line.End();
      ended_ = true;
    } else if (line.Eat("# ")) {
      TakeHead(line);
    } else {
      TakeSample(line);
    }
  }
  void Finish() const {
    if (!ended_) throw Malformed("no # EOF");
  }

 private:
  void TakeHead(Line& line) {
    const std::string what = line.Eat("TYPE ")   ? "TYPE"
                             : line.Eat("UNIT ") ? "UNIT"
                             : line.Eat("HELP ") ? "HELP"
                                                 : "";
    if (what.empty()) throw Malformed("a comment that is none of the standard's");
    const std::string name = line.Name(true);
    line.Want(" ");
    if (name != family_) {
      if (!result_.families.emplace(name, OpenMetricsText::Family()).second) {
        throw Malformed(name + " is interleaved with others");
      }
      family_ = name;
      labels_.reset();
      seen_.clear();
    } else if (labels_) {
      throw Malformed("head of " + name + " behind its samples");
    }
    OpenMetricsText::Family& family = result_.families[name];
    std::string& place = what == "TYPE" ? family.type : what == "UNIT" ? family.unit : family.help;
    if (!place.empty()) throw Malformed("two lines " + what + " of " + name);
    place = line.Rest();
    if (what == "UNIT" && !EndsWith(name, "_" + place)) {
      throw Malformed("the name " + name + " does not end in its unit");
    }
    if (what == "TYPE" && place != "gauge") throw Malformed("type " + place);
  }

  void TakeSample(Line& line) {
    // A gauge's samples carry the name of the family as it is.
    if (line.Name(true) != family_) throw Malformed("a sample outside of its family");
    OpenMetricsText::Labels labels;
    if (line.Eat("{") && !line.Eat("}")) {
      do {
        const std::string name = line.Name(false);
        line.Want("=");
        if (!labels.emplace(name, line.Quoted()).second) throw Malformed("two labels " + name);
      } while (line.Eat(","));
      line.Want("}");
    }
    line.Want(" ");
    const auto value = line.Numeral<double>();
    line.Want(" ");
    const auto stamp = line.Numeral<uint32_t>();
    line.End();
    if (!labels_ || *labels_ != labels) {
      if (!seen_.insert(labels).second) throw Malformed("interleaved metrics in " + family_);
      labels_ = labels;
    } else if (stamp <= stamp_) {
      throw Malformed("stamps of " + family_ + " do not rise");
    }
    stamp_ = stamp;
    result_.samples[{family_, stamp, labels}] = value;
  }

  OpenMetricsText& result_;
  std::string family_;
  std::optional<OpenMetricsText::Labels> labels_;
  std::set<OpenMetricsText::Labels> seen_;
  uint32_t stamp_ = 0;
  bool ended_ = false;
};

// What rows of a metric and statistic are called, and what their values are multiplied with to be
// in seconds, bytes or ratios from 0 to 1.
struct Family {
  std::string name;
  double factor = 1;
  double divisor = 1;
};

const std::map<std::string, Family>& Families() {
  static const std::map<std::string, Family> families = {
      {"status last", {"psl_status"}},
      {"interval sum", {"psl_interval_seconds", 1, 1000}},
      {"valid state", {"psl_valid"}},
      {"compact state", {"psl_compact"}},
      {"busy mean", {"psl_busy_ratio", 100, 10000}},
      {"busy max", {"psl_max_busy_ratio", 100, 10000}},
      {"busy min", {"psl_min_busy_ratio", 100, 10000}},
      {"first_ratio mean", {"psl_cache_first_ratio", 100, 10000}},
      {"second_ratio mean", {"psl_cache_second_ratio", 100, 10000}},
      {"first_maximum max", {"psl_cache_first_maximum"}},
      {"second_maximum max", {"psl_cache_second_maximum"}},
      {"first_rate mean", {"psl_cache_first_rate"}},
      {"second_rate mean", {"psl_cache_second_rate"}},
      {"flags last", {"psl_cache_flags"}},
      {"second_flags last", {"psl_cache_second_flags"}},
      {"item_flag last", {"psl_item_flag"}},
      {"counted state", {"psl_counted"}},
      {"sticky state", {"psl_sticky"}},
      {"mark state", {"psl_mark"}},
      {"present state", {"psl_present"}},
      {"value mean", {"psl_cabinet_value"}},
      {"word last", {"psl_carried_word"}},
      {"ops sum", {"psl_operations"}},
      {"ops_rate mean", {"psl_operations_per_second"}},
      {"ops_rate max", {"psl_max_operations_per_second"}},
      {"ops_rate min", {"psl_min_operations_per_second"}},
      {"first mean", {"psl_operation_first_average"}},
      {"maximum max", {"psl_operation_maximum"}},
      {"second mean", {"psl_operation_second_average"}},
      {"second max", {"psl_max_operation_second_average"}},
      {"second min", {"psl_min_operation_second_average"}},
      {"volume_rate mean", {"psl_volume_bytes_per_second", 1024}},
      {"volume_rate max", {"psl_max_volume_bytes_per_second", 1024}},
      {"volume_rate min", {"psl_min_volume_bytes_per_second", 1024}},
  };
  return families;
}

}  // namespace

OpenMetricsText ReadOpenMetrics(const std::string& text) {
  OpenMetricsText result;
  Reader reader(result);
  try {
    size_t at = 0;
    while (at < text.size()) {
      const size_t end = text.find('\n', at);
      if (end == std::string::npos) throw Malformed("no line end behind the last line");
      reader.Take(text.substr(at, end - at));
      at = end + 1;
    }
    reader.Finish();
  } catch (const Malformed& malformed) {
    result.error = malformed.what();
  }
  return result;
}

void AddSample(const TidyRow& row, OpenMetricsText::Samples& samples) {
  OpenMetricsText::Labels labels = {
      {"array", row.array}, {"level", row.level}, {"kind", row.kind}, {"key", row.key}};
  std::string metric = row.metric;
  if (metric[0] == 'g' && metric[2] == '_') {
    labels["group"] = metric.substr(1, 1);
    metric = metric.substr(3);
  } else if (metric.substr(0, 8) == "word_at_") {
    labels["offset"] = metric.substr(8);
    metric = "word";
  }
  const Family& family = Families().at(metric + " " + row.statistic);
  // Percentages are hundredths: whole numbers in front of the division.
  const double scaled = row.value * family.factor;
  const double value = family.divisor == 1 ? scaled : std::round(scaled) / family.divisor;
  samples[{family.name, row.stamp, labels}] = value;
}
