// What the completion of all shells has in common: see the header.
#include "tools/pages/completion.h"

namespace psltool {

namespace {

void Collect(const std::string& words, const CommandFacts& command, std::vector<Place>& places) {
  places.push_back({words, &command});
  for (const CommandFacts& below : command.commands) {
    Collect(words.empty() ? below.name : words + " " + below.name, below, places);
  }
}

}  // namespace

std::vector<Place> PlacesOf(const CommandFacts& program) {
  std::vector<Place> places;
  Collect("", program, places);
  return places;
}

std::vector<OptionFacts> OptionsAt(const Place& place, const CommandFacts& program) {
  std::vector<OptionFacts> options = place.command->options;
  if (!place.words.empty()) {
    options.insert(options.end(), program.options.begin(), program.options.end());
  }
  return options;
}

std::vector<std::string> OfferedWords(const OptionFacts& option, const Completed& program) {
  if (!option.words.empty()) return option.words;
  if (!option.offered.empty()) return option.offered;
  return option.stands == Stands::kTime ? program.times : std::vector<std::string>();
}

std::string Joined(const std::vector<std::string>& words, const std::string& between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

}  // namespace psltool
