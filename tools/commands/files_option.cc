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
              const std::vector<std::string>& files, const std::vector<std::string>& others) {
  // An archive under its temporary name would get the final one from the run that makes it.
  if (IsLogName(out) || IsArchiveName(out) || IsTemporaryName(BaseName(out)) ||
      out.ends_with(".pml")) {
    return Fail(option, out + " is a log or archive, which is never overwritten");
  }
  const auto is_output = [&](const std::string& file) {
    std::error_code error;
    return !out.empty() && std::filesystem::equivalent(file, out, error);
  };
  const bool input = std::any_of(files.begin(), files.end(), is_output) ||
                     std::any_of(others.begin(), others.end(), is_output);
  return !input || Fail(option, out + " is an input, which is never overwritten");
}

}  // namespace psltool
