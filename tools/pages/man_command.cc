// Manual pages of commands: see the header.
#include "tools/pages/man_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <vector>

#include "tools/pages/help_text.h"
#include "tools/pages/programs.h"
#include "tools/pages/roff.h"

namespace psltool {

namespace {

constexpr char kManual[] = "User Commands";

std::string ManOfOption(const OptionFacts& option) {
  std::string names;
  for (const std::string& name : option.names) {
    names += (names.empty() ? "" : ", ") + (option.argument ? "" : Bold(name));
  }
  const std::string value = ShownValue(option);
  if (!value.empty()) names += (option.argument ? "" : " ") + Italic(value);
  std::string text = option.text;
  const std::string more = MoreOf(option);
  if (!more.empty()) text += (text.ends_with('.') ? " " : ". ") + more;
  if (!text.ends_with('.') && !text.ends_with(')')) text += ".";
  return ".TP\n" + names + "\n" + Prose(text);
}

// In the order in which they come; the usual one, without a name, first.
std::vector<std::string> HeadingsOf(const CommandFacts& command) {
  std::vector<std::string> headings = {""};
  for (const OptionFacts& option : command.options) {
    if (std::find(headings.begin(), headings.end(), option.heading) == headings.end()) {
      headings.push_back(option.heading);
    }
  }
  return headings;
}

std::string Synopsis(const std::string& words, const CommandFacts& command) {
  return Bold(words) + "\n" + Prose(SynopsisOf(command));
}

std::string Statuses(const HelpText& help) {
  return help.statuses.empty() ? "" : Prose(help.statuses);
}

// Of a command below a command: one section with all of it.
std::string Below(const std::string& words, const CommandFacts& command) {
  const HelpText help = TakeApart(command.help);
  std::string page = ".SS " + words + "\n" + Synopsis("psltool " + words, command);
  page += ".PP\n" + Prose(command.summary + ".");
  for (const std::string& paragraph : help.paragraphs) page += ".PP\n" + Prose(paragraph);
  for (const std::string& heading : HeadingsOf(command)) page += ManOfOptions(command, heading);
  if (!help.statuses.empty()) page += ".PP\n" + Prose("Exit status: " + help.statuses);
  if (!help.examples.empty()) page += ".PP\n" + Block(help.examples);
  return page;
}

std::string SeeAlso(const std::vector<std::string>& pages) {
  std::string section = ".SH SEE ALSO\n";
  for (size_t i = 0; i < pages.size(); ++i) {
    const size_t at = pages[i].find('(');
    section += fmt::format(".BR {} {}{}\n", Literal(pages[i].substr(0, at)), pages[i].substr(at),
                           i + 1 < pages.size() ? "," : "");
  }
  return section;
}

// With the option that each stands for.
void CollectVariables(const CommandFacts& command, std::map<std::string, std::string>& variables) {
  for (const OptionFacts& option : command.options) {
    if (!option.variable.empty()) variables[option.variable] = option.names.back();
  }
  for (const CommandFacts& below : command.commands) CollectVariables(below, variables);
}

std::string Environment(const CommandFacts& command) {
  std::map<std::string, std::string> variables;
  CollectVariables(command, variables);
  std::string section;
  for (const auto& [variable, option] : variables) {
    section += fmt::format(".TP\n{}\nWhat {} takes, where that is not given.\n", Bold(variable),
                           Literal(option));
  }
  return section.empty() ? "" : ".SH ENVIRONMENT\n" + section;
}

// From the description to the examples.
std::string Body(const CommandFacts& command, const std::string& commands) {
  const HelpText help = TakeApart(command.help);
  std::string page = ".SH DESCRIPTION\n";
  page += Prose(command.summary.ends_with('.') ? command.summary : command.summary + ".");
  for (const std::string& paragraph : help.paragraphs) page += ".PP\n" + Prose(paragraph);
  page += commands;
  if (!command.options.empty()) page += ".SH OPTIONS\n";
  for (const std::string& heading : HeadingsOf(command)) {
    const std::string options = ManOfOptions(command, heading);
    if (!heading.empty()) page += ".SS " + heading + "\n";
    page += options;
  }
  page += Environment(command);
  page += ".SH EXIT STATUS\n" + Statuses(help);
  if (!help.examples.empty()) page += ".SH EXAMPLES\n" + Block(help.examples);
  return page;
}

std::string LowerFirst(std::string text) {
  text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  return text;
}

}  // namespace

std::string ManOfOptions(const CommandFacts& command, const std::string& heading) {
  std::string list;
  for (const OptionFacts& option : command.options) {
    if (option.heading == heading) list += ManOfOption(option);
  }
  return list;
}

std::string ManOfProgram(const CommandFacts& program, const std::string& docs) {
  std::string page = PageHead("PSLTOOL", "1", kManual);
  page += ".SH NAME\npsltool \\- shows, proves, mends and makes performance logs and archives\n";
  page += ".SH SYNOPSIS\n" + Synopsis(program.name, program);
  std::string commands = ".SH COMMANDS\n";
  std::vector<std::string> pages = {"Qelprfarc(1)"};
  std::string heading;
  for (const CommandFacts& command : program.commands) {
    if (command.heading != heading) {
      heading = command.heading;
      commands += ".SS " + heading + "\n";
    }
    commands += ".TP\n" + Bold(command.name) + "\n" + Prose(command.summary + ".");
    pages.push_back("psltool-" + command.name + "(1)");
  }
  pages.insert(pages.end(), {"psl(5)", "qelprfarc.conf(5)", "qelprfarc(7)"});
  return page + Body(program, commands) + fmt::format(".SH FILES\n.TP\n{}\n", Italic(docs)) +
         Prose("The documentation. What pages of the manual call docs/ lies in it.") +
         SeeAlso(pages);
}

std::string ManOfCommand(const CommandFacts& program, const CommandFacts& command,
                         const std::string& told) {
  const std::string words = program.name + " " + command.name;
  std::string name = "PSLTOOL-" + command.name;
  for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  std::string page = PageHead(name, "1", kManual);
  page += fmt::format(".SH NAME\npsltool\\-{} \\- {}\n", Literal(command.name),
                      LowerFirst(command.summary));
  page += ".SH SYNOPSIS\n" + Synopsis(words, command);
  std::string commands;
  for (const CommandFacts& below : command.commands) {
    commands += Below(command.name + " " + below.name, below);
  }
  if (!commands.empty()) commands = ".SH COMMANDS\n" + commands;
  std::vector<std::string> pages = {"psltool(1)", "Qelprfarc(1)", "psl(5)", "qelprfarc(7)"};
  if (command.heading == "Run") pages.insert(pages.end() - 1, "qelprfarc.conf(5)");
  page += Body(command, commands);
  if (!told.empty()) {
    page += fmt::format(".SH FILES\n.TP\n{}\n", Italic(told)) +
            Prose("What it prints, and how it is meant: section \"" + command.name + "\".");
  }
  return page + SeeAlso(pages);
}

}  // namespace psltool
