// Big-endian access to byte vectors for the slow model of the archiver and for the test-file
// generator: read with a bounds check, append, and patch in place.
//
// Independent of engine/byteorder.h.

#ifndef TESTS_MODEL_BYTES_H_
#define TESTS_MODEL_BYTES_H_

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace model {

using Bytes = std::vector<uint8_t>;

/// Thrown when a record does not hold what it announces.
struct BrokenRecord : std::runtime_error {
  using std::runtime_error::runtime_error;
};

inline uint8_t Get8(const Bytes& bytes, std::size_t at) {
  if (at >= bytes.size()) throw BrokenRecord("byte beyond the record");
  return bytes[at];
}

inline uint16_t Get16(const Bytes& bytes, std::size_t at) {
  return static_cast<uint16_t>((Get8(bytes, at) << 8) | Get8(bytes, at + 1));
}

inline uint32_t Get32(const Bytes& bytes, std::size_t at) {
  return (static_cast<uint32_t>(Get16(bytes, at)) << 16) | Get16(bytes, at + 2);
}

/// The `size` bytes from `at` on; all of them have to be there.
inline Bytes Slice(const Bytes& bytes, std::size_t at, std::size_t size) {
  if (at > bytes.size() || bytes.size() - at < size) throw BrokenRecord("part beyond the record");
  const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
  return Bytes(first, first + static_cast<std::ptrdiff_t>(size));
}

inline void Append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

inline void Append16(Bytes& bytes, uint16_t value) {
  bytes.push_back(static_cast<uint8_t>(value >> 8));
  bytes.push_back(static_cast<uint8_t>(value & 0xFF));
}

inline void Append32(Bytes& bytes, uint32_t value) {
  Append16(bytes, static_cast<uint16_t>(value >> 16));
  Append16(bytes, static_cast<uint16_t>(value & 0xFFFF));
}

inline void Patch16(Bytes& bytes, std::size_t at, uint16_t value) {
  bytes.at(at) = static_cast<uint8_t>(value >> 8);
  bytes.at(at + 1) = static_cast<uint8_t>(value & 0xFF);
}

inline void Patch32(Bytes& bytes, std::size_t at, uint32_t value) {
  Patch16(bytes, at, static_cast<uint16_t>(value >> 16));
  Patch16(bytes, at + 2, static_cast<uint16_t>(value & 0xFFFF));
}

inline void PatchText(Bytes& bytes, std::size_t at, std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) bytes.at(at + i) = static_cast<uint8_t>(text[i]);
}

}  // namespace model

#endif  // TESTS_MODEL_BYTES_H_
