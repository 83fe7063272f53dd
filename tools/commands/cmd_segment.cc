// Command line of `psltool segment`.
#include "tools/commands/commands.h"

#include <fmt/format.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/places.h"
#include "tools/output/json.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"
#include "tools/running/segment_config.h"

namespace psltool {

namespace {

// Paths of the archiver end at 255 characters; room is left for "/archive/" and the longest name.
constexpr size_t kLongestArchiveDirectory = 180;
constexpr size_t kLongestDirectory = kSegDirectoryRoom - 1;

// What the command line says, before it is checked.
struct SegmentOptions {
  SegmentConfig config;
  std::array<std::string, kSegRetentionClasses> keep = {"none", "none", "none"};
  std::string archiving = "on";
  bool prepare = false;
  bool force = false;
  bool json = false;
  int number = -1;
};

bool CheckDirectory(const char* option, const std::string& path, size_t longest) {
  const std::string what = fmt::format("segment make {}", option);
  // A run changes its working directory, so a relative path would lead elsewhere half-way.
  if (path.empty() || path[0] != '/') {
    return Fail(what, fmt::format("'{}' is not an absolute path", path));
  }
  if (path.size() > longest) {
    return Fail(what, fmt::format("the path is longer than {} characters", longest));
  }
  return true;
}

bool Check(SegmentOptions& options) {
  SegmentConfig& config = options.config;
  if (config.pml.empty()) config.pml = config.root + (config.root.ends_with('/') ? "pml" : "/pml");
  config.archiving = options.archiving == "on" ? 1 : 0;
  return CheckDirectory("--root", config.root,
                        kLongestDirectory - strlen("/") - strlen(kLockFile)) &&
         CheckDirectory("--archive", config.archive, kLongestArchiveDirectory) &&
         CheckDirectory("--pml", config.pml, kLongestDirectory) &&
         ReadRetentions("segment make", options.keep, config);
}

bool Prepare(const SegmentConfig& config) {
  for (const std::string& directory :
       {config.root + "/" + kLockDirectory, config.root + "/" + kWorkParent, config.archive,
        config.pml}) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) return Fail(directory, error.message());
  }
  return true;
}

int Make(SegmentOptions& options) {
  if (!Check(options)) return kExitRefused;
  if (options.prepare && !Prepare(options.config)) return kExitFailed;
  const int number = MakeSharedSegment(EncodeSegment(options.config));
  if (number == -1) {
    return FailWith(kExitFailed, "segment make", strerror(errno));
  }
  // A number that nobody got belongs to a segment that nobody would remove.
  TextOut out(stdout);
  out.Print("{}\n", number);
  if (out.FlushOrFail()) return kExitDone;
  shmctl(number, IPC_RMID, nullptr);
  return kExitUnusable;
}

bool Read(int number, SegmentView& view, size_t& size) {
  std::vector<char> bytes;
  if (!ReadSharedSegment(number, bytes)) {
    return FailSegment(number, errno);
  }
  size = bytes.size();
  view = DecodeSegment(bytes);
  return true;
}

void PrintJson(TextOut& out, int number, size_t size, const SegmentView& view) {
  const SegmentConfig& config = view.config;
  const Json json = {
      {"segment", number},
      {"size", size},
      {"root", config.root},
      {"archive", config.archive},
      {"pml", config.pml},
      {"archiving", config.archiving},
      {"keep_psl", RetentionText(config.keep[0])},
      {"keep_hour", RetentionText(config.keep[1])},
      {"keep_day", RetentionText(config.keep[2])},
      {"capacity", config.capacity},
      {"capacity_override", config.capacity_override},
      {"valid", view.faults.empty()},
      {"faults", view.faults},
  };
  PutJson(json, out);
}

void PrintText(TextOut& out, int number, size_t size, const SegmentView& view) {
  const SegmentConfig& config = view.config;
  out.Print("segment            {} ({} bytes)\n", number, size);
  if (view.is_configuration) {
    out.Print("root directory     {}\n", config.root);
    out.Print("archive directory  {}\n", config.archive);
    out.Print("PML directory      {}\n", config.pml);
    out.Print("archiving          {}\n", config.archiving == 0   ? "off"
                                         : config.archiving == 1 ? "on"
                                                                 : "invalid");
    out.Print("keep logs          {}\n", RetentionText(config.keep[0]));
    out.Print("keep hour archives {}\n", RetentionText(config.keep[1]));
    out.Print("keep day archives  {}\n", RetentionText(config.keep[2]));
    out.Print("capacity           {}, override {}\n", config.capacity, config.capacity_override);
  }
  for (const std::string& fault : view.faults) out.Print("refused            {}\n", fault);
}

int Show(const SegmentOptions& options) {
  SegmentView view;
  size_t size = 0;
  if (!Read(options.number, view, size)) return kExitFailed;
  TextOut out(stdout);
  if (options.json) {
    PrintJson(out, options.number, size, view);
  } else {
    PrintText(out, options.number, size, view);
  }
  if (!out.FlushOrFail()) return kExitUnusable;
  return view.faults.empty() ? kExitDone : kExitFailed;
}

int Remove(const SegmentOptions& options) {
  const std::string what = fmt::format("segment {}", options.number);
  if (!options.force) {
    SegmentView view;
    size_t size = 0;
    if (!Read(options.number, view, size)) return kExitFailed;
    // Numbers are easily mistyped, and every segment of the system has one.
    const bool ours = view.is_configuration && view.config.root.starts_with('/') &&
                      view.config.archive.starts_with('/');
    if (!ours) {
      return FailWith(kExitFailed, what,
                      "holds no configuration of the archiver; --force removes it all the same");
    }
  }
  if (shmctl(options.number, IPC_RMID, nullptr) != 0) {
    FailSegment(options.number, errno);
    return kExitFailed;
  }
  return kExitDone;
}

void AddMake(Command& command, const std::shared_ptr<SegmentOptions>& options, int& status) {
  Command* make = command.AddCommand("make", "Make a segment and print its number");
  make->Footer(
      "Exit status: 0 done, 1 the system gives no segment, or a directory cannot be made, 2 the\n"
      "command line is wrong.\n\n"
      "Example:\n"
      "  psltool segment make --prepare --root /srv/monitor --archive /srv/monitor/psl \\\n"
      "    --keep-psl 30d --keep-hour 12m --keep-day 2y");
  make->AddOption("--root", options->config.root, "Root directory: lock, working directory")
      ->Required()
      ->StandsFor(Stands::kDirectory);
  make->AddOption("--archive", options->config.archive,
                  "Directory of the logs; the archives go to \"archive\" in it")
      ->Required()
      ->StandsFor(Stands::kDirectory);
  make->AddOption("--pml", options->config.pml,
                  "Directory of the raw monitor logs (default: pml in the root directory)")
      ->StandsFor(Stands::kDirectory);
  const char* const kept[] = {"logs are", "hour archives are", "day archives are"};
  for (size_t i = 0; i < kKeepOptions.size(); ++i) {
    make->AddOption(kKeepOptions[i], options->keep[i],
                    fmt::format("How long {} kept: {}months like 12m, years like 2y, none = for "
                                "ever (default none)",
                                kept[i], i == 0 ? "days like 30d, " : ""))
        ->ValueName("AGE");
  }
  make->AddOption("--archiving", options->archiving,
                  "on: make archives; off: only delete what has expired (default on)")
      ->Must(OneOf({"on", "off"}));
  make->AddOption("--capacity", options->config.capacity,
                  "Size of the system volume in MB, for pruning of embedded systems")
      ->Must(kNotNegative);
  make->AddOption("--capacity-override", options->config.capacity_override,
                  "Goes before --capacity when it is 1 or more")
      ->Must(kNotNegative);
  make->AddFlag("--prepare", options->prepare,
                "Also make the directories that a run expects: pmon and core/Qelprfd in the root "
                "directory, the archive and the PML directory");
  make->Does([options, &status] { status = Make(*options); });
}

}  // namespace

void AddSegmentCommand(Command& command, int& status) {
  auto options = std::make_shared<SegmentOptions>();
  command.NeedsCommand();
  AddMake(command, options, status);

  Command* show =
      command.AddCommand("show", "Show what a segment says; status 1 when the archiver refuses it");
  show->Footer(
      "Exit status: 0 the archiver takes the segment, 1 it refuses it or there is none, 2 the\n"
      "command line is wrong.\n\n"
      "Example:\n"
      "  psltool segment show 7 --json");
  show->AddOption("number", options->number, "Number of the segment")->Required();
  show->AddFlag("--json", options->json, "As JSON");
  show->Does([options, &status] { status = Show(*options); });

  Command* remove = command.AddCommand("remove", "Remove a segment");
  remove->Footer(
      "Exit status: 0 removed, 1 there is none, or it holds no configuration, 2 the command line\n"
      "is wrong.\n\n"
      "Example:\n"
      "  psltool segment remove 7");
  remove->AddOption("number", options->number, "Number of the segment")->Required();
  remove->AddFlag("--force", options->force, "Whatever it holds");
  remove->Does([options, &status] { status = Remove(*options); });
}

}  // namespace psltool
