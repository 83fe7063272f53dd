// A growing heap buffer over Malloc, freed by its owner's end or by Free.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "engine/pmoncommon.h"

class Buffer {
 public:
  Buffer() = default;
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  ~Buffer() { Free(); }

  // At least `size` bytes, contents undefined after growth.
  uint8_t* Reserve(size_t size) {
    if (size > capacity_) {
      Free();
      data_ = static_cast<uint8_t*>(Malloc(size));
      capacity_ = size;
    }
    return data_;
  }
  // Exactly the zeroed block for `size` bytes; null for 0.
  uint8_t* Zeroed(size_t size) {
    Free();
    if (size == 0) return nullptr;
    data_ = static_cast<uint8_t*>(Malloc(size));
    capacity_ = size;
    std::memset(data_, 0, size);
    return data_;
  }
  void Free() {
    std::free(data_);
    data_ = nullptr;
    capacity_ = 0;
  }
  uint8_t* data() const { return data_; }
  size_t capacity() const { return capacity_; }

 private:
  uint8_t* data_ = nullptr;
  size_t capacity_ = 0;
};
