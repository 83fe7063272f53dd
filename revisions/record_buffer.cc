// Record buffers: see the header. Small ones are kept until MemoryFree.
#include "revisions/record_buffer.h"

#include <algorithm>
#include <cstring>

#include "areas/finfo.h"
#include "engine/pmoncommon.h"
#include "engine/stream.h"

namespace {

// Smaller blocks are not worth asking for again.
constexpr size_t kLarge = size_t{1} << 20;

Buffer record_out;
InputPiece record_in;

}  // namespace

void ReadWholeRecord(RecordBytes* record) {
  const int64_t start = finfo.record_start;
  const size_t size = finfo.record_length;  // shown by the stream to lie within the file
  if (size <= piece_bytes) {
    InputBytes(start, size);
    record->Begin(&InputWindow(), start, size);
    return;
  }
  record_in.Forget();
  if (!record_in.Get(start, size, size)) ReadFailed(record_in.error());
  record->Begin(&record_in, start, size);
}

RecordView ViewOf(RecordBytes& record) { return {record.At(0, record.size()), record.size()}; }

void ReleaseWholeRecord() {
  if (record_in.capacity() > kLarge) record_in.Free();
}

uint8_t* RecordWriter::Room(size_t size) {
  if (used_ + size > kRoom) Flush();
  return record_out.Reserve(std::max(size, kRoom)) + used_;
}

void RecordWriter::Put(const void* bytes, size_t size) {
  if (size > kRoom) {
    Flush();
    WriteRecord(bytes, size);
  } else if (size != 0) {
    std::memcpy(Room(size), bytes, size);
    Take(size);
  }
}

void RecordWriter::Flush() {
  if (used_ != 0) WriteRecord(record_out.data(), used_);
  used_ = 0;
}

void FreeRecords() {
  record_in.Free();
  record_out.Free();
}
