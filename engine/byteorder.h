// Byte order, with its twin for vectors (revisions/fold/vectors.h): integers of the files are
// big-endian and unaligned, so they are moved with memcpy and swapped when the host differs.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

inline constexpr uint16_t Swap16(uint16_t v) { return static_cast<uint16_t>((v << 8) | (v >> 8)); }
inline constexpr uint32_t Swap32(uint32_t v) {
  return (v << 24) | ((v & 0xFF00U) << 8) | ((v >> 8) & 0xFF00U) | (v >> 24);
}
inline constexpr uint16_t BigEndian16(uint16_t v) {
  return std::endian::native == std::endian::little ? Swap16(v) : v;
}
inline constexpr uint32_t BigEndian32(uint32_t v) {
  return std::endian::native == std::endian::little ? Swap32(v) : v;
}

inline uint16_t Load16(const void* p) {
  uint16_t v;
  std::memcpy(&v, p, sizeof v);
  return BigEndian16(v);
}
inline uint32_t Load32(const void* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return BigEndian32(v);
}
inline void Store16(void* p, uint16_t v) {
  v = BigEndian16(v);
  std::memcpy(p, &v, sizeof v);
}
inline void Store32(void* p, uint32_t v) {
  v = BigEndian32(v);
  std::memcpy(p, &v, sizeof v);
}
