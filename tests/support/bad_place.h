// A file with a place that cannot be read, as a disk may have one: the memory of this process.
// Bytes are mapped in front of a page that no file backs; a read that comes to it brings less than
// asked for, one that begins there fails with EIO.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <span>
#include <stdexcept>

class BadPlace {
 public:
  // What stands right before the bad place.
  explicit BadPlace(std::span<const uint8_t> before) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t good = (before.size() + page - 1) / page * page;
    size_ = good + page;
    const int backing = memfd_create("before", MFD_CLOEXEC);
    if (ftruncate(backing, static_cast<off_t>(good)) == 0 &&
        pwrite(backing, before.data(), before.size(), static_cast<off_t>(good - before.size())) ==
            static_cast<ssize_t>(before.size())) {
      memory_ = mmap(nullptr, size_, PROT_READ, MAP_SHARED, backing, 0);
    }
    close(backing);
    fd_ = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    if (memory_ == MAP_FAILED || fd_ == -1) throw std::runtime_error("bad place");
    start_ = static_cast<int64_t>(reinterpret_cast<uintptr_t>(memory_) + good - before.size());
  }
  ~BadPlace() {
    close(fd_);
    munmap(memory_, size_);
  }
  BadPlace(const BadPlace&) = delete;
  BadPlace& operator=(const BadPlace&) = delete;

  int fd() const { return fd_; }
  // Where the bytes before it begin in the file.
  int64_t start() const { return start_; }

 private:
  void* memory_ = MAP_FAILED;
  size_t size_ = 0;
  int64_t start_ = 0;
  int fd_ = -1;
};
