// Outputs of an automatic run: see the header.
#include "tools/running/plan_outputs.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <utility>

#include "engine/joining.h"
#include "engine/names.h"
#include "engine/period.h"
#include "logdir/timespan.h"

namespace psltool {

namespace {

FileDate DateOf(int64_t time) {
  const tm date = LocalTime(time);
  return {date.tm_year, date.tm_mon, date.tm_mday};
}

// The array that an archive of the input is named after.
std::string ArrayOfInput(const PlannedInput& input) {
  return std::string(ArrayOf(input.name).value_or(""));
}

// One run over the inputs. What the driver does with files and records is done here with what is
// known of them; how they join is asked.
class Driver {
 public:
  Driver(char level, const OutputRules& rules) : joins_{level, false}, rules_(rules) {}

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
  JoinState State() const {
    return {active_, output_.emptied, output_.revision, array_, last_input_.c_str()};
  }

  InputFate TakeInput(const PlannedInput& input, const char* next) {
    const Joining by_name = JoinByName(joins_, State(), input.name.c_str());
    if (by_name == Joining::kAfterBroken) return InputFate::kAfterBroken;
    if (by_name == Joining::kStartsNew && active_) Finish();
    const int64_t before = record_time_;
    record_time_ = input.header_time;
    const std::string array = ArrayOfInput(input);
    const Joining joining = Join(joins_, State(),
                                 {input.level, input.revision, array,
                                  MonthsBetween(DateOf(before), DateOf(input.header_time)), 0});
    if (joining == Joining::kDayArchive) return InputFate::kDayLevel;
    if (joining == Joining::kBefore) {
      abandoned_ = true;
      record_time_ = before;
      return InputFate::kBackward;
    }
    if (joining != Joining::kJoins && !BeginOutput(input, joining)) return InputFate::kNameTaken;
    last_input_ = input.name;
    output_.inputs.push_back(input.name);
    Read(input, before);
    if (EndsBehind(joins_, input.name.c_str(), next)) Finish();
    return input.broken ? InputFate::kAbandoned : InputFate::kArchived;
  }

  // Ends the output in progress and begins another, or its sequel. False: there is none for this
  // input, or the run ends.
  bool BeginOutput(const PlannedInput& input, Joining joining) {
    const bool sequel = joining == Joining::kSequel;
    if (active_) Finish(sequel);
    if (sequel) {
      name_ = SequelName(name_);
    } else {
      array_ = ArrayOfInput(input);
      name_ = ArchiveName(joins_.level, DateOf(record_time_), array_);
    }
    if (std::any_of(plan_.outputs.begin(), plan_.outputs.end(),
                    [this](const auto& made) { return made.name == name_; })) {
      if (sequel) LeaveGroup();
      return false;
    }
    if (const std::string temporary = TemporaryOf(name_); rules_.is_directory(temporary)) {
      plan_.end = fmt::format("archive/{} cannot be created, a directory is there (message 102)",
                              temporary);
      return false;
    }
    active_ = true;
    output_ = {};
    output_.name = name_;
    output_.revision = input.revision;
    output_.header_time = input.header_time;
    return true;
  }

  void Read(const PlannedInput& input, int64_t before) {
    abandoned_ = input.broken;
    if (!input.broken) {
      record_time_ = input.last_time;
      output_.last_time = input.last_time;
      return;
    }
    record_time_ = TimeBehindAbandoned(output_.inputs.size() == 1, input.header_time, before);
    output_.trouble = fmt::format("{} is broken", input.name);
    if (joins_.level == 'H') {
      output_.emptied = true;
      output_.trouble += ": the archive will be empty";
    }
  }

  void Finish(bool followed_by_sequel = false) {
    active_ = false;
    switch (ShortfallOf(joins_.level, rules_.lacks_input(last_input_), abandoned_)) {
      case Shortfall::kInput:
        KeepTemporary(output_, "an input of it does not open: it is left to a later run");
        break;
      case Shortfall::kAbandoned:
        KeepTemporary(output_, "its last input is abandoned: it is left to a later run");
        break;
      case Shortfall::kNothing:
        break;
    }
    plan_.outputs.push_back(output_);
    if (!followed_by_sequel) NameGroup();
  }

  static void KeepTemporary(PlannedOutput& output, const char* why) {
    output.temporary = true;
    output.trouble = why;
  }

  // The output finished last and those that it is a sequel of.
  std::span<PlannedOutput> Group() { return std::span(plan_.outputs).subspan(group_begin_); }

  // They get their names together, or none does.
  void NameGroup() {
    const auto is_temporary = [](const PlannedOutput& output) { return output.temporary; };
    if (std::none_of(Group().begin(), Group().end(), is_temporary)) {
      const auto taken = std::find_if(Group().begin(), Group().end(), [this](const auto& output) {
        return rules_.stands(output.name);
      });
      if (taken == Group().end()) {
        group_begin_ = plan_.outputs.size();
        return;
      }
      KeepTemporary(*taken,
                    "its name is taken, and what stands there is never replaced (message 111)");
    }
    LeaveGroup();
  }

  void LeaveGroup() {
    for (PlannedOutput& output : Group()) {
      if (output.temporary) continue;
      KeepTemporary(output,
                    "it waits for the other files of its archive: all get their names, or none");
    }
    group_begin_ = plan_.outputs.size();
  }

  JoinRules joins_;
  const OutputRules& rules_;
  OutputPlan plan_;
  size_t group_begin_ = 0;  // of the outputs: the first that has no name yet
  bool active_ = false;
  bool abandoned_ = false;  // the input read last
  PlannedOutput output_;
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
