// Command line and text of `psltool plan`.
#include "tools/commands/commands.h"

#include <fmt/format.h>

#include <ctime>
#include <map>
#include <memory>
#include <string>

#include "report/runinfo.h"
#include "tools/output/json.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"
#include "tools/reading/clock.h"
#include "tools/reading/time_text.h"
#include "tools/running/plan.h"

namespace psltool {

namespace {

// Reasons that every healthy directory has; without --all they are only counted.
const std::map<std::string, const char*> kUsual = {
    {"archived", "archived already"},
    {"month-archived", "archived already, their month"},
    {"not-over", "of a day or month that is not over"},
    {"before-limit", "before the limit of their archives"},
    {"day-archive", "day archives"},
};

struct PlanOptions {
  PlanRequest request;
  std::array<std::string, kSegRetentionClasses> keep = {"none", "none", "none"};
  std::string archiving = "on";
  std::string mode = "svr";
  std::string at;
  std::vector<int> auto2;
  bool all = false;
  bool json = false;
};

Json JsonOf(const std::vector<PlanFile>& files) {
  Json list = Json::Array();
  for (const PlanFile& file : files) {
    Json entry = {{"path", file.path}, {"class", file.code}, {"reason", file.reason}};
    if (file.bytes) entry["bytes"] = *file.bytes;
    if (file.archive) {
      entry["archive"] = file.archive->empty() ? Json() : Json(*file.archive);
    }
    list.Append(std::move(entry));
  }
  return list;
}

std::string When(int64_t time) { return IsoTimeText(static_cast<uint32_t>(time), Zone::kLocal); }

Json JsonOf(const PlanStep& step) {
  Json outputs = Json::Array();
  for (const PlanOutput& output : step.outputs) {
    outputs.Append({{"path", output.path}, {"inputs", output.inputs}, {"trouble", output.trouble}});
  }
  return {{"level", step.level == 'H' ? "hour" : "day"},
          {"up_to", When(step.period.end)},
          {"from", step.period.has_limit ? Json(When(step.period.limit)) : nullptr},
          {"archive", JsonOf(step.archived)},
          {"outputs", outputs},
          {"skip", JsonOf(step.skipped)}};
}

void PrintJson(const PlanOptions& options, const Plan& plan, TextOut& out) {
  Json json = {{"at", When(options.request.now)}, {"directory", arcdelinfo.arcdir},
               {"ends_early", plan.end},          {"notes", plan.notes},
               {"warnings", plan.warnings},       {"runs", Json::Array()},
               {"remove", JsonOf(plan.removed)},  {"bytes_freed", BytesFreed(plan.removed)},
               {"keep", JsonOf(plan.kept)},       {"prune", Json::Array()}};
  for (const PlanStep& step : plan.steps) json["runs"].Append(JsonOf(step));
  for (const PruneStep& step : plan.pruning) {
    json["prune"].Append({{"mode", step.mode},
                          {"result", step.result},
                          {"trouble", step.failure},
                          {"bytes_freed", BytesFreed(step.files)},
                          {"files", JsonOf(step.files)}});
  }
  PutJson(json, out);
}

std::string ArchiveText(const PlanFile& file) {
  if (!file.archive) return "";
  return file.archive->empty() ? "; NOT ARCHIVED" : "; in " + *file.archive;
}

// One line per file; usual reasons are counted unless all are wanted.
void PrintFiles(const char* word, const std::vector<PlanFile>& files, bool all, TextOut& out) {
  std::map<std::string, size_t> counted;
  for (const PlanFile& file : files) {
    if (!all && kUsual.contains(file.code)) {
      ++counted[file.code];
    } else if (file.reason.empty()) {
      PrintLine(out, "  {:<8} {}", word, file.path);
    } else {
      PrintLine(out, "  {:<8} {:<36} {}{}", word, file.path, file.reason, ArchiveText(file));
    }
  }
  for (const auto& [code, count] : counted) {
    PrintLine(out, "  {:<8} {} {}", word, count, kUsual.at(code));
  }
}

std::string Moment(int64_t time) { return TimeText(static_cast<uint32_t>(time), Zone::kLocal); }

void PrintStep(const PlanStep& step, bool all, TextOut& out) {
  const bool hour = step.level == 'H';
  const std::string from =
      step.period.has_limit
          ? fmt::format("from {} (limit {}) ", Moment(step.period.limit).substr(0, 16),
                        KeepText(hour ? kClassHour : kClassDay))
          : "";
  PrintLine(out, "{} archives, of dates {}up to {}: {}, {}", hour ? "hour" : "day", from,
            Moment(step.period.end), Counted(step.archived.size(), "input"),
            Counted(step.outputs.size(), "archive"));
  PrintFiles("archive", step.archived, all, out);
  for (const PlanOutput& output : step.outputs) {
    const std::string trouble = output.trouble.empty() ? "" : "; " + output.trouble;
    PrintLine(out, "  {:<8} {:<36} from {}{}", "make", output.path, Counted(output.inputs, "input"),
              trouble);
  }
  PrintFiles("skip", step.skipped, all, out);
}

void PrintText(const PlanOptions& options, const Plan& plan, TextOut& out) {
  PrintLine(out, "plan for {} (local), {}", Moment(options.request.now),
            options.request.prune ? arcdelinfo.pmldir : arcdelinfo.arcdir);
  for (const std::string& note : plan.notes) PrintLine(out, "note: {}", note);
  for (const std::string& warning : plan.warnings) PrintLine(out, "WARNING: {}", warning);
  for (const PlanStep& step : plan.steps) PrintStep(step, options.all, out);
  for (const PruneStep& step : plan.pruning) {
    PrintLine(out, "pruning, mode {}: {}, {} freed{}", step.mode,
              Counted(step.files.size(), "file"), SizeText(BytesFreed(step.files)),
              step.failure.empty() ? "" : "; " + step.failure);
    for (const PlanFile& file : step.files) {
      PrintLine(out, "  {:<8} {} {}", file.code, file.path, file.reason);
    }
  }
  if (!plan.end.empty()) {
    PrintLine(out, "the run would end here: {}", plan.end);
  } else if (!options.request.prune) {
    PrintLine(out, "removal: {}, {} freed", Counted(plan.removed.size(), "file"),
              SizeText(BytesFreed(plan.removed)));
    PrintFiles("remove", plan.removed, true, out);
    if (options.all) PrintFiles("keep", plan.kept, true, out);
  }
}

bool CheckOptions(PlanOptions& options, bool archive_given) {
  PlanRequest& request = options.request;
  SegmentConfig& config = request.config;
  if (request.segment < 0 && config.root.empty()) {
    return Fail("plan", "--segment, or --root, is needed");
  }
  if (request.segment < 0) {
    if (!archive_given) config.archive = config.root + "/psl";
    if (config.pml.empty()) config.pml = config.root + "/pml";
    config.archiving = options.archiving == "on" ? 1 : 0;
    for (std::string* path : {&config.root, &config.archive, &config.pml}) {
      if (path->size() >= kSegArchiveRoom) return Fail(*path, "the path is too long");
      if (!path->starts_with('/')) return Fail(*path, "is not an absolute path");
    }
    if (!ReadRetentions("plan", options.keep, config)) return false;
  }
  request.array_update = options.mode == "arrayupdate";
  request.now = Now();
  if (!options.at.empty()) {
    const TimeReading at = ReadTime(options.at, request.now, Zone::kLocal);
    if (!at.span) return Fail("plan --at", at.why);
    request.now = at.span->first;
  }
  request.prune = !options.auto2.empty();
  for (size_t i = 0; i < options.auto2.size(); ++i) {
    // The run refuses what does not fit its fields, too.
    if (i != 1 && options.auto2[i] > UINT8_MAX) {
      return Fail("plan --auto2", fmt::format("{} is more than 255", options.auto2[i]));
    }
    request.numbers[i] = options.auto2[i];
  }
  return true;
}

int Run(PlanOptions& options, bool archive_given) {
  if (!CheckOptions(options, archive_given) || !SetUpPlan(options.request)) return kExitUnusable;
  const Plan plan = PlanRun(options.request);
  if (plan.unread) {
    return FailWith(kExitUnusable, "plan", "a file could not be read, and the run would end there");
  }
  TextOut out(stdout);
  if (options.json) {
    PrintJson(options, plan, out);
  } else {
    PrintText(options, plan, out);
  }
  if (!out.FlushOrFail()) return kExitUnusable;
  return plan.end.empty() ? kExitDone : kExitFailed;
}

}  // namespace

void AddPlanCommand(Command& command, int& status) {
  auto options = std::make_shared<PlanOptions>();
  PlanRequest& request = options->request;
  auto* segment = command.AddOption("--segment", request.segment,
                                    "Number of the configuration segment, as the run gets it");
  auto* root = command
                   .AddOption("--root", request.config.root,
                              "Root directory, instead of a segment; the options below "
                              "stand for what the segment would say")
                   ->StandsFor(Stands::kDirectory);
  segment->Excludes(root);
  // A segment has a say of its own in what these are about.
  const auto of_root = [segment](Option* option) { return option->Excludes(segment); };
  auto* archive =
      of_root(command
                  .AddOption("--archive", request.config.archive,
                             "Directory of the logs (default: psl in the root directory)")
                  ->StandsFor(Stands::kDirectory));
  of_root(command
              .AddOption("--pml", request.config.pml,
                         "Directory of the raw monitor logs (default: pml in the root directory)")
              ->StandsFor(Stands::kDirectory));
  of_root(command
              .AddOption("--keep-psl", options->keep[0],
                         "How long logs are kept: 30d, 12m, 2y or none (default none)")
              ->ValueName("AGE"));
  of_root(command.AddOption("--keep-hour", options->keep[1], "How long hour archives are kept")
              ->ValueName("AGE"));
  of_root(command.AddOption("--keep-day", options->keep[2], "How long day archives are kept")
              ->ValueName("AGE"));
  of_root(command.AddOption("--archiving", options->archiving, "on, or off (default on)")
              ->Must(OneOf({"on", "off"})));
  of_root(command.AddOption("--capacity", request.config.capacity,
                            "Size of the system volume in MB, for --auto2 1"));
  of_root(command.AddOption("--capacity-override", request.config.capacity_override,
                            "Goes before --capacity when it is 1 or more"));
  command.AddOption("--mode", options->mode, "svr or arrayupdate (default svr)")
      ->Must(OneOf({"svr", "arrayupdate"}));
  command.AddFlag("--force", request.force, "As -force: archive whatever the segment says");
  command
      .AddOption("--at", options->at,
                 "Plan for this local time, like '2024-04-01 00:30' (default: now)")
      ->StandsFor(Stands::kTime);
  command.AddOption("--auto2", options->auto2, "Plan the pruning with these numbers")
      ->Takes(3)
      ->ValueName("EMB DAYS COUNT")
      ->Must(kNotNegative);
  command.AddFlag("--read,!--no-read", request.read_through,
                  "Read the inputs to their end, to know the broken ones (default), or do not");
  command.AddFlag("--all", options->all, "List every file, with the date on which it expires");
  command.AddFlag("--json", options->json, "As JSON");
  command.Does([options, archive, &status] { status = Run(*options, archive->count() > 0); });
}

}  // namespace psltool
