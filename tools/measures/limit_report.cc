// Breaches as text: see the header.
#include "tools/measures/limit_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <tuple>

#include "tools/output/json.h"
#include "tools/output/metrics_label.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

// A number of a measure without zeros behind the point that say nothing.
std::string NumberText(double value, int digits) {
  std::string text = fmt::format("{:.{}f}", value, digits);
  if (text.find('.') == std::string::npos) return text;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

std::string WithUnit(const std::string& number, const std::string& unit) {
  return unit.empty() ? number : number + " " + unit;
}

class BreachText {
 public:
  explicit BreachText(const LimitView& view) : view_(view) {}

  std::string Of(const Breach& breach) const {
    const LimitRule& rule = *breach.rule;
    const SeriesResource& resource = view_.reader.resources()[breach.resource];
    const std::string kind = WordOfKind(resource.kind);
    std::string text = fmt::format("{} {} {}{}", resource.array, kind, resource.key,
                                   view_.labels.BehindResource(resource.array, kind, resource.key));
    if (breach.group != 0) text += ", " + GroupText(kind, breach.group, view_.labels);
    const std::string unit = UnitOf(*rule.measure, view_.labels);
    text += fmt::format(": {} {} {} {} {}", rule.measure->name, WordOf(rule.statistic),
                        WithUnit(NumberText(breach.worst, 2), unit), WordOf(rule.comparing),
                        WithUnit(NumberText(rule.limit, 6), unit));
    text += fmt::format(", from {} to {} ({}, {} {})", TimeText(breach.begin, view_.zone),
                        TimeText(breach.end, view_.zone), LengthText(breach.end - breach.begin),
                        breach.intervals, breach.intervals == 1 ? "interval" : "intervals");
    if (rule.OfIntervals() && breach.intervals > 1) {
      text += fmt::format(", {} in {}", rule.IsUpper() ? "most" : "least",
                          PeriodText(breach.when, view_.zone));
    }
    return text;
  }

 private:
  const LimitView& view_;
};

Json JsonOf(const LimitView& view, const Breach& breach) {
  const LimitRule& rule = *breach.rule;
  const SeriesResource& resource = view.reader.resources()[breach.resource];
  const std::string kind = WordOfKind(resource.kind);
  Json json = {{"line", rule.line}, {"rule", rule.text},   {"array", resource.array},
               {"kind", kind},      {"key", resource.key}, {"measure", rule.measure->name}};
  json["group"] = breach.group == 0 ? Json() : Json(breach.group);
  if (!view.labels.empty()) {
    json["name"] = view.labels.OfResource(resource.array, kind, resource.key);
  }
  const std::string unit = UnitOf(*rule.measure, view.labels);
  json["statistic"] = WordOf(rule.statistic);
  json["value"] = breach.worst;
  json["comparison"] = WordOf(rule.comparing);
  json["limit"] = rule.limit;
  json["unit"] = unit.empty() ? Json() : Json(unit);
  json["begin"] = IsoTimeText(breach.begin, view.zone);
  json["end"] = IsoTimeText(breach.end, view.zone);
  json["seconds"] = breach.end - breach.begin;
  json["intervals"] = breach.intervals;
  json["time"] = IsoTimeText(breach.when.stamp, view.zone);
  json["stamp"] = breach.when.stamp;
  return json;
}

}  // namespace

std::string LengthText(uint32_t seconds) {
  constexpr uint32_t kMinute = 60;
  constexpr uint32_t kHour = 3600;
  constexpr uint32_t kDay = 86400;
  std::string text;
  const auto put = [&](uint32_t count, const char* unit) {
    if (count != 0) text += fmt::format("{}{} {}", text.empty() ? "" : " ", count, unit);
  };
  put(seconds / kDay, "d");
  put(seconds % kDay / kHour, "h");
  put(seconds % kHour / kMinute, "min");
  put(seconds % kMinute, "s");
  return text.empty() ? "0 s" : text;
}

void PrintBreaches(const LimitView& view, const std::vector<Breach>& breaches, TextOut& out) {
  const BreachText text(view);
  for (const Breach& breach : breaches) {
    out.Print("{}:{}: {}\n", view.path, breach.rule->line, text.Of(breach));
  }
}

void PrintBreachesJson(const LimitView& view, const std::vector<Breach>& breaches, TextOut& out) {
  Json json = {{"rules", Json::Array()}, {"breaches", Json::Array()}};
  for (size_t i = 0; i < view.rules.size(); ++i) {
    const LimitRule& rule = view.rules[i];
    const auto count = std::count_if(breaches.begin(), breaches.end(),
                                     [&](const Breach& each) { return each.rule == &rule; });
    json["rules"].Append({{"line", rule.line},
                          {"rule", rule.text},
                          {"values", view.check.looked()[i]},
                          {"breaches", count}});
  }
  for (const Breach& breach : breaches) json["breaches"].Append(JsonOf(view, breach));
  PutJson(json, out);
}

void PrintBreachMetrics(const LimitView& view, const std::vector<Breach>& breaches, TextOut& out) {
  const auto rule_labels = [](const LimitRule& rule) {
    return fmt::format("line=\"{}\",rule=\"{}\"", rule.line, MetricsLabel(rule.text));
  };
  // Of several breaches of one resource the worst is told.
  using Place = std::tuple<size_t, size_t, unsigned>;
  std::map<Place, const Breach*> worst;
  std::map<std::pair<size_t, std::string>, size_t> counts;
  for (const Breach& breach : breaches) {
    const auto rule = static_cast<size_t>(breach.rule - view.rules.data());
    const auto [found, is_new] = worst.try_emplace({rule, breach.resource, breach.group}, &breach);
    const bool upper = breach.rule->IsUpper();
    if (upper ? breach.worst > found->second->worst : breach.worst < found->second->worst) {
      found->second = &breach;
    }
    ++counts[{rule, view.reader.resources()[breach.resource].array}];
  }
  out.Put(
      "# TYPE psl_limit_breaches gauge\n"
      "# HELP psl_limit_breaches Runs of intervals that passed the limit of a rule\n");
  for (size_t i = 0; i < view.rules.size(); ++i) {
    for (const auto& [array, stamp] : view.check.last_stamps()) {
      if (!view.rules[i].HasArray(array)) continue;
      const auto found = counts.find({i, array});
      out.Put(fmt::format("psl_limit_breaches{{array=\"{}\",{}}} {}\n", MetricsLabel(array),
                          rule_labels(view.rules[i]), found == counts.end() ? 0 : found->second));
    }
  }
  out.Put(
      "# TYPE psl_limit_worst gauge\n"
      "# HELP psl_limit_worst Worst value that passed the limit, in the unit of the measure\n");
  for (const auto& [place, breach] : worst) {
    const SeriesResource& resource = view.reader.resources()[breach->resource];
    const std::string group = breach->group == 0 ? "" : fmt::format(",group=\"{}\"", breach->group);
    out.Put(fmt::format("psl_limit_worst{{array=\"{}\",kind=\"{}\",key=\"{}\"{},{}}} {}\n",
                        MetricsLabel(resource.array), WordOfKind(resource.kind),
                        MetricsLabel(resource.key), group, rule_labels(*breach->rule),
                        breach->worst));
  }
  out.Put(
      "# TYPE psl_limit_last_sample_timestamp_seconds gauge\n"
      "# UNIT psl_limit_last_sample_timestamp_seconds seconds\n"
      "# HELP psl_limit_last_sample_timestamp_seconds Stamp of the last record looked at\n");
  for (const auto& [array, stamp] : view.check.last_stamps()) {
    out.Put(fmt::format("psl_limit_last_sample_timestamp_seconds{{array=\"{}\"}} {}\n",
                        MetricsLabel(array), stamp));
  }
  out.Put("# EOF\n");
}

}  // namespace psltool
