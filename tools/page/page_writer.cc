// From entries to resources: see the header.
#include "tools/page/page_writer.h"

#include <algorithm>
#include <cmath>

namespace psltool {

namespace {

constexpr size_t kMostColumns = ColumnChoice::kNowhere;  // places of numbers are bytes

PageKind MakeKind(Kind kind, PageData& page, size_t intervals) {
  PageKind made;
  made.kind = kind;
  made.groups = GroupsOfKind(kind);
  for (const MeasureAt& at : MeasuresOfKind(kind)) {
    PageMeasure measure;
    measure.at = at;
    measure.value = PlaceOf(page, at.measure->value_column(), at.group);
    measure.most = PlaceOf(page, at.measure->most_column(), at.group);
    measure.least = PlaceOf(page, at.measure->least_column(), at.group);
    measure.weight = at.measure->weight == Weight::kOperations ? PlaceOf(page, "ops", at.group)
                                                               : PlaceOf(page, kIntervalColumn, 0);
    made.measures.push_back(measure);
  }
  made.totals.resize(made.measures.size());
  for (MeasureTotals& each : made.totals) {
    each.sums.assign(intervals, 0);
    each.weights.assign(intervals, 0);
    each.most.assign(intervals, kNoNumber);
    each.least.assign(intervals, kNoNumber);
  }
  made.operations.assign(made.groups, std::vector<double>(intervals, 0));
  made.counted.assign(intervals, 0);
  made.milliseconds.assign(intervals, 0);
  return made;
}

}  // namespace

uint16_t PlaceOf(PageData& page, std::string_view column, unsigned group) {
  if (column.empty()) return PageMeasure::kNowhere;
  std::string name(column);
  if (group != 0) name = "g" + std::to_string(group) + "_" + name;
  return page.NumberOf(name, static_cast<uint8_t>(group));
}

std::vector<uint8_t> PageWriter::WantsNumbers(const std::vector<Column>& columns) const {
  std::vector<uint8_t> places(columns.size(), ColumnChoice::kNowhere);
  for (size_t i = 0; i < columns.size(); ++i) {
    if (columns[i].name == "key") continue;
    const uint16_t number = page_.NumberOf(columns[i].name, columns[i].group);
    if (number < kMostColumns) places[i] = static_cast<uint8_t>(number);
  }
  return places;
}

void PageWriter::StartRecord(const RecordPeriod&) {
  interval_ = record_ < file_.intervals.size() ? file_.intervals[record_] : PageFile::kPassedOver;
  ++record_;
  columns_ = nullptr;
}

void PageWriter::Put(const DumpedEntry& entry) {
  if (interval_ == PageFile::kPassedOver) return;
  if (columns_ != &entry.columns) LookAt(entry);
  numbers_ = &entry.numbers;
  const size_t resource = order_->Find(entry, kind_->numbers,
                                       [this](const std::string& key) { return AddResource(key); });
  Take(*kind_, static_cast<uint32_t>(resource));
}

double PageWriter::MostOf(const PageMeasure& measure, double value) const {
  const double most = At(measure.most);
  if (!std::isnan(most)) return most;
  const bool own = array_.intervals[interval_].level == 'L' ||
                   measure.at.measure->together == Together::kLargest;
  return own ? value : kNoNumber;
}

double PageWriter::LeastOf(const PageMeasure& measure, double value) const {
  const double least = At(measure.least);
  if (!std::isnan(least)) return least;
  return array_.intervals[interval_].level == 'L' ? value : kNoNumber;
}

void PageWriter::LookAt(const DumpedEntry& entry) {
  columns_ = &entry.columns;
  const Kind kind = *KindOfWord(entry.kind);
  auto found = array_.kinds.find(kind);
  if (found == array_.kinds.end()) {
    found = array_.kinds.emplace(kind, MakeKind(kind, page_, array_.intervals.size())).first;
  }
  kind_ = &found->second;
  order_ = &orders_[kind];
  order_->StartRecord();
  if (!known_.insert({kind, columns_}).second) return;
  for (const Column& column : entry.columns) {
    if (column.name == "key") continue;
    const uint16_t number = page_.NumberOf(column.name, column.group);
    const auto at = std::find(kind_->columns.begin(), kind_->columns.end(), number);
    if (at == kind_->columns.end()) kind_->columns.push_back(number);
  }
  if (!SecondIsOverTime(entry.columns)) return;
  for (PageMeasure& measure : kind_->measures) {
    if (measure.at.measure->name == "second") measure.weight = PlaceOf(page_, kIntervalColumn, 0);
  }
}

size_t PageWriter::AddResource(const std::string& key) {
  PageResource& resource = kind_->resources.emplace_back();
  resource.key = key;
  resource.tallies.resize(kind_->measures.size());
  resource.operations.resize(kind_->groups);
  return kind_->resources.size() - 1;
}

}  // namespace psltool
