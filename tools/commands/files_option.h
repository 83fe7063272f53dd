// The arguments of commands that take any number of files.
#pragma once

#include <string>
#include <vector>
#include "tools/commands/command_line.h"

namespace psltool {

// Adds the arguments FILE... . When the command runs, `files` holds files only: in the place of a
// directory those in and below it (CollectFiles). Ends the command with status 2 where a directory
// cannot be read or there is no file at all, which is reported.
void AddFilesOption(Command& command, std::vector<std::string>& files);

// Whether `out` may be written: "-o archive/*.psa" would make an output of the first archive. No
// name of a log or archive is, whether it is there or not, and no file that is read, one of the
// `others` like rules and labels included. False: reported of the option, as "export -o".
bool MayWrite(const std::string& option, const std::string& out,
              const std::vector<std::string>& files, const std::vector<std::string>& others = {});

}  // namespace psltool
