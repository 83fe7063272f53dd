// Which outputs an automatic run makes of its inputs: the archiver's rules of joining
// (engine/joining.h) asked about what is known of the inputs instead of their records.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace psltool {

struct PlannedInput {
  std::string name;
  uint8_t revision = 0;
  char level = 0;
  int64_t header_time = 0;
  int64_t last_time = 0;  // stamp of its last record
  bool broken = false;
};

enum class InputFate : uint8_t {
  kArchived,
  kAbandoned,    // broken
  kDayLevel,     // a day archive by its header: passed over
  kAfterBroken,  // its day's archive was emptied by an input before it
  kBackward,     // its month lies before that of the output
  kNameTaken,    // the run has finished an archive of that name already
};

struct PlannedOutput {
  std::string name;
  std::vector<std::string> inputs;
  bool emptied = false;    // an input was broken
  bool temporary = false;  // keeps its temporary name and is removed
  std::string trouble;     // why
  uint8_t revision = 0;
  int64_t header_time = 0;
  int64_t last_time = 0;
};

struct OutputPlan {
  std::vector<InputFate> fates;  // of the inputs; shorter when the run ends
  std::vector<PlannedOutput> outputs;
  std::string end;  // not empty: the run ends here
};

struct OutputRules {
  std::function<bool(const std::string& name)> stands;        // there and not empty: not replaced
  std::function<bool(const std::string& name)> is_directory;  // in the place of a temporary file
  std::function<bool(const std::string& name)> lacks_input;   // of the period of input `name`
};

// `level`: "H" or "D", of the outputs.
OutputPlan PlanOutputs(char level, const std::vector<PlannedInput>& inputs,
                       const OutputRules& rules);

}  // namespace psltool
