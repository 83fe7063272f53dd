// What the commands and options of a program say of themselves, as values: for manual pages, the
// pages of the documentation and the completion of shells, which tell what --help tells.
#pragma once

#include <string>
#include <vector>

#include "tools/commands/command_line.h"

namespace psltool {

struct OptionFacts {
  std::vector<std::string> names;  // "-k", "--kind"; of an argument its name, "files"
  bool argument = false;           // has no name on the command line
  bool required = false;
  bool repeated = false;             // takes several, or may be given several times
  std::string value;                 // what its value is called, "KIND"; empty: takes none
  std::vector<std::string> words;    // its value must be one of these
  std::vector<std::string> offered;  // or may be one of these
  Stands stands = Stands::kPath;
  std::string text;
  std::string heading;   // of the help text; empty: the usual one
  std::string variable;  // of the environment
  std::vector<std::string> excludes;
};

struct CommandFacts {
  std::string name;
  std::string heading;  // of the list of commands
  std::string summary;
  std::string help;  // what stands behind the options
  std::vector<OptionFacts> options;
  std::vector<CommandFacts> commands;
};

// Of the program and all its commands; --help and --version, which all have, are the program's
// only.
CommandFacts FactsOf(const Program& program);

}  // namespace psltool
