// Checked primitives of the archive engine: allocation, read and write that never return on
// failure, the order of input names, bit and byte utilities, and the byte-order converters that
// turn on-disk records to host order and back.
#pragma once

#include <cstddef>
#include <cstdint>

// Detail code of a failed read; also of a file that is shorter than its header.
inline constexpr uint32_t kDetRead = 0x03060001;

// Returns `size` bytes of heap, not cleared. Size 0 or exhaustion: message 109 and the end of the
// run (output removed, status 1).
void* Malloc(size_t size);

// What operator new calls when the heap is exhausted: reported and ended as by Malloc.
[[noreturn]] void OutOfMemory();

// One read call of `length` bytes. Returns the number of bytes read (at least 1). End of file or
// an error: message 110 and the end of the run.
int64_t Read(int fd, void* buffer, size_t length);

// Message 110 of a read that failed with `error` (0: it gave less than the file's size promised)
// and the end of the run.
[[noreturn]] void ReadFailed(int error);

// One write call. Returns the count written (at least 1). Failure: message 111, output removed,
// end of the run.
int64_t Write(int fd, const void* buffer, size_t length);

// Reads exactly `length` bytes; fewer than the file's size promised end the run as Read does.
void ReadExact(int fd, void* buffer, size_t length);

// lseek that does not return on failure: message 110 and the end of the run, as by Read. Otherwise
// the new position.
int64_t Seek(int fd, int64_t offset, int whence);

// Writes a whole record to wfd; a partial write ends the run like a failed one (ENOSPC).
void WriteRecord(const void* buffer, size_t length);

// Message 114, then closes and removes the output if one is open, then ends with status 1.
[[noreturn]] void EndFailedRun();

// Closes and discards the output (if there is one) and ends the process with status 1.
[[noreturn]] void RemoveOutputAndEnd();

// qsort comparator over an array of pointers to path names: by array name, date, sequence number
// (OrderKeyOf in engine/names.h).
int FSortFunc(const void* a, const void* b);

// Number of one bits.
int32_t CountBit(uint32_t value);

// 0 when each of the first `length` bytes equals `byte`, else the first differing byte (signed).
int MemCheck(const void* buffer, int byte, int length);

// Section header of statistics records and list descriptor of structure records, host order.
struct conhdr {
  uint16_t first;
  uint16_t count;
  uint32_t offset;
};
using stahdr = conhdr;
static_assert(sizeof(conhdr) == 8);

// Convert between on-disk and host order; `dst` and `src` may be the same.
void ntoh_conhdr(void* dst, const void* src);
void hton_conhdr(void* dst, const void* src);
void ntoh_stahdr(void* dst, const void* src);
void hton_stahdr(void* dst, const void* src);
