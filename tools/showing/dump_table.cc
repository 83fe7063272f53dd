// A dump as a table for people: the entry's own fields on its first line, a line for each counter
// group. What tells most comes first, up to a width that fits beside other windows; points stand
// under points, since all values of a column have the same number of decimals.
#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tools/output/characters.h"
#include "tools/showing/dump_writers.h"

namespace psltool {

namespace {

constexpr size_t kMostWidth = 120;
constexpr size_t kGroupDigits = 5;
// Rows that are looked at together before their columns are made wide enough.
constexpr size_t kBlock = 256;

// What is left out last when there is no room. All others follow in their order.
constexpr ColumnSort kTelling[] = {
    Content::kKey,           Content::kOpsRate,    Role::kRatio,         Content::kFirstMean,
    Content::kMaximum,       Content::kSecondMean, Content::kVolumeRate, Role::kCacheRatio1,
    Role::kSecondRatio,      Role::kCacheRatio2,   Role::kValue,         Role::kPresent,
    Content::kOpsRateMax,    Content::kFieldMax,   Content::kOps,        Role::kNotValid,
    Content::kVolumeRateMax, Role::kCacheMaximum1, Role::kCacheMaximum2, Role::kCacheRate1,
    Role::kCacheRate2,       Role::kInterval};

size_t RankOf(ColumnSort sort) {
  const auto* const found = std::find(std::begin(kTelling), std::end(kTelling), sort);
  return static_cast<size_t>(found - std::begin(kTelling));
}

std::string CellText(const Column& column, const Value& value) {
  if (const auto* real = std::get_if<double>(&value)) {
    // Operations are counted, everything else that is no integer is a rate or a percentage.
    return fmt::format("{:.{}f}", *real, column.content == Content::kOps ? 0 : 2);
  }
  if (const auto* number = std::get_if<uint64_t>(&value)) return fmt::format("{}", *number);
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "yes" : "no";
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  return "-";
}

// One column of the table.
struct Cell {
  std::string head;
  size_t rank;                       // the smaller, the later left out
  size_t width;                      // grows with what stands in it
  std::map<size_t, size_t> at = {};  // places among the values, by group; empty: the label
  bool of_groups = false;
  bool shown = false;
};

// How the entries of one set of columns are shown.
struct Table {
  const char* kind;
  std::vector<Cell> cells;
  size_t time_width;  // grows with times that need their offset
  size_t groups = 0;
  size_t group_width = kGroupDigits;
  bool dirty = true;  // to be headed again, its columns having changed
};

struct Row {
  std::string time;
  std::string label;
  std::vector<std::string> texts;  // of the values
};

class TableWriter : public DumpWriter {
 public:
  TableWriter(TextOut& out, Zone zone, FileLabels labels, bool wide)
      : out_(out), zone_(zone), labels_(std::move(labels)), wide_(wide) {}

  void Open(const PslHeader& header) override {
    labels_.Open(header.level);
    time_head_ = PeriodHead(header.level, zone_);
    time_width_ = header.level == 'L' ? TimeText(0, zone_).size() : kPeriodWidth;
  }
  void Start(const std::vector<const std::vector<Column>*>&) override {}

  void Put(const DumpedEntry& entry) override {
    Table& table = TableOf(entry);
    if (&table != current_ || rows_.size() == kBlock) Finish();
    current_ = &table;
    Row row;
    row.time = times_.Of(entry.period,
                         [this](const RecordPeriod& period) { return PeriodText(period, zone_); });
    row.label = labels_.OfResource(entry.kind, std::get<std::string>(entry.values.front()));
    for (size_t i = 0; i < entry.values.size(); ++i) {
      row.texts.push_back(CellText(entry.columns[i], entry.values[i]));
    }
    rows_.push_back(std::move(row));
  }

  void Finish() override {
    if (rows_.empty()) return;
    Fit(*current_);
    if (current_ != printed_ || current_->dirty) PutHead(*current_);
    current_->dirty = false;
    printed_ = current_;
    for (const Row& row : rows_) PutRow(*current_, row);
    rows_.clear();
  }

 private:
  Table& TableOf(const DumpedEntry& entry) {
    const auto [found, is_new] = tables_.try_emplace(&entry.columns);
    if (is_new) found->second = MakeTable(entry);
    return found->second;
  }

  Table MakeTable(const DumpedEntry& entry) const {
    constexpr size_t kLeastWidth = 6;
    constexpr size_t kLeastGroupWidth = 9;
    Table table;
    table.kind = entry.kind;
    table.time_width = time_width_;
    for (size_t i = 0; i < entry.columns.size(); ++i) {
      const Column& column = entry.columns[i];
      const bool of_groups = column.group != 0;
      table.groups = std::max<size_t>(table.groups, column.group);
      auto cell = std::find_if(table.cells.begin(), table.cells.end(), [&](const Cell& each) {
        return of_groups && each.of_groups && each.head == column.heading;
      });
      if (cell == table.cells.end()) {
        const size_t least = of_groups ? kLeastGroupWidth : kLeastWidth;
        table.cells.push_back(
            {column.heading, RankOf(column.sort()), std::max(column.heading.size(), least)});
        cell = table.cells.end() - 1;
        cell->of_groups = of_groups;
      }
      cell->at[column.group] = i;
      if (i == 0 && labels_.NameResourcesOf(entry.kind)) table.cells.push_back({"name", 0, 4});
    }
    // The fields of the entry stand in front of those of its groups.
    std::stable_partition(table.cells.begin(), table.cells.end(),
                          [](const Cell& cell) { return !cell.of_groups; });
    for (size_t group = 1; group <= table.groups; ++group) {
      const std::string& name = labels_.OfGroup(entry.kind, group);
      if (name.empty()) continue;
      table.group_width = std::max(table.group_width, kGroupDigits + 1 + WidthOf(name));
    }
    return table;
  }

  static size_t KindWidth(const Table& table) {
    constexpr size_t kLeastKind = 4;
    return std::max(kLeastKind, std::string_view(table.kind).size());
  }

  // Makes the columns wide enough for the rows at hand, and chooses those that have room.
  void Fit(Table& table) {
    for (const Row& row : rows_) {
      if (row.time.size() <= table.time_width) continue;
      table.time_width = row.time.size();
      table.dirty = true;
    }
    for (Cell& cell : table.cells) {
      size_t width = cell.width;
      for (const Row& row : rows_) {
        if (cell.at.empty()) width = std::max(width, WidthOf(row.label));
        for (const auto& [group, at] : cell.at) width = std::max(width, row.texts[at].size());
      }
      table.dirty = table.dirty || width != cell.width;
      cell.width = width;
    }
    if (!table.dirty) return;
    size_t used = table.time_width + 1 + KindWidth(table);
    if (table.groups != 0) used += 1 + table.group_width;
    std::vector<Cell*> cells;
    for (Cell& cell : table.cells) cells.push_back(&cell);
    std::stable_sort(cells.begin(), cells.end(),
                     [](const Cell* a, const Cell* b) { return a->rank < b->rank; });
    for (Cell* const cell : cells) {
      cell->shown = wide_ || used + 1 + cell->width <= kMostWidth;
      if (cell->shown) used += 1 + cell->width;
    }
  }

  void PutHead(const Table& table) {
    if (printed_ != nullptr) out_.Put("\n");
    std::string line =
        fmt::format("{:<{}} {:<{}}", time_head_, table.time_width, "kind", KindWidth(table));
    const auto put = [&](const Cell& cell) {
      if (!cell.shown) return;
      line += cell.at.empty() ? fmt::format(" {:<{}}", cell.head, cell.width)
                              : fmt::format(" {:>{}}", cell.head, cell.width);
    };
    ForCells(table, put, [&] {
      line +=
          fmt::format(" {:<{}}", fmt::format("{:>{}}", "group", kGroupDigits), table.group_width);
    });
    PutLine(line);
  }

  void PutRow(const Table& table, const Row& row) {
    const std::string start =
        fmt::format("{:<{}} {:<{}}", row.time, table.time_width, table.kind, KindWidth(table));
    for (size_t group = table.groups == 0 ? 0 : 1; group <= table.groups; ++group) {
      const bool first = group <= 1;
      std::string line = first ? start : std::string(start.size(), ' ');
      const auto put = [&](const Cell& cell) {
        if (!cell.shown) return;
        if (cell.at.empty()) {
          line += fmt::format(" {:<{}}", first ? row.label : "", cell.width);
          return;
        }
        const auto found = cell.at.find(cell.of_groups ? group : 0);
        const bool there = found != cell.at.end() && (cell.of_groups || first);
        line += fmt::format(" {:>{}}", there ? row.texts[found->second] : "", cell.width);
      };
      ForCells(table, put, [&] {
        line += fmt::format(" {:>{}}", group, kGroupDigits);
        if (table.group_width > kGroupDigits) {
          line += fmt::format(" {:<{}}", labels_.OfGroup(table.kind, group),
                              table.group_width - kGroupDigits - 1);
        }
      });
      PutLine(line);
    }
  }

  // The cells of the entry, the group's number, the cells of the group.
  template <class PutCell, class PutGroup>
  static void ForCells(const Table& table, PutCell put, PutGroup put_group) {
    bool numbered = table.groups == 0;
    for (const Cell& cell : table.cells) {
      if (cell.of_groups && !numbered) {
        put_group();
        numbered = true;
      }
      put(cell);
    }
  }

  void PutLine(std::string& line) {
    line.erase(line.find_last_not_of(' ') + 1);
    out_.Put(line);
    out_.Put("\n");
  }

  TextOut& out_;
  Zone zone_;
  FileLabels labels_;
  bool wide_;
  std::string time_head_;
  size_t time_width_ = 0;
  PeriodCache times_;
  std::map<const std::vector<Column>*, Table> tables_;
  Table* current_ = nullptr;        // of the rows at hand
  const Table* printed_ = nullptr;  // whose head stands above
  std::vector<Row> rows_;
};

}  // namespace

std::unique_ptr<DumpWriter> MakeTableWriter(TextOut& out, Zone zone, FileLabels labels, bool wide) {
  return std::make_unique<TableWriter>(out, zone, std::move(labels), wide);
}

}  // namespace psltool
