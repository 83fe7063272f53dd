// Options of audit and explain: see the header.
#include "tools/commands/archive_options.h"

#include "tools/commands/dump_options.h"

namespace psltool {

Option* AddInputsArgument(Command& command, ArchiveInputs& made) {
  return command
      .AddOption(
          "inputs", made.inputs,
          "Logs, or hour archives, that it was made of; of a directory those that go into it")
      ->StandsFor(Stands::kInput);
}

void AddMakingOptions(Command& command, ArchiveInputs& made) {
  command.AddFlag("--noperiod", made.no_period,
                  "Made with -noperiod: inputs in the order given, in one archive");
  command.AddFlag("--any-name", made.any_name, "Made with -out: the name tells nothing");
  command.AddFlag("--whole-run", made.whole_run,
                  "The inputs are those of a whole run: some may go into other archives");
}

void AddAnswerOptions(Command& command, AnswerOptions& answer) {
  AddJsonFlag(command, answer.json);
  AddLabelsOption(command, answer.labels);
  AddUtcFlag(command, answer.utc);
}

}  // namespace psltool
