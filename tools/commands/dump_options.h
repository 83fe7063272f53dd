// The options that choose entries of files, which several commands have in common.
#pragma once

#include <string>
#include <vector>
#include "tools/commands/command_line.h"

#include "tools/output/json.h"
#include "tools/output/text_out.h"
#include "tools/reading/time_text.h"
#include "tools/showing/dump_file.h"

namespace psltool {

struct ChoiceOptions {
  std::vector<std::string> kinds;
  std::string key;
  std::string from;
  std::string to;
  bool utc = false;

  Zone zone() const { return utc ? Zone::kUtc : Zone::kLocal; }
};

// The words of all kinds, "wait-time" included.
std::vector<std::string> KindWords();

// Adds --from, --to and --utc. `with_to` false: --to is the command's own.
Option* AddSpanOptions(Command& command, ChoiceOptions& options, bool with_to = true);
// Adds --kind (several times) and --key. `otherwise`: the kind, or "all", without --kind; of
// `words`, which the command takes.
void AddKeyOptions(Command& command, ChoiceOptions& options, const std::string& otherwise = "all",
                   const std::vector<std::string>& words = KindWords());
// Adds all of these.
void AddChoiceOptions(Command& command, ChoiceOptions& options, bool with_to = true);

// The kinds of commands that take one after the other: those asked for, or this one.
std::vector<std::string> KindsOr(const char* otherwise, const ChoiceOptions& options);
// False: a key goes with one kind, reported under the command's name.
bool OneKindForKey(const char* command, const ChoiceOptions& options);
// What such a command says as JSON: the object of one kind, the list of several.
void PutJson(std::vector<Json> objects, TextOut& out);

// Adds --json; --utc; --group, one of the counter groups.
Option* AddJsonFlag(Command& command, bool& json);
Option* AddUtcFlag(Command& command, bool& utc);
Option* AddGroupOption(Command& command, uint32_t& group);

// Adds --labels, in whose place the environment variable PSLTOOL_LABELS can stand.
void AddLabelsOption(Command& command, std::string& path);

// The span of time that a text asks for, of now as all commands have it. Nothing: reported under
// this name.
std::optional<TimeSpan> SpanOf(const std::string& what, const std::string& text, Zone zone);

// Puts the options into what a dump is asked for. False: one is wrong, reported under the command's
// name.
bool TakeChoice(const char* command, const ChoiceOptions& options, DumpRequest& request);

// False: nothing was there of a time or key that was asked for, reported of `what`.
bool HasWhatWasAsked(const std::string& what, const ChoiceOptions& options,
                     const DumpRequest& request, const DumpCount& count);

}  // namespace psltool
