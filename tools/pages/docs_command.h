// Pages docs/commands/<command>.md: what a command takes, as --help tells it.
#pragma once

#include <string>

#include "tools/commands/command_facts.h"

namespace psltool {

// `elsewhere`: the page with transcripts, as a link from docs/commands/; empty where there is none.
std::string DocsOfCommand(const CommandFacts& program, const CommandFacts& command,
                          const std::string& elsewhere);

// The list of all of them.
std::string DocsOfProgram(const CommandFacts& program);

}  // namespace psltool
