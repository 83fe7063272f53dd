// Arguments FILE...: see the header.
#include "tools/files_option.h"

#include "tools/input_files.h"
#include "tools/report.h"

void AddFilesOption(CLI::App& command, std::vector<std::string>& files) {
  command.add_option("files", files, kFilesHelp)->required();
  command.parse_complete_callback([&files] {
    std::vector<std::string> found;
    if (!CollectFiles(files, found)) throw CLI::RuntimeError(kUnusable);
    files = std::move(found);
  });
}
