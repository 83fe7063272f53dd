// Whole records in memory: the record being read, records before it whose entries are pending, and
// the record being built.
#pragma once

#include "engine/buffer.h"
#include "revisions/fold/fold.h"

// Room for the record being built. Records that are kept may go for it.
uint8_t* OutputRecord(size_t room);
// Gives large room back until the next record is built.
void ReleaseOutput();

// Reads the whole record whose header is in finfo, with one read; afterwards the input stands
// behind it.
RecordView ReadWholeRecord();

// Keeps the record read last while entries of it are pending; folds them when there is no room for
// another record.
void KeepRecord();

void FreeRecords();

// Piece of a record, or null when it leaves the record.
inline const uint8_t* Carve(const RecordView& record, uint64_t offset, uint64_t size) {
  if (offset > record.size || size > record.size - offset) return nullptr;
  return record.data + offset;
}
