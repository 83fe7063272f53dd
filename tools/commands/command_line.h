// What commands say of the options that they take, and the reading of a command line. The option
// parser stands behind it, in command_line.cc alone: its headers were a quarter of the build.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/commands/command_facts.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace psltool {

// What the text of an option must be, beside being of its variable's type.
struct ValueRule {
  enum class Sort { kOneOf, kBetween, kPositive, kNotNegative };
  Sort sort;
  std::vector<std::string> words;  // kOneOf
  double least = 0;                // kBetween, ends included
  double most = 0;
};

// One of these words.
ValueRule OneOf(std::vector<std::string> words);
// A number from least to most.
ValueRule Between(double least, double most);
// A number above 0; a number of 0 or more.
extern const ValueRule kPositive;
extern const ValueRule kNotNegative;

// An option as added: each call narrows what is taken, and returns the option for the next.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  Option* Required();
  Option* Must(const ValueRule& check);
  // Heading of the help text under which it stands.
  Option* Under(const std::string& heading);
  // Not together with that one.
  Option* Excludes(const Option* other);
  // That many texts at once.
  Option* Takes(int count);
  // One text each time it is given, so that an argument without a name may follow.
  Option* OneEachTime();
  // Where it is not given: the value of that variable of the environment.
  Option* OrFrom(const std::string& variable);
  // What the help text calls its value.
  Option* ValueName(const std::string& name);
  Option* StandsFor(Stands what);
  // What completion offers for its value, which may be something else, too.
  Option* Offers(std::vector<std::string> words);
  // How often it was given; known once the command line has been read.
  size_t count() const;

 private:
  friend class Facts;

  CLI::Option* option_;
  std::vector<std::string> words_;  // of the rule that asks for one of some
  std::vector<std::string> offered_;
  std::string value_name_;
  Stands stands_ = Stands::kPath;
};

// A command of the program, or the program itself. Commands and options live as long as the
// program's.
class Command {
 public:
  explicit Command(CLI::App* app) : app_(app) {}
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;

  Command* AddCommand(const std::string& name, const std::string& summary);
  // `names` as in "-o,--out", or a plain word for an argument without a name. Value: std::string, a
  // vector of them or of numbers, an integer or double type, or std::optional of one (see
  // command_line.cc). An empty value is refused: it is mostly what a shell's unset variable left.
  template <class Value>
  Option* AddOption(const std::string& names, Value& value, const std::string& text);
  Option* AddFlag(const std::string& names, bool& value, const std::string& text);
  // Heading of the list of commands under which it stands.
  Command* Under(const std::string& heading);
  // The text behind the options: exit statuses and examples.
  void Footer(const std::string& text);
  // One of its commands must be named.
  void NeedsCommand();
  // Done when the command was named, once the whole command line has been read.
  void Does(std::function<void()> action);
  // The options of a command, kept as long as it is, and what is done with them for a status.
  template <class Options>
  Options& Runs(int (*run)(Options&), int& status) {
    auto options = std::make_shared<Options>();
    Does([options, run, &status] { status = run(*options); });
    return *options;
  }
  template <class Options>
  Options& Runs(int (*run)(const Options&), int& status) {
    auto options = std::make_shared<Options>();
    Does([options, run, &status] { status = run(*options); });
    return *options;
  }
  // Done before that; a status other than 0 ends the program with it.
  void First(std::function<int()> step);

 private:
  friend class Facts;

  CLI::App* app_;
  std::vector<std::unique_ptr<Command>> commands_;
  std::vector<std::unique_ptr<Option>> options_;
};

// What stands for "--" among the arguments of a command that it divides.
inline constexpr const char* kDivision = "\x1f";

// A program that has commands.
struct Program {
  const char* name;
  const char* version;  // as printed
  const char* summary;
  const char* help;  // behind the list of commands
  void (*add)(Command& program, int& status);
  // The command whose arguments "--" divides in two: it finds kDivision among them.
  const char* divided;
};

// Reads a command line and does what it asks for. Returns the status that the command stored; 0
// after help or version; `refused` for a wrong command line, told in one line on standard error
// with the nearest command or option that there is.
int RunCommandLine(const Program& program, int refused, int argc, char** argv);

// What the program and all its commands say of themselves; --help and --version, which all have,
// are the program's only.
CommandFacts FactsOf(const Program& program);

}  // namespace psltool
