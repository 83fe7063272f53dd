// OpenMetrics text: see the header.
#include "tests/support/tools/openmetrics_text.h"

#include <cctype>
#include <charconv>
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
    result_.samples[{family_, labels, stamp}] = value;
  }

  OpenMetricsText& result_;
  std::string family_;
  std::optional<OpenMetricsText::Labels> labels_;
  std::set<OpenMetricsText::Labels> seen_;
  uint32_t stamp_ = 0;
  bool ended_ = false;
};

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
