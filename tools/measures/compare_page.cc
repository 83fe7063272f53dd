// Pages of comparisons: see the header. The policy in the page lets in its own style sheet, by its
// digest, and nothing else; names of arrays and sites are text and stay text.
#include "tools/measures/compare_page.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <set>

#include "tools/output/json.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

// Colours, sizes and words are those of the report page.
constexpr std::string_view kStyle = R"(
:root {
  --paper: #ffffff; --panel: #f6f7f9; --ink: #1b1f24; --muted: #59636e; --edge: #d1d9e0;
  --after: #0a58ca; --before: #9aa6b2; color-scheme: light;
}
@media (prefers-color-scheme: dark) {
  :root {
    --paper: #12161b; --panel: #1b2128; --ink: #e6e9ec; --muted: #9aa6b2; --edge: #38424d;
    --after: #79b0ff; --before: #59636e; color-scheme: dark;
  }
}
body { margin: 0 auto; padding: 0 1rem 3rem; max-width: 1280px; background: var(--paper);
  color: var(--ink); font: 15px/1.45 system-ui, sans-serif; }
h1 { font-size: 1.4rem; }
h2 { font-size: 1.15rem; margin: 2rem 0 .6rem; border-bottom: 1px solid var(--edge);
  padding-bottom: .25rem; }
.scroll-x { overflow-x: auto; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; font-size: .88rem; }
caption { text-align: left; color: var(--muted); padding: .3rem 0; }
th, td { padding: .25rem .55rem; text-align: right; border-bottom: 1px solid var(--edge);
  white-space: nowrap; }
th { font-weight: 400; color: var(--muted); }
tbody th { color: var(--ink); }
.text { text-align: left; }
.note { color: var(--muted); font-size: .88rem; }
svg .before { fill: var(--before); }
svg .after { fill: var(--after); }
dt { font-weight: 600; }
dd { margin: 0 0 .4rem; color: var(--muted); }
@media print { .scroll-x { overflow: visible; } body { max-width: none; } }
)";

std::string DigestOf(std::string_view text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest = {};
  unsigned size = 0;
  EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr);
  constexpr size_t kRoom = 4 * (EVP_MAX_MD_SIZE / 3 + 1) + 1;
  std::array<unsigned char, kRoom> encoded = {};
  const int length = EVP_EncodeBlock(encoded.data(), digest.data(), static_cast<int>(size));
  return {reinterpret_cast<const char*>(encoded.data()), static_cast<size_t>(length)};
}

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : Utf8Text(text)) {
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

std::string Cell(const std::string& text, bool left = false) {
  return fmt::format("<td{}>{}</td>", left ? " class=\"text\"" : "", Escaped(text));
}

std::string Number(std::optional<double> value, int digits) {
  return value ? fmt::format("{:.{}f}", *value, digits) : "-";
}

// Two bars, before above after, on one scale.
std::string Bars(const ChangeRow& row) {
  constexpr double kWidth = 120;
  const double before = row.before.value.value_or(0);
  const double after = row.after.value.value_or(0);
  const double most = std::max({before, after, 1e-300});
  return fmt::format(
      "<td><svg width=\"120\" height=\"16\" aria-hidden=\"true\"><rect class=\"before\" y=\"1\" "
      "width=\"{:.1f}\" height=\"6\"/><rect class=\"after\" y=\"9\" width=\"{:.1f}\" "
      "height=\"6\"/></svg></td>",
      kWidth * before / most, kWidth * after / most);
}

std::string SpanRow(const char* name, const ComparedSpan& span, Zone zone) {
  const auto time = [&](std::optional<uint32_t> stamp) {
    return stamp ? TimeText(*stamp, zone) : std::string("-");
  };
  return fmt::format("<tr><th scope=\"row\" class=\"text\">{}</th>{}{}{}{}</tr>\n", name,
                     Cell(time(span.first), true), Cell(time(span.last), true),
                     Cell(std::to_string(span.records)), Cell(std::to_string(span.unmatched)));
}

void PutHead(const CompareView& view, const Comparison& comparison, TextOut& out) {
  out.Put("<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n");
  out.Put(
      fmt::format("<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
                  "style-src 'sha256-{}'; base-uri 'none'; form-action 'none'\">\n",
                  DigestOf(kStyle)));
  out.Put(
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<title>Two spans side by side</title>\n<style>");
  out.Put(kStyle);
  out.Put(
      "</style>\n</head>\n<body>\n<main>\n<h1>Two spans side by side</h1>\n"
      "<div class=\"scroll-x\"><table>\n<thead><tr><th scope=\"col\" class=\"text\">span</th>"
      "<th scope=\"col\" class=\"text\">from</th><th scope=\"col\" class=\"text\">to</th>"
      "<th scope=\"col\">records</th><th scope=\"col\">without a counterpart</th></tr></thead>\n"
      "<tbody>\n");
  out.Put(SpanRow("before", comparison.before, view.zone));
  out.Put(SpanRow("after", comparison.after, view.zone));
  const std::string matched = TextOf(view.matching);
  out.Put(
      fmt::format("</tbody></table></div>\n<p class=\"note\">Times are {}{}{}. A change of less "
                  "than {} % of a value is none.</p>\n",
                  view.zone == Zone::kUtc ? "in UTC" : "local times", matched.empty() ? "" : "; ",
                  matched, view.least));
}

void PutCounts(const Comparison& comparison, TextOut& out) {
  out.Put(
      "<h2>How many</h2>\n<div class=\"scroll-x\"><table>\n<thead><tr>"
      "<th scope=\"col\" class=\"text\">kind</th><th scope=\"col\">rose</th>"
      "<th scope=\"col\">fell</th><th scope=\"col\">appeared</th><th scope=\"col\">went</th>"
      "</tr></thead>\n<tbody>\n");
  for (int i = 0; i < kKinds; ++i) {
    const auto kind = static_cast<Kind>(i);
    std::string cells;
    size_t all = 0;
    for (const Change change : {Change::kRose, Change::kFell, Change::kAppeared, Change::kWent}) {
      const auto found = comparison.counts.find({kind, change});
      const size_t count = found == comparison.counts.end() ? 0 : found->second;
      cells += Cell(std::to_string(count));
      all += count;
    }
    if (all == 0) continue;
    out.Put(fmt::format("<tr><th scope=\"row\" class=\"text\">{}</th>{}</tr>\n",
                        Escaped(TitleOf(kind)), cells));
  }
  out.Put("</tbody></table></div>\n");
}

void PutRows(const CompareView& view, const Comparison& comparison, TextOut& out) {
  out.Put("<h2>What changed, by how much it matters</h2>\n");
  if (comparison.rows.empty()) {
    out.Put("<p>Nothing changed that much.</p>\n");
    return;
  }
  out.Put(
      "<div class=\"scroll-x\"><table>\n<caption>Values are means of the spans; the upper bar is "
      "before, the lower one after. Median, 95th percentile and maximum are those of the "
      "intervals. Weight is the part of the whole that moved, in percent.</caption>\n"
      "<thead><tr>");
  for (const char* const head : {"what", "array", "resource", "measure"}) {
    out.Put(fmt::format("<th scope=\"col\" class=\"text\">{}</th>", head));
  }
  for (const char* const head : {"weight", "", "before", "after", "change %", "median before",
                                 "after", "p95 before", "after", "maximum before", "after"}) {
    out.Put(fmt::format("<th scope=\"col\">{}</th>", head));
  }
  out.Put("</tr></thead>\n<tbody>\n");
  for (const ChangeRow& row : comparison.rows) {
    const std::string kind = WordOfKind(row.kind);
    const int digits = row.at.measure->digits;
    std::string measure(row.at.measure->title);
    if (row.at.group != 0) measure += ", " + GroupText(kind, row.at.group, view.labels);
    const std::string unit = UnitOf(*row.at.measure, view.labels);
    if (!unit.empty()) measure += " (" + unit + ")";
    const auto percent = row.Percent();
    std::string line = Cell(WordOf(row.change), true) + Cell(row.array, true);
    line += fmt::format(
        "<th scope=\"row\" class=\"text\">{}</th>",
        Escaped(kind + " " + row.key + view.labels.BehindResource(row.array, kind, row.key)));
    line += Cell(measure, true) + Cell(fmt::format("{:.1f}", row.weight * 100)) + Bars(row);
    line += Cell(Number(row.before.value, digits)) + Cell(Number(row.after.value, digits));
    line += Cell(percent ? fmt::format("{:+.1f}", *percent) : "-");
    line += Cell(Number(row.before.median, digits)) + Cell(Number(row.after.median, digits));
    line += Cell(Number(row.before.high, digits)) + Cell(Number(row.after.high, digits));
    line += Cell(Number(row.before.most, digits)) + Cell(Number(row.after.most, digits));
    out.Put("<tr>" + line + "</tr>\n");
  }
  out.Put("</tbody></table></div>\n");
}

// Of what stands in the tables only.
void PutWords(const Comparison& comparison, TextOut& out) {
  std::set<Kind> kinds;
  std::set<const Measure*> measures;
  for (const ChangeRow& row : comparison.rows) {
    kinds.insert(row.kind);
    measures.insert(row.at.measure);
  }
  if (kinds.empty()) return;
  out.Put("<h2>What the words mean</h2>\n<dl>\n");
  for (const Kind kind : kinds) {
    out.Put(fmt::format("<dt>{}</dt><dd>{}</dd>\n", WordOfKind(kind),
                        Escaped(std::string(MeaningOf(kind)))));
  }
  for (const Measure& each : Measures()) {
    if (!measures.contains(&each)) continue;
    out.Put(
        fmt::format("<dt>{}</dt><dd>{}</dd>\n", each.title, Escaped(std::string(each.meaning))));
  }
  out.Put("</dl>\n");
}

}  // namespace

void PutComparisonPage(const CompareView& view, const Comparison& comparison, TextOut& out) {
  PutHead(view, comparison, out);
  PutCounts(comparison, out);
  PutRows(view, comparison, out);
  PutWords(comparison, out);
  out.Put("</main>\n</body>\n</html>\n");
}

}  // namespace psltool
