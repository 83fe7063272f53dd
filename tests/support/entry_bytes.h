// Bytes of records, lists and entries for the tests of the revision code: values are put big-endian
// by shifts, without the helpers under test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace revtest {

class Bytes {
 public:
  explicit Bytes(size_t size = 0) : bytes_(size, 0) {}
  explicit Bytes(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}

  Bytes& U8(size_t at, uint64_t v) { return Put(at, v, 1); }
  Bytes& U16(size_t at, uint64_t v) { return Put(at, v, 2); }
  Bytes& U32(size_t at, uint64_t v) { return Put(at, v, 4); }
  Bytes& Text(size_t at, std::string_view text) {
    for (size_t i = 0; i < text.size(); ++i) U8(at + i, static_cast<unsigned char>(text[i]));
    return *this;
  }
  Bytes& Quad(size_t at, uint64_t q0, uint64_t q1, uint64_t q2, uint64_t q3) {
    return U32(at, q0).U32(at + 4, q1).U32(at + 8, q2).U32(at + 12, q3);
  }
  // A descriptor of structure records or section header of statistics records.
  Bytes& Slot(size_t at, uint64_t first, uint64_t count, uint64_t offset) {
    return U16(at, first).U16(at + 2, count).U32(at + 4, offset);
  }
  // Each byte its own distance from the start, plus `seed`.
  Bytes& Pattern(size_t from, size_t to, unsigned seed) {
    for (size_t i = from; i < to; ++i) U8(i, (i * 7 + seed) & 0xFF);
    return *this;
  }
  Bytes& Add(const Bytes& more) {
    bytes_.insert(bytes_.end(), more.bytes_.begin(), more.bytes_.end());
    return *this;
  }
  Bytes& AddU32(uint64_t v) {
    bytes_.resize(size() + 4);
    return U32(size() - 4, v);
  }

  uint32_t Get8(size_t at) const { return bytes_.at(at); }
  uint32_t Get16(size_t at) const { return (Get8(at) << 8) | Get8(at + 1); }
  uint32_t Get32(size_t at) const { return (Get16(at) << 16) | Get16(at + 2); }
  std::string Tag() const { return {bytes_.begin(), bytes_.begin() + 3}; }
  Bytes Part(size_t at, size_t size) const {
    if (at > bytes_.size() || size > bytes_.size() - at) return Bytes();
    const auto from = bytes_.begin() + static_cast<std::ptrdiff_t>(at);
    return Bytes(std::vector<uint8_t>(from, from + static_cast<std::ptrdiff_t>(size)));
  }

  size_t size() const { return bytes_.size(); }
  const uint8_t* data() const { return bytes_.data(); }
  uint8_t* data() { return bytes_.data(); }
  bool operator==(const Bytes&) const = default;

 private:
  Bytes& Put(size_t at, uint64_t v, size_t width) {
    for (size_t i = 0; i < width; ++i) {
      bytes_.at(at + i) = static_cast<uint8_t>(v >> (8 * (width - 1 - i)));
    }
    return *this;
  }

  std::vector<uint8_t> bytes_;
};

// For failure output: 16 bytes to a line, each line led by its offset.
inline void PrintTo(const Bytes& bytes, std::ostream* out) {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i % 16 == 0) *out << "\n" << i << ":";
    if (i % 4 == 0) *out << " ";
    *out << kDigits[bytes.Get8(i) >> 4] << kDigits[bytes.Get8(i) & 15];
  }
}

}  // namespace revtest
