// The option parser behind commands and options: see the header.
#include "tools/commands/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <iostream>
#include <limits>
#include <optional>
#include <utility>

#include "tools/commands/nearest.h"
#include "tools/output/shown.h"

namespace psltool {

namespace {

// Also of the commands, and of theirs.
void AddVersion(CLI::App& app, const char* version) {
  app.set_version_flag("--version", version, "Print the version");
  for (CLI::App* command : app.get_subcommands(nullptr)) AddVersion(*command, version);
}

struct Asked {
  const CLI::App* app;  // the innermost command that was named
  std::string words;    // "psltool segment"
};

Asked AskedOf(const CLI::App* app) {
  Asked asked = {app, app->get_name()};
  while (!asked.app->get_subcommands().empty()) {
    asked.app = asked.app->get_subcommands().front();
    asked.words += " " + asked.app->get_name();
  }
  return asked;
}

std::vector<std::string> CommandsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands(nullptr)) names.push_back(command->get_name());
  return names;
}

std::vector<std::string> OptionsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

std::string NearestOf(const std::string& word, const std::vector<std::string>& words) {
  const std::string nearest = Nearest(word, words);
  return nearest.empty() ? "" : ", the nearest one is \"" + nearest + "\"";
}

// A wrong command line, in the words of all other failures. A mistyped command or option is told
// with the nearest one that there is.
std::string Refusal(const CLI::App* app, const CLI::Error& error) {
  const Asked asked = AskedOf(app);
  const std::vector<std::string> left = asked.app->remaining();
  const std::string word = left.empty() ? "" : left.front().substr(0, left.front().find('='));
  const std::vector<std::string> commands = CommandsOf(*asked.app);
  std::string why = error.what();
  std::string help = "options";
  if (word.empty() && !commands.empty()) {
    why = "A command is required";
    help = "commands";
  } else if (word.starts_with("-")) {
    // The library tells first what is missing.
    if (why.find(word) == std::string::npos) {
      why = "The following argument was not expected: " + word;
    }
    why += NearestOf(word, OptionsOf(*asked.app));
  } else if (!word.empty() && !commands.empty()) {
    why = "\"" + word + "\" is no command" + NearestOf(word, commands);
    help = "commands";
  }
  return "psltool: " + Shown(why) + "; " + asked.words + " --help tells the " + help + "\n";
}

// A word stands where a command belongs, and is none: then help and version are not what it asks
// for.
bool IsMistyped(const CLI::App& app) {
  const CLI::App* asked = AskedOf(&app).app;
  const std::vector<std::string> left = asked->remaining();
  return !left.empty() && !left.front().starts_with('-') && !CommandsOf(*asked).empty();
}

// The command line, last word first, as the library takes it. "help show" is "show --help": people
// come from other tools.
// `divided`: see Program.
std::vector<std::string> WordsOf(int argc, char** argv, const char* divided) {
  std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  if (!words.empty() && words.front() == "help") {
    words.erase(words.begin());
    words.emplace_back("--help");
  }
  // The option parser takes "--" as its own, and what stands behind it as no options.
  if (!words.empty() && words.front() == divided) {
    std::replace(words.begin(), words.end(), std::string("--"), std::string(kDivision));
  }
  std::reverse(words.begin(), words.end());
  return words;
}

// The library's own rules tell the largest number that there is with all of its digits.
std::function<std::string(const std::string&)> AtLeast(double least) {
  return [least](const std::string& text) {
    double number = 0;
    const bool right = CLI::detail::lexical_cast(text, number) && number >= least;
    return right ? "" : "Value " + text + (least > 0 ? " is not above 0" : " is below 0");
  };
}

}  // namespace

const ValueRule kPositive{ValueRule::Sort::kPositive, {}};
const ValueRule kNotNegative{ValueRule::Sort::kNotNegative, {}};

ValueRule OneOf(std::vector<std::string> words) {
  return {ValueRule::Sort::kOneOf, std::move(words)};
}

ValueRule Between(double least, double most) {
  return {ValueRule::Sort::kBetween, {}, least, most};
}

Option* Option::Required() {
  option_->required();
  return this;
}

Option* Option::Must(const ValueRule& check) {
  words_ = check.words;
  switch (check.sort) {
    case ValueRule::Sort::kOneOf:
      option_->check(CLI::IsMember(check.words));
      break;
    case ValueRule::Sort::kBetween:
      option_->check(
          CLI::Range(static_cast<int64_t>(check.least), static_cast<int64_t>(check.most)));
      break;
    case ValueRule::Sort::kPositive:
      option_->check(AtLeast(std::numeric_limits<double>::min()), "POSITIVE");
      break;
    case ValueRule::Sort::kNotNegative:
      option_->check(AtLeast(0), "NONNEGATIVE");
      break;
  }
  return this;
}

Option* Option::Under(const std::string& heading) {
  option_->group(heading);
  return this;
}

Option* Option::Excludes(const Option* other) {
  option_->excludes(other->option_);
  return this;
}

Option* Option::Takes(int count) {
  option_->expected(count);
  return this;
}

Option* Option::OneEachTime() {
  option_->allow_extra_args(false);
  return this;
}

Option* Option::OrFrom(const std::string& variable) {
  option_->envname(variable);
  return this;
}

Option* Option::ValueName(const std::string& name) {
  option_->type_name(name);
  value_name_ = name;
  return this;
}

Option* Option::StandsFor(Stands what) {
  stands_ = what;
  return this;
}

Option* Option::Offers(std::vector<std::string> words) {
  offered_ = std::move(words);
  return this;
}

size_t Option::count() const { return option_->count(); }

Command* Command::AddCommand(const std::string& name, const std::string& summary) {
  CLI::App* command = app_->add_subcommand(name, summary);
  command->group("Commands");  // not the heading of the command that it belongs to
  commands_.push_back(std::make_unique<Command>(command));
  return commands_.back().get();
}

Command* Command::Under(const std::string& heading) {
  app_->group(heading);
  return this;
}

template <class Value>
Option* Command::AddOption(const std::string& names, Value& value, const std::string& text) {
  CLI::Option* const option = app_->add_option(names, value, text);
  option->check([](const std::string& given) {
    return std::string(given.empty() ? "the value is empty" : "");
  });
  options_.push_back(std::make_unique<Option>(option));
  return options_.back().get();
}

// The types of values that commands use.
template Option* Command::AddOption(const std::string&, std::string&, const std::string&);
template Option* Command::AddOption(const std::string&, std::vector<std::string>&,
                                    const std::string&);
template Option* Command::AddOption(const std::string&, int&, const std::string&);
template Option* Command::AddOption(const std::string&, uint32_t&, const std::string&);
template Option* Command::AddOption(const std::string&, double&, const std::string&);
template Option* Command::AddOption(const std::string&, int64_t&, const std::string&);
template Option* Command::AddOption(const std::string&, uint64_t&, const std::string&);
template Option* Command::AddOption(const std::string&, std::optional<std::string>&,
                                    const std::string&);
template Option* Command::AddOption(const std::string&, std::optional<int>&, const std::string&);
template Option* Command::AddOption(const std::string&, std::optional<uint32_t>&,
                                    const std::string&);
template Option* Command::AddOption(const std::string&, std::optional<int64_t>&,
                                    const std::string&);
template Option* Command::AddOption(const std::string&, std::vector<int>&, const std::string&);
template Option* Command::AddOption(const std::string&, std::vector<uint32_t>&, const std::string&);

Option* Command::AddFlag(const std::string& names, bool& value, const std::string& text) {
  options_.push_back(std::make_unique<Option>(app_->add_flag(names, value, text)));
  return options_.back().get();
}

// What commands and options keep of themselves.
class Facts {
 public:
  static CommandFacts Of(const Command& command) {
    const CLI::App& app = *command.app_;
    CommandFacts facts = {
        app.get_name(), app.get_group(), app.get_description(), app.get_footer(), {}, {}};
    for (const auto& option : command.options_) facts.options.push_back(Of(*option));
    for (const auto& below : command.commands_) facts.commands.push_back(Of(*below));
    return facts;
  }

  static OptionFacts OfCommon(const CLI::Option& option) {
    OptionFacts facts;
    for (const std::string& name : option.get_snames()) facts.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) facts.names.push_back("--" + name);
    facts.argument = option.get_positional() && facts.names.empty();
    if (facts.argument) facts.names.push_back(option.get_name(true));
    facts.text = option.get_description();
    return facts;
  }

 private:
  static OptionFacts Of(const Option& option) {
    const CLI::Option& from = *option.option_;
    OptionFacts facts = OfCommon(from);
    facts.required = from.get_required();
    facts.repeated = from.get_items_expected_max() >= CLI::detail::expected_max_vector_size;
    if (from.get_items_expected_max() > 0) facts.value = ValueOf(option, facts.names.back());
    facts.words = option.words_;
    facts.offered = option.offered_;
    const bool number = from.get_type_name().find("INT") < 2;  // INT or UINT, then its rules
    facts.stands = number || !option.value_name_.empty() ? Stands::kText : option.stands_;
    facts.heading = from.get_group() == "Options" ? "" : from.get_group();
    facts.variable = from.get_envname();
    for (const CLI::Option* other : from.get_excludes()) {
      facts.excludes.push_back(other->get_name(false, false));
    }
    std::sort(facts.excludes.begin(), facts.excludes.end());
    return facts;
  }

  // What a manual page calls the value of an option.
  static std::string ValueOf(const Option& option, const std::string& name) {
    if (!option.value_name_.empty()) return option.value_name_;
    if (option.words_.empty()) {
      if (option.option_->get_type_name().find("INT") < 2) return "N";
      if (option.stands_ == Stands::kDirectory) return "DIR";
      if (option.stands_ == Stands::kTime) return "TIME";
      if (option.stands_ == Stands::kPath || option.stands_ == Stands::kInput) return "FILE";
    }
    std::string value = name.substr(name.find_first_not_of('-'));
    for (char& c : value) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return value;
  }
};

CommandFacts FactsOf(const Program& program) {
  int status = 0;
  CLI::App app(program.summary);
  app.name(program.name);
  app.footer(program.help);
  Command root(&app);
  program.add(root, status);
  AddVersion(app, program.version);
  CommandFacts facts = Facts::Of(root);
  for (const CLI::Option* option : app.get_options())
    facts.options.push_back(Facts::OfCommon(*option));
  return facts;
}

void Command::Footer(const std::string& text) { app_->footer(text); }

void Command::NeedsCommand() { app_->require_subcommand(1); }

void Command::Does(std::function<void()> action) { app_->callback(std::move(action)); }

void Command::First(std::function<int()> step) {
  app_->parse_complete_callback([step = std::move(step)] {
    const int status = step();
    if (status != 0) throw CLI::RuntimeError(status);
  });
}

int RunCommandLine(const Program& program, int refused, int argc, char** argv) {
  int status = 0;
  CLI::App app(program.summary);
  app.name(program.name);
  app.require_subcommand(1);
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.failure_message(Refusal);
  app.footer(program.help);
  Command root(&app);
  program.add(root, status);
  AddVersion(app, program.version);
  try {
    app.parse(WordsOf(argc, argv, program.divided));
  } catch (const CLI::ParseError& error) {
    const bool told = dynamic_cast<const CLI::Success*>(&error) != nullptr;
    if (told && IsMistyped(app)) {
      std::cerr << Refusal(&app, error);
      status = refused;
    } else {
      status = app.exit(error) == 0 ? 0 : refused;
    }
  }
  return status;
}

}  // namespace psltool
