// Both programs as facts: see the header.
#include "tools/pages/programs.h"

#include <fmt/format.h>

#include <cctype>
#include <string>
#include <vector>

#include "archiver/options.h"
#include "tools/commands/program.h"

namespace psltool {

namespace {

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// "a, b or c"
std::string Alternatives(const std::vector<std::string>& words) {
  std::string text;
  for (size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 < words.size() ? ", " : " or ";
    text += words[i];
  }
  return text;
}

Stands StandsOf(OptionText::Value value) {
  switch (value) {
    case OptionText::Value::kDirectory:
      return Stands::kDirectory;
    case OptionText::Value::kFile:
      return Stands::kPath;
    case OptionText::Value::kTime:
      return Stands::kTime;
    default:
      return Stands::kText;
  }
}

}  // namespace

CommandFacts PsltoolFacts() { return FactsOf(PsltoolProgram()); }

CommandFacts ArchiverFacts() {
  CommandFacts facts;
  facts.name = "Qelprfarc";
  facts.summary = "Archiver of disk-array performance logs";
  for (const OptionText& text : OptionTexts()) {
    OptionFacts option;
    option.names = {text.name};
    option.value = text.value_name;
    option.stands = StandsOf(text.value);
    option.text = text.text;
    option.heading = text.use == OptionText::Use::kDaemon ? "Automatic runs" : "";
    if (text.value == OptionText::Value::kMode) {
      option.words.assign(ModeWords().begin(), ModeWords().end());
    }
    facts.options.push_back(option);
  }
  OptionFacts files;
  files.names = {"file"};
  files.argument = files.repeated = true;
  files.value = "file";
  files.stands = Stands::kInput;
  files.text = "Logs, or archives: all of one kind.";
  facts.options.push_back(files);
  return facts;
}

std::string ShownValue(const OptionFacts& option) {
  if (!option.argument) return option.value;
  const std::string name = Upper(option.names.front());
  return option.repeated ? name + "..." : name;
}

std::string SynopsisOf(const CommandFacts& command) {
  std::string synopsis = "[OPTIONS]";
  if (!command.commands.empty()) synopsis += " COMMAND";
  for (const OptionFacts& option : command.options) {
    if (!option.argument && option.required) {
      synopsis += fmt::format(" {} {}", option.names.back(), option.value);
    }
  }
  for (const OptionFacts& option : command.options) {
    if (!option.argument) continue;
    synopsis +=
        option.required ? " " + ShownValue(option) : fmt::format(" [{}]", ShownValue(option));
  }
  return synopsis;
}

std::string MoreOf(const OptionFacts& option) {
  std::string more;
  const auto add = [&more](const std::string& text) { more += (more.empty() ? "" : " ") + text; };
  if (option.required && !option.argument) add("Required.");
  if (!option.words.empty()) {
    std::string words;
    for (const std::string& word : option.words) words += (words.empty() ? "" : ", ") + word;
    add(fmt::format("One of: {}.", words));
  }
  if (!option.variable.empty() && option.text.find(option.variable) == std::string::npos) {
    add(fmt::format("Without it, that of ${}.", option.variable));
  }
  if (!option.excludes.empty()) {
    add(fmt::format("Not with {}.", Alternatives(option.excludes)));
  }
  return more;
}

}  // namespace psltool
