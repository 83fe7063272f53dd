// What the steps of the pruning share: the rows of modes, the tables of files and directories, the
// work area of one call, and the steps themselves in the order in which they run.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "pmonb/PMONBarc_del.h"
#include "pmonb/pml_calls.h"

// One PML file found by the listing pass.
struct PmlFileEntry {
  uint8_t valid;     // 1: the name has the shape of a PML file name; date and order are set
  uint8_t selected;  // 1: to be deleted or moved
  uint16_t dir_no;   // subdirectory number that it was found under
  uint32_t size;     // in bytes, lower half
  uint32_t date;     // YYMMDD, decimal
  uint32_t order;    // within one day; higher = older
  const char* path;  // of any length, kept in PmlWork::paths; null: unused entry
  uint32_t size_hi;  // upper half of the size
};

// One subdirectory of the range.
struct PmlDirEntry {
  uint8_t opened;         // 1: it could be opened in the listing pass
  uint32_t files;         // files listed in it; they lie together in the file table
  uint32_t oldest_index;  // index of its oldest valid file; 0 without one
  uint32_t newest_index;
  uint32_t oldest_date;
  uint32_t newest_date;
  uint32_t oldest_order;
  uint32_t newest_order;
};

struct PmlFree {
  void operator()(void* memory) const { std::free(memory); }
};

// A zero-filled table.
template <typename T>
using PmlTable = std::unique_ptr<T[], PmlFree>;

struct PmlWork;

// Outcome of the decision: act, or stop with a result.
struct PmlVerdict {
  bool act;
  int result;
};

enum class PmlTask : uint8_t { kDelete, kMove };

// One mode. Defaults are what most modes do.
struct PmlMode {
  int8_t code;
  bool all_directories = false;  // "00" to "FF"; else dir_no of the record
  bool volume_check = false;     // volumes must be mounted at both directories
  bool staging = false;          // the staging directory is listed instead of the subdirectory
  bool no_counting = false;      // the caller's totals are used
  bool create = false;           // a missing subdirectory is made
  bool filtered = false;         // only subdirectories of the scan that are not excluded count
  bool keeps_margin = false;     // deletion goes on until margin is free under the limit
  PmlVerdict (*decide)(const PmlWork& work);
  bool (*select)(PmlWork& work) = nullptr;  // null: the mode never acts
  PmlTask task = PmlTask::kDelete;
};

// Work area of one call.
struct PmlWork {
  PmlDelParam* param;
  const PmlMode* mode;
  std::string base;       // base_dir; empty when that is the root directory
  std::string directory;  // base_dir without one trailing "/"
  std::string staging;    // staging directory
  uint32_t first_dir;
  uint32_t dir_count;
  std::optional<int> skip;  // the result with which the call is skipped
  PmlTable<PmlFileEntry> files;
  uint32_t listed;  // entries used in `files`
  std::deque<std::string> paths;
  PmlTable<PmlDirEntry> dirs;
  struct {
    std::string what;
    uint32_t detail;
    int error;
  } failure;
};

// Notes a failure for the end of the call. Always false, the steps' word for "failed".
bool PmlFailure(PmlWork& work, uint32_t detail, const char* what, int error);

// Appends a line to the trace.
void PmlTrace(int line, const std::string& text);

// Path of subdirectory `number`; empty when there is no base directory.
std::string SubdirectoryPath(const PmlWork& work, uint32_t number);

// Whether the name ends in ".pml" and has more than that.
bool IsPmlName(const char* name);

// Deletion by age: the last date (YYMMDD) that is too old in a directory whose newest file has that
// date. Negative before 2000.
int64_t PmlAgeThreshold(uint32_t newest_date, uint32_t term);

// Limit minus total, in bytes.
double Headroom(const PmlDelParam& param);

// Volume check and the override by environment: sets `skip`.
bool CheckVolumes(PmlWork& work);
void ApplyVolumeOverride(PmlWork& work);

// Notes once per record which subdirectories there are.
bool ScanSubdirectories(PmlWork& work);

// First pass: total size and number of the files.
bool CountFiles(PmlWork& work);

// Decision by mode.
PmlVerdict Decide(const PmlWork& work);
PmlVerdict DecideNothing(const PmlWork& work);
PmlVerdict DecideAlways(const PmlWork& work);
PmlVerdict DecideByHeadroom(const PmlWork& work);
PmlVerdict DecideByNumber(const PmlWork& work);
PmlVerdict DecideByLimit(const PmlWork& work);
PmlVerdict ReportHeadroom(const PmlWork& work);

// Second pass: allocates and fills the tables.
bool ListFiles(PmlWork& work);

// Selection by mode.
bool SelectForHeadroom(PmlWork& work);
bool SelectByAge(PmlWork& work);
bool SelectOldest(PmlWork& work);
bool SelectAllButNewest(PmlWork& work);

// Deletes or moves what is selected.
bool ActOnFiles(PmlWork& work);
