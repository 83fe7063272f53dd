// Pages of comparisons: see the header. The policy in the page lets in its own style sheet, by its
// digest, and nothing else; names of arrays and sites are text and stay text.
#include "tools/page/compare_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>

#include "tools/output/json.h"
#include "tools/page/content_policy.h"
#include "tools/page/page_assets.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

constexpr auto kChanges =
    std::to_array({Change::kRose, Change::kFell, Change::kAppeared, Change::kWent});

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : Utf8Text(std::string(text))) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '&') {
      escaped += "&amp;";
    } else if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else if (c == '"') {
      escaped += "&quot;";
    } else {
      escaped += byte < 0x20 || byte == 0x7F ? ' ' : c;
    }
  }
  return escaped;
}

std::string TextCell(std::string_view text, std::string_view classes = "text") {
  return fmt::format("<td class=\"{}\">{}</td>", classes, Escaped(text));
}

// As the table of the command prints it, with the number itself beside it.
std::string NumberCell(std::optional<double> value, int digits) {
  if (!value) return "<td>-</td>";
  return fmt::format("<td data-exact=\"{}\">{:.{}f}</td>", *value, *value, digits);
}

std::string Figure(std::string_view title, std::string_view number, std::string_view note) {
  return fmt::format(
      "<div class=\"figure\"><span class=\"what\">{}</span><strong>{}</strong>"
      "<span class=\"note\">{}</span></div>\n",
      title, number, note);
}

size_t CountOf(const Comparison& comparison, Kind kind, Change change) {
  const auto found = comparison.counts.find({kind, change});
  return found == comparison.counts.end() ? 0 : found->second;
}

size_t CountOf(const Comparison& comparison, Change change) {
  size_t all = 0;
  for (int i = 0; i < kKinds; ++i) all += CountOf(comparison, static_cast<Kind>(i), change);
  return all;
}

void PutHead(TextOut& out) {
  out.Put("<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n");
  out.Put(
      fmt::format("<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
                  "style-src {}; base-uri 'none'; form-action 'none'\">\n",
                  AllowedBy(kCompareStyle)));
  out.Put(
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"referrer\" content=\"no-referrer\">\n"
      "<title>Two spans side by side</title>\n<style>");
  out.Put(kCompareStyle);
  out.Put("</style>\n</head>\n<body>\n<header><h1>Two spans side by side</h1></header>\n<main>\n");
}

std::string SpanCard(const char* name, const ComparedSpan& span, Zone zone) {
  std::string card = fmt::format(
      "<article class=\"card\" id=\"{0}\"><h3><span class=\"key {0}\"></span>{0}</h3>", name);
  if (!span.first) return card + "<p class=\"trouble\">no record</p></article>\n";
  card += fmt::format("<p>{} to {}</p><p>{} {}", Escaped(TimeText(*span.first, zone)),
                      Escaped(TimeText(*span.last, zone)), span.records,
                      span.records == 1 ? "record" : "records");
  if (span.unmatched != 0) {
    card += fmt::format(", {} without a counterpart left out", span.unmatched);
  }
  return card + "</p></article>\n";
}

void PutSpans(const CompareView& view, const Comparison& comparison, TextOut& out) {
  out.Put("<h2>Spans</h2>\n<div class=\"cards\">\n");
  out.Put(SpanCard("before", comparison.before, view.zone));
  out.Put(SpanCard("after", comparison.after, view.zone));
  const std::string matched = TextOf(view.matching);
  out.Put(fmt::format("</div>\n<p class=\"note\">Times are {}{}{}.</p>\n",
                      view.zone == Zone::kUtc ? "in UTC" : "local times",
                      matched.empty() ? "" : "; intervals are ", matched));
}

void PutCounts(const CompareView& view, const Comparison& comparison, TextOut& out) {
  out.Put("<h2>How many changed</h2>\n<div class=\"figures\" id=\"counts\">\n");
  for (const Change change : kChanges) {
    const bool there = change == Change::kRose || change == Change::kFell;
    out.Put(Figure(WordOf(change), std::to_string(CountOf(comparison, change)),
                   there ? "measures of resources" : "resources"));
  }
  out.Put(fmt::format(
      "</div>\n<p class=\"note\">A change of less than {} % of the larger value is none.</p>\n",
      view.least));
}

void PutKinds(const Comparison& comparison, TextOut& out) {
  out.Put(
      "<h2>How many changed of each kind</h2>\n<div class=\"scroll-x\"><table id=\"kinds\">\n"
      "<thead><tr><th scope=\"col\" class=\"text\">kind</th>");
  for (const Change change : kChanges) {
    out.Put(fmt::format("<th scope=\"col\">{}</th>", WordOf(change)));
  }
  out.Put("</tr></thead>\n<tbody>\n");
  for (int i = 0; i < kKinds; ++i) {
    const auto kind = static_cast<Kind>(i);
    std::string cells;
    size_t all = 0;
    for (const Change change : kChanges) {
      const size_t count = CountOf(comparison, kind, change);
      cells += fmt::format("<td>{}</td>", count);
      all += count;
    }
    if (all == 0) continue;
    out.Put(fmt::format("<tr><th scope=\"row\" class=\"text\">{}</th>{}</tr>\n",
                        Escaped(TitleOf(kind)), cells));
  }
  out.Put("</tbody></table></div>\n");
}

// Two bars, before above after, on one scale: the means, and faint what reaches up to the 95th
// percentile.
std::string Bars(const ChangeRow& row) {
  constexpr double kWidth = 120;
  const auto longest = [](const SpanValues& values) {
    return std::max(values.value.value_or(0), values.high.value_or(0));
  };
  const double most = std::max({longest(row.before), longest(row.after), 1e-300});
  std::string bars;
  const auto put = [&](const char* span, const SpanValues& values, int y) {
    const auto bar = [&](const char* faint, std::optional<double> value) {
      bars += fmt::format("<rect class=\"{}{}\" y=\"{}\" width=\"{:.1f}\" height=\"7\"/>", span,
                          faint, y, std::max(0.0, kWidth * value.value_or(0) / most));
    };
    bar(" faint", values.high);
    bar("", values.value);
  };
  put("before", row.before, 1);
  put("after", row.after, 10);
  return "<td><svg class=\"bars\" viewBox=\"0 0 120 18\" preserveAspectRatio=\"none\" "
         "aria-hidden=\"true\">" +
         bars + "</svg></td>";
}

std::string RowText(const CompareView& view, const ChangeRow& row) {
  const std::string kind = WordOfKind(row.kind);
  const int digits = row.at.measure->digits;
  std::string measure = HeadOf(*row.at.measure, view.labels);
  if (row.at.group != 0) measure += ", " + GroupText(kind, row.at.group, view.labels);
  const auto percent = row.Percent();
  const std::string word = WordOf(row.change);
  std::string line = TextCell(word, "text " + word);
  line += percent ? fmt::format("<td data-exact=\"{}\">{:+.1f}</td>", *percent, *percent)
                  : std::string("<td>-</td>");
  line += TextCell(row.array);
  line += fmt::format(
      "<th scope=\"row\" class=\"text\">{}</th>",
      Escaped(kind + " " + row.key + view.labels.BehindResource(row.array, kind, row.key)));
  line += TextCell(measure, "text wrap");
  line +=
      fmt::format("<td class=\"own\" data-exact=\"{}\">{:.1f}</td>", row.weight, row.weight * 100);
  line += Bars(row);
  line += NumberCell(row.before.value, digits) + NumberCell(row.after.value, digits);
  line += NumberCell(row.before.median, digits) + NumberCell(row.after.median, digits);
  line += NumberCell(row.before.high, digits) + NumberCell(row.after.high, digits);
  line += NumberCell(row.before.most, digits) + NumberCell(row.after.most, digits);
  return "<tr>" + line + "</tr>\n";
}

void PutRowsHead(const Comparison& comparison, size_t all, TextOut& out) {
  const size_t told = comparison.rows.size();
  out.Put(
      fmt::format("<p class=\"note\">{}; mean, median, 95th percentile and maximum are those of "
                  "the intervals of each span.</p>\n",
                  told < all ? fmt::format("The {} weightiest of {} changes", told, all)
                             : fmt::format("All {} changes", all)));
  out.Put(
      "<ul class=\"legend\"><li><span class=\"key before\"></span>mean before, upper bar</li>"
      "<li><span class=\"key after\"></span>mean after, lower bar</li>"
      "<li><span class=\"key faint\"></span>faint: up to the 95th percentile of the intervals</li>"
      "</ul>\n<div class=\"scroll-x\" tabindex=\"0\" role=\"region\" aria-label=\"Changes\">"
      "<table id=\"changes\" class=\"table-wide\">\n<thead><tr>");
  out.Put(
      "<th scope=\"col\" rowspan=\"2\" class=\"text\">what</th><th scope=\"col\" "
      "rowspan=\"2\">change %</th>");
  for (const char* const head : {"array", "resource", "measure"}) {
    out.Put(fmt::format("<th scope=\"col\" rowspan=\"2\" class=\"text\">{}</th>", head));
  }
  out.Put(
      "<th scope=\"col\" rowspan=\"2\">weight %</th><th scope=\"col\" rowspan=\"2\" "
      "class=\"text\">before and after</th>"
      "<th scope=\"colgroup\" colspan=\"2\" class=\"pair\">mean</th>");
  for (const char* const head : {"median", "95th percentile", "maximum"}) {
    out.Put(fmt::format("<th scope=\"colgroup\" colspan=\"2\" class=\"pair\">{}</th>", head));
  }
  out.Put("</tr>\n<tr>");
  for (int pair = 0; pair < 4; ++pair) {
    out.Put("<th scope=\"col\">before</th><th scope=\"col\">after</th>");
  }
  out.Put("</tr></thead>\n<tbody>\n");
}

void PutRows(const CompareView& view, const Comparison& comparison, TextOut& out) {
  out.Put("<h2>What changed, by how much it matters</h2>\n");
  if (comparison.rows.empty()) {
    out.Put("<p>Nothing changed that much.</p>\n");
    return;
  }
  size_t all = 0;
  for (const Change change : kChanges) all += CountOf(comparison, change);
  PutRowsHead(comparison, all, out);
  for (const ChangeRow& row : comparison.rows) out.Put(RowText(view, row));
  out.Put("</tbody></table></div>\n");
}

std::string Word(std::string_view word, std::string_view meaning) {
  return fmt::format("<dt>{}</dt><dd>{}</dd>\n", Escaped(word), Escaped(meaning));
}

// Of what stands in the tables only.
void PutWords(const CompareView& view, const Comparison& comparison, TextOut& out) {
  std::set<Kind> kinds;
  std::set<const Measure*> measures;
  for (const ChangeRow& row : comparison.rows) {
    kinds.insert(row.kind);
    measures.insert(row.at.measure);
  }
  if (kinds.empty()) return;
  out.Put("<h2>What the words mean</h2>\n<h3>Kinds of resources</h3>\n<dl>\n");
  for (const Kind kind : kinds) {
    out.Put(Word(fmt::format("{} ({})", TitleOf(kind), WordOfKind(kind)), MeaningOf(kind)));
  }
  out.Put("</dl>\n<h3>Measures</h3>\n<dl>\n");
  for (const Measure& each : Measures()) {
    if (measures.contains(&each)) out.Put(Word(HeadOf(each, view.labels), each.meaning));
  }
  out.Put("</dl>\n<h3>Statistics</h3>\n<dl>\n");
  for (const Statistic& each : Statistics()) {
    if (each.in_comparisons) out.Put(Word(each.name, each.meaning));
  }
  out.Put("</dl>\n");
}

}  // namespace

void PutComparisonPage(const CompareView& view, const Comparison& comparison, TextOut& out) {
  PutHead(out);
  PutSpans(view, comparison, out);
  PutCounts(view, comparison, out);
  PutRows(view, comparison, out);
  PutKinds(comparison, out);
  PutWords(view, comparison, out);
  out.Put("</main>\n</body>\n</html>\n");
}

}  // namespace psltool
