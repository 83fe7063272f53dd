// Record buffers: see the header. They grow to the largest record and are kept until MemoryFree.
#include "revisions/record_buffer.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "areas/finfo.h"
#include "revisions/fold/kernel.h"

namespace {

Buffer record_out;
// Memory that is not held twice: what only reading needs is freed for writing, and the other way
// round. Smaller blocks are not worth asking for again.
constexpr size_t kLarge = size_t{4} << 20;

// Bytes of records that are kept for their pending entries beside the one being read. More than ten
// records in all gain nothing; a second one gains so much that it may be large.
constexpr size_t kMostKept = size_t{7} << 19;
constexpr size_t kMostSecond = size_t{7} << 20;
constexpr size_t kMostRecords = 10;
static_assert(kMostRecords <= kMostIntervals);

std::array<Buffer, kMostRecords> records;
size_t in_use = 0;     // kept records
size_t limit = 1;      // records that there is room for
size_t most_size = 0;  // of each

}  // namespace

RecordView ReadWholeRecord() {
  const size_t length = finfo.record_length;     // shown by the stream to lie within the file
  if (in_use != 0 && !AnyPending()) in_use = 0;  // folded or dropped since
  if (in_use != 0 && length > most_size) {
    Settle();
    in_use = 0;
  }
  if (in_use == 0) {
    most_size = length;
    limit = std::min(kMostRecords, 1 + kMostKept / std::max<size_t>(length, 1));
    if (limit == 1 && length <= kMostSecond) limit = 2;
    pending_limit = limit;
  }
  uint8_t* const record = records[in_use].Reserve(length);
  // Offsets may point anywhere in a record, so its header is read again.
  Seek(rfd, finfo.record_start, SEEK_SET);
  ReadExact(rfd, record, length);
  return {record, length};
}

void KeepRecord() {
  ++in_use;
  if (in_use < limit) return;
  Settle();
  in_use = 0;
}

uint8_t* OutputRecord(size_t room) {
  if (room > kLarge) {
    Settle();
    // The record being read stands behind the kept ones.
    for (size_t i = 0; i < records.size(); ++i) {
      if (i != in_use) records[i].Free();
    }
  }
  return record_out.Reserve(room);
}

void ReleaseOutput() {
  if (record_out.capacity() > kLarge) record_out.Free();
}

void FreeRecords() {
  for (Buffer& record : records) record.Free();
  record_out.Free();
  in_use = 0;
}
