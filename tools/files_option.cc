// Arguments FILE...: see the header.
#include "tools/files_option.h"

#include "tools/input_files.h"
#include "tools/report.h"

void AddFilesOption(Command& command, std::vector<std::string>& files) {
  command.AddOption("files", files, kFilesHelp)->Required();
  command.First([&files] {
    std::vector<std::string> found;
    if (!CollectFiles(files, found)) return kUnusable;
    files = std::move(found);
    return kDone;
  });
}
