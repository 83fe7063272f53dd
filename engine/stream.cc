// ReadNextRec: framing and dispatch of records.
#include "engine/stream.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "archiver/messages.h"
#include "engine/broken.h"
#include "engine/byteorder.h"
#include "engine/family.h"
#include "engine/finfo.h"
#include "engine/layout.h"
#include "engine/pmoncommon.h"

namespace {

constexpr uint32_t kDetTell = 0x03030001;

bool TagIs(const uint8_t* header, const char* tag) { return std::memcmp(header, tag, 3) == 0; }

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
  finfo.previous_time = finfo.record_time;
  finfo.previous_length = finfo.record_length;
  finfo.record_flag = record[kAtFlag];
  finfo.record_time = Load32(record + kAtTime);
  finfo.record_length = Load32(record + kAtLength);
  const RevisionRow& row = finfo.layout->row;
  const Dispatch& dispatch = DispatchOf(finfo.revision);

  const bool structure = TagIs(record, "CON");
  const bool statistics = TagIs(record, "STA");
  const bool nnc = TagIs(record, "NNC");
  const bool ldm = TagIs(record, "LDM");
  if (!structure && !statistics && !nnc && !ldm && !TagIs(record, "FRE")) {
    BrokenRecord("unknown record tag");
    return;
  }
  if (finfo.record_length < kRecordHeaderSize) {
    BrokenRecord("record length below 12");
    return;
  }
  if (finfo.record_length > left) {
    BrokenRecord("record longer than the file");
    return;
  }
  if ((nnc && finfo.record_length < kNncSize) || (ldm && finfo.record_length < kLdmSize)) {
    BrokenRecord("record shorter than its fixed part");
    return;
  }

  if (structure || statistics) {
    finfo.first_configuration = structure && position == row.file_header;
    if (statistics) finfo.no_statistics = false;
    if (dispatch.rereads_header) SkipTo(position);
    (structure ? dispatch.read_structure : dispatch.read_statistics)();
  } else if (nnc) {
    CopyFixedRecord(record, kNncSize);
  } else if (ldm) {
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
