// Copies what is sound of a damaged log or archive into a new file that the archiver takes.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/output/progress.h"
#include "tools/reading/finding.h"

namespace psltool {

struct SalvageRequest {
  std::string broken;
  std::string good;
  bool resync = false;  // go on behind what is broken
  bool force = false;   // an existing `good` may be replaced
  // Records whose content may be shifted, since no record follows where they end, are copied, too.
  bool keep_suspect = false;
  // A file of another day whose structure record stands in for one that is lost; empty: none.
  std::string structure;
};

// Bytes of the damaged file that are not in the new one.
struct DroppedPart {
  uint64_t from = 0;
  uint64_t to = 0;
  std::string reason;
};

// A record that the archiver takes, but that is followed by bytes that are no record, or that no
// archiver wrote so.
struct SuspectRecord {
  uint64_t number = 0;
  std::string tag;
  uint64_t from = 0;
  uint64_t to = 0;
  const char* why = "";
};

struct SalvageReport {
  std::map<std::string, uint64_t> kept;  // records by tag
  uint64_t kept_bytes = 0;               // of the damaged file
  uint64_t size = 0;                     // of the damaged file
  std::vector<DroppedPart> dropped;      // the first kMostDropped of them
  uint64_t dropped_parts = 0;
  uint64_t dropped_bytes = 0;
  std::vector<SuspectRecord> suspect;  // kept or left out, as it was asked for
  std::vector<std::string> mended;     // fields that the new file holds otherwise
  uint64_t structures_taken = 0;       // structure records from the file of another day
  std::string structure;               // which one: "20240303array01.psl, record 1"
  std::optional<Finding> trouble;      // why nothing was written
};
inline constexpr size_t kMostDropped = 100;

enum class SalvageEnd : uint8_t {
  kWritten,
  kNothing,  // nothing in the file is sound; `trouble` tells
  kStopped,  // a file could not be read or written, reported or in `trouble`
};

SalvageEnd Salvage(const SalvageRequest& request, Progress& progress, SalvageReport& report);

}  // namespace psltool
