// Manual pages of psltool and its commands, and the list of options in that of the archiver.
#pragma once

#include <string>

#include "tools/commands/command_facts.h"

namespace psltool {

// psltool(1). `docs`: where the documentation is installed.
std::string ManOfProgram(const CommandFacts& program, const std::string& docs);

// psltool-<command>(1), its own commands included. `told`: the page that has a section about it;
// may be empty.
std::string ManOfCommand(const CommandFacts& program, const CommandFacts& command,
                         const std::string& told);

// Entries of a list, for the options with this heading.
std::string ManOfOptions(const CommandFacts& command, const std::string& heading);

}  // namespace psltool
