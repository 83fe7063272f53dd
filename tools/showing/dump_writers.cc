// Forms of a dump: see the header.
#include "tools/showing/dump_writers.h"

#include <algorithm>
#include <map>
#include <string>

namespace psltool {

namespace {

// Text of values: keys and hexadecimal digits, nothing that needs quotes or escapes.
std::string PlainText(const Value& value) {
  if (const auto* number = std::get_if<uint64_t>(&value)) return fmt::format("{}", *number);
  if (const auto* real = std::get_if<double>(&value)) return fmt::format("{}", *real);
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "true" : "false";
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  return "";
}

class CsvWriter : public DumpWriter {
 public:
  CsvWriter(TextOut& out, Zone zone, FileLabels labels)
      : out_(out), zone_(zone), labels_(std::move(labels)) {}

  void Open(const PslHeader& header) override { labels_.Open(header.level); }

  // All kinds share one set of columns; what a kind does not have stays empty.
  void Start(const std::vector<const std::vector<Column>*>& all) override {
    for (const std::vector<Column>* columns : all) {
      for (const Column& column : *columns) {
        if (places_.emplace(column.name, names_.size()).second) names_.push_back(column.name);
        const bool named = labels_.NameGroup(column.group);
        if (named && std::find(groups_.begin(), groups_.end(), column.group) == groups_.end()) {
          groups_.push_back(column.group);
        }
      }
    }
    out_.Put("time,stamp,begin,end,kind");
    for (const std::string& name : names_) out_.Print(",{}", name);
    if (!labels_.empty()) out_.Put(",name");
    for (const size_t group : groups_) out_.Print(",g{}_name", group);
    out_.Put("\n");
  }

  void Put(const DumpedEntry& entry) override {
    const std::vector<size_t>& places = PlacesOf(entry.columns);
    cells_.assign(names_.size(), std::string());
    for (size_t i = 0; i < entry.values.size(); ++i) cells_[places[i]] = PlainText(entry.values[i]);
    const auto make = [this](const RecordPeriod& period) {
      return fmt::format("{},{},{},{}", IsoTimeText(period.stamp, zone_), period.stamp,
                         IsoTimeText(period.begin, zone_), IsoTimeText(period.end, zone_));
    };
    out_.Print("{},{}", times_.Of(entry.period, make), entry.kind);
    for (const std::string& cell : cells_) {
      out_.Put(",");
      out_.Put(cell);
    }
    if (!labels_.empty()) {
      const auto& key = std::get<std::string>(entry.values.front());
      out_.Print(",{}", CsvText(labels_.OfResource(entry.kind, key)));
    }
    for (const size_t group : groups_) {
      out_.Print(",{}", CsvText(labels_.OfGroup(entry.kind, group)));
    }
    out_.Put("\n");
  }

 private:
  const std::vector<size_t>& PlacesOf(const std::vector<Column>& columns) {
    std::vector<size_t>& places = columns_[&columns];
    if (places.empty()) {
      for (const Column& column : columns) places.push_back(places_.at(column.name));
    }
    return places;
  }

  TextOut& out_;
  Zone zone_;
  FileLabels labels_;
  std::vector<std::string> names_;
  std::vector<size_t> groups_;  // those that have names
  std::map<std::string, size_t> places_;
  std::map<const std::vector<Column>*, std::vector<size_t>> columns_;
  std::vector<std::string> cells_;
  PeriodCache times_;
};

class JsonLinesWriter : public DumpWriter {
 public:
  JsonLinesWriter(TextOut& out, Zone zone, FileLabels labels)
      : out_(out), zone_(zone), labels_(std::move(labels)) {}

  void Open(const PslHeader& header) override { labels_.Open(header.level); }
  void Start(const std::vector<const std::vector<Column>*>&) override {}

  void Put(const DumpedEntry& entry) override {
    const auto make = [this](const RecordPeriod& period) {
      return fmt::format(R"("time":"{}","stamp":{},"begin":"{}","end":"{}")",
                         IsoTimeText(period.stamp, zone_), period.stamp,
                         IsoTimeText(period.begin, zone_), IsoTimeText(period.end, zone_));
    };
    out_.Print(R"({{{},"kind":"{}")", times_.Of(entry.period, make), entry.kind);
    for (size_t i = 0; i < entry.values.size(); ++i) {
      const Value& value = entry.values[i];
      if (std::holds_alternative<std::monostate>(value)) {
        out_.Print(R"(,"{}":null)", entry.columns[i].name);
      } else if (std::holds_alternative<std::string>(value)) {
        out_.Print(R"(,"{}":"{}")", entry.columns[i].name, PlainText(value));
      } else {
        out_.Print(R"(,"{}":{})", entry.columns[i].name, PlainText(value));
      }
    }
    if (!labels_.empty()) PutNames(entry);
    out_.Put("}\n");
  }

 private:
  void PutNames(const DumpedEntry& entry) {
    const auto& key = std::get<std::string>(entry.values.front());
    out_.Print(R"(,"name":{})", JsonText(labels_.OfResource(entry.kind, key)));
    size_t last = 0;  // groups rise from column to column
    for (const Column& column : entry.columns) {
      if (column.group == last) continue;
      last = column.group;
      const std::string& name = labels_.OfGroup(entry.kind, last);
      if (!name.empty()) out_.Print(R"(,"g{}_name":{})", last, JsonText(name));
    }
  }

  TextOut& out_;
  Zone zone_;
  FileLabels labels_;
  PeriodCache times_;
};

}  // namespace

std::unique_ptr<DumpWriter> MakeCsvWriter(TextOut& out, Zone zone, FileLabels labels) {
  return std::make_unique<CsvWriter>(out, zone, std::move(labels));
}

std::unique_ptr<DumpWriter> MakeJsonLinesWriter(TextOut& out, Zone zone, FileLabels labels) {
  return std::make_unique<JsonLinesWriter>(out, zone, std::move(labels));
}

Json JsonOf(const Value& value) {
  if (const auto* number = std::get_if<uint64_t>(&value)) return *number;
  if (const auto* real = std::get_if<double>(&value)) return *real;
  if (const auto* flag = std::get_if<bool>(&value)) return *flag;
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  return nullptr;
}

std::string CsvText(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
  return quoted + '"';
}

}  // namespace psltool
