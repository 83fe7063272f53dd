// Checked primitives: see the header. Whatever fails here ends the run in the same way: the
// message of the call, message 114, output in progress removed, status 1.
#include "engine/pmoncommon.h"

#include <fcntl.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "archiver/messages.h"
#include "engine/byteorder.h"
#include "engine/finfo.h"
#include "platform/process.h"

namespace {

// One call moves at most this much; the kernel cuts longer transfers, which is no failure.
constexpr size_t kLargestTransfer = size_t{1} << 30;

constexpr uint32_t kDetMallocSize = 0x03050001;
constexpr uint32_t kDetMalloc = 0x03050002;
constexpr uint32_t kDetWrite = 0x03070001;

[[noreturn]] void ReadFailed(int error) {
  LogMessage(110, nullptr, "read", error, kDetRead);
  EndFailedRun();
}

[[noreturn]] void WriteFailed(int error) {
  LogMessage(111, wfname, "write", error, kDetWrite);
  LogTaskFailed();
  RemoveOutputAndEnd();
}

// The parts of a path that make its place in the order of inputs.
struct SortKey {
  explicit SortKey(const char* path) {
    const std::string_view whole(path);
    const size_t slash = whole.rfind('/');
    const std::string_view base = slash == std::string_view::npos ? whole : whole.substr(slash + 1);
    const size_t offset = whole.size() - base.size();
    const size_t hash = InBase(whole.rfind('#'), offset);
    const size_t dot = InBase(whole.rfind('.'), offset);
    const size_t name_end = hash != std::string_view::npos ? hash : dot;
    Append(Cut(base, 8, name_end));
    Append(base.substr(0, 8));
    Append(hash != std::string_view::npos ? Cut(base, hash, dot) : std::string_view("#001"));
    text[size] = '\0';
  }

  // "#" and "." count in the base name only.
  static size_t InBase(size_t position, size_t offset) {
    if (position == std::string_view::npos || position < offset) return std::string_view::npos;
    return position - offset;
  }
  static std::string_view Cut(std::string_view base, size_t from, size_t to) {
    if (to == std::string_view::npos || to > base.size()) to = base.size();
    return from < to ? base.substr(from, to - from) : std::string_view("");
  }
  void Append(std::string_view part) {
    const size_t room = sizeof text - 1 - size;
    const size_t n = part.size() < room ? part.size() : room;
    std::memcpy(text + size, part.data(), n);
    size += n;
  }

  char text[1024];
  size_t size = 0;
};

void Convert(const void* src, void* dst, const uint8_t (&widths)[4]) {
  uint8_t work[16];
  size_t at = 0;
  for (const uint8_t width : widths) {
    const uint8_t* p = static_cast<const uint8_t*>(src) + at;
    if (width == 2) {
      const uint16_t v = Load16(p);
      std::memcpy(work + at, &v, sizeof v);
    } else if (width == 4) {
      const uint32_t v = Load32(p);
      std::memcpy(work + at, &v, sizeof v);
    }
    at += width;
  }
  std::memcpy(dst, work, at);
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
    const size_t piece = length < kLargestTransfer ? length : kLargestTransfer;
    if (Read(fd, p, piece) != static_cast<int64_t>(piece)) ReadFailed(errno);
    p += piece;
    length -= piece;
  }
}

void WriteRecord(const void* buffer, size_t length) {
  const auto* p = static_cast<const char*>(buffer);
  while (length > 0) {
    const size_t piece = length < kLargestTransfer ? length : kLargestTransfer;
    if (Write(wfd, p, piece) != static_cast<int64_t>(piece)) WriteFailed(ENOSPC);
    p += piece;
    length -= piece;
  }
}

void EndFailedRun() {
  LogTaskFailed();
  if (wfd > 0) RemoveOutputAndEnd();
  EndProcess(1);
}

void RemoveOutputAndEnd() {
  if (wfd > 0) {
    ::close(wfd);
    wfd = -1;
    ::unlink(wfpath);
  }
  EndProcess(1);
}

int FSortFunc(const void* a, const void* b) {
  const char* const* left = static_cast<const char* const*>(a);
  const char* const* right = static_cast<const char* const*>(b);
  return std::strcmp(SortKey(*left).text, SortKey(*right).text);
}

int32_t CountBit(uint32_t value) { return std::popcount(value); }

int MemCheck(const void* buffer, int byte, int length) {
  const auto* p = static_cast<const signed char*>(buffer);
  for (int i = 0; i < length; ++i) {
    if (p[i] != static_cast<signed char>(byte)) return p[i];
  }
  return 0;
}

void ntoh_conhdr(void* dst, const void* src) { Convert(src, dst, {2, 2, 4, 0}); }
void hton_conhdr(void* dst, const void* src) { Convert(src, dst, {2, 2, 4, 0}); }
void ntoh_stahdr(void* dst, const void* src) { Convert(src, dst, {2, 2, 4, 0}); }
void hton_stahdr(void* dst, const void* src) { Convert(src, dst, {2, 2, 4, 0}); }
void ntoh_PMONquadset(void* dst, const void* src) { Convert(src, dst, {4, 4, 4, 4}); }
void hton_PMONquadset(void* dst, const void* src) { Convert(src, dst, {4, 4, 4, 4}); }

void ntoh_ExSta(void* words, int n) {
  auto* p = static_cast<uint8_t*>(words);
  for (int i = 0; i < n; ++i, p += 4) {
    const uint32_t v = Load32(p);
    std::memcpy(p, &v, sizeof v);
  }
}
void hton_ExSta(void* words, int n) { ntoh_ExSta(words, n); }
