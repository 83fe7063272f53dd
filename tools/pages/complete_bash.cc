// Completion for bash: see completion.h. The script needs nothing but bash itself.
#include <fmt/format.h>

#include "tools/pages/completion.h"

namespace psltool {

namespace {

// Parts of the script; {0} is the name of the program as a name of functions has it.
constexpr char kHead[] = R"(# Completion of {1} for bash. Made from the tables of the program.

_{0}_words() {{
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$cur")
}}

_{0}_files() {{
  compopt -o filenames 2> /dev/null
  mapfile -t COMPREPLY < <(compgen -f -- "$cur")
}}

_{0}_directories() {{
  compopt -o filenames 2> /dev/null
  mapfile -t COMPREPLY < <(compgen -d -- "$cur")
}}

# Logs and archives, and directories that may hold some.
_{0}_inputs() {{
  compopt -o filenames 2> /dev/null
  mapfile -t COMPREPLY < <(compgen -d -- "$cur"; compgen -f -X '!*.ps[la]' -- "$cur")
}}

_{0}() {{
  local cur="${{COMP_WORDS[COMP_CWORD]}}" before="${{COMP_WORDS[COMP_CWORD - 1]}}" at="" i
  # "--kind=ld" comes as three words.
  if [[ $before == = && $COMP_CWORD -gt 1 ]]; then before="${{COMP_WORDS[COMP_CWORD - 2]}}"; fi
  if [[ $cur == = ]]; then before="${{COMP_WORDS[COMP_CWORD - 1]}}"; cur=""; fi
  COMPREPLY=()
)";

constexpr char kWalk[] = R"(  for ((i = 1; i < COMP_CWORD; ++i)); do
    case "$at ${{COMP_WORDS[i]}}" in
      {}) at="${{at:+$at }}${{COMP_WORDS[i]}}" ;;
    esac
  done
)";

std::string Action(const std::string& name, const OptionFacts& option, const Completed& program) {
  const auto words = OfferedWords(option, program);
  if (!words.empty()) return fmt::format("_{}_words \"{}\"", name, Joined(words, " "));
  switch (option.stands) {
    case Stands::kDirectory:
      return fmt::format("_{}_directories", name);
    case Stands::kInput:
      return fmt::format("_{}_inputs", name);
    case Stands::kPath:
      return fmt::format("_{}_files", name);
    default:
      return "";
  }
}

std::string AtPlace(const std::string& name, const Place& place, const Completed& program) {
  std::string values;
  std::vector<std::string> names;
  std::string argument;
  for (const OptionFacts& option : OptionsAt(place, program.program)) {
    const std::string action = Action(name, option, program);
    if (option.argument) {
      // The last one may come several times; one that names a file goes before others.
      if (!action.empty()) argument = action;
      continue;
    }
    names.insert(names.end(), option.names.begin(), option.names.end());
    if (option.value.empty()) continue;
    values += fmt::format("        {}) {}{}return ;;\n", Joined(option.names, " | "), action,
                          action.empty() ? "" : "; ");
  }
  std::vector<std::string> commands;
  for (const CommandFacts& below : place.command->commands) commands.push_back(below.name);
  if (!commands.empty()) {
    argument = fmt::format("_{}_words \"{}\"", name, Joined(commands, " "));
  }
  std::string text = fmt::format("    \"{}\")\n", place.words);
  if (!values.empty()) text += "      case \"$before\" in\n" + values + "      esac\n";
  text += fmt::format("      if [[ $cur == -* ]]; then _{}_words \"{}\"", name, Joined(names, " "));
  if (!argument.empty()) text += fmt::format("; else {}", argument);
  return text + "; fi\n      ;;\n";
}

}  // namespace

std::string BashCompletion(const Completed& program) {
  const std::string& name = program.program.name;
  const std::vector<Place> places = PlacesOf(program.program);
  std::string script = fmt::format(kHead, name, name);
  std::vector<std::string> ways;
  for (const Place& place : places) {
    if (place.words.empty()) continue;
    const size_t last = place.words.rfind(' ');
    // What has been walked, a blank, and the next word: " show", "segment make".
    ways.push_back(last == std::string::npos ? "\" " + place.words + "\""
                                             : "\"" + place.words + "\"");
  }
  if (!ways.empty()) script += fmt::format(kWalk, Joined(ways, " | "));
  script += "  case \"$at\" in\n";
  for (const Place& place : places) script += AtPlace(name, place, program);
  return script + fmt::format("  esac\n}}\n\ncomplete -F _{0} {0}\n", name);
}

}  // namespace psltool
