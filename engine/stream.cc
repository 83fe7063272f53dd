// ReadNextRec: where the next record lies, and which handler gets it.
#include "engine/stream.h"

#include <unistd.h>

#include <cerrno>
#include <span>

#include "areas/finfo.h"
#include "engine/broken.h"
#include "engine/byteorder.h"
#include "engine/family.h"
#include "engine/framing.h"
#include "engine/layout/layout.h"
#include "engine/pmoncommon.h"
#include "report/messages.h"

namespace {

constexpr uint32_t kDetTell = 0x03030001;

const char* ReasonOf(FrameFault fault) {
  switch (fault) {
    case FrameFault::kUnknownTag:
      return "unknown record tag";
    case FrameFault::kBelowHeader:
      return "record length below 12";
    case FrameFault::kPastEnd:
      return "record longer than the file";
    case FrameFault::kBelowFixed:
      return "record shorter than its fixed part";
    case FrameFault::kSound:
      break;
  }
  return "";
}

void SkipTo(int64_t position) { Seek(rfd, position, SEEK_SET); }

// Copies the fixed part of a record to the output with its length field set to that size. From
// revision 0x1B on a longer record is cut; older files hold exactly the fixed size.
void CopyFixedRecord(uint8_t* record, size_t size) {
  ReadExact(rfd, record + kRecordHeaderSize, size - kRecordHeaderSize);
  if (finfo.layout->row.skips_tails) SkipTo(finfo.record_start + finfo.record_length);
  Store32(record + kAtLength, static_cast<uint32_t>(size));
  WriteRecord(record, size);
}

[[noreturn]] void PositionBehindEnd() {
  LogMessage(110, rfname, "tell", errno, kDetTell);
  LogMessage(114, "archives");
  RemoveOutputAndEnd();
}

}  // namespace

void ReadNextRec() {
  const off_t position = ::lseek(rfd, 0, SEEK_CUR);
  if (position < 0 || position >= finfo.input_size) PositionBehindEnd();
  finfo.record_start = position;
  const int64_t left = finfo.input_size - position;
  if (left < static_cast<int64_t>(kRecordHeaderSize)) {
    BrokenRecord("fewer than 12 bytes left for a record header");
    return;
  }

  uint8_t record[kNncSize];
  ReadExact(rfd, record, kRecordHeaderSize);
  const RevisionRow& row = finfo.layout->row;
  const Frame frame =
      FrameOf(std::span(record).first<kRecordHeaderSize>(), static_cast<uint64_t>(left), row);
  finfo.previous_time = finfo.record_time;
  finfo.previous_length = finfo.record_length;
  finfo.record_flag = frame.flag;
  finfo.record_time = frame.time;
  finfo.record_length = frame.length;
  if (frame.fault != FrameFault::kSound) {
    BrokenRecord(ReasonOf(frame.fault));
    return;
  }
  const Dispatch& dispatch = DispatchOf(finfo.revision);
  const bool structure = frame.tag == RecordTag::kStructure;
  const bool statistics = frame.tag == RecordTag::kStatistics;
  if (structure || statistics) {
    finfo.first_configuration = structure && position == row.file_header;
    if (statistics) finfo.no_statistics = false;
    if (dispatch.rereads_header) SkipTo(position);
    (structure ? dispatch.read_structure : dispatch.read_statistics)();
  } else if (frame.tag == RecordTag::kNnc) {
    CopyFixedRecord(record, kNncSize);
  } else if (frame.tag == RecordTag::kLdm) {
    if ((pmonarc_stat & kPeriodInProgress) != 0) {
      dispatch.flush_before_ldm();
      pmonarc_stat = kNewOutput;
    }
    if (row.marks_pairs_on_ldm) MarkPairsDue();
    CopyFixedRecord(record, kLdmSize);
  } else {
    SkipTo(position + finfo.record_length);
  }
}
