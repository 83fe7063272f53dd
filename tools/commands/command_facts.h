// What the commands and options of a program say of themselves, as values: for manual pages, the
// pages of the documentation and the completion of shells, which tell what --help tells.
#pragma once

#include <string>
#include <vector>

namespace psltool {

// What the text of an option stands for, and so what a shell offers for it.
enum class Stands {
  kPath,       // a file, as far as nothing else is said
  kDirectory,  // a directory
  kInput,      // a log or an archive, or a directory of them
  kTime,       // a time, as ReadTime takes it
  kText,       // nothing that could be offered
};

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

}  // namespace psltool
