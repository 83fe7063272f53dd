// Series: see the header. Millions of entries pass here, so that of each only the columns are
// decoded that measures need, and its resource is looked for first where it stood in the record
// before.
#include "tools/measures/series.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "tools/output/report.h"
#include "tools/reading/kind_names.h"

namespace psltool {

namespace {

constexpr size_t kMostGroups = 6;

// Places of the numbers that are decoded: first those that all measures share, then three for each
// measure.
constexpr uint8_t kLengthAt = 0;
constexpr uint8_t kOperationsAt = 1;  // of group 1, the others behind
constexpr uint8_t kFirstMeasureAt = kOperationsAt + kMostGroups;

}  // namespace

std::vector<MeasureAt> MeasuresOf(const std::vector<Kind>& kinds,
                                  const std::vector<std::string>& names, unsigned group) {
  std::vector<MeasureAt> all;
  for (const Kind kind : kinds) {
    for (const MeasureAt& at : MeasuresOfKind(kind)) {
      const bool named = names.empty() || std::any_of(names.begin(), names.end(), [&](auto& name) {
                           return MeasureOf(name) == at.measure;
                         });
      const bool grouped = group == 0 || at.group == 0 || at.group == group;
      const bool there = std::find(all.begin(), all.end(), at) != all.end();
      if (named && grouped && !there) all.push_back(at);
    }
  }
  std::stable_sort(all.begin(), all.end(), [](const MeasureAt& a, const MeasureAt& b) {
    return std::tie(a.measure, a.group) < std::tie(b.measure, b.group);
  });
  return all;
}

// Passes the entries of one file on.
class SeriesReader::Writer : public DumpWriter {
 public:
  Writer(SeriesReader& reader, const FileCover& file, SeriesSink& sink,
         const std::function<bool(size_t)>& wanted)
      : reader_(reader),
        file_(file),
        sink_(sink),
        wanted_(wanted),
        known_(reader.known_[file.array]),
        points_(reader.request_.measures.size()) {}

  void Start(const std::vector<const std::vector<Column>*>&) override {}

  std::vector<uint8_t> WantsNumbers(const std::vector<Column>& columns) const override {
    return PartsOf(columns).places;
  }

  void StartRecord(const RecordPeriod& period) override {
    for (ResourceOrder& order : orders_) order.StartRecord();
    counts_ = !reader_.IsToldFiner(file_, period);
    if (counts_) {
      sink_.StartRecord(file_, period);
    } else {
      ++reader_.left_out_;
    }
  }

  void Put(const DumpedEntry& entry) override {
    if (!counts_) return;
    if (columns_ != &entry.columns) {
      columns_ = &entry.columns;
      parts_ = &PartsOf(entry.columns);
      kind_ = *KindOfWord(entry.kind);
    }
    const size_t resource = orders_[kind_].Find(entry, known_[kind_], [&](const std::string& key) {
      return reader_.AddResource(file_.array, kind_, key);
    });
    if (wanted_ && !wanted_(resource)) return;
    const double length = entry.numbers[kLengthAt];
    for (size_t i = 0; i < points_.size(); ++i) TakePoint(entry.numbers, length, i);
    sink_.Put({resource, kind_, entry.period, length, points_});
  }

 private:
  // What is taken of one list of columns.
  struct Parts {
    std::vector<uint8_t> places;
    bool older = false;  // the second average is one over time
  };

  const Parts& PartsOf(const std::vector<Column>& columns) const {
    const auto [found, is_new] = parts_of_.try_emplace(&columns);
    if (is_new) MakeParts(columns, found->second);
    return found->second;
  }

  void MakeParts(const std::vector<Column>& columns, Parts& parts) const {
    std::map<std::string, uint8_t> names;
    uint8_t at = kFirstMeasureAt;
    for (const MeasureAt& each : reader_.request_.measures) {
      for (const std::string_view column :
           {each.measure->value_column(), each.measure->most_column(),
            each.measure->least_column()}) {
        const std::string prefix = each.group == 0 ? "" : fmt::format("g{}_", each.group);
        if (!column.empty()) names[prefix + std::string(column)] = at;
        ++at;
      }
    }
    for (const Column& column : columns) {
      const auto found = names.find(column.name);
      uint8_t place = found == names.end() ? ColumnChoice::kNowhere : found->second;
      if (column.sort() == Role::kInterval) place = kLengthAt;
      if (column.sort() == Content::kOps) {
        place = static_cast<uint8_t>(kOperationsAt + column.group - 1);
      }
      parts.places.push_back(place);
    }
    parts.older = SecondIsOverTime(columns);
  }

  void TakePoint(const std::vector<double>& numbers, double length, size_t i) {
    const MeasureAt& each = reader_.request_.measures[i];
    const auto number = [&](size_t place) {
      return place < numbers.size() ? numbers[place] : kNoNumber;
    };
    const size_t at = kFirstMeasureAt + 3 * i;
    Point& point = points_[i];
    point = {number(at), number(at + 1), number(at + 2), length};
    if (std::isnan(point.most)) point.most = point.value;
    if (std::isnan(point.least)) point.least = point.value;
    const bool by_time =
        each.measure->weight == Weight::kTime || (parts_->older && each.measure->name == "second");
    if (!by_time) point.weight = number(kOperationsAt + each.group - 1U);
    if (std::isnan(point.weight)) point.weight = 0;
  }

  SeriesReader& reader_;
  const FileCover& file_;
  SeriesSink& sink_;
  const std::function<bool(size_t)>& wanted_;
  std::array<ResourceNumbers, kKinds>& known_;
  mutable std::map<const std::vector<Column>*, Parts> parts_of_;
  const std::vector<Column>* columns_ = nullptr;
  const Parts* parts_ = nullptr;
  Kind kind_ = kNoKind;
  bool counts_ = true;  // the record at hand
  std::array<ResourceOrder, kKinds> orders_;
  std::vector<Point> points_;
};

bool SeriesReader::Look(const std::vector<std::string>& paths) {
  const DumpRequest& dump = request_.dump;
  for (const std::string& path : paths) {
    FileCover cover;
    std::vector<RecordPeriod>& periods = periods_[path];
    const auto note = [&](const RecordPeriod& period) { periods.push_back(period); };
    if (!Cover(path, {dump.from, dump.to, dump.zone}, progress_, note, cover)) {
      unreadable_.push_back(path);
      continue;
    }
    for (const FileCover& other : files_) {
      if (other.array != cover.array || other.header.level != cover.header.level) continue;
      if (Meet(cover, other)) return FailTwice(cover, other, progress_);
    }
    files_.push_back(std::move(cover));
  }
  progress_.Clear();
  const auto first = [](const FileCover& file) {
    return file.covered.empty() ? 0 : file.covered.front().first;
  };
  std::stable_sort(files_.begin(), files_.end(), [&](const FileCover& a, const FileCover& b) {
    return std::tuple(a.array, first(a), Coarseness(a.header.level)) <
           std::tuple(b.array, first(b), Coarseness(b.header.level));
  });
  return true;
}

bool SeriesReader::IsToldFiner(const FileCover& file, const RecordPeriod& period) const {
  const int own = Coarseness(file.header.level);
  if (own == 0) return false;
  const CoveredTime time = CoverOf(period);
  return std::any_of(files_.begin(), files_.end(), [&](const FileCover& other) {
    return other.array == file.array && Coarseness(other.header.level) < own && Tells(other, time);
  });
}

void SeriesReader::EachRecord(
    const std::function<void(const FileCover&, const RecordPeriod&)>& visit) const {
  for (const FileCover& file : files_) {
    for (const RecordPeriod& period : periods_.at(file.path)) {
      if (!IsToldFiner(file, period)) visit(file, period);
    }
  }
}

size_t SeriesReader::AddResource(const std::string& array, Kind kind, std::string key) {
  resources_.push_back({array, kind, std::move(key)});
  return resources_.size() - 1;
}

int SeriesReader::Walk(SeriesSink& sink) { return Walk(sink, nullptr); }

int SeriesReader::Walk(SeriesSink& sink, std::function<bool(size_t)> wanted) {
  const auto reports = walked_ ? PslReader::Reports::kKept : PslReader::Reports::kPrinted;
  walked_ = true;
  count_ = {};
  left_out_ = 0;
  int status = kExitDone;
  const TextOut nowhere(stdout);
  const std::vector<Kind> kinds = request_.dump.kinds;
  for (const std::string& path : unreadable_) {
    PslReader reader(path, reports);
    const bool broken = !reader.Open() && reader.trouble().severity != Severity::kUnreadable;
    status = std::max(status, broken ? kExitFailed : kExitUnusable);
  }
  for (const FileCover& file : files_) {
    DumpRequest dump = request_.dump;
    dump.path = file.path;
    std::erase_if(dump.kinds, [&](Kind kind) { return !HasKind(file.header.revision, kind); });
    if (!kinds.empty() && dump.kinds.empty()) continue;
    sink.StartFile(file);
    Writer writer(*this, file, sink, wanted);
    const DumpEnd end = DumpFile(dump, writer, nowhere, progress_, reports, nullptr, &count_);
    progress_.Clear();
    status = std::max(status, StatusOf(end));
  }
  return status;
}

}  // namespace psltool
