// Command line, table and JSON text of `psltool info`.
#include "tools/commands/commands.h"

#include <bit>
#include <string>
#include <vector>

#include "engine/layout/layout.h"
#include "tools/commands/dump_options.h"
#include "tools/commands/files_option.h"
#include "tools/output/json.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"
#include "tools/reading/file_summary.h"
#include "tools/reading/kind_names.h"
#include "tools/reading/time_text.h"

namespace psltool {

namespace {

struct InfoOptions {
  std::vector<std::string> files;
  bool json = false;
  bool utc = false;
};

const char* LevelName(char level) {
  switch (level) {
    case 'L':
      return "log";
    case 'H':
      return "hour archive";
    case 'D':
      return "day archive";
    default:
      return "unknown";
  }
}

std::string RangeText(const CountRange& range) {
  if (!range.seen) return "-";
  if (range.least == range.most) return std::to_string(range.most);
  return fmt::format("{} to {}", range.least, range.most);
}

struct KindLine {
  Kind kind;
  const char* word;
  const char* title;
};

// The kinds of a file, in the order of the sections.
std::vector<KindLine> KindsOf(uint8_t revision) {
  std::vector<KindLine> lines;
  for (const KindName& name : KindNames()) {
    if (HasKind(revision, name.kind)) lines.push_back({name.kind, name.word, name.title});
    if (name.kind == kPoolCp && HasKind(revision, kWaittm)) {
      lines.push_back({kWaittm, "wait-time", "wait times of logical disks"});
    }
  }
  return lines;
}

std::string IntervalText(const IntervalSummary& interval) {
  if (interval.pairs == 0) return "-";
  std::string text = fmt::format("{} s", interval.usual);
  if (interval.usual_pairs != interval.pairs) {
    text += fmt::format(" ({} of {}; shortest {} s, longest {} s)", interval.usual_pairs,
                        interval.pairs, interval.shortest, interval.longest);
  }
  return text;
}

std::string RecordsText(const FileSummary& summary) {
  std::string text;
  for (const auto& [tag, count] : summary.records) {
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, tag);
  }
  return text.empty() ? "none" : text;
}

void PrintTable(TextOut& out, const FileSummary& summary, Zone zone) {
  const PslHeader& header = summary.header;
  const RevisionLayout& layout = LayoutOf(header.revision);
  const char* const zone_name = zone == Zone::kUtc ? "UTC" : "local";
  const auto line = [&](const std::string& name, const std::string& value) {
    out.Print("  {:<18} {}\n", name, value);
  };
  const auto or_dash = [](const std::string& text) { return text.empty() ? "-" : text; };
  out.Print("{}\n", summary.path);
  line("format revision", fmt::format("0x{:02X}", header.revision));
  line("level", fmt::format("{} ({})", TagText({&header.level, 1}), LevelName(header.level)));
  line("array", or_dash(summary.array));
  line("date (name)", or_dash(summary.name_date));
  if (layout.row.keeps_header) line("date (header)", summary.header_date);
  line(fmt::format("header ({})", zone_name), TimeText(summary.header_stamp, zone));
  line("size", fmt::format("{} bytes", summary.size));
  line("records", RecordsText(summary));
  const bool log = header.level == 'L';
  const auto period = [&](const char* name, const RecordPeriod& of) {
    line(fmt::format("{} ({})", name, zone_name), summary.first ? PeriodText(of, zone) : "-");
  };
  period(log ? "from" : "first", summary.first_period);
  period(log ? "to" : "last", summary.last_period);
  line("interval", IntervalText(summary.interval));
  out.Print("  {:<10} {:>14} {:>9} {:>6} {:>7}\n", "kind", "resources", "item mask", "words", "of");
  for (const KindLine& kind : KindsOf(header.revision)) {
    const BitmapRow* const row = FindRow(layout.Bitmaps(), kind.kind);
    out.Print("  {:<10} {:>14}", kind.word, RangeText(summary.counts[kind.kind]));
    if (row != nullptr) {
      out.Print("  {:08X} {:>6} {:>7}", header.masks[kind.kind],
                std::popcount(header.masks[kind.kind]), std::popcount(row->full));
    }
    out.Put("\n");
  }
}

Json JsonOf(const FileSummary& summary, Zone zone) {
  const PslHeader& header = summary.header;
  const RevisionLayout& layout = LayoutOf(header.revision);
  const auto or_null = [](const std::string& text) { return text.empty() ? Json() : Json(text); };
  const auto stamp = [&](std::optional<uint32_t> at) {
    return at ? Json(IsoTimeText(*at, zone)) : Json();
  };
  Json json = {{"path", summary.path},
               {"revision", fmt::format("0x{:02X}", header.revision)},
               {"level", TagText({&header.level, 1})},
               {"array", or_null(summary.array)},
               {"name_date", or_null(summary.name_date)},
               {"header_date", or_null(summary.header_date)},
               {"header_time", IsoTimeText(summary.header_stamp, zone)},
               {"size", summary.size}};
  json["records"] = Json::Object();
  for (const auto& [tag, count] : summary.records) json["records"][tag] = count;
  json["first"] = stamp(summary.first);
  json["last"] = stamp(summary.last);
  // The time that all records stand for.
  json["begin"] = summary.first ? stamp(summary.first_period.begin) : Json();
  json["end"] = summary.last ? stamp(summary.last_period.end) : Json();
  const IntervalSummary& interval = summary.interval;
  json["interval_s"] = interval.pairs == 0 ? Json()
                                           : Json{{"usual", interval.usual},
                                                  {"usual_pairs", interval.usual_pairs},
                                                  {"pairs", interval.pairs},
                                                  {"shortest", interval.shortest},
                                                  {"longest", interval.longest}};
  json["kinds"] = Json::Array();
  for (const KindLine& kind : KindsOf(header.revision)) {
    const CountRange& range = summary.counts[kind.kind];
    Json each = {{"kind", kind.word}, {"title", kind.title}};
    each["least"] = range.seen ? Json(range.least) : Json();
    each["most"] = range.seen ? Json(range.most) : Json();
    if (FindRow(layout.Bitmaps(), kind.kind) != nullptr) {
      each["mask"] = fmt::format("{:08X}", header.masks[kind.kind]);
      each["words"] = std::popcount(header.masks[kind.kind]);
    }
    json["kinds"].Append(std::move(each));
  }
  return json;
}

Json JsonOf(const Finding& finding) {
  return {{"class", finding.code},
          {"record", finding.record},
          {"offset", finding.offset},
          {"field", finding.field},
          {"text", finding.text}};
}

int Show(const InfoOptions& options) {
  TextOut out(stdout);
  Progress progress;
  Json all = Json::Array();
  const Zone zone = options.utc ? Zone::kUtc : Zone::kLocal;
  int status = 0;
  bool first = true;
  for (const std::string& path : options.files) {
    FileSummary summary;
    const bool readable = Summarize(path, zone, progress, summary);
    progress.Clear();
    if (options.json) {
      Json json = readable ? JsonOf(summary, zone) : Json{{"path", path}, {"size", summary.size}};
      json["trouble"] = summary.trouble ? JsonOf(*summary.trouble) : Json();
      all.Append(std::move(json));
    } else if (readable) {
      if (!first) out.Put("\n");
      first = false;
      PrintTable(out, summary, zone);
    }
    if (!summary.trouble) continue;
    out.Flush();
    Fail(path, DescribeWithAdvice(*summary.trouble));
    const bool unreadable = summary.trouble->severity == Severity::kUnreadable;
    status = std::max(status, unreadable ? kExitUnusable : kExitFailed);
  }
  if (options.json) {
    PutJson(all, out);
  }
  return out.FlushOrFail() ? status : kExitUnusable;
}

}  // namespace

void AddInfoCommand(Command& command, int& status) {
  InfoOptions& options = command.Runs<InfoOptions>(Show, status);
  AddFilesOption(command, options.files);
  AddJsonFlag(command, options.json);
  AddUtcFlag(command, options.utc);
}

}  // namespace psltool
