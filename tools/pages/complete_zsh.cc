// Completion for zsh: see completion.h. One function for each command, all through _arguments.
#include <fmt/format.h>

#include "tools/pages/completion.h"

namespace psltool {

namespace {

// Inside single quotes and the brackets of _arguments.
std::string Quoted(const std::string& text) {
  std::string quoted;
  for (const char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else if (c == '[' || c == ']' || c == ':' || c == '\\') {
      quoted += std::string("\\") + c;
    } else {
      quoted += c;
    }
  }
  return quoted;
}

std::string Action(const OptionFacts& option, const Completed& program) {
  const auto words = OfferedWords(option, program);
  if (!words.empty()) return "(" + Joined(words, " ") + ")";
  switch (option.stands) {
    case Stands::kDirectory:
      return "_files -/";
    case Stands::kInput:
      return "_files -g \"*.ps[la](-.)\"";
    case Stands::kPath:
      return "_files";
    default:
      return " ";
  }
}

void PutOption(const OptionFacts& option, const Completed& program, std::string& list) {
  const std::string value =
      option.value.empty() ? ""
                           : fmt::format(":{}:{}", Quoted(option.value), Action(option, program));
  if (option.argument) {
    list += fmt::format(" \\\n    '{}:{}:{}'", option.repeated ? "*" : "",
                        Quoted(option.names.front()), Action(option, program));
    return;
  }
  for (const std::string& name : option.names) {
    // Given once: its other names are out, too.
    const std::string before =
        option.repeated ? "*" : fmt::format("({})", Joined(option.names, " "));
    list += fmt::format(" \\\n    '{}{}[{}]{}'", before, name, Quoted(option.text), value);
  }
}

std::string FunctionName(const std::string& program, const std::string& words) {
  std::string name = "_" + program + (words.empty() ? "" : "_" + words);
  for (char& c : name) c = c == ' ' || c == '-' ? '_' : c;
  return name;
}

std::string AtPlace(const Place& place, const Completed& program) {
  const std::string name = program.program.name;
  std::string text = FunctionName(name, place.words) + "() {\n";
  const bool commands = !place.command->commands.empty();
  if (commands) text += "  local curcontext=\"$curcontext\" state line\n";
  text += fmt::format("  _arguments{}", commands ? " -C" : "");
  for (const OptionFacts& option : OptionsAt(place, program.program)) {
    PutOption(option, program, text);
  }
  if (!commands) return text + "\n}\n\n";
  text += " \\\n    '1:command:->command' '*::argument:->argument'\n  case $state in\n";
  text += "    command)\n      local -a commands=(";
  for (const CommandFacts& below : place.command->commands) {
    text += fmt::format("\n        '{}:{}'", below.name, Quoted(below.summary));
  }
  text += ")\n      _describe command commands ;;\n    argument)\n      case $line[1] in\n";
  for (const CommandFacts& below : place.command->commands) {
    const std::string words = place.words.empty() ? below.name : place.words + " " + below.name;
    text += fmt::format("        {}) {} ;;\n", below.name, FunctionName(name, words));
  }
  return text + "      esac ;;\n  esac\n}\n\n";
}

}  // namespace

std::string ZshCompletion(const Completed& program) {
  const std::string& name = program.program.name;
  std::string script = fmt::format(
      "#compdef {0}\n# Completion of {0} for zsh. Made from the tables of the program.\n\n", name);
  for (const Place& place : PlacesOf(program.program)) script += AtPlace(place, program);
  // Loaded by its name it is the function itself; sourced it has to say so.
  return script + fmt::format(
                      "if [ \"$funcstack[1]\" = \"_{0}\" ]; then\n  _{0} \"$@\"\nelse\n"
                      "  compdef _{0} {0}\nfi\n",
                      name);
}

}  // namespace psltool
