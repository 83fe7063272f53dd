// Checked primitives: see the header. Whatever fails here ends the run in the same way: the
// message of the call, message 114, output in progress removed, status 1.
#include "engine/pmoncommon.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "areas/finfo.h"
#include "engine/byteorder.h"
#include "engine/names.h"
#include "engine/output_file.h"
#include "platform/process.h"
#include "platform/transfer.h"
#include "report/messages.h"

namespace {

constexpr uint32_t kDetMallocSize = 0x03050001;
constexpr uint32_t kDetMalloc = 0x03050002;
constexpr uint32_t kDetSeek = 0x03060002;
constexpr uint32_t kDetWrite = 0x03070001;

[[noreturn]] void WriteFailed(int error) {
  LogMessage(111, wfname, "write", error, kDetWrite);
  LogTaskFailed();
  RemoveOutputAndEnd();
}

// The text of OrderKeyOf without memory from the heap: lists are long. What is behind its room does
// not count.
class SortKey {
 public:
  explicit SortKey(const char* path) {
    for (const std::string_view part : OrderParts(path)) {
      size_ += part.copy(text_ + size_, sizeof text_ - size_);
    }
  }
  std::string_view Text() const { return {text_, size_}; }

 private:
  char text_[1023];
  size_t size_ = 0;
};

// Between disk and host order, which is the same either way.
void ConvertHeader(void* dst, const void* src) {
  const auto* p = static_cast<const uint8_t*>(src);
  const conhdr header = {Load16(p), Load16(p + 2), Load32(p + 4)};
  std::memcpy(dst, &header, sizeof header);
}

}  // namespace

void* Malloc(size_t size) {
  if (size == 0) {
    LogMessage(109, nullptr, "malloc", EINVAL, kDetMallocSize);
    EndFailedRun();
  }
  void* p = std::malloc(size);
  if (p == nullptr) {
    LogMessage(109, nullptr, "malloc", errno, kDetMalloc);
    EndFailedRun();
  }
  return p;
}

void OutOfMemory() {
  // The report itself may need memory; it is tried once.
  static bool reporting = false;
  if (reporting) RemoveOutputAndEnd();
  reporting = true;
  LogMessage(109, nullptr, "malloc", ENOMEM, kDetMalloc);
  LogTaskFailed();
  reporting = false;
  RemoveOutputAndEnd();
}

void ReadFailed(int error) {
  LogMessage(110, nullptr, "read", error, kDetRead);
  EndFailedRun();
}

int64_t Read(int fd, void* buffer, size_t length) {
  errno = 0;
  const ssize_t n = ::read(fd, buffer, length);
  if (n <= 0) ReadFailed(errno);
  return n;
}

int64_t Write(int fd, const void* buffer, size_t length) {
  errno = 0;
  const ssize_t n = ::write(fd, buffer, length);
  if (n <= 0) WriteFailed(errno);
  return n;
}

void ReadExact(int fd, void* buffer, size_t length) {
  auto* p = static_cast<char*>(buffer);
  while (length > 0) {
    const int64_t n = Read(fd, p, std::min(length, kLargestTransfer));
    p += n;
    length -= static_cast<size_t>(n);
  }
}

void WriteRecord(const void* buffer, size_t length) {
  const auto* p = static_cast<const char*>(buffer);
  while (length > 0) {
    const size_t piece = std::min(length, kLargestTransfer);
    if (Write(wfd, p, piece) != static_cast<int64_t>(piece)) WriteFailed(ENOSPC);
    p += piece;
    length -= piece;
  }
}

void EndFailedRun() {
  LogTaskFailed();
  if (wfd > 0) RemoveOutputAndEnd();
  RemoveWaiting();
  EndProcess(1);
}

int64_t Seek(int fd, int64_t offset, int whence) {
  const off_t position = ::lseek(fd, offset, whence);
  if (position >= 0) return position;
  LogMessage(110, nullptr, "lseek", errno, kDetSeek);
  EndFailedRun();
}

void RemoveOutputAndEnd() {
  if (wfd > 0 || temporary_at_wfpath != 0) DiscardOutputFile();
  RemoveWaiting();
  EndProcess(1);
}

int FSortFunc(const void* a, const void* b) {
  const char* const* left = static_cast<const char* const*>(a);
  const char* const* right = static_cast<const char* const*>(b);
  return SortKey(*left).Text().compare(SortKey(*right).Text());
}

int32_t CountBit(uint32_t value) { return std::popcount(value); }

int MemCheck(const void* buffer, int byte, int length) {
  const auto* p = static_cast<const signed char*>(buffer);
  for (int i = 0; i < length; ++i) {
    if (p[i] != static_cast<signed char>(byte)) return p[i];
  }
  return 0;
}

void ntoh_conhdr(void* dst, const void* src) { ConvertHeader(dst, src); }
void hton_conhdr(void* dst, const void* src) { ConvertHeader(dst, src); }
void ntoh_stahdr(void* dst, const void* src) { ConvertHeader(dst, src); }
void hton_stahdr(void* dst, const void* src) { ConvertHeader(dst, src); }
