// The hour run and the day run of a plan: the rules of selection over the archives that are there
// and those that the run has made by then.
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include "engine/joining.h"
#include "engine/names.h"
#include "engine/pmonfile.h"
#include "logdir/autotarget.h"
#include "logdir/listing.h"
#include "platform/places.h"
#include "platform/transfer.h"
#include "report/runinfo.h"
#include "tools/reading/time_text.h"
#include "tools/running/plan.h"
#include "tools/running/plan_inputs.h"

namespace psltool {

namespace {

std::string Day(int64_t time) {
  return TimeText(static_cast<uint32_t>(time), Zone::kLocal).substr(0, 16);
}

// Why CheckAutoFileVer refuses a file.
std::string RefusalText(const std::string& name) {
  const int fd = open(AutoFilePath(name).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd == -1) return fmt::format("does not open: {}", strerror(errno));
  uint8_t bytes[kRecordHeaderSize] = {};
  const Transfer head = ReadFrom(fd, 0, bytes);
  close(fd);
  if (head.error == ESPIPE) return "is no regular file";
  if (head.error != 0) return fmt::format("cannot be read: {}", strerror(head.error));
  if (head.size < sizeof bytes) return head.size == 0 ? "is empty" : "has no file header";
  return fmt::format("format revision 0x{:02X}; below 0x{:02X} logs are archived by hand",
                     bytes[kAtFlag], kLowestAutoRevision);
}

// `path`: below the archive directory, as listed.
PlanFile Skipped(const AutoFile& file, const std::string& path, const PlanStep& step,
                 const ArchiveView& view) {
  const int output_class = step.level == 'H' ? kClassHour : kClassDay;
  switch (file.verdict) {
    case AutoVerdict::kNoDate:
      return {path, "no-date", "the digits of its name are no date"};
    case AutoVerdict::kNotOver:
      return {path, "not-over",
              fmt::format("the {} takes what lies before {}",
                          step.level == 'H' ? "hour run" : "day run", Day(step.period.end + 1))};
    case AutoVerdict::kBeforeLimit:
      return {path, "before-limit",
              fmt::format("before {}: its archive would be expired, limit {}",
                          Day(step.period.limit), KeepText(output_class))};
    case AutoVerdict::kOtherLevel:
      return {path, "other-level", "does not open, or is no archive by its header"};
    case AutoVerdict::kIsDayArchive:
      return {path, "day-archive", "a day archive"};
    case AutoVerdict::kIsHourArchive:
      return {path, "hour-archive", "an hour archive"};
    case AutoVerdict::kDayArchived:
      return {path, "archived", "an hour archive of its day exists"};
    case AutoVerdict::kMonthArchived:
      return {path, "month-archived", "a day archive of its month exists"};
    case AutoVerdict::kRefused:
      if (view.made.contains(file.name)) {
        return {path, "refused", "is empty, as its log is broken"};
      }
      return {path, "refused", RefusalText(file.name)};
    case AutoVerdict::kUnreadable:
      return {path, "unreadable", UnreadText(file.name)};
    case AutoVerdict::kPassedOver:
      return {path, "held-up",
              fmt::format("left to a later run: a file of its {} cannot be looked at",
                          step.level == 'H' ? "day" : "month")};
    case AutoVerdict::kTarget:
    case AutoVerdict::kOtherFile:
      break;
  }
  return {path, "other-file", "no log or archive by its name"};
}

std::string FateText(const PlannedInput& input, InputFate fate) {
  switch (fate) {
    case InputFate::kAbandoned:
      return fmt::format("broken: abandoned with message 112{}",
                         IsLogName(input.name) ? ", the archive is left empty" : "");
    case InputFate::kDayLevel:
      return "a day archive by its header, passed over";
    case InputFate::kAfterBroken:
      return "passed over behind a broken log of its day";
    case InputFate::kBackward:
      return "its month lies before that of the archive (message 112)";
    case InputFate::kNameTaken:
      return "the run has made an archive of that name already (message 102)";
    case InputFate::kArchived:
      break;
  }
  return "";
}

class StepPlanner {
 public:
  StepPlanner(char level, const PlanRequest& request, ArchiveView& view, Plan& plan)
      : request_(request), view_(view), plan_(plan) {
    selection_.held_up = view.unarchived.held_up();
    step_.level = level;
    step_.period = PeriodOfRun(level, RunLimits());
  }

  // False: the run ends.
  bool Run() {
    const bool goes_on = Select() && Archive();
    plan_.steps.push_back(std::move(step_));
    return goes_on;
  }

 private:
  bool Select() {
    Listing listing = ListDirectory(arcdelinfo.arcdir);
    if (listing.call != nullptr) {
      plan_.end = fmt::format("{}: {} (message 103)", arcdelinfo.arcdir, strerror(listing.error));
      return false;
    }
    step_.skipped = DescribeOversized("", listing.oversized);
    std::sort(listing.names.begin(), listing.names.end());
    JudgeLogs(step_.period, {listing.names, listing.unread}, &selection_);
    if (NeedsArchives(step_.level, selection_)) {
      if (!ProvideDirectory()) return false;
      std::vector<std::string> archives = view_.Names();
      std::sort(archives.begin(), archives.end());
      JudgeArchives(step_.period, {archives, view_.unread}, view_.Probe(), &selection_);
      DropArchived(step_.level, view_.Probe(), &selection_);
      if (step_.level == 'D') AddOversizedArchives();
    }
    NoteHeldUp(step_.level, selection_, view_.unarchived);
    return true;
  }

  void AddOversizedArchives() {
    const auto files = DescribeOversized(kArchivePart, view_.oversized);
    step_.skipped.insert(step_.skipped.end(), files.begin(), files.end());
  }

  bool ProvideDirectory() {
    if (view_.exists) return true;
    struct stat status {};
    std::string directory = ArchiveSubdirectory();
    directory.pop_back();
    if (lstat(directory.c_str(), &status) == 0) {
      plan_.end = fmt::format("{} cannot be opened (messages 113 and 114)", directory);
      return false;
    }
    view_.exists = true;
    plan_.notes.push_back(fmt::format("the run makes the directory {}", directory));
    return true;
  }

  bool Archive() {
    std::vector<std::string> targets;
    for (const auto* files : {&selection_.logs, &selection_.archives}) {
      const bool logs = files == &selection_.logs;
      for (const AutoFile& file : *files) {
        if (file.verdict == AutoVerdict::kTarget) {
          targets.push_back(file.name);
        } else if (step_.level == 'D' || logs) {
          const std::string path = (logs ? "" : kArchivePart) + file.name;
          step_.skipped.push_back(Skipped(file, path, step_, view_));
        }
      }
    }
    const CheckedInputs checked = CheckPlannedInputs(targets, step_.level, request_, view_);
    step_.skipped.insert(step_.skipped.end(), checked.dropped.begin(), checked.dropped.end());
    plan_.unread = checked.unread;
    if (checked.unread) return false;
    const OutputPlan outputs = PlanOutputs(step_.level, checked.accepted, Rules(checked.unopened));
    for (size_t i = 0; i < outputs.fates.size(); ++i) {
      const PlannedInput& input = checked.accepted[i];
      const InputFate fate = outputs.fates[i];
      const bool taken = fate == InputFate::kArchived || fate == InputFate::kAbandoned;
      PlanFile file = {PlanPath(input.name), fate == InputFate::kArchived ? "archive" : "broken",
                       FateText(input, fate)};
      if (!taken) file.code = "passed-over";
      // As the run notes what it leaves without its archive.
      if (fate != InputFate::kArchived && fate != InputFate::kDayLevel) {
        view_.unarchived.Note(input.name.c_str(), step_.level);
      }
      (taken ? step_.archived : step_.skipped).push_back(file);
    }
    for (const PlannedOutput& output : outputs.outputs) Take(output);
    plan_.end = outputs.end;
    return outputs.end.empty();
  }

  OutputRules Rules(const std::vector<std::string>& unopened) const {
    const char level = step_.level;
    return {
        [this](const std::string& name) {
          const auto made = view_.made.find(name);
          if (made != view_.made.end()) return made->second.version == 0;
          struct stat status {};
          return lstat((ArchiveSubdirectory() + name).c_str(), &status) == 0 &&
                 !(S_ISREG(status.st_mode) && status.st_size == 0);
        },
        [](const std::string& name) {
          struct stat status {};
          return lstat((ArchiveSubdirectory() + name).c_str(), &status) == 0 &&
                 S_ISDIR(status.st_mode);
        },
        [level, &unopened](const std::string& name) { return LacksInput(unopened, name, level); }};
  }

  // The output is there from now on.
  void Take(const PlannedOutput& output) {
    const std::string temporary = TemporaryOf(output.name);
    step_.outputs.push_back({kArchivePart + (output.temporary ? temporary : output.name),
                             output.inputs.size(), output.trouble});
    if (output.temporary) {
      for (const std::string& input : output.inputs) {
        view_.unarchived.Note(input.c_str(), step_.level);
      }
    }
    std::erase(view_.listed, temporary);
    MadeArchive made;
    made.temporary = output.temporary;
    made.level = step_.level == 'H' ? 1 : 2;
    made.version = output.emptied ? -1 : 0;
    made.revision = output.revision;
    made.header_time = output.header_time;
    made.last_time = output.last_time;
    view_.made[output.temporary ? temporary : output.name] = made;
  }

  const PlanRequest& request_;
  ArchiveView& view_;
  Plan& plan_;
  PlanStep step_;
  AutoSelection selection_;
};

}  // namespace

std::vector<std::string> ArchiveView::Names() const {
  // An archive that is replaced stays where it is; where others come, only the directory knows.
  std::vector<std::string> names = listed;
  const std::set<std::string> there(listed.begin(), listed.end());
  for (const auto& [name, archive] : made) {
    if (!there.contains(name)) names.push_back(name);
  }
  return names;
}

AutoProbe ArchiveView::Probe() const {
  return {[this](const char* name) {
            const auto at = made.find(name);
            return at != made.end() ? at->second.level : FileProbe().level(name);
          },
          [this](const char* name) {
            const auto at = made.find(name);
            return at != made.end() ? at->second.version : FileProbe().version(name);
          }};
}

bool PlanArchiving(const PlanRequest& request, ArchiveView& view, Plan& plan) {
  return StepPlanner('H', request, view, plan).Run() && StepPlanner('D', request, view, plan).Run();
}

}  // namespace psltool
