// The second pass: see gather.h.
#include <cmath>
#include <memory>

#include "tools/page/gather.h"
#include "tools/page/page_writer.h"

namespace psltool {

namespace {

class DetailWriter : public PageWriter {
 public:
  using PageWriter::PageWriter;

 private:
  void Take(PageKind& kind, uint32_t number) override {
    // A file that has grown since the first pass.
    if (number >= kind.resources.size() || kind.resources[number].tallies.empty()) return;
    TakeRanks(kind, number, kind.fine, kind.fine_ranks);
    TakeRanks(kind, number, kind.coarse, kind.coarse_ranks);
    PageResource& resource = kind.resources[number];
    if (resource.detail.empty()) return;
    for (size_t i = 0; i < resource.detail.size(); ++i) {
      resource.detail[i][interval_] = At(kind.columns[i]);
    }
  }

  void TakeRanks(const PageKind& kind, uint32_t number, const PageGrid& grid, RankMatrix& ranks) {
    const size_t count = ranks.measures.size();
    if (ranks.cells.empty() || count == 0) return;
    const size_t first = (number * grid.size() + grid.of[interval_]) * count;
    if (first + count > ranks.cells.size()) return;
    for (size_t i = 0; i < count; ++i) {
      const PageMeasure& measure = kind.measures[ranks.measures[i]];
      const double value = At(measure.value);
      if (std::isnan(value)) continue;
      const double weight = At(measure.weight);
      const double most = MostOf(measure, value);
      ranks.cells[first + i].Take(value, std::isnan(weight) ? 0 : weight,
                                  std::isnan(most) ? value : most);
    }
  }
};

}  // namespace

void GatherDetail(const DumpRequest& request, Progress& progress, PageData& page) {
  const auto kept = PslReader::Reports::kKept;
  static_cast<void>(ReadFiles(request, kept, progress, page, [&](auto& array, auto& file) {
    return std::make_unique<DetailWriter>(page, array, file);
  }));
}

}  // namespace psltool
