// Rows of an export as OpenMetrics 1.0 text. Its rules are stricter than the order of the files:
// the samples of a metric family stand together, within it those of one set of labels, with stamps
// that rise. So all samples are sorted before anything is written.
#include <algorithm>
#include <cmath>
#include <vector>

#include "tools/exporting/export_sink.h"
#include "tools/exporting/sample_sort.h"
#include "tools/output/metrics_label.h"

namespace psltool {

namespace {

// Units of an export in terms of those that OpenMetrics wants: seconds, bytes, ratios from 0 to 1.
struct BaseUnit {
  std::string_view unit;  // of the export
  std::string_view base;
  double (*value)(double);
};

constexpr BaseUnit kUnits[] = {
    {"milliseconds", "seconds", [](double value) { return value / 1000.0; }},
    // A percentage is one of hundredths of a percent, which are whole numbers.
    {"percent", "ratio", [](double value) { return std::round(value * 100.0) / 10000.0; }},
    {"1024_per_second", "bytes_per_second", [](double value) { return value * 1024.0; }},
    {"operations", "operations", [](double value) { return value; }},
    {"operations_per_second", "operations_per_second", [](double value) { return value; }},
};

// Null: codes, flags and values in a unit of the file have none that others know.
const BaseUnit* UnitOf(const MetricRow& row) {
  const auto* const unit =
      std::find_if(std::begin(kUnits), std::end(kUnits),
                   [&](const BaseUnit& each) { return each.unit == row.unit; });
  return unit == std::end(kUnits) ? nullptr : unit;
}

std::string FamilyOf(const MetricRow& row) {
  const BaseUnit* const unit = UnitOf(row);
  std::string name = "psl";
  if (!row.family.empty()) name += fmt::format("_{}", row.family);
  if (unit != nullptr) name += fmt::format("_{}", unit->base);
  return name;
}

// The order of output: family, then resource, then counter group or place of a carried word.
constexpr int kFamilyShift = 40;
constexpr int kResourceShift = 8;

uint64_t OrderOf(const ExportRow& row) {
  const uint64_t number = row.column.number;
  return (number >> 8) << kFamilyShift | uint64_t{row.resource} << kResourceShift | (number & 0xFF);
}

class OpenMetricsSink : public ExportSink {
 public:
  OpenMetricsSink(TextOut& out, const std::string& scratch, const Labels& labels)
      : out_(out), sort_(scratch), names_(labels) {}

  bool StartFile(const ExportFile& file) override {
    array_ = file.array;
    start_ = fmt::format(R"(array="{}",level="{}")", MetricsLabel(file.array), file.level);
    return true;
  }

  bool Put(const ExportRow& row) override {
    if (row.resource >= labels_.size()) labels_.resize(row.resource + size_t{1});
    std::string& labels = labels_[row.resource];
    if (labels.empty()) {
      labels = fmt::format(R"({},kind="{}",key="{}")", start_, row.kind, row.key);
      const std::string& name = names_.OfResource(array_, row.kind, row.key);
      if (!name.empty()) labels += fmt::format(R"(,name="{}")", MetricsLabel(name));
      if (row.resource >= kinds_.size()) kinds_.resize(row.resource + size_t{1});
      kinds_[row.resource] = row.kind;
    }
    const size_t family = row.column.number >> 8U;
    if (family >= families_.size()) families_.resize(family + 1);
    families_[family] = row.column.row;
    return sort_.Add({OrderOf(row), row.stamp, NumberOr(row.value, 0)});
  }

  bool EndFile(ExportFileEnd, const std::string&) override { return true; }

  bool Finish() override {
    const MetricRow* last = nullptr;
    std::string name;
    const bool merged = sort_.Merge([&](const Sample& sample) {
      const MetricRow* const row = families_[sample.series >> kFamilyShift];
      if (row != last) {
        last = row;
        name = FamilyOf(*row);
        PutHead(name, *row);
      }
      PutSample(name, *row, sample);
      return !out_.failed();
    });
    if (merged) out_.Put("# EOF\n");
    return merged && !out_.failed();
  }

 private:
  void PutHead(const std::string& name, const MetricRow& row) {
    out_.Print("# TYPE {} gauge\n", name);
    const BaseUnit* const unit = UnitOf(row);
    if (unit != nullptr) out_.Print("# UNIT {} {}\n", name, unit->base);
    out_.Print("# HELP {} {}\n", name, row.help);
  }

  void PutSample(const std::string& name, const MetricRow& row, const Sample& sample) {
    const auto resource = static_cast<uint32_t>(sample.series >> kResourceShift);
    const auto part = static_cast<unsigned>(sample.series & 0xFF);
    out_.Print("{}{{{}", name, labels_[resource]);
    if (row.metric == "word") {
      out_.Print(R"(,offset="{}")", part);
    } else if (part != 0) {
      out_.Print(R"(,group="{}")", part);
      const std::string& group = names_.OfGroup(kinds_[resource], part);
      if (!group.empty()) out_.Print(R"(,group_name="{}")", MetricsLabel(group));
    }
    const BaseUnit* const unit = UnitOf(row);
    const double value = unit == nullptr ? sample.value : unit->value(sample.value);
    out_.Print("}} {} {}\n", value, sample.stamp);
  }

  TextOut& out_;
  SampleSort sort_;
  const Labels& names_;
  std::string array_;                // of the file at hand
  std::string start_;                // of its labels
  std::vector<std::string> labels_;  // by resource
  std::vector<const char*> kinds_;   // likewise
  std::vector<const MetricRow*> families_;
};

}  // namespace

std::unique_ptr<ExportSink> MakeOpenMetricsSink(TextOut& out, const std::string& scratch,
                                                const Labels& labels) {
  return std::make_unique<OpenMetricsSink>(out, scratch, labels);
}

}  // namespace psltool
