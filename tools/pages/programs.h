// Both programs with all that they take, in one form: psltool's table of commands, and the
// archiver's table of options as a command without commands.
#pragma once

#include <string>

#include "tools/commands/command_facts.h"

namespace psltool {

CommandFacts PsltoolFacts();
CommandFacts ArchiverFacts();

// "[OPTIONS] FILE..." of a command: what stands behind its name.
std::string SynopsisOf(const CommandFacts& command);

// What a page tells of an option behind its own text: the words that it takes, the variable that
// stands for it, what it does not go with. Empty: nothing.
std::string MoreOf(const OptionFacts& option);

// "FILE..." for an argument, "KIND" for the value of an option, as people read it.
std::string ShownValue(const OptionFacts& option);

}  // namespace psltool
