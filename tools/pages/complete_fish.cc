// Completion for fish: see completion.h.
#include <fmt/format.h>

#include "tools/pages/completion.h"

namespace psltool {

namespace {

constexpr char kHead[] = R"(# Completion of {0} for fish. Made from the tables of the program.

# Logs and archives, and directories that may hold some.
function __{0}_inputs
    for path in (commandline -ct)*
        if test -d $path
            echo $path/
        else if string match -qr '\.ps[la]$' -- $path
            echo $path
        end
    end
end

# The command that the line names so far.
function __{0}_at
    set -l at ''
    for word in (commandline -opc)[2..-1]
        switch "$at $word"
            case {1}
                set at (string trim -- "$at $word")
        end
    end
    test "$at" = "$argv[1]"
end

complete -c {0} -f
)";

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "'";
}

// What it offers for a value, with the switch that asks for one.
std::string Offer(const OptionFacts& option, const Completed& program, bool argument) {
  const std::string needs = argument ? "" : " -x";
  const auto words = OfferedWords(option, program);
  if (!words.empty()) return fmt::format("{} -a {}", needs, Quoted(Joined(words, " ")));
  switch (option.stands) {
    case Stands::kDirectory:
      return fmt::format("{} -a '(__fish_complete_directories)'", needs);
    case Stands::kInput:
      return fmt::format("{} -a '(__{}_inputs)'", needs, program.program.name);
    case Stands::kPath:
      return argument ? " -F" : " -r -F";
    default:
      return needs;
  }
}

std::string OptionLine(const std::string& where, const OptionFacts& option,
                       const Completed& program) {
  std::string line = where;
  if (option.argument) return line + Offer(option, program, true) + "\n";
  for (const std::string& name : option.names) {
    const bool two = name.starts_with("--");
    const char* const form = two ? "-l" : name.size() == 2 ? "-s" : "-o";
    line += fmt::format(" {} {}", form, name.substr(two ? 2 : 1));
  }
  if (!option.value.empty()) line += Offer(option, program, false);
  return line + fmt::format(" -d {}\n", Quoted(option.text));
}

}  // namespace

std::string FishCompletion(const Completed& program) {
  const std::string& name = program.program.name;
  const std::vector<Place> places = PlacesOf(program.program);
  std::vector<std::string> ways;
  for (const Place& place : places) {
    if (place.words.empty()) continue;
    ways.push_back(Quoted((place.words.find(' ') == std::string::npos ? " " : "") + place.words));
  }
  std::string script = fmt::format(kHead, name, ways.empty() ? "''" : Joined(ways, " "));
  for (const Place& place : places) {
    const std::string where =
        fmt::format("complete -c {0} -n '__{0}_at \"{1}\"'", name, place.words);
    for (const CommandFacts& below : place.command->commands) {
      script += fmt::format("{} -a {} -d {}\n", where, below.name, Quoted(below.summary));
    }
    for (const OptionFacts& option : OptionsAt(place, program.program)) {
      script += OptionLine(where, option, program);
    }
  }
  return script;
}

}  // namespace psltool
