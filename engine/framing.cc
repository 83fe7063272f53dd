// Framing of records: see the header.
#include "engine/framing.h"

#include <algorithm>
#include <iterator>

#include "engine/byteorder.h"

namespace {

struct TagRow {
  std::string_view text;
  RecordTag tag;
  uint32_t fixed;  // size of all its records, 0: as their length says
};

constexpr TagRow kTags[] = {
    {"CON", RecordTag::kStructure, 0},  {"STA", RecordTag::kStatistics, 0},
    {"NNC", RecordTag::kNnc, kNncSize}, {"LDM", RecordTag::kLdm, kLdmSize},
    {"FRE", RecordTag::kFre, 0},
};

FrameFault FaultOf(const Frame& frame, uint64_t left) {
  if (frame.tag == RecordTag::kUnknown) return FrameFault::kUnknownTag;
  if (frame.length < kRecordHeaderSize) return FrameFault::kBelowHeader;
  if (frame.length > left) return FrameFault::kPastEnd;
  if (frame.length < FixedSizeOf(frame.tag)) return FrameFault::kBelowFixed;
  return FrameFault::kSound;
}

}  // namespace

RecordTag TagOf(std::string_view text) {
  for (const TagRow& row : kTags) {
    if (row.text == text) return row.tag;
  }
  return RecordTag::kUnknown;
}

bool BeginsTag(std::string_view text) {
  return std::any_of(std::begin(kTags), std::end(kTags),
                     [text](const TagRow& row) { return row.text.starts_with(text); });
}

uint32_t FixedSizeOf(RecordTag tag) {
  for (const TagRow& row : kTags) {
    if (row.tag == tag) return row.fixed;
  }
  return 0;
}

uint32_t MeaningfulSize(RecordTag tag, uint32_t length) {
  if (tag == RecordTag::kFre) return kRecordHeaderSize;
  const uint32_t fixed = FixedSizeOf(tag);
  return fixed != 0 ? fixed : length;
}

Frame FrameOf(std::span<const uint8_t, kRecordHeaderSize> header, uint64_t left,
              const RevisionRow& row) {
  Frame frame;
  frame.tag = TagOf({reinterpret_cast<const char*>(header.data()) + kAtTag, 3});
  frame.flag = header[kAtFlag];
  frame.time = Load32(header.data() + kAtTime);
  frame.length = Load32(header.data() + kAtLength);
  frame.fault = FaultOf(frame, left);
  // Where tails are not skipped the next record begins behind the fixed size, whatever the length.
  const uint32_t fixed = FixedSizeOf(frame.tag);
  frame.step = fixed != 0 && !row.skips_tails ? fixed : frame.length;
  return frame;
}
