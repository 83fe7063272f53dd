// Framing of records: from the 12 bytes of a record's header and the bytes that are left of the
// file to what the record is, what of it has a meaning, and where the next one begins. Knows no
// files; the record stream and the tools' reader judge by it alike.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "engine/layout/layout.h"
#include "engine/pmonfile.h"

enum class RecordTag : uint8_t { kStructure, kStatistics, kNnc, kLdm, kFre, kUnknown };

enum class FrameFault : uint8_t {
  kSound,
  kUnknownTag,
  kBelowHeader,  // a length below 12
  kPastEnd,      // a length of more bytes than are left
  kBelowFixed,   // shorter than records of its tag are
};

struct Frame {
  RecordTag tag = RecordTag::kUnknown;
  FrameFault fault = FrameFault::kSound;
  uint8_t flag = 0;
  uint32_t time = 0;    // seconds since the epoch
  uint32_t length = 0;  // as it stands, header included
  uint32_t step = 0;    // bytes to the next record; without a fault only
};

// Judges a record header in the order in which faults count: tag, least length, the bytes left of
// the file from its first byte on, the tag's fixed size.
Frame FrameOf(std::span<const uint8_t, kRecordHeaderSize> header, uint64_t left,
              const RevisionRow& row);

// The tag of its three characters.
RecordTag TagOf(std::string_view text);

// Whether a tag begins with these characters, which may be fewer than three.
bool BeginsTag(std::string_view text);

// Size of all records of a tag that has one ("NNC", "LDM"); 0 otherwise.
uint32_t FixedSizeOf(RecordTag tag);

// Bytes of a record that have a meaning: the fixed size, nothing behind the header of "FRE", the
// length otherwise.
uint32_t MeaningfulSize(RecordTag tag, uint32_t length);
