// The way from an entry of a file to its kind, resource and interval of a page, which both passes
// over the files have in common. Millions of entries pass here: what is looked up for each of them
// is found first where it stood in the record before.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/page/page_data.h"
#include "tools/reading/kind_names.h"
#include "tools/showing/dump_file.h"

namespace psltool {

inline constexpr const char* kIntervalColumn = "interval_ms";

// The page's number of a measure's column; PageMeasure::kNowhere where it has none.
uint16_t PlaceOf(PageData& page, std::string_view column, unsigned group);

class PageWriter : public DumpWriter {
 public:
  PageWriter(PageData& page, PageArray& array, const PageFile& file)
      : page_(page), array_(array), file_(file) {}

  void Start(const std::vector<const std::vector<Column>*>&) override {}
  std::vector<uint8_t> WantsNumbers(const std::vector<Column>& columns) const override;
  void StartRecord(const RecordPeriod& period) override;
  void Put(const DumpedEntry& entry) override;

 protected:
  // An entry of a record that the page takes.
  virtual void Take(PageKind& kind, uint32_t resource) = 0;

  double At(uint16_t column) const {
    return column < numbers_->size() ? (*numbers_)[column] : kNoNumber;
  }
  // The largest and the smallest single interval that the entry at hand tells of; kNoNumber where
  // it does not. A record of a log is one interval: its value is its own extreme.
  double MostOf(const PageMeasure& measure, double value) const;
  double LeastOf(const PageMeasure& measure, double value) const;

  PageData& page_;
  PageArray& array_;
  size_t interval_ = PageFile::kPassedOver;

 private:
  void LookAt(const DumpedEntry& entry);
  size_t AddResource(const std::string& key);

  const PageFile& file_;
  PageKind* kind_ = nullptr;
  const std::vector<double>* numbers_ = nullptr;
  const std::vector<Column>* columns_ = nullptr;
  std::set<std::pair<Kind, const std::vector<Column>*>> known_;
  std::map<Kind, ResourceOrder> orders_;
  ResourceOrder* order_ = nullptr;
  size_t record_ = 0;
};

// Passes the entries of all files of the page to a writer of each, which `make` makes of the page's
// array and file. The worst that happened; it is reported when `reports` says so.
template <class Make>
DumpEnd ReadFiles(const DumpRequest& request, PslReader::Reports reports, Progress& progress,
                  PageData& page, Make make) {
  const TextOut nowhere(stdout);
  DumpEnd worst = DumpEnd::kDone;
  for (auto& [name, array] : page.arrays) {
    for (PageFile& file : array.files) {
      DumpRequest of_file = request;
      of_file.path = file.path;
      std::erase_if(of_file.kinds, [&](Kind kind) { return !HasKind(file.revision, kind); });
      if (!request.kinds.empty() && of_file.kinds.empty() && file.level != '?') continue;
      auto writer = make(array, file);
      Finding trouble;
      const DumpEnd end = DumpFile(of_file, *writer, nowhere, progress, reports, &trouble);
      progress.Clear();
      if (end != DumpEnd::kDone) file.trouble = Describe(trouble);
      worst = std::max(worst, end);
    }
  }
  return worst;
}

}  // namespace psltool
