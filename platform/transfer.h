// How much a single read or write is asked to move, and reading that does not take less for all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// One call moves at most this much; the kernel cuts longer transfers, which is no failure.
inline constexpr size_t kLargestTransfer = size_t{1} << 30;

// What came of a read.
struct Transfer {
  size_t size;
  int error;  // of the call that failed; 0: everything came, or the file ended first
};

// Reads from a place of a file until `bytes` are full, the file ends or a call fails. A call that
// brings less, or that a signal interrupts, is followed by another one.
Transfer ReadFrom(int fd, int64_t at, std::span<uint8_t> bytes);

// Reads the first bytes of a file that has `size` of them: all that `bytes` has room for, or all
// that there are. False: they cannot be read, with errno; 0 when the file ended before its size.
bool ReadBeginning(int fd, int64_t size, std::span<uint8_t> bytes);
