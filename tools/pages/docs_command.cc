// Pages of the documentation for commands: see the header.
#include "tools/pages/docs_command.h"

#include <fmt/format.h>

#include "tools/pages/help_text.h"
#include "tools/pages/programs.h"

namespace psltool {

namespace {

constexpr char kNote[] =
    "<!-- Written by scripts/pages from the table of commands: change tools/commands/, not this "
    "page. -->\n";

std::string Cell(std::string text) {
  for (size_t at = 0; (at = text.find('|', at)) != std::string::npos; at += 2)
    text.insert(at, "\\");
  return text;
}

std::string Options(const CommandFacts& command) {
  std::string heading;
  std::string page;
  for (const OptionFacts& option : command.options) {
    if (page.empty() || option.heading != heading) {
      heading = option.heading;
      page += fmt::format("\n| {} | |\n|---|---|\n", heading.empty() ? "option" : heading);
    }
    std::string names;
    for (const std::string& name : option.names) {
      if (!option.argument) names += (names.empty() ? "" : ", ") + name;
    }
    const std::string value = ShownValue(option);
    if (!value.empty()) names += (names.empty() ? "" : " ") + value;
    const std::string more = MoreOf(option);
    page += fmt::format("| `{}` | {}{} |\n", Cell(names), Cell(option.text),
                        more.empty() ? "" : Cell((option.text.ends_with('.') ? " " : ". ") + more));
  }
  return page;
}

std::string Synopsis(const std::string& words, const CommandFacts& command) {
  return fmt::format("\n```\n{} {}\n```\n", words, SynopsisOf(command));
}

std::string Rest(const CommandFacts& command) {
  const HelpText help = TakeApart(command.help);
  std::string page;
  for (const std::string& paragraph : help.paragraphs) page += "\n" + paragraph + "\n";
  if (!help.statuses.empty()) page += "\nExit status: " + help.statuses + "\n";
  if (!help.examples.empty()) {
    page += "\n```\n";
    for (const std::string& line : help.examples) page += line + "\n";
    page += "```\n";
  }
  return page;
}

}  // namespace

std::string DocsOfCommand(const CommandFacts& program, const CommandFacts& command,
                          const std::string& elsewhere) {
  const std::string words = program.name + " " + command.name;
  std::string page = fmt::format("# {}\n\n{}\n{}.", words, kNote, command.summary);
  if (!elsewhere.empty()) {
    page += fmt::format(" [What it prints, and how it is meant]({}).", elsewhere);
  }
  page += "\n" + Synopsis(words, command) + Options(command) + Rest(command);
  for (const CommandFacts& below : command.commands) {
    page += fmt::format("\n## {} {}\n\n{}.\n", command.name, below.name, below.summary) +
            Synopsis(words + " " + below.name, below) + Options(below) + Rest(below);
  }
  return page;
}

std::string DocsOfProgram(const CommandFacts& program) {
  std::string page = fmt::format(
      "# Commands and their options\n\n{}\nWhat each command of {} takes. The same stands in "
      "`{} COMMAND --help` and in the manual pages.\n",
      kNote, program.name, program.name);
  std::string heading;
  for (const CommandFacts& command : program.commands) {
    if (command.heading != heading) {
      heading = command.heading;
      page += fmt::format("\n| {} | |\n|---|---|\n", heading);
    }
    page += fmt::format("| [{}]({}.md) | {} |\n", command.name, command.name, command.summary);
  }
  return page;
}

}  // namespace psltool
