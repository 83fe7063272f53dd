// The first look at the files of a page: which arrays they are of, and which of their records the
// page takes. As everywhere, a record of an archive counts only where no finer file tells its time.
#pragma once

#include <string>
#include <vector>

#include "tools/page/page_data.h"
#include "tools/showing/dump_file.h"

namespace psltool {

// Fills in arrays, files and intervals. False: two files of one level tell the same time of an
// array, reported. A file that cannot be opened is in the page with nothing in it; what is wrong
// with files is told when they are read (gather.h).
bool LookAtFiles(const std::vector<std::string>& paths, const DumpRequest& request,
                 Progress& progress, PageData& page);

}  // namespace psltool
