// Whole records in memory: one buffer for the record being read, one for the record being built.
#pragma once

#include "engine/buffer.h"
#include "revisions/sections.h"

extern Buffer record_in;
extern Buffer record_out;

// Reads the record whose header is in finfo: all of it (revisions whose handlers start at the first
// byte), or what follows the header, with one read. The view covers the whole record; the 12 bytes
// of the record header are undefined in the second case.
RecordView ReadWholeRecord();

// Piece of a record, or null when it leaves the record.
inline const uint8_t* Carve(const RecordView& record, uint64_t offset, uint64_t size) {
  if (offset > record.size || size > record.size - offset) return nullptr;
  return record.data + offset;
}
