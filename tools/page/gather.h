// Takes the values of a page out of its files, in two passes: the first adds up what every resource
// amounts to, the second keeps what ranks them over parts of the span, and all numbers of those
// that the page tells in full.
#pragma once

#include "tools/page/page_data.h"
#include "tools/showing/dump_file.h"

namespace psltool {

// The first pass. The files have been looked at (look_files.h). The worst that happened to a file;
// it is reported, and stands in the page.
DumpEnd GatherSums(const DumpRequest& request, Progress& progress, PageData& page);

// The second one. What is to be kept has been chosen (page_choice.h).
void GatherDetail(const DumpRequest& request, Progress& progress, PageData& page);

}  // namespace psltool
