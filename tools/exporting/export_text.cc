// Rows of an export as CSV, one value or one resource a line, and as one JSON object per line.
#include <array>
#include <unordered_map>

#include "tools/exporting/export_sink.h"
#include "tools/output/json.h"
#include "tools/showing/dump_writers.h"

namespace psltool {

namespace {

// What both have in common: the time as text is made once per record.
class TextSink : public ExportSink {
 public:
  TextSink(TextOut& out, Zone zone, const Labels& labels)
      : out_(out), zone_(zone), labels_(labels) {}
  bool EndFile(ExportFileEnd, const std::string&) override { return !out_.failed(); }
  bool Finish() override { return !out_.failed(); }

 protected:
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
  const Labels& labels() const { return labels_; }

 private:
  TextOut& out_;
  Zone zone_;
  const Labels& labels_;
  std::array<uint32_t, 3> times_ = {};
  std::string time_;
  std::string begin_;
  std::string end_;
};

class CsvSink : public TextSink {
 public:
  using TextSink::TextSink;

  bool StartFile(const ExportFile& file) override {
    if (!headed_) {
      out().Put("time,array,kind,key,metric,statistic,value,unit,level,begin,end");
      out().Put(labels().empty() ? "\n" : ",name,group_name\n");
    }
    headed_ = true;
    name_ = file.array;
    array_ = CsvText(file.array);
    level_ = file.level;
    return !out().failed();
  }
  bool Put(const ExportRow& row) override {
    TakeTimes(row.period);
    out().Print("{},{},{},{},{},{},{},{},{},{},{}", time(), array_, row.kind, row.key,
                row.column.metric, row.column.row->statistic, NumberText(row.value),
                row.column.row->unit, level_, begin(), end());
    if (!labels().empty()) {
      out().Print(",{},{}", CsvText(labels().OfResource(name_, row.kind, row.key)),
                  CsvText(labels().OfGroup(row.kind, row.column.group)));
    }
    out().Put("\n");
    return !out().failed();
  }

 private:
  bool headed_ = false;
  std::string name_;   // of the array
  std::string array_;  // the same as a cell
  const char* level_ = "";
};

class JsonLinesSink : public TextSink {
 public:
  using TextSink::TextSink;

  bool StartFile(const ExportFile& file) override {
    name_ = file.array;
    array_ = JsonText(file.array);
    level_ = file.level;
    return !out().failed();
  }
  bool Put(const ExportRow& row) override {
    TakeTimes(row.period);
    out().Print(R"({{"time":"{}","array":{},"kind":"{}","key":"{}","metric":"{}","statistic":"{}",)"
                R"("value":{},"unit":"{}","level":"{}","begin":"{}","end":"{}")",
                time(), array_, row.kind, row.key, row.column.metric, row.column.row->statistic,
                NumberText(row.value), row.column.row->unit, level_, begin(), end());
    if (!labels().empty()) {
      out().Print(R"(,"name":{},"group_name":{})",
                  JsonText(labels().OfResource(name_, row.kind, row.key)),
                  JsonText(labels().OfGroup(row.kind, row.column.group)));
    }
    out().Put("}\n");
    return !out().failed();
  }

 private:
  std::string name_;   // of the array
  std::string array_;  // the same in JSON
  const char* level_ = "";
};

class WideSink : public TextSink {
 public:
  WideSink(TextOut& out, Zone zone, const Labels& labels, std::vector<ExportColumn> columns)
      : TextSink(out, zone, labels), columns_(std::move(columns)), cells_(columns_.size()) {
    for (size_t i = 0; i < columns_.size(); ++i) places_[columns_[i].number] = i;
  }

  bool StartFile(const ExportFile& file) override {
    if (!headed_) PutHead();
    headed_ = true;
    name_ = file.array;
    array_ = CsvText(file.array);
    level_ = file.level;
    return !out().failed();
  }
  bool Put(const ExportRow& row) override {
    if (start_.empty()) {
      TakeTimes(row.period);
      start_ = fmt::format("{},{},{},{},{},{},{}", time(), array_, row.kind, row.key, level_,
                           begin(), end());
      if (!labels().empty()) {
        start_ += "," + CsvText(labels().OfResource(name_, row.kind, row.key));
      }
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

 private:
  void PutHead() {
    out().Put("time,array,kind,key,level,begin,end");
    if (!labels().empty()) out().Put(",name");
    for (const ExportColumn& column : columns_) {
      out().Print(",{}_{}", column.metric, column.row->statistic);
    }
    out().Put("\n");
  }

  std::vector<ExportColumn> columns_;
  std::unordered_map<uint16_t, size_t> places_;  // of the columns, by their numbers
  bool headed_ = false;
  std::string name_;
  std::string array_;
  const char* level_ = "";
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

std::string NumberText(const Value& value) {
  if (const auto* number = std::get_if<uint64_t>(&value)) return fmt::format("{}", *number);
  if (const auto* real = std::get_if<double>(&value)) return fmt::format("{}", *real);
  return std::get<bool>(value) ? "1" : "0";
}

double NumberOf(const Value& value) {
  if (const auto* number = std::get_if<uint64_t>(&value)) return static_cast<double>(*number);
  if (const auto* real = std::get_if<double>(&value)) return *real;
  return std::get<bool>(value) ? 1 : 0;
}

}  // namespace psltool
