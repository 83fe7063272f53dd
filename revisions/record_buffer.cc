// Record buffers: see the header. They grow to the largest record and are kept until MemoryFree.
#include "revisions/record_buffer.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "engine/family.h"
#include "engine/finfo.h"
#include "revisions/pending.h"

Buffer record_out;

namespace {

// Bytes of records that are kept for their pending entries; a larger record is folded at once.
constexpr size_t kMostKept = size_t{4} << 20;

std::array<Buffer, kMostIntervals> records;
size_t in_use = 0;     // kept records
size_t limit = 1;      // records that there is room for
size_t most_size = 0;  // of each

}  // namespace

RecordView ReadWholeRecord() {
  const size_t length = finfo.record_length;     // shown by the stream to lie within the file
  if (in_use != 0 && !AnyPending()) in_use = 0;  // folded or dropped since
  if (in_use != 0 && length > most_size) {
    FoldPending();
    in_use = 0;
  }
  if (in_use == 0) {
    most_size = length;
    limit = std::clamp<size_t>(kMostKept / std::max<size_t>(length, 1), 1, kMostIntervals);
  }
  uint8_t* const record = records[in_use].Reserve(length);
  // Offsets may point anywhere in a record, so its header is read again where the handler starts
  // behind it.
  if (!DispatchOf(finfo.revision).rereads_header) ::lseek(rfd, -off_t{kRecordHeaderSize}, SEEK_CUR);
  ReadExact(rfd, record, length);
  return {record, length};
}

void KeepRecord() {
  ++in_use;
  if (in_use < limit) return;
  FoldPending();
  in_use = 0;
}

void FreeRecords() {
  for (Buffer& record : records) record.Free();
  record_out.Free();
  in_use = 0;
}
