// Rows of an export as CSV and as one JSON object per line.
#include <array>
#include <nlohmann/json.hpp>

#include "tools/dump_writers.h"
#include "tools/export_sink.h"

namespace {

// What both have in common: the time as text is made once per record.
class TextSink : public ExportSink {
 public:
  TextSink(TextOut& out, Zone zone) : out_(out), zone_(zone) {}
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

 private:
  TextOut& out_;
  Zone zone_;
  std::array<uint32_t, 3> times_ = {};
  std::string time_;
  std::string begin_;
  std::string end_;
};

class CsvSink : public TextSink {
 public:
  using TextSink::TextSink;

  bool StartFile(const ExportFile& file) override {
    if (!headed_) out().Put("time,array,kind,key,metric,statistic,value,unit,level,begin,end\n");
    headed_ = true;
    array_ = CsvText(file.array);
    level_ = file.level;
    return !out().failed();
  }
  bool Put(const ExportRow& row) override {
    TakeTimes(row.period);
    out().Print("{},{},{},{},{},{},{},{},{},{},{}\n", time(), array_, row.kind, row.key,
                row.column.metric, row.column.row->statistic, NumberText(row.value),
                row.column.row->unit, level_, begin(), end());
    return !out().failed();
  }

 private:
  bool headed_ = false;
  std::string array_;
  const char* level_ = "";
};

class JsonLinesSink : public TextSink {
 public:
  using TextSink::TextSink;

  bool StartFile(const ExportFile& file) override {
    array_ = JsonText(file.array);
    level_ = file.level;
    return !out().failed();
  }
  bool Put(const ExportRow& row) override {
    TakeTimes(row.period);
    out().Print(R"({{"time":"{}","array":{},"kind":"{}","key":"{}","metric":"{}","statistic":"{}",)"
                R"("value":{},"unit":"{}","level":"{}","begin":"{}","end":"{}"}})"
                "\n",
                time(), array_, row.kind, row.key, row.column.metric, row.column.row->statistic,
                NumberText(row.value), row.column.row->unit, level_, begin(), end());
    return !out().failed();
  }

 private:
  std::string array_;
  const char* level_ = "";
};

}  // namespace

std::unique_ptr<ExportSink> MakeCsvSink(TextOut& out, Zone zone) {
  return std::make_unique<CsvSink>(out, zone);
}

std::unique_ptr<ExportSink> MakeJsonLinesSink(TextOut& out, Zone zone) {
  return std::make_unique<JsonLinesSink>(out, zone);
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

std::string Utf8Text(const std::string& text) {
  return nlohmann::json::parse(JsonText(text)).get<std::string>();
}
