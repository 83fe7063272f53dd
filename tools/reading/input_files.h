// Which files a command takes where its command line names files and directories.
#pragma once

#include <string>
#include <vector>

namespace psltool {

// The help text of arguments that go through CollectFiles.
inline constexpr const char* kFilesHelp =
    "Logs or archives, or directories with .psl and .psa files in or below them";

// The files that are named, in the order given: another path stands for itself, a directory for the
// logs and archives in it and below it, sorted by path. Left out of directories are hidden names
// (".units", too) and archives of runs in progress (".psa_tmp" in the name). A path named twice
// counts twice. False: a directory cannot be read, reported; or nothing is left of it all,
// reported.
bool CollectFiles(const std::vector<std::string>& paths, std::vector<std::string>& files);

// True for the name of a finished log or archive, as CollectFiles takes it from directories.
bool IsFileOfDirectory(const std::string& name);

// The directories among `paths` and those below them that hold a file of this name, sorted; hidden
// ones are left out.
std::vector<std::string> DirectoriesWith(const std::vector<std::string>& paths,
                                         const std::string& name);

}  // namespace psltool
