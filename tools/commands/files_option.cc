// Arguments FILE...: see the header.
#include "tools/commands/files_option.h"

#include "tools/output/report.h"
#include "tools/reading/input_files.h"

namespace psltool {

void AddFilesOption(Command& command, std::vector<std::string>& files) {
  command.AddOption("files", files, kFilesHelp)->Required()->StandsFor(Stands::kInput);
  command.First([&files] {
    std::vector<std::string> found;
    if (!CollectFiles(files, found)) return kExitUnusable;
    files = std::move(found);
    return kExitDone;
  });
}

}  // namespace psltool
