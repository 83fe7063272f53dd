// Comparisons as text: see the header.
#include "tools/measures/compare_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "tools/output/json.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

std::string SpanText(const ComparedSpan& span, Zone zone) {
  if (!span.first) return "nothing";
  std::string text =
      fmt::format("{} to {}, {} {}", TimeText(*span.first, zone), TimeText(*span.last, zone),
                  span.records, span.records == 1 ? "record" : "records");
  if (span.unmatched != 0) {
    text += fmt::format(", {} without a counterpart left out", span.unmatched);
  }
  return text;
}

std::string Text(std::optional<double> value, int digits) {
  return value ? fmt::format("{:.{}f}", *value, digits) : "-";
}

using Cells = std::vector<std::string>;

Cells CellsOf(const CompareView& view, const ChangeRow& row) {
  const std::string kind = WordOfKind(row.kind);
  const int digits = row.at.measure->digits;
  const auto percent = row.Percent();
  std::string measure(row.at.measure->name);
  if (row.at.group != 0) measure += fmt::format(" g{}", row.at.group);
  const std::string unit = UnitOf(*row.at.measure, view.labels);
  if (!unit.empty()) measure += " " + unit;
  return {fmt::format("{:.1f}", row.weight * 100),
          WordOf(row.change),
          row.array,
          kind,
          row.key + view.labels.BehindResource(row.array, kind, row.key),
          measure,
          Text(row.before.value, digits),
          Text(row.after.value, digits),
          percent ? fmt::format("{:+.1f}", *percent) : "-",
          Text(row.before.median, digits),
          Text(row.after.median, digits),
          Text(row.before.high, digits),
          Text(row.after.high, digits),
          Text(row.before.most, digits),
          Text(row.after.most, digits)};
}

// Columns as wide as what stands in them; numbers to the right.
void PutTable(const std::vector<Cells>& lines, TextOut& out) {
  std::vector<size_t> widths;
  for (const Cells& line : lines) {
    widths.resize(std::max(widths.size(), line.size()));
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  }
  constexpr size_t kFirstText = 1;
  constexpr size_t kLastText = 5;
  for (const Cells& line : lines) {
    std::string text;
    for (size_t i = 0; i < line.size(); ++i) {
      const bool left = i >= kFirstText && i <= kLastText;
      text += left ? fmt::format("{:<{}} ", line[i], widths[i])
                   : fmt::format("{:>{}} ", line[i], widths[i]);
    }
    text.pop_back();
    out.Print("{}\n", text);
  }
}

Json JsonOf(const SpanValues& values) {
  return {{"value", values.value},
          {"max", values.most},
          {"median", values.median},
          {"p95", values.high},
          {"intervals", values.intervals}};
}

Json JsonOf(const ComparedSpan& span, Zone zone) {
  return {{"from", span.first ? Json(IsoTimeText(*span.first, zone)) : Json()},
          {"to", span.last ? Json(IsoTimeText(*span.last, zone)) : Json()},
          {"records", span.records},
          {"unmatched", span.unmatched}};
}

}  // namespace

const char* TextOf(Matching matching) {
  constexpr std::array<const char*, 4> kTexts = {"", "matched by hour", "matched by weekday",
                                                 "matched by weekday and hour"};
  return kTexts[static_cast<size_t>(matching)];
}

void PrintComparison(const CompareView& view, const Comparison& comparison, TextOut& out) {
  const char* const zone = view.zone == Zone::kUtc ? "UTC" : "local";
  const std::string matched = TextOf(view.matching);
  out.Print("before: {} ({})\nafter:  {} ({}){}{}\n", SpanText(comparison.before, view.zone), zone,
            SpanText(comparison.after, view.zone), zone, matched.empty() ? "" : ", ", matched);
  for (int i = 0; i < kKinds; ++i) {
    const auto kind = static_cast<Kind>(i);
    std::string counts;
    for (const Change change : {Change::kRose, Change::kFell, Change::kAppeared, Change::kWent}) {
      const auto found = comparison.counts.find({kind, change});
      if (found == comparison.counts.end()) continue;
      counts += fmt::format("{}{} {}", counts.empty() ? "" : ", ", found->second, WordOf(change));
    }
    if (!counts.empty()) out.Print("{}: {}\n", WordOfKind(kind), counts);
  }
  if (comparison.rows.empty()) {
    out.Print("nothing changed by {} % or more\n", view.least);
    return;
  }
  std::vector<Cells> lines = {{"weight", "what", "array", "kind", "key", "measure", "before",
                               "after", "change", "median", "after", "p95", "after", "max",
                               "after"}};
  for (const ChangeRow& row : comparison.rows) lines.push_back(CellsOf(view, row));
  PutTable(lines, out);
}

void PrintComparisonJson(const CompareView& view, const Comparison& comparison, TextOut& out) {
  Json json = {{"before", JsonOf(comparison.before, view.zone)},
               {"after", JsonOf(comparison.after, view.zone)},
               {"least", view.least}};
  const std::string matched = TextOf(view.matching);
  json["matched"] = matched.empty() ? Json() : Json(matched.substr(matched.find("by ") + 3));
  json["counts"] = Json::Object();
  for (const auto& [place, count] : comparison.counts) {
    json["counts"][WordOfKind(place.first)][WordOf(place.second)] = count;
  }
  json["changes"] = Json::Array();
  for (const ChangeRow& row : comparison.rows) {
    const std::string kind = WordOfKind(row.kind);
    Json each = {{"change", WordOf(row.change)},
                 {"weight", row.weight},
                 {"array", row.array},
                 {"kind", kind},
                 {"key", row.key}};
    if (!view.labels.empty()) each["name"] = view.labels.OfResource(row.array, kind, row.key);
    each["measure"] = row.at.measure->name;
    each["group"] = row.at.group == 0 ? Json() : Json(row.at.group);
    const std::string unit = UnitOf(*row.at.measure, view.labels);
    each["unit"] = unit.empty() ? Json() : Json(unit);
    each["percent"] = row.Percent();
    each["before"] = JsonOf(row.before);
    each["after"] = JsonOf(row.after);
    json["changes"].Append(std::move(each));
  }
  PutJson(json, out);
}

}  // namespace psltool
