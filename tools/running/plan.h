// What the next automatic run would do, asked of its own rules and changing nothing: which files it
// archives, skips and removes, in its order and with the reason of each.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "archiver/removal.h"
#include "logdir/autorules.h"
#include "tools/running/segment_config.h"

namespace psltool {

// What is to be planned. The configuration is in arcdelinfo (see SetUpPlan).
struct PlanRequest {
  int segment = -1;      // -1: `config` is used
  SegmentConfig config;  // as `psltool segment make` would make it
  bool force = false;
  bool array_update = false;
  int64_t now = 0;
  bool read_through = true;  // logs and archives are read to their end
  bool prune = false;        // "-auto2" instead of "-auto"
  std::array<int, 3> numbers = {};
};

// One file and what becomes of it.
struct PlanFile {
  std::string path;    // below the archive directory: "20240304a.psl", "archive/20240304a.psa"
  std::string code;    // a stable word for programs
  std::string reason;  // for people
  // Of files that go:
  std::optional<int64_t> bytes = {};        // its size, when it is there already
  std::optional<std::string> archive = {};  // that has its data after the run; "": none has
};

// What PlanFile::path says: is it the directory of the archives, and the name without directory.
bool LiesWithArchives(const std::string& path);
std::string NameInDirectory(const std::string& path);

// Code of a file that is moved, not deleted.
inline constexpr char kPlanMove[] = "move";

struct PlanOutput {
  std::string path;
  size_t inputs = 0;
  std::string trouble;  // empty: it gets its final name and holds its inputs
};

// The hour run or the day run.
struct PlanStep {
  char level = 0;
  AutoPeriod period = {};
  std::vector<PlanFile> archived;  // inputs, in order
  std::vector<PlanFile> skipped;   // every other file listed
  std::vector<PlanOutput> outputs;
};

// One task of the pruning.
struct PruneStep {
  int8_t mode = 0;
  int result = 0;
  std::string failure;  // empty: done, or nothing needed doing
  std::vector<PlanFile> files;
};

struct Plan {
  std::vector<PlanStep> steps;
  std::vector<PlanFile> removed;  // in order
  std::vector<PlanFile> kept;
  std::vector<PruneStep> pruning;
  std::vector<std::string> notes;
  std::vector<std::string> warnings;  // what nobody may have meant
  std::string end;                    // not empty: the run would end early, and why
  bool unread = false;                // a file could not be read: nothing can be planned
};

// A file of "archive" that the run makes.
struct MadeArchive {
  bool temporary = false;
  int level = 0;         // as CheckAutoFileLevel tells it
  int version = 0;       // as CheckAutoFileVer
  uint8_t revision = 0;  // the rest as in PlannedInput
  int64_t header_time = 0;
  int64_t last_time = 0;
};

// The directory "archive" as the run finds it at its current step: what is there, and what the run
// has made so far.
struct ArchiveView {
  bool exists = false;
  std::vector<std::string> listed;     // in the order of the directory
  std::vector<std::string> unread;     // their status could not be read
  std::vector<std::string> oversized;  // longer than the run's lists hold
  std::map<std::string, MadeArchive> made;
  UnarchivedPeriods unarchived;  // what the run leaves without its archive

  std::vector<std::string> Names() const;
  AutoProbe Probe() const;
};

// Has the archiver take the order of the run: its configuration is in arcdelinfo then. False:
// reported.
bool SetUpPlan(const PlanRequest& request);

Plan PlanRun(const PlanRequest& request);

// Steps of PlanRun. The first returns false when the run would end with it.
bool PlanArchiving(const PlanRequest& request, ArchiveView& view, Plan& plan);
void PlanRemoval(const ArchiveView& view, Plan& plan);
void PlanPruning(const PlanRequest& request, Plan& plan);

// Sizes of the removed files, and the archives that have their data.
void NoteFreed(const ArchiveView& view, Plan& plan);

int64_t BytesFreed(const std::vector<PlanFile>& files);

// "512 bytes", "1.5 MiB".
std::string SizeText(int64_t bytes);

// What becomes of the files of a directory that the run's lists do not hold.
std::vector<PlanFile> DescribeOversized(const std::string& directory,
                                        const std::vector<std::string>& names);

// Why a file cannot be looked at.
std::string UnreadText(const std::string& name);

// How long a class (kClassPsl ...) is kept: "31 days".
std::string KeepText(int retention_class);

}  // namespace psltool
