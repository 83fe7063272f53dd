// Records as the reading and writing code holds them: the one being read, where it is taken as a
// whole, and the one being written.
#pragma once

#include "engine/input_bytes.h"
#include "revisions/fold/fold.h"

// A record on its way to the output: a small one is written by one call, a large one by pieces that
// stay in the caches. One at a time.
class RecordWriter {
 public:
  // So much is written at a time.
  static constexpr size_t kRoom = size_t{128} << 10;

  // Room for the next `size` bytes, which Take then says are there.
  uint8_t* Room(size_t size);
  void Take(size_t size) { used_ += size; }
  // The next bytes of the record.
  void Put(const void* bytes, size_t size);
  void Flush();

 private:
  size_t used_ = 0;
};

// Has the record at hand (finfo) wholly in memory; bytes that cannot be read end the run.
void ReadWholeRecord(RecordBytes* record);
RecordView ViewOf(RecordBytes& record);
// Gives large room back until the next record is read as a whole.
void ReleaseWholeRecord();

void FreeRecords();

// Piece of a record, or null when it leaves the record.
inline const uint8_t* Carve(const RecordView& record, uint64_t offset, uint64_t size) {
  if (offset > record.size || size > record.size - offset) return nullptr;
  return record.data + offset;
}
