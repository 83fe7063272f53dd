// Record buffers: see the header. They grow to the largest record and are kept until MemoryFree.
#include "revisions/record_buffer.h"

#include <unistd.h>

#include "engine/family.h"
#include "engine/finfo.h"

Buffer record_in;
Buffer record_out;

RecordView ReadWholeRecord() {
  const size_t length = finfo.record_length;  // shown by the stream to lie within the file
  uint8_t* const record = record_in.Reserve(length);
  // Offsets may point anywhere in a record, so its header is read again where the handler starts
  // behind it.
  if (!DispatchOf(finfo.revision).rereads_header) ::lseek(rfd, -off_t{kRecordHeaderSize}, SEEK_CUR);
  ReadExact(rfd, record, length);
  return {record, length};
}
