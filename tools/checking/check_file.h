// Judges a whole log or archive: what the archiver would refuse is an error, and so is what no
// archive holds that it has written; what it takes although it is odd is a warning.
#pragma once

#include <cstdint>
#include <string>

#include "tools/output/progress.h"
#include "tools/reading/array_tables.h"
#include "tools/reading/check_statistics.h"
#include "tools/reading/finding.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

enum class Verdict : uint8_t {
  kSound,
  kBroken,     // reported
  kSuspect,    // reported: the archiver takes it, but would never have written it
  kUnchecked,  // a statistics record behind a structure record that is broken
};

// How entries of logical and physical disks that the structure record does not know are taken: the
// archiver puts them to the disk that it found last.
enum class UnknownDisks : uint8_t { kTaken, kRefused };

// Judges the records of one file in their order.
class RecordChecker {
 public:
  explicit RecordChecker(const PslHeader& header) : header_(&header) {}

  // Judges the record at hand, which is loaded. What it says about the array is in force from then
  // on; a broken structure record leaves nothing in force.
  Verdict Check(const PslReader& reader, const FindingSink& sink,
                UnknownDisks unknown = UnknownDisks::kTaken);

  // The same for a record that may be none: nothing is taken from it.
  Verdict Judge(const PslReader& reader, const FindingSink& sink, UnknownDisks unknown) const;

  // A sound structure record is in force.
  bool has_structure() const { return tables_.known && !lost_structure_; }
  // The structure record in force is not to be trusted.
  void LoseStructure();
  // Puts a structure record in force that is not in the file; it must be sound.
  void TakeStructure(std::span<const uint8_t> record);

 private:
  struct Taken {
    ArrayTables tables;  // of a structure record
    FoundTables found;   // of a statistics record
  };
  Verdict Judge(const PslReader& reader, const FindingSink& sink, UnknownDisks unknown,
                Taken& taken) const;
  bool IsAsArchived(const PslReader& reader, RecordReport& report) const;
  void CheckSmall(const PslReader& reader, RecordReport& report) const;

  const PslHeader* header_;
  ArrayTables tables_;
  bool lost_structure_ = false;
};

// Judges the file header that the reader has at hand.
void CheckFileHeader(const PslReader& reader, const FindingSink& sink);

struct CheckedFile {
  std::string path;
  uint64_t size = 0;
  uint8_t revision = 0;  // 0: the file header could not be read
  char level = 0;
  uint64_t records = 0;  // behind the file header
  uint64_t errors = 0;
  uint64_t warnings = 0;
  uint64_t notes = 0;
  bool unreadable = false;
};

// Passes each finding to `sink`, that the file is unreadable included.
CheckedFile CheckFile(const std::string& path, const FindingSink& sink, Progress& progress);

}  // namespace psltool
