// Completion for shells, made of what the programs say of themselves: commands, options, the words
// that options take, times, directories, logs and archives.
#pragma once

#include <string>
#include <vector>

#include "tools/commands/command_facts.h"

namespace psltool {

struct Completed {
  CommandFacts program;
  std::vector<std::string> times;  // some that its options of time take
};

std::string BashCompletion(const Completed& program);
std::string ZshCompletion(const Completed& program);
std::string FishCompletion(const Completed& program);

// A command with all the words that lead to it, "segment make"; the program itself has none.
struct Place {
  std::string words;
  const CommandFacts* command;
};

// The program first. Each has the options of its own.
std::vector<Place> PlacesOf(const CommandFacts& program);

// The options of a place, and behind them those of the program, which every command takes.
std::vector<OptionFacts> OptionsAt(const Place& place, const CommandFacts& program);

// The words a shell offers for the value of an option; empty: none, or files.
std::vector<std::string> OfferedWords(const OptionFacts& option, const Completed& program);

std::string Joined(const std::vector<std::string>& words, const std::string& between);

}  // namespace psltool
