// Command line of `psltool make`.
#include "tools/commands/commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "engine/layout/layout.h"
#include "tools/making/make_days.h"
#include "tools/making/make_files.h"
#include "tools/making/make_plan.h"
#include "tools/output/report.h"
#include "tools/reading/clock.h"
#include "tools/reading/kind_names.h"
#include "tools/reading/time_text.h"

namespace psltool {

namespace {

constexpr size_t kLongestName = 40;  // listings of the archiver cut file names at 63 characters
constexpr uint32_t kMostArrays = 99;
constexpr uint32_t kMostDays = 3660;
constexpr uint32_t kDaySeconds = 86400;
constexpr uint32_t kMostFilesPerDay = 999;

// What the command line says, before it is checked.
struct MakeOptions {
  uint32_t arrays = 1;
  std::string name;
  std::string start = "2024-03-04";
  int64_t revision = kLastRevision;
  std::map<Kind, std::optional<int64_t>> counts;
  bool none = false;
  bool pools = false;
  bool ranks = false;
  bool utc = false;
  bool local = false;
  std::string profile = "office";
  std::string extended = "none";
  std::optional<uint32_t> hot;
  MakePlan plan;
};

bool Refuse(const std::string& option, const std::string& reason) {
  return Fail("make " + option, reason);
}

bool CheckCounts(MakeOptions& options) {
  MakePlan& plan = options.plan;
  for (const KindName& name : KindNames()) {
    const std::optional<int64_t> asked = options.counts[name.kind];
    const std::string option = fmt::format("--{}", name.word);
    if (asked && (*asked < 0 || *asked > name.most)) {
      return Refuse(option, fmt::format("{} is not a number from 0 to {}", *asked, name.most));
    }
    if (!HasKind(plan.revision, name.kind)) {
      if (asked && *asked != 0) {
        return Refuse(option, fmt::format("files of revision 0x{:02X} hold no {}", plan.revision,
                                          name.title));
      }
      continue;
    }
    const uint32_t usual = options.none ? 0 : name.usual;
    plan.counts[name.kind] = asked ? static_cast<uint32_t>(*asked) : usual;
  }
  if (HasSecondChesegKey(plan) && !LayoutOf(plan.revision).row.second_cheseg_key) {
    return Refuse("--cheseg", fmt::format("files of revision 0x{:02X} hold at most 256 cache "
                                          "segments",
                                          plan.revision));
  }
  if (plan.wait_times && !HasKind(plan.revision, kWaittm)) {
    return Refuse("--wait-times",
                  fmt::format("files of revision 0x{:02X} hold no wait times", plan.revision));
  }
  return true;
}

bool CheckNames(MakeOptions& options) {
  if (options.arrays < 1 || options.arrays > kMostArrays) {
    return Refuse("--arrays", fmt::format("not a number from 1 to {}", kMostArrays));
  }
  const bool numbered = options.arrays > 1 || options.name.empty();
  const std::string base = options.name.empty() ? "array" : options.name;
  const bool plain = std::all_of(base.begin(), base.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '-' || c == '_';
  });
  if (!plain || base.size() > kLongestName) {
    return Refuse("--name", fmt::format("'{}' is not up to {} letters, digits, '-' and '_'", base,
                                        kLongestName));
  }
  for (uint32_t i = 1; i <= options.arrays; ++i) {
    options.plan.arrays.push_back(numbered ? fmt::format("{}{:02}", base, i) : base);
  }
  return true;
}

bool CheckDays(MakeOptions& options) {
  MakePlan& plan = options.plan;
  const TimeReading start = ReadTime(options.start, Now(), Zone::kUtc);
  if (!start.span) return Refuse("--start", start.why);
  const CivilDate date = DateOf(start.span->first);
  if (CivilOf(date) != start.span->first) {
    return Refuse("--start", fmt::format("'{}' is not a date like 2024-03-04", options.start));
  }
  plan.start = std::chrono::year(static_cast<int>(date.year)) / std::chrono::month(date.month) /
               std::chrono::day(date.day);
  if (plan.days < 1 || plan.days > kMostDays) {
    return Refuse("--days", fmt::format("not a number from 1 to {}", kMostDays));
  }
  if (plan.interval < 1 || plan.interval > kDaySeconds) {
    return Refuse("--interval", fmt::format("not a number from 1 to {}", kDaySeconds));
  }
  // As manual runs of the archiver cut days.
  const bool utc_days = LayoutOf(plan.revision).row.keeps_header;
  plan.local_days = options.local || (!options.utc && !utc_days);
  const int64_t last = DayOf(plan, plan.days).start;
  if (DayOf(plan, 0).start < 0 || last > UINT32_MAX) {
    return Refuse("--start", "the days do not lie between 1970 and 2106");
  }
  uint32_t fewest = kDaySeconds;
  for (uint32_t d = 0; d < plan.days; ++d) fewest = std::min(fewest, DayOf(plan, d).intervals);
  if (plan.files_per_day < 1 || plan.files_per_day > kMostFilesPerDay ||
      plan.files_per_day > fewest) {
    return Refuse("--files-per-day",
                  fmt::format("not a number from 1 to {}", std::min(kMostFilesPerDay, fewest)));
  }
  const uint32_t per_file = fewest / plan.files_per_day;
  if (plan.structures < 1 || plan.structures > per_file) {
    return Refuse("--structures",
                  fmt::format("not a number from 1 to {}, the intervals of a file", per_file));
  }
  return true;
}

bool Check(MakeOptions& options) {
  MakePlan& plan = options.plan;
  if (options.revision < kFirstRevision || options.revision > kLastRevision) {
    return Refuse("--revision", fmt::format("0x{:X} is not from 0x{:X} to 0x{:X}", options.revision,
                                            kFirstRevision, kLastRevision));
  }
  plan.revision = static_cast<uint8_t>(options.revision);
  if ((options.pools || options.ranks) && !HasOneOfRankAndPool(LayoutOf(plan.revision))) {
    return Refuse(
        options.pools ? "--pools" : "--ranks",
        fmt::format("files of revision 0x{:02X} hold whatever has a count", plan.revision));
  }
  plan.pools = !options.ranks;
  plan.profile = options.profile == "flat"   ? Profile::kFlat
                 : options.profile == "idle" ? Profile::kIdle
                                             : Profile::kOffice;
  plan.extended = options.extended == "full"       ? Extended::kAllWords
                  : options.extended == "partial"  ? Extended::kMaxima
                  : options.extended == "changing" ? Extended::kChanging
                                                   : Extended::kNoWords;
  if (!CheckCounts(options) || !CheckNames(options) || !CheckDays(options)) return false;
  if (options.hot && *options.hot >= plan.counts[kLd]) {
    return Refuse("--hot-ld",
                  fmt::format("there are {} logical disks, numbered from 0", plan.counts[kLd]));
  }
  plan.hot_ld = options.hot ? *options.hot : plan.counts[kLd] / 3;
  return true;
}

void AddTimeOptions(Command& command, MakeOptions& options) {
  MakePlan& plan = options.plan;
  command.AddOption("--arrays", options.arrays, "How many arrays (default 1)")->Under("What");
  command
      .AddOption("--name", options.name,
                 "Array name; several arrays get 01, 02 behind it (default array01)")
      ->StandsFor(Stands::kText)
      ->Under("What");
  command
      .AddOption("--revision", options.revision,
                 fmt::format("Format revision, 0x{0:02X} to 0x{1:02X} (default 0x{1:02X})",
                             kFirstRevision, kLastRevision))
      ->Under("What");
  command.AddOption("--start", options.start, "First day (default 2024-03-04, a Monday)")
      ->StandsFor(Stands::kTime)
      ->Under("What");
  command.AddOption("--days", plan.days, "How many days (default 1)")->Under("What");
  command.AddOption("--interval", plan.interval, "Seconds between records (default 300)")
      ->Under("What");
  command
      .AddOption("--records", plan.records,
                 "Statistics records per day: the day breaks off behind so many (default: all)")
      ->Must(kPositive)
      ->Under("What");
  auto* utc =
      command.AddFlag("--utc", options.utc, "Days begin at midnight UTC (default from 0x1D)");
  auto* local = command.AddFlag("--local", options.local,
                                "Days begin at local midnight (default below 0x1D)");
  utc->Under("What");
  local->Under("What")->Excludes(utc);
  command.AddOption("-o,--out", plan.out, "Directory for the files, made if missing (default .)")
      ->StandsFor(Stands::kDirectory)
      ->Under("What");
  command.AddFlag("--force", plan.force, "Replace files that are there")->Under("What");
  command.AddFlag("-q,--quiet", plan.quiet, "Print nothing but errors")->Under("What");
}

void AddContentOptions(Command& command, MakeOptions& options) {
  MakePlan& plan = options.plan;
  command
      .AddOption("--profile", options.profile,
                 "office: working days, nights and weekends; flat; idle (default office)")
      ->Must(OneOf({"office", "flat", "idle"}))
      ->Under("Content");
  command.AddOption("--seed", plan.seed, "Another number, other counters (default 1)")
      ->Under("Content");
  command
      .AddOption("--hot-ld", options.hot,
                 "Position of the busiest logical disk (default: at a third)")
      ->Under("Content");
  command
      .AddOption("--extended", options.extended,
                 "Extended words behind entries: none, full, partial; changing: each in turn from "
                 "file to file (default none)")
      ->Must(OneOf({"none", "full", "partial", "changing"}))
      ->Under("Content");
  command
      .AddOption("--idle-share", plan.idle_share,
                 "Percent of the resources of each kind that are idle at any time (default 0)")
      ->Must(Between(0, 100))
      ->Under("Content");
  command
      .AddOption("--not-valid-share", plan.not_valid_share,
                 "Percent of them that are marked as not valid at any time (default 0)")
      ->Must(Between(0, 100))
      ->Under("Content");
  command.AddOption("--structures", plan.structures, "Structure records per file (default 1)")
      ->Under("Content");
  command.AddOption("--nnc", plan.nnc, "\"NNC\" records per file (default 0)")->Under("Content");
  command.AddOption("--ldm", plan.ldm, "\"LDM\" records per file (default 0)")->Under("Content");
  command.AddOption("--fre", plan.fre, "\"FRE\" records per file (default 0)")->Under("Content");
  command
      .AddOption("--files-per-day", plan.files_per_day,
                 "Files per day; several are numbered #001, #002 (default 1)")
      ->Under("Content");
}

void AddCountOptions(Command& command, MakeOptions& options) {
  for (const KindName& name : KindNames()) {
    command
        .AddOption(fmt::format("--{}", name.word), options.counts[name.kind],
                   fmt::format("{} (default {})", name.title, name.usual))
        ->Under("Resources");
  }
  command.AddFlag("--none", options.none, "Only the resources that are named: the others are 0")
      ->Under("Resources");
  command.AddFlag("--wait-times", options.plan.wait_times, "Wait times of the logical disks")
      ->Under("Resources");
  auto* pools =
      command.AddFlag("--pools", options.pools, "Carry pools, not ranks (default from 0x19)");
  auto* ranks = command.AddFlag("--ranks", options.ranks, "Carry ranks, not pools");
  pools->Under("Resources");
  ranks->Under("Resources")->Excludes(pools);
}

int Make(MakeOptions& options) {
  if (!Check(options)) return kExitRefused;
  return MakeFiles(options.plan) ? kExitDone : kExitUnusable;
}

}  // namespace

void AddMakeCommand(Command& command, int& status) {
  MakeOptions& options = command.Runs<MakeOptions>(Make, status);
  AddTimeOptions(command, options);
  AddContentOptions(command, options);
  AddCountOptions(command, options);
}

}  // namespace psltool
