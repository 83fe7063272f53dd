// Histories: see the header.
#include "tools/showing/show_rows.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "tools/output/json.h"
#include "tools/output/report.h"
#include "tools/reading/file_summary.h"

namespace psltool {

namespace {

constexpr size_t kBarWidth = 40;

const char* LevelText(char level) {
  if (level == 'L') return "log";
  return level == 'H' ? "hour archive" : "day archive";
}

// A bar of '#' up to `value` and a '|' at `mark`, when that is more.
std::string Bar(double value, double mark, double full) {
  if (!(full > 0)) return "";
  const auto cells = [full](double part) {
    return static_cast<size_t>(std::lround(std::clamp(part / full, 0.0, 1.0) * kBarWidth));
  };
  std::string bar(cells(value), '#');
  const size_t at = cells(mark);
  if (at > bar.size()) {
    bar.resize(at - 1, ' ');
    bar += '|';
  }
  return bar;
}

// The values of a file's rows by what their columns show.
class Fields {
 public:
  explicit Fields(const ShownFile& file) : file_(file) {}

  bool Has(ColumnSort sort) const { return PlaceOf(sort).has_value(); }
  std::optional<double> Of(const ShownRow& row, ColumnSort sort) const {
    const auto place = PlaceOf(sort);
    if (!place) return std::nullopt;
    const Value& value = row.values[*place];
    if (const auto* number = std::get_if<uint64_t>(&value)) return static_cast<double>(*number);
    if (const auto* real = std::get_if<double>(&value)) return *real;
    return std::nullopt;
  }
  // Elements of optional items have no mark of their own: they are there or not.
  bool IsValid(const ShownRow& row) const {
    const auto place = PlaceOf(Role::kNotValid);
    return !place || std::get<bool>(row.values[*place]);
  }

 private:
  std::optional<size_t> PlaceOf(ColumnSort sort) const {
    for (size_t i = 0; i < file_.columns.size(); ++i) {
      if (file_.columns[i].sort() == sort) return i;
    }
    return std::nullopt;
  }

  const ShownFile& file_;
};

std::string Text(std::optional<double> value, int digits) {
  return value ? fmt::format("{:.{}f}", *value, digits) : "-";
}

// The lines of a file's resource.
class HistoryTable {
 public:
  HistoryTable(const ShowView& view, const ShownFile& file, TextOut& out)
      : zone_(view.zone),
        file_(file),
        fields_(file),
        out_(out),
        counts_(fields_.Has(Content::kOps)),
        has_peak_(fields_.Has(Content::kOpsRateMax)),
        has_busy_(fields_.Has(Role::kRatio)) {}

  void Print() {
    const std::string head = PeriodHead(file_.header.level, zone_);
    width_ = head.size();
    for (const ShownRow& row : file_.rows) {
      full_ = std::max({full_, ValueOf(row), MarkOf(row)});
      width_ = std::max(width_, PeriodText(row.period, zone_).size());
    }
    std::string line = fmt::format("{:<{}} {:>6}", head, width_, "min");
    if (counts_) line += fmt::format(" {:>9}", "ops/s");
    if (has_peak_) line += fmt::format(" {:>9}", "peak/s");
    if (counts_) line += fmt::format(" {:>9} {:>9}", "mean", "max");
    if (has_busy_) line += fmt::format(" {:>6}", "busy %");
    out_.Print("{}\n", line);
    for (const ShownRow& row : file_.rows) PrintRow(row);
  }

 private:
  // What the bar shows: operations, or of kinds that count none how busy it was.
  double ValueOf(const ShownRow& row) const {
    return fields_.Of(row, counts_ ? ColumnSort(Content::kOpsRate) : Role::kRatio).value_or(0);
  }
  double MarkOf(const ShownRow& row) const {
    return fields_.Of(row, counts_ ? Content::kOpsRateMax : Content::kFieldMax).value_or(0);
  }

  void PrintRow(const ShownRow& row) {
    std::string line = fmt::format("{:<{}} {:>6.1f}", PeriodText(row.period, zone_), width_,
                                   fields_.Of(row, Role::kInterval).value_or(0) / 60000.0);
    // Some counters of a cache module count whether it is valid or not.
    if (!fields_.IsValid(row) && !fields_.Of(row, Content::kOps)) {
      out_.Print("{} {:>9}\n", line, "no data");
      return;
    }
    if (counts_) line += fmt::format(" {:>9}", Text(fields_.Of(row, Content::kOpsRate), 1));
    if (has_peak_) line += fmt::format(" {:>9}", Text(fields_.Of(row, Content::kOpsRateMax), 1));
    if (counts_) {
      line += fmt::format(" {:>9} {:>9}", Text(fields_.Of(row, Content::kFirstMean), 0),
                          Text(fields_.Of(row, Content::kMaximum), 0));
    }
    if (has_busy_) line += fmt::format(" {:>6}", Text(fields_.Of(row, Role::kRatio), 2));
    const std::string bar = Bar(ValueOf(row), MarkOf(row), full_);
    out_.Print("{}{}{}\n", line, bar.empty() ? "" : "  ", bar);
  }

  Zone zone_;
  const ShownFile& file_;
  Fields fields_;
  TextOut& out_;
  bool counts_;
  bool has_peak_;
  bool has_busy_;
  double full_ = 0;  // of a whole bar
  size_t width_ = 0;
};

}  // namespace

ShowWriter::ShowWriter(const std::string& path, std::string kind, uint32_t group)
    : kind_(std::move(kind)), group_(group) {
  file_.path = path;
}

void ShowWriter::Start(const std::vector<const std::vector<Column>*>& all) {
  for (const std::vector<Column>* columns : all) {
    for (const Column& column : *columns) {
      file_.groups = std::max<uint32_t>(file_.groups, column.group);
    }
  }
  refused_ = group_ < 1 || group_ > std::max(file_.groups, 1U);
  if (refused_) {
    Fail(file_.path, fmt::format("entries of {} have {} counter groups", kind_, file_.groups));
  }
}

void ShowWriter::Put(const DumpedEntry& entry) {
  if (refused_) return;
  const auto& key = std::get<std::string>(entry.values.front());
  if (file_.key.empty()) file_.key = key;
  if (key != file_.key) {
    if (!asked_) return;
    refused_ = true;
    Fail(file_.path, fmt::format("the key stands for several {}, {} and {} among "
                                 "them; give all its bytes",
                                 kind_, file_.key, key));
    file_.rows.clear();
    return;
  }
  // Records of two layouts of one file differ in columns; those of the first are shown.
  if (columns_ != &entry.columns) {
    columns_ = &entry.columns;
    places_.clear();
    const bool first = file_.columns.empty();
    for (size_t i = 0; i < entry.columns.size(); ++i) {
      const Column& column = entry.columns[i];
      if (column.group != 0 && column.group != group_) continue;
      places_.push_back(i);
      if (first) file_.columns.push_back(column);
    }
  }
  ShownRow row;
  row.period = entry.period;
  for (const Column& wanted : file_.columns) {
    const auto found = std::find_if(places_.begin(), places_.end(), [&](size_t place) {
      return entry.columns[place].name == wanted.name;
    });
    row.values.push_back(found == places_.end() ? Value() : entry.values[*found]);
  }
  file_.rows.push_back(std::move(row));
}

void PrintShown(const ShowView& view, const ShownFile& file, TextOut& out) {
  const std::string array = PartsOfName(file.path, file.header.level).array;
  out.Print("{}: {}, revision 0x{:02X}, {} {}{}", file.path, LevelText(file.header.level),
            file.header.revision, view.kind, file.key,
            view.labels.BehindResource(array, view.kind, file.key));
  if (file.groups > 0) {
    out.Print(", counter group {} of {}{}", view.group, file.groups,
              view.labels.BehindGroup(view.kind, view.group));
  }
  out.Put("\n");
  HistoryTable(view, file, out).Print();
}

Json ShownJson(const ShowView& view, const std::vector<ShownFile>& files) {
  Json json = {{"kind", view.kind}, {"group", view.group}};
  if (!view.labels.empty()) json["group_name"] = view.labels.OfGroup(view.kind, view.group);
  json["files"] = Json::Array();
  for (const ShownFile& file : files) {
    const std::string array = PartsOfName(file.path, file.header.level).array;
    Json each = {{"path", file.path},
                 {"array", array.empty() ? Json() : Json(array)},
                 {"level", TagText({&file.header.level, 1})},
                 {"revision", fmt::format("0x{:02X}", file.header.revision)},
                 {"key", file.key}};
    if (!view.labels.empty()) each["name"] = view.labels.OfResource(array, view.kind, file.key);
    each["records"] = Json::Array();
    for (const ShownRow& row : file.rows) {
      Json record = {{"time", IsoTimeText(row.period.stamp, view.zone)},
                     {"stamp", row.period.stamp},
                     {"begin", IsoTimeText(row.period.begin, view.zone)},
                     {"end", IsoTimeText(row.period.end, view.zone)}};
      for (size_t i = 0; i < row.values.size(); ++i) {
        record[file.columns[i].name] = JsonOf(row.values[i]);
      }
      each["records"].Append(std::move(record));
    }
    json["files"].Append(std::move(each));
  }
  return json;
}

}  // namespace psltool
