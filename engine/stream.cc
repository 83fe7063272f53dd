// ReadNextRec: where the next record lies, and which handler gets it.
#include "engine/stream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <span>

#include "areas/finfo.h"
#include "engine/broken.h"
#include "engine/byteorder.h"
#include "engine/family.h"
#include "engine/framing.h"
#include "engine/input_bytes.h"
#include "engine/layout/layout.h"
#include "engine/pmoncommon.h"
#include "report/messages.h"

namespace {

constexpr uint32_t kDetTell = 0x03030001;

// By the numbers of FrameFault.
constexpr const char* kReasons[] = {"", "unknown record tag", "record length below 12",
                                    "record longer than the file",
                                    "record shorter than its fixed part"};

// The window is to hold so many records like the last one, or several times as many: they are
// folded together, and what is left of a window would be folded alone.
constexpr size_t kRecordsAhead = 10;

InputPiece window;

// The record ahead of the stream whose bytes could not be read: that is told when its turn comes.
int64_t unreadable = -1;
int unreadable_error = 0;

// How much is read when the window lacks something. Of large records only the first piece is of
// use.
size_t BytesAhead() {
  if (finfo.record_length > piece_bytes) return piece_bytes;
  const size_t records = kRecordsAhead * finfo.record_length;
  const size_t least = 2 * piece_bytes;
  return records == 0 || records > least ? std::max(records, least) : least / records * records;
}

// Copies the fixed part of a record to the output with its length field set to that size. From
// revision 0x1B on a longer record is cut; older files hold exactly the fixed size.
void CopyFixedRecord(size_t size) {
  uint8_t record[kNncSize];
  std::memcpy(record, InputBytes(finfo.record_start, size), size);
  Store32(record + kAtLength, static_cast<uint32_t>(size));
  WriteRecord(record, size);
}

[[noreturn]] void PositionBehindEnd() {
  LogMessage(110, rfname, "tell", errno, kDetTell);
  LogMessage(114, "archives");
  RemoveOutputAndEnd();
}

}  // namespace

Frame FrameAt(const uint8_t* header, int64_t position) {
  return FrameOf(std::span<const uint8_t, kRecordHeaderSize>(header, kRecordHeaderSize),
                 static_cast<uint64_t>(finfo.input_size - position), finfo.layout->row);
}

void NoteRecord(int64_t position, const Frame& frame) {
  finfo.record_start = position;
  finfo.previous_time = finfo.record_time;
  finfo.previous_length = finfo.record_length;
  finfo.record_flag = frame.flag;
  finfo.record_time = frame.time;
  finfo.record_length = frame.length;
  finfo.position = position + frame.step;
}

void StartInput(int64_t position) {
  window.Forget();
  unreadable = -1;
  finfo.position = position;
}

InputPiece& InputWindow() { return window; }

bool LookAhead(int64_t at, size_t size) { return window.Get(at, size, BytesAhead()); }

void NoteUnreadable(int64_t record, int error) {
  unreadable = record;
  unreadable_error = error;
}

const uint8_t* InputBytes(int64_t at, size_t size) {
  if (at == unreadable) ReadFailed(unreadable_error);
  if (!LookAhead(at, size)) ReadFailed(window.error());
  return window.At(at);
}

void ReadNextRec() {
  const int64_t position = finfo.position;
  if (position < 0 || position >= finfo.input_size) PositionBehindEnd();
  const int64_t left = finfo.input_size - position;
  if (left < static_cast<int64_t>(kRecordHeaderSize)) {
    finfo.record_start = position;
    BrokenRecord("fewer than 12 bytes left for a record header");
    return;
  }

  const RevisionRow& row = finfo.layout->row;
  const Frame frame = FrameAt(InputBytes(position, kRecordHeaderSize), position);
  NoteRecord(position, frame);
  if (frame.fault != FrameFault::kSound) {
    BrokenRecord(kReasons[static_cast<size_t>(frame.fault)]);
    return;
  }
  const Dispatch& dispatch = DispatchOf(finfo.revision);
  const bool structure = frame.tag == RecordTag::kStructure;
  const bool statistics = frame.tag == RecordTag::kStatistics;
  if (structure || statistics) {
    finfo.first_configuration = structure && position == row.file_header;
    if (statistics) finfo.no_statistics = false;
    (structure ? dispatch.read_structure : dispatch.read_statistics)();
  } else if (frame.tag == RecordTag::kNnc) {
    CopyFixedRecord(kNncSize);
  } else if (frame.tag == RecordTag::kLdm) {
    if ((pmonarc_stat & kPeriodInProgress) != 0) {
      dispatch.flush_before_ldm();
      pmonarc_stat = kNewOutput;
    }
    if (row.marks_pairs_on_ldm) MarkPairsDue();
    CopyFixedRecord(kLdmSize);
  }
}
