// Forms of explanations: see the header.
#include "tools/audit/explain_print.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include "engine/names.h"
#include "tools/output/json.h"
#include "tools/output/report.h"
#include "tools/showing/dump_writers.h"

namespace psltool {

namespace {

constexpr size_t kLeastWidth = 10;
constexpr std::string_view kByItems = "items";

// As `dump` prints it in tables.
std::string ValueText(const Value& value) {
  if (const auto* number = std::get_if<uint64_t>(&value)) return fmt::format("{}", *number);
  if (const auto* real = std::get_if<double>(&value)) {
    return std::trunc(*real) == *real ? fmt::format("{:.0f}", *real) : fmt::format("{:.2f}", *real);
  }
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "yes" : "no";
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  return "-";
}

const Value* Find(const ExplainedInterval& interval, std::string_view name) {
  for (size_t i = 0; i < interval.columns.size(); ++i) {
    if (interval.columns[i].name == name) return &interval.values[i];
  }
  return nullptr;
}

// Where inputs have no extremes of their own the values stand that these follow from.
std::string SourceOf(const ExplainedInterval& interval, const std::string& name) {
  if (Find(interval, name) != nullptr) return name;
  const size_t end = name.rfind('_');
  return end == std::string::npos ? name : name.substr(0, end);
}

// Fields that are more than a mark or a carried word.
bool IsMain(const ExplainedField& field) {
  return field.column.group != 0 || field.rule == Gathered::kSum || field.rule == Gathered::kMean ||
         field.rule == Gathered::kMax || field.rule == Gathered::kMin;
}

bool IsShown(const ExplainView& view, const ExplainedField& field) {
  if (!view.field.empty()) return field.column.name == view.field;
  if (field.rule == Gathered::kKey) return false;
  if (view.all) return true;
  return IsMain(field) && (field.column.group == 0 || field.column.group == view.group);
}

// The table shows what follows from other columns; a sentence about it would say nothing.
bool IsTold(const ExplainView& view, const ExplainedField& field) {
  const bool asked = view.all || !view.field.empty();
  return IsShown(view, field) && (asked || field.rule != Gathered::kDerived);
}

struct Shown {
  std::string name;  // of the column of intervals
  std::string heading;
  size_t width;
};

void Show(const Explanation& explanation, const std::string& name, std::vector<Shown>& shown) {
  for (const ExplainedInterval& interval : explanation.intervals) {
    for (const Column& column : interval.columns) {
      if (column.name != name) continue;
      const bool there = std::any_of(shown.begin(), shown.end(),
                                     [&](const Shown& each) { return each.name == name; });
      // One interval is enough to know the column.
      if (!there)
        shown.push_back({name, column.heading, std::max(column.heading.size(), kLeastWidth)});
      return;
    }
  }
}

// The columns of the intervals: what the fields follow from.
std::vector<Shown> ColumnsOf(const ExplainView& view, const Explanation& explanation,
                             size_t group) {
  std::vector<Shown> shown;
  for (const ExplainedField& field : explanation.fields) {
    const std::string& name = field.column.name;
    const Role role = field.column.role;
    const bool shown_anyway = role == Role::kInterval || role == Role::kNotValid;
    if (!IsShown(view, field) || shown_anyway) continue;
    if (field.column.group != 0 && field.column.group != group) continue;
    if (!view.field.empty() && field.rule == Gathered::kMean && field.column.group != 0) {
      Show(explanation, fmt::format("g{}_ops", field.column.group), shown);
    }
    Show(explanation, name, shown);
    if (!explanation.intervals.empty()) {
      Show(explanation, SourceOf(explanation.intervals.front(), name), shown);
    }
  }
  return shown;
}

// "^" behind the value that is the largest of its column, "v" behind the smallest.
char MarkOf(const Explanation& explanation, size_t interval, const std::string& column) {
  char mark = ' ';
  for (const ExplainedField& field : explanation.fields) {
    if (field.held_by != interval) continue;
    if (SourceOf(explanation.intervals[interval], field.column.name) != column) continue;
    if (field.rule == Gathered::kMax) return '^';
    if (field.rule == Gathered::kMin) mark = 'v';
  }
  return mark;
}

void PrintIntervals(const ExplainView& view, const Explanation& explanation, size_t group,
                    TextOut& out) {
  const std::vector<Shown> columns = ColumnsOf(view, explanation, group);
  const bool logs =
      explanation.intervals.empty() || explanation.intervals.front().period.level == 'L';
  const char* const zone_name = view.zone == Zone::kUtc ? "UTC" : "local";
  std::string line =
      fmt::format("{:<23} {:>9} {:>5}",
                  logs ? fmt::format("interval ending ({})", zone_name)
                       : PeriodHead(explanation.intervals.front().period.level, view.zone),
                  "seconds", explanation.of_items ? "named" : "valid");
  for (const Shown& column : columns) line += fmt::format(" {:>{}} ", column.heading, column.width);
  const auto put = [&] {
    line.erase(line.find_last_not_of(' ') + 1);
    out.Put(line);
    out.Put("\n");
  };
  put();
  for (size_t i = 0; i < explanation.intervals.size(); ++i) {
    const ExplainedInterval& interval = explanation.intervals[i];
    line = fmt::format("{:<23} {:>9.1f} {:>5}", PeriodText(interval.period, view.zone),
                       interval.length / 1000.0, interval.valid && interval.named ? "yes" : "no");
    for (const Shown& column : columns) {
      const Value* const value = Find(interval, column.name);
      line += fmt::format(" {:>{}}{}", value == nullptr ? "" : ValueText(*value), column.width,
                          MarkOf(explanation, i, column.name));
    }
    put();
  }
}

std::string Holder(const ExplainView& view, const Explanation& explanation,
                   const ExplainedField& field) {
  if (!field.held_by) return "no interval";
  const ExplainedInterval& interval = explanation.intervals[*field.held_by];
  return fmt::format(
      "the {} {} ({}, record {})", interval.period.level == 'L' ? "interval ending" : "record of",
      PeriodText(interval.period, view.zone), BaseName(interval.path), interval.record);
}

std::string HowOf(const ExplainView& view, const Explanation& explanation,
                  const ExplainedField& field) {
  const size_t count = explanation.intervals.size();
  switch (field.rule) {
    case Gathered::kSum:
      return "the sum of " + Counted(count, explanation.of_items ? "item" : "interval");
    case Gathered::kMean:
      if (field.weight == 0) return fmt::format("no {}", field.by);
      if (field.column.row().unit == UnitName(FieldUnit::kPercent)) {
        return fmt::format("{:.1f} of {:.0f} {}", field.sum, field.weight, field.by);
      }
      if (field.by == kByItems) {
        return fmt::format("the values add up to {:.0f}, over {:.0f} items", field.sum,
                           field.weight);
      }
      return fmt::format("value x {} adds up to {:.1f}, over {:.0f} {}", field.by, field.sum,
                         field.weight, field.by);
    case Gathered::kMax:
    case Gathered::kMin:
      return "held by " + Holder(view, explanation, field);
    case Gathered::kLast:
      return (explanation.of_items ? "of the last item, " : "of the last valid one, ") +
             Holder(view, explanation, field);
    case Gathered::kAny:
      return "set when any valid interval has it";
    case Gathered::kKey:
    case Gathered::kDerived:
      break;
  }
  return "follows from the other fields";
}

bool Check(const ExplainView& view, const Explanation& explanation) {
  bool any = false;
  bool group = view.group == 1;
  for (const ExplainedField& field : explanation.fields) {
    any = any || IsShown(view, field);
    group = group || field.column.group == view.group;
  }
  // The first group goes without saying, also where a kind has none.
  if (any && (group || view.all || !view.field.empty())) return true;
  const std::string asked = view.field.empty() ? fmt::format("counter group {}", view.group)
                                               : fmt::format("field '{}'", view.field);
  return Fail(view.archive, fmt::format("{} has no {}; `psltool explain --all` shows what it has",
                                        view.what, asked));
}

}  // namespace

bool PrintExplanation(const ExplainView& view, const Explanation& explanation, TextOut& out) {
  if (!Check(view, explanation)) return false;
  out.Print("{}:{}: record {} (STA) of {}, {}{}\n\n", view.archive, explanation.offset,
            explanation.record, PeriodText(explanation.period, view.zone), view.what,
            view.name.empty() ? "" : fmt::format(" ({})", view.name));
  size_t first = 0;
  size_t last = 0;
  for (const ExplainedField& field : explanation.fields) {
    if (field.column.group == 0 || !IsShown(view, field)) continue;
    if (first == 0) first = field.column.group;
    last = field.column.group;
  }
  for (size_t group = first; group <= last; ++group) {
    const std::string name = view.labels.BehindGroup(view.kind, group);
    if (last > first || !name.empty()) out.Print("group {}{}\n", group, name);
    PrintIntervals(view, explanation, group, out);
    out.Put("\n");
  }
  for (const ExplainedField& field : explanation.fields) {
    if (!IsTold(view, field)) continue;
    const std::string group =
        field.column.group != 0 && last > first ? fmt::format("group {} ", field.column.group) : "";
    out.Print("{}{} {}: {}\n", group, field.column.heading, ValueText(field.expected),
              HowOf(view, explanation, field));
    if (field.stored != field.expected) {
      out.Print("  but the archive holds {}\n", ValueText(field.stored));
    }
  }
  if (explanation.differences != 0) {
    out.Print("{} of the entry differ{} from what the inputs make\n",
              Counted(explanation.differences, "field"), explanation.differences == 1 ? "s" : "");
  }
  return true;
}

bool PrintExplanationJson(const ExplainView& view, const Explanation& explanation, TextOut& out) {
  static constexpr const char* kRules[] = {"derived", "key", "sum",  "mean",
                                           "max",     "min", "last", "any"};
  if (!Check(view, explanation)) return false;
  Json intervals = Json::Array();
  for (const ExplainedInterval& interval : explanation.intervals) {
    Json each = {{"path", interval.path},
                 {"record", interval.record},
                 {"offset", interval.offset},
                 {"stamp", interval.period.stamp},
                 {"time", IsoTimeText(interval.period.stamp, view.zone)},
                 {"begin", IsoTimeText(interval.period.begin, view.zone)},
                 {"end", IsoTimeText(interval.period.end, view.zone)},
                 {"interval_ms", interval.length},
                 {"valid", interval.valid}};
    if (explanation.of_items) each["named"] = interval.named;
    for (size_t i = 0; i < interval.columns.size(); ++i) {
      const std::string& name = interval.columns[i].name;
      if (!each.Has(name)) each[name] = JsonOf(interval.values[i]);
    }
    intervals.Append(std::move(each));
  }
  Json fields = Json::Array();
  for (const ExplainedField& field : explanation.fields) {
    if (!IsShown(view, field)) continue;
    Json each = {{"field", field.column.name},
                 {"value", JsonOf(field.expected)},
                 {"stored", JsonOf(field.stored)},
                 {"rule", kRules[static_cast<size_t>(field.rule)]}};
    if (field.rule == Gathered::kMean) {
      each["sum"] = field.sum;
      each["weight"] = field.weight;
      each["weighted_by"] = field.by;
    }
    if (field.held_by) each["interval"] = *field.held_by;
    fields.Append(std::move(each));
  }
  Json report = {{"archive", view.archive},
                 {"record", explanation.record},
                 {"offset", explanation.offset},
                 {"stamp", explanation.period.stamp},
                 {"time", IsoTimeText(explanation.period.stamp, view.zone)},
                 {"begin", IsoTimeText(explanation.period.begin, view.zone)},
                 {"end", IsoTimeText(explanation.period.end, view.zone)},
                 {"resource", view.what},
                 {"differences", explanation.differences},
                 {"intervals", std::move(intervals)},
                 {"fields", std::move(fields)}};
  if (!view.labels.empty()) {
    report["name"] = view.name;
    report["group_name"] = view.labels.OfGroup(view.kind, view.group);
  }
  PutJson(report, out);
  return true;
}

}  // namespace psltool
