// Record buffers: see the header. They grow to the largest record and are kept until MemoryFree.
#include "revisions/record_buffer.h"

#include "engine/family.h"
#include "engine/finfo.h"

Buffer record_in;
Buffer record_out;

RecordView ReadWholeRecord() {
  const size_t length = finfo.record_length;  // shown by the stream to lie within the file
  uint8_t* const record = record_in.Reserve(length);
  const size_t have = DispatchOf(finfo.revision).rereads_header ? 0 : kRecordHeaderSize;
  if (length > have) ReadExact(rfd, record + have, length - have);
  return {record, length};
}
