// Forms of a dump: see the header.
#include "tools/dump_writers.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string>

namespace {

// Text of values: keys and hexadecimal digits, nothing that needs quotes or escapes.
std::string PlainText(const Value& value) {
  if (const auto* number = std::get_if<uint64_t>(&value)) return fmt::format("{}", *number);
  if (const auto* real = std::get_if<double>(&value)) return fmt::format("{}", *real);
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "true" : "false";
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  return "";
}

std::string TableText(const Value& value) {
  if (const auto* real = std::get_if<double>(&value)) {
    return std::trunc(*real) == *real ? fmt::format("{:.0f}", *real) : fmt::format("{:.2f}", *real);
  }
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "yes" : "no";
  return std::holds_alternative<std::monostate>(value) ? "-" : PlainText(value);
}

class TableWriter : public DumpWriter {
 public:
  TableWriter(TextOut& out, Zone zone) : out_(out), zone_(zone) {}

  void Start(const std::vector<const std::vector<Column>*>&) override {}

  // The fields of the entry as a whole stand on its first line, then each counter group has a line.
  void Put(const DumpedEntry& entry) override {
    if (columns_ != &entry.columns) StartTable(entry.columns);
    const std::string start = fmt::format("{} {:<9}", TimeText(entry.stamp, zone_), entry.kind);
    for (size_t group = groups_ == 0 ? 0 : 1; group <= groups_; ++group) {
      const bool first = group <= 1;
      std::string line = first ? start : std::string(start.size(), ' ');
      for (const Cell& cell : entry_cells_) {
        line += fmt::format(" {:>{}}", first ? TableText(entry.values[cell.at]) : "", cell.width);
      }
      if (groups_ != 0) line += fmt::format(" {:>5}", group);
      for (const GroupCell& cell : group_cells_) {
        const auto found = cell.at.find(group);
        line += fmt::format(" {:>{}}",
                            found == cell.at.end() ? "" : TableText(entry.values[found->second]),
                            cell.width);
      }
      line.erase(line.find_last_not_of(' ') + 1);
      out_.Put(line);
      out_.Put("\n");
    }
  }

 private:
  struct Cell {
    size_t at;
    size_t width;
  };
  struct GroupCell {
    std::string head;
    size_t width;
    std::map<size_t, size_t> at;  // by group
  };

  static size_t WidthOf(const std::string& head, size_t least) {
    return std::max(head.size(), least);
  }

  void StartTable(const std::vector<Column>& columns) {
    constexpr size_t kLeastWidth = 7;
    constexpr size_t kLeastGroupWidth = 10;
    if (columns_ != nullptr) out_.Put("\n");
    columns_ = &columns;
    entry_cells_.clear();
    group_cells_.clear();
    groups_ = 0;
    std::string line =
        fmt::format("{:<19} {:<9}", zone_ == Zone::kUtc ? "time (UTC)" : "time (local)", "kind");
    for (size_t i = 0; i < columns.size(); ++i) {
      const Column& column = columns[i];
      if (column.group == 0) {
        entry_cells_.push_back({i, WidthOf(column.head, kLeastWidth)});
        line += fmt::format(" {:>{}}", column.head, entry_cells_.back().width);
        continue;
      }
      groups_ = std::max<size_t>(groups_, column.group);
      auto cell = std::find_if(group_cells_.begin(), group_cells_.end(),
                               [&](const GroupCell& each) { return each.head == column.head; });
      if (cell == group_cells_.end()) {
        group_cells_.push_back({column.head, WidthOf(column.head, kLeastGroupWidth), {}});
        cell = group_cells_.end() - 1;
      }
      cell->at[column.group] = i;
    }
    if (groups_ != 0) line += " group";
    for (const GroupCell& cell : group_cells_) {
      line += fmt::format(" {:>{}}", cell.head, cell.width);
    }
    out_.Put(line);
    out_.Put("\n");
  }

  TextOut& out_;
  Zone zone_;
  const std::vector<Column>* columns_ = nullptr;  // of the table in progress
  std::vector<Cell> entry_cells_;
  std::vector<GroupCell> group_cells_;
  size_t groups_ = 0;
};

class CsvWriter : public DumpWriter {
 public:
  CsvWriter(TextOut& out, Zone zone) : out_(out), zone_(zone) {}

  // All kinds share one set of columns; what a kind does not have stays empty.
  void Start(const std::vector<const std::vector<Column>*>& all) override {
    for (const std::vector<Column>* columns : all) {
      for (const Column& column : *columns) {
        if (places_.emplace(column.name, names_.size()).second) names_.push_back(column.name);
      }
    }
    out_.Put("time,stamp,kind");
    for (const std::string& name : names_) out_.Print(",{}", name);
    out_.Put("\n");
  }

  void Put(const DumpedEntry& entry) override {
    const std::vector<size_t>& places = PlacesOf(entry.columns);
    cells_.assign(names_.size(), std::string());
    for (size_t i = 0; i < entry.values.size(); ++i) cells_[places[i]] = PlainText(entry.values[i]);
    out_.Print("{},{},{}", IsoTimeText(entry.stamp, zone_), entry.stamp, entry.kind);
    for (const std::string& cell : cells_) {
      out_.Put(",");
      out_.Put(cell);
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
  std::vector<std::string> names_;
  std::map<std::string, size_t> places_;
  std::map<const std::vector<Column>*, std::vector<size_t>> columns_;
  std::vector<std::string> cells_;
};

class JsonLinesWriter : public DumpWriter {
 public:
  JsonLinesWriter(TextOut& out, Zone zone) : out_(out), zone_(zone) {}

  void Start(const std::vector<const std::vector<Column>*>&) override {}

  void Put(const DumpedEntry& entry) override {
    out_.Print(R"({{"time":"{}","stamp":{},"kind":"{}")", IsoTimeText(entry.stamp, zone_),
               entry.stamp, entry.kind);
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
    out_.Put("}\n");
  }

 private:
  TextOut& out_;
  Zone zone_;
};

}  // namespace

std::unique_ptr<DumpWriter> MakeTableWriter(TextOut& out, Zone zone) {
  return std::make_unique<TableWriter>(out, zone);
}

std::unique_ptr<DumpWriter> MakeCsvWriter(TextOut& out, Zone zone) {
  return std::make_unique<CsvWriter>(out, zone);
}

std::unique_ptr<DumpWriter> MakeJsonLinesWriter(TextOut& out, Zone zone) {
  return std::make_unique<JsonLinesWriter>(out, zone);
}
