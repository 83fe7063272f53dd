// A report page as text: data packed piece by piece, and what shows it.
#pragma once

#include <string>
#include <vector>

#include "tools/page/page_data.h"
#include "tools/reading/civil_time.h"
#include "tools/reading/labels.h"

namespace psltool {

// The packed pieces of a page, each with a number. The first one tells what the others are.
class PagePieces {
 public:
  PagePieces() : packed_(1) {}
  size_t Add(std::string packed) {
    bytes_ += packed.size();
    packed_.push_back(std::move(packed));
    return packed_.size() - 1;
  }
  void SetFirst(std::string packed) {
    bytes_ += packed.size();
    packed_.front() = std::move(packed);
  }
  size_t bytes() const { return bytes_; }
  const std::vector<std::string>& packed() const { return packed_; }

 private:
  std::vector<std::string> packed_;
  size_t bytes_ = 0;
};

struct PageSettings {
  Zone zone = Zone::kLocal;
  size_t bytes = 0;  // which the data should not pass
  const Labels* labels = nullptr;
};

// Packs everything. Numbers of resources told in full are given back piece by piece, and left out
// when the page has as many bytes as it may have.
PagePieces PackPage(const PageSettings& settings, PageData& page);

// The whole page, ready to be opened.
std::string PageText(const PagePieces& pieces);

}  // namespace psltool
