// Files of an export: see the header.
#include "tools/exporting/export_file.h"

#include <algorithm>
#include <set>

#include "engine/names.h"
#include "tools/reading/file_summary.h"

namespace psltool {

namespace {

const char* LevelWord(char level) {
  if (level == 'H') return "hour";
  return level == 'D' ? "day" : "log";
}

}  // namespace

// Makes rows of the entries of one file.
class Exporter::Writer : public DumpWriter {
 public:
  Writer(Exporter& exporter, const std::string& path) : exporter_(exporter) {
    file_.path = path;
    file_.name = BaseName(path);
  }

  void Open(const PslHeader& header) override {
    file_.header = header;
    file_.level = LevelWord(header.level);
    file_.array = PartsOfName(file_.path, header.level).array;
    if (file_.array.empty()) file_.array = exporter_.request_.array;
  }

  // Besides the key, which stands first.
  std::vector<bool> Wants(const std::vector<Column>& columns) const override {
    const ExportRequest& request = exporter_.request_;
    if (request.metrics.empty() && request.statistics.empty()) return {};
    std::vector<bool> wanted(columns.size(), false);
    wanted.front() = true;
    for (const ExportColumn& column : request.ColumnsOf(columns)) wanted[column.at] = true;
    return wanted;
  }

  void Start(const std::vector<const std::vector<Column>*>& all) override {
    for (const std::vector<Column>* columns : all) {
      columns_[columns] = exporter_.request_.ColumnsOf(*columns);
    }
    started_ = exporter_.sink_.StartFile(file_);
    exporter_.failed_ = !started_;
  }

  // Of what an entry does not say there is no row.
  void Put(const DumpedEntry& entry) override {
    if (failed()) return;
    const auto& key = std::get<std::string>(entry.values.front());
    const uint32_t resource = ResourceOf(entry.kind, key);
    uint64_t rows = 0;
    for (const ExportColumn& column : columns_.at(&entry.columns)) {
      const Value& value = entry.values[column.at];
      if (std::holds_alternative<std::monostate>(value)) continue;
      if (exporter_.sink_.Put(
              {entry.period.stamp, entry.period, resource, entry.kind, key, column, value})) {
        ++rows;
        continue;
      }
      exporter_.failed_ = true;
      return;
    }
    exporter_.rows_ += rows;
    if (rows != 0 && !exporter_.sink_.EndEntry()) exporter_.failed_ = true;
  }

  bool failed() const override { return exporter_.failed_; }
  bool started() const { return started_; }

 private:
  uint32_t ResourceOf(const char* kind, const std::string& key) {
    name_.assign(file_.array);
    for (const char* part : {file_.level, kind, key.c_str()}) {
      name_ += '\0';
      name_ += part;
    }
    const auto number = static_cast<uint32_t>(exporter_.resources_.size());
    return exporter_.resources_.try_emplace(name_, number).first->second;
  }

  Exporter& exporter_;
  ExportFile file_ = {};
  std::unordered_map<const std::vector<Column>*, std::vector<ExportColumn>> columns_;
  std::string name_;
  bool started_ = false;
};

std::vector<ExportColumn> ExportRequest::ColumnsOf(const std::vector<Column>& columns) const {
  std::vector<ExportColumn> found = ExportColumnsOf(columns);
  std::erase_if(found, [this](const ExportColumn& column) {
    const bool metric = std::any_of(metrics.begin(), metrics.end(), [&](const std::string& name) {
      return IsCalled(column, name);
    });
    const auto statistic = std::find(statistics.begin(), statistics.end(), column.row->statistic);
    return (!metrics.empty() && !metric) || (!statistics.empty() && statistic == statistics.end());
  });
  return found;
}

namespace {

// Gathers columns.
class Gatherer : public DumpWriter {
 public:
  explicit Gatherer(const ExportRequest& request) : request_(request) {}

  void Start(const std::vector<const std::vector<Column>*>& all) override {
    for (const std::vector<Column>* columns : all) {
      for (ExportColumn& column : request_.ColumnsOf(*columns)) {
        if (seen_.insert(column.number).second) found_.push_back(std::move(column));
      }
    }
  }
  void Put(const DumpedEntry&) override {}

  const std::vector<ExportColumn>& found() const { return found_; }

 private:
  const ExportRequest& request_;
  std::set<uint16_t> seen_;
  std::vector<ExportColumn> found_;
};

}  // namespace

std::vector<ExportColumn> ColumnsOfFiles(ExportRequest request,
                                         const std::vector<std::string>& paths) {
  Gatherer gatherer(request);
  for (const std::string& path : paths) {
    request.dump.path = path;
    LookAtColumns(request.dump, gatherer);
  }
  return gatherer.found();
}

DumpEnd Exporter::Take(const std::string& path) {
  request_.dump.path = path;
  Writer writer(*this, path);
  const TextOut nowhere(stdout);  // what fails is told by the writer
  Finding trouble;
  const DumpEnd end =
      DumpFile(request_.dump, writer, nowhere, progress_, reports_, &trouble, &count_);
  if (failed_ || !writer.started()) return end;
  const ExportFileEnd file_end = end == DumpEnd::kDone     ? ExportFileEnd::kWhole
                                 : end == DumpEnd::kBroken ? ExportFileEnd::kBroken
                                                           : ExportFileEnd::kUnreadable;
  failed_ = !sink_.EndFile(file_end, end == DumpEnd::kDone ? "" : Describe(trouble));
  return end;
}

}  // namespace psltool
