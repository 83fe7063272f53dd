// Whole records in memory: the record being read, where it is taken as a whole, and the record
// being built.
#pragma once

#include "engine/input_bytes.h"
#include "revisions/fold/fold.h"

// Room for the record being built.
uint8_t* OutputRecord(size_t room);
// Gives large room back until the next record is built.
void ReleaseOutput();

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
