// Arguments FILE...: see the header.
#include "tools/commands/files_option.h"

#include <algorithm>
#include <filesystem>

#include "engine/names.h"
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

bool MayWrite(const std::string& option, const std::string& out,
              const std::vector<std::string>& files) {
  const bool log = IsLogName(out) || IsArchiveName(out);
  const bool input = std::any_of(files.begin(), files.end(), [&](const std::string& file) {
    std::error_code error;
    return !out.empty() && std::filesystem::equivalent(file, out, error);
  });
  return (!log && !input) || Fail(option, out + " is a log or archive, which is never overwritten");
}

}  // namespace psltool
