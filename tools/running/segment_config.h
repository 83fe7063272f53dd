// The daemon's configuration segment as psltool makes and shows it: named values on one side, bytes
// of System V shared memory on the other.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "archiver/segment_layout.h"

namespace psltool {

struct Retention {
  uint16_t count = 0;  // 0: kept for ever
  uint16_t unit = 0;   // position in kRetentionUnits
};

struct SegmentConfig {
  std::string root;
  std::string archive;
  std::string pml;
  uint8_t archiving = 1;
  std::array<Retention, kSegRetentionClasses> keep = {};  // logs, hour archives, day archives
  int32_t capacity = 0;
  int32_t capacity_override = 0;
};

// What a segment says, and what in it makes the archiver refuse it.
struct SegmentView {
  SegmentConfig config;
  std::vector<std::string> faults;
  bool is_configuration = false;  // large enough, all texts end: a segment of the archiver's kind
};

// "30d", "12m", "2y" or "none". Nothing when the text is no such period.
std::optional<Retention> ParseRetention(const std::string& text);

// The options that tell the periods of logs, hour archives and day archives.
inline constexpr std::array<const char*, kSegRetentionClasses> kKeepOptions = {
    "--keep-psl", "--keep-hour", "--keep-day"};

// Reads what they say. False: one is no period that the archiver takes, reported under the
// command's name.
bool ReadRetentions(const std::string& command,
                    const std::array<std::string, kSegRetentionClasses>& texts,
                    SegmentConfig& config);

// As ParseRetention reads it; a number for units that do not exist.
std::string RetentionText(const Retention& keep);

std::vector<char> EncodeSegment(const SegmentConfig& config);
SegmentView DecodeSegment(const std::vector<char>& bytes);

// Makes a segment, readable and writable for its owner, and returns its number; -1 with errno.
int MakeSharedSegment(const std::vector<char>& bytes);

// Copies a segment. False with errno.
bool ReadSharedSegment(int number, std::vector<char>& bytes);

// Why a segment could not be had, by errno, and what to do about it. Returns false, as Fail.
bool FailSegment(int number, int error);

}  // namespace psltool
