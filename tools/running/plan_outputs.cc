// Outputs of an automatic run: see the header.
#include "tools/running/plan_outputs.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "engine/names.h"
#include "engine/period.h"
#include "logdir/timespan.h"

namespace psltool {

namespace {

std::string ArrayOfInput(const std::string& name) {
  return std::string(ArrayOf(name).value_or(""));
}

int MonthOf(int64_t time) {
  const tm date = LocalTime(time);
  return date.tm_year * 12 + date.tm_mon;
}

// One run over the inputs, in the driver's words.
class Driver {
 public:
  Driver(char level, const OutputRules& rules) : level_(level), rules_(rules) {}

  OutputPlan Run(const std::vector<PlannedInput>& inputs) {
    for (size_t i = 0; i < inputs.size(); ++i) {
      const char* next = i + 1 < inputs.size() ? inputs[i + 1].name.c_str() : nullptr;
      const InputFate fate = TakeInput(inputs[i], next);
      if (!plan_.end.empty()) return std::move(plan_);
      plan_.fates.push_back(fate);
    }
    if (active_) Finish();
    return std::move(plan_);
  }

 private:
  InputFate TakeInput(const PlannedInput& input, const char* next) {
    if (level_ == 'H' && active_) {
      if (CheckSameDay(last_input_.c_str(), input.name.c_str()) != 0) {
        Finish();
        new_output_ = true;
      } else if (output_.emptied) {
        return InputFate::kAfterBroken;
      }
    }
    const int64_t before = record_time_;
    record_time_ = input.header_time;
    if (input.level == 'D') return InputFate::kDayLevel;
    if (level_ == 'D' && active_ && !JoinDayOutput(input, before)) {
      record_time_ = before;
      return InputFate::kBackward;
    }
    const bool first = new_output_ || revision_ != input.revision;
    if (!ProvideOutput(input)) return InputFate::kNameTaken;
    last_input_ = input.name;
    output_.inputs.push_back(input.name);
    Read(input, first ? input.header_time : before);
    if (level_ == 'D') {
      new_output_ = false;
    } else if (next != nullptr && CheckSameDay(input.name.c_str(), next) == 0) {
      new_output_ = false;
    } else {
      Finish();
      new_output_ = true;
    }
    return input.broken ? InputFate::kAbandoned : InputFate::kArchived;
  }

  // False: the input lies before the month of the output.
  bool JoinDayOutput(const PlannedInput& input, int64_t before) {
    if (ArrayOfInput(input.name) != array_) {
      Finish();
      new_output_ = true;
      return true;
    }
    const int months = MonthOf(record_time_) - MonthOf(before);
    abandoned_ = abandoned_ || months < 0;
    if (months < 0) return false;
    if (months > 0) {
      Finish();
      new_output_ = true;
    }
    return true;
  }

  // Opens, keeps or replaces the output. False: there is none for this input, or the run ends.
  bool ProvideOutput(const PlannedInput& input) {
    if (new_output_) {
      array_ = ArrayOfInput(input.name);
      name_ = NewName();
    } else if (revision_ != input.revision) {
      Finish();
      name_ = SequelName(name_);
    } else {
      return true;
    }
    new_output_ = true;
    if (std::any_of(plan_.outputs.begin(), plan_.outputs.end(),
                    [this](const auto& made) { return made.name == name_; })) {
      return false;
    }
    if (const std::string temporary = TemporaryOf(name_); rules_.is_directory(temporary)) {
      plan_.end = fmt::format("archive/{} cannot be created, a directory is there (message 102)",
                              temporary);
      return false;
    }
    active_ = true;
    revision_ = input.revision;
    output_ = {};
    output_.name = name_;
    output_.revision = input.revision;
    output_.header_time = input.header_time;
    return true;
  }

  void Read(const PlannedInput& input, int64_t time_when_abandoned) {
    abandoned_ = input.broken;
    record_time_ = input.broken ? time_when_abandoned : input.last_time;
    if (!input.broken) {
      output_.last_time = input.last_time;
      return;
    }
    output_.trouble = fmt::format("{} is broken", input.name);
    if (level_ == 'H') {
      output_.emptied = true;
      output_.trouble += ": the archive will be empty";
    }
  }

  void Finish() {
    active_ = false;
    const auto keep_temporary = [this](std::string why) {
      output_.temporary = true;
      output_.trouble = std::move(why);
    };
    if (rules_.lacks_input(last_input_)) {
      keep_temporary("an input of it does not open: it is left to a later run");
    } else if (level_ == 'D' && abandoned_) {
      keep_temporary("its last input is abandoned: it is left to a later run");
    } else if (rules_.stands(name_)) {
      keep_temporary("its name is taken, and what stands there is never replaced (message 111)");
    }
    plan_.outputs.push_back(output_);
  }

  std::string NewName() const {
    const tm date = LocalTime(record_time_);
    return ArchiveName(level_, {date.tm_year, date.tm_mon, date.tm_mday}, array_);
  }

  char level_;
  const OutputRules& rules_;
  OutputPlan plan_;
  bool active_ = false;
  bool new_output_ = true;
  bool abandoned_ = false;  // the input read last
  PlannedOutput output_;
  uint8_t revision_ = 0;
  std::string name_;
  std::string array_;
  std::string last_input_;
  int64_t record_time_ = 0;
};

}  // namespace

OutputPlan PlanOutputs(char level, const std::vector<PlannedInput>& inputs,
                       const OutputRules& rules) {
  return Driver(level, rules).Run(inputs);
}

}  // namespace psltool
