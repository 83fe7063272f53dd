// Rows of an export as CSV, one value or one resource a line, and as one JSON object per line.
#include <array>
#include <unordered_map>

#include "tools/exporting/export_sink.h"
#include "tools/output/json.h"
#include "tools/showing/dump_writers.h"

namespace psltool {

namespace {

// What all have in common: a head before the first row, and that the texts of a file and of a
// record's time are made once.
class TextSink : public ExportSink {
 public:
  TextSink(TextOut& out, Zone zone, const Labels& labels)
      : out_(out), zone_(zone), labels_(labels) {}
  bool StartFile(const ExportFile& file) override {
    if (!headed_) PutHead();
    headed_ = true;
    name_ = file.array;
    array_ = Quoted(file.array);
    level_ = file.level;
    return !out_.failed();
  }
  bool EndFile(ExportFileEnd, const std::string&) override { return !out_.failed(); }
  bool Finish() override { return !out_.failed(); }

 protected:
  virtual void PutHead() {}
  virtual std::string Quoted(const std::string& text) const { return CsvText(text); }

  TextOut& out() { return out_; }
  void TakeTimes(const RecordPeriod& period) {
    const std::array<uint32_t, 3> times = {period.stamp, period.begin, period.end};
    if (!time_.empty() && times == times_) return;
    times_ = times;
    time_ = IsoTimeText(period.stamp, zone_);
    begin_ = IsoTimeText(period.begin, zone_);
    end_ = IsoTimeText(period.end, zone_);
  }
  const std::string& time() const { return time_; }
  const std::string& begin() const { return begin_; }
  const std::string& end() const { return end_; }
  const std::string& array() const { return array_; }
  const char* level() const { return level_; }
  // Without a file of labels rows have no names.
  bool labelled() const { return !labels_.empty(); }
  std::string NameOf(const ExportRow& row) const {
    return Quoted(labels_.OfResource(name_, row.kind, row.key));
  }
  std::string NameOfGroup(const ExportRow& row) const {
    return Quoted(labels_.OfGroup(row.kind, row.column.group));
  }

 private:
  TextOut& out_;
  Zone zone_;
  const Labels& labels_;
  bool headed_ = false;
  std::string name_;   // of the array
  std::string array_;  // the same, quoted
  const char* level_ = "";
  std::array<uint32_t, 3> times_ = {};
  std::string time_;
  std::string begin_;
  std::string end_;
};

// A value as text: exact, the shortest digits that read back as the same number; flags are 1 and 0.
std::string NumberText(const Value& value) {
  if (const auto* number = std::get_if<uint64_t>(&value)) return fmt::format("{}", *number);
  if (const auto* real = std::get_if<double>(&value)) return fmt::format("{}", *real);
  return std::get<bool>(value) ? "1" : "0";
}

class CsvSink : public TextSink {
 public:
  using TextSink::TextSink;

  bool Put(const ExportRow& row) override {
    TakeTimes(row.period);
    out().Print("{},{},{},{},{},{},{},{},{},{},{}", time(), array(), row.kind, row.key,
                row.column.metric, row.column.row->statistic, NumberText(row.value),
                row.column.row->unit, level(), begin(), end());
    if (labelled()) out().Print(",{},{}", NameOf(row), NameOfGroup(row));
    out().Put("\n");
    return !out().failed();
  }

 protected:
  void PutHead() override {
    out().Put("time,array,kind,key,metric,statistic,value,unit,level,begin,end");
    out().Put(labelled() ? ",name,group_name\n" : "\n");
  }
};

class JsonLinesSink : public TextSink {
 public:
  using TextSink::TextSink;

  bool Put(const ExportRow& row) override {
    TakeTimes(row.period);
    out().Print(R"({{"time":"{}","array":{},"kind":"{}","key":"{}","metric":"{}","statistic":"{}",)"
                R"("value":{},"unit":"{}","level":"{}","begin":"{}","end":"{}")",
                time(), array(), row.kind, row.key, row.column.metric, row.column.row->statistic,
                NumberText(row.value), row.column.row->unit, level(), begin(), end());
    if (labelled()) out().Print(R"(,"name":{},"group_name":{})", NameOf(row), NameOfGroup(row));
    out().Put("}\n");
    return !out().failed();
  }

 protected:
  std::string Quoted(const std::string& text) const override { return JsonText(text); }
};

class WideSink : public TextSink {
 public:
  WideSink(TextOut& out, Zone zone, const Labels& labels, std::vector<ExportColumn> columns)
      : TextSink(out, zone, labels), columns_(std::move(columns)), cells_(columns_.size()) {
    for (size_t i = 0; i < columns_.size(); ++i) places_[columns_[i].number] = i;
  }

  bool Put(const ExportRow& row) override {
    if (start_.empty()) {
      TakeTimes(row.period);
      start_ = fmt::format("{},{},{},{},{},{},{}", time(), array(), row.kind, row.key, level(),
                           begin(), end());
      if (labelled()) start_ += "," + NameOf(row);
    }
    cells_[places_.at(row.column.number)] = NumberText(row.value);
    return true;
  }
  bool EndEntry() override {
    out().Put(start_);
    for (std::string& cell : cells_) {
      out().Put(",");
      out().Put(cell);
      cell.clear();
    }
    out().Put("\n");
    start_.clear();
    return !out().failed();
  }

 protected:
  void PutHead() override {
    out().Put("time,array,kind,key,level,begin,end");
    if (labelled()) out().Put(",name");
    for (const ExportColumn& column : columns_) {
      out().Print(",{}_{}", column.metric, column.row->statistic);
    }
    out().Put("\n");
  }

 private:
  std::vector<ExportColumn> columns_;
  std::unordered_map<uint16_t, size_t> places_;  // of the columns, by their numbers
  std::string start_;  // of the line in progress, empty when there is none
  std::vector<std::string> cells_;
};

}  // namespace

std::unique_ptr<ExportSink> MakeCsvSink(TextOut& out, Zone zone, const Labels& labels) {
  return std::make_unique<CsvSink>(out, zone, labels);
}

std::unique_ptr<ExportSink> MakeJsonLinesSink(TextOut& out, Zone zone, const Labels& labels) {
  return std::make_unique<JsonLinesSink>(out, zone, labels);
}

std::unique_ptr<ExportSink> MakeWideSink(TextOut& out, Zone zone, const Labels& labels,
                                         std::vector<ExportColumn> columns) {
  return std::make_unique<WideSink>(out, zone, labels, std::move(columns));
}

}  // namespace psltool
