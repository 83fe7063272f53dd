// Options that choose entries: see the header.
#include "tools/commands/dump_options.h"

#include <fmt/format.h>

#include "tools/output/report.h"
#include "tools/reading/clock.h"
#include "tools/reading/kind_names.h"

namespace psltool {

namespace {

bool TakeTime(const std::string& what, const std::string& text, Zone zone, bool last,
              std::optional<uint32_t>& time) {
  if (text.empty()) return true;
  const std::optional<TimeSpan> span = SpanOf(what, text, zone);
  if (span) time = last ? span->last : span->first;
  return span.has_value();
}

}  // namespace

std::optional<TimeSpan> SpanOf(const std::string& what, const std::string& text, Zone zone) {
  const TimeReading reading = ReadTime(text, Now(), zone);
  if (!reading.span) Fail(what, reading.why);
  return reading.span;
}

std::vector<std::string> KindWords() {
  std::vector<std::string> words;
  for (const KindName& name : KindNames()) words.emplace_back(name.word);
  words.emplace_back(WordOfKind(kWaittm));
  return words;
}

Option* AddSpanOptions(Command& command, ChoiceOptions& options, bool with_to) {
  command
      .AddOption("--from", options.from,
                 "First time: 2024-03-04, \"2024-03-04 10:05\", 10:05, yesterday, -7d, \"last "
                 "week\" or @seconds")
      ->StandsFor(Stands::kTime);
  if (with_to) {
    command.AddOption("--to", options.to, "Last time; a day, minute or week as a whole")
        ->StandsFor(Stands::kTime);
  }
  return AddUtcFlag(command, options.utc);
}

void AddKeyOptions(Command& command, ChoiceOptions& options, const std::string& otherwise,
                   const std::vector<std::string>& words) {
  command
      .AddOption("-k,--kind", options.kinds,
                 fmt::format("Kind of resources (several times; default {})", otherwise))
      ->Must(OneOf(words))
      ->OneEachTime();
  command
      .AddOption("--key", options.key,
                 "One resource of the kind: a number, or key bytes with points between")
      ->StandsFor(Stands::kText);
}

void AddChoiceOptions(Command& command, ChoiceOptions& options, bool with_to) {
  AddKeyOptions(command, options);
  AddSpanOptions(command, options, with_to);
}

std::vector<std::string> KindsOr(const char* otherwise, const ChoiceOptions& options) {
  return options.kinds.empty() ? std::vector<std::string>{otherwise} : options.kinds;
}

bool OneKindForKey(const char* command, const ChoiceOptions& options) {
  return options.key.empty() || options.kinds.size() <= 1 ||
         Fail(std::string(command) + " --key", "needs one --kind");
}

void PutJson(std::vector<Json> objects, TextOut& out) {
  if (objects.empty()) return;
  Json list = Json::Array();
  const bool one = objects.size() == 1;
  for (Json& each : objects) {
    if (!one) list.Append(std::move(each));
  }
  PutJson(one ? objects.front() : list, out);
}

Option* AddJsonFlag(Command& command, bool& json) {
  return command.AddFlag("--json", json, "A JSON text for programs");
}

Option* AddUtcFlag(Command& command, bool& utc) {
  return command.AddFlag("--utc", utc, "Times in UTC instead of local time");
}

Option* AddGroupOption(Command& command, uint32_t& group) {
  return command.AddOption("-g,--group", group, "Counter group, from 1 (default 1)");
}

void AddLabelsOption(Command& command, std::string& path) {
  command
      .AddOption("--labels", path,
                 "File with the names of counter groups and resources (default: $PSLTOOL_LABELS)")
      ->OrFrom("PSLTOOL_LABELS");
}

bool TakeChoice(const char* command, const ChoiceOptions& options, DumpRequest& request) {
  const std::string name = command;
  request.zone = options.zone();
  for (const std::string& word : options.kinds) request.kinds.push_back(*KindOfWord(word));
  if (!TakeTime(name + " --from", options.from, options.zone(), false, request.from) ||
      !TakeTime(name + " --to", options.to, options.zone(), true, request.to)) {
    return false;
  }
  if (request.from && request.to && *request.from > *request.to) {
    return Fail(name + " --from", fmt::format("'{}' is after --to '{}'", options.from, options.to));
  }
  if (options.key.empty()) return true;
  request.key = options.key;
  return request.kinds.size() == 1 || Fail(name + " --key", "needs one --kind");
}

bool HasWhatWasAsked(const std::string& what, const ChoiceOptions& options,
                     const DumpRequest& request, const DumpCount& count) {
  if ((request.from || request.to) && count.records == 0) {
    const std::string from = options.from.empty() ? "" : fmt::format(" from {}", options.from);
    const std::string to = options.to.empty() ? "" : fmt::format(" to {}", options.to);
    return Fail(what, fmt::format("no record lies in the time{}{} ({}); psltool info tells what "
                                  "time a file spans",
                                  from, to, options.utc ? "UTC" : "local"));
  }
  if (request.key && count.entries == 0) {
    return Fail(what, fmt::format("no record{} holds {} {}; without --key all of the kind are put "
                                  "out",
                                  request.from || request.to ? " of the time" : "",
                                  WordOfKind(request.kinds.front()), *request.key));
  }
  return true;
}

}  // namespace psltool
