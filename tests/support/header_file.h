// The smallest statistics files: a header record without any other record.
#pragma once

#include <cstdint>
#include <string>

// What stands in the header; the rest of it is zero.
struct HeaderFile {
  uint8_t revision = 0x1D;
  char level = 'L';
  uint32_t time = 981158400;  // 2001-02-03 00:00:00 UTC
  int year = 2001;            // date bytes, written from revision 0x1D on
  int month = 2;
  int day = 3;
};

inline std::string HeaderBytes(const HeaderFile& header) {
  const uint32_t length = header.revision < 0x19 ? 80 : 256;
  std::string bytes(length, '\0');
  const auto put32 = [&bytes](size_t offset, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) bytes[offset + i] = static_cast<char>(value >> (24 - 8 * i));
  };
  bytes.replace(0, 3, "HDR");
  bytes[3] = static_cast<char>(header.revision);
  put32(4, header.time);
  put32(8, length);
  bytes[12] = header.level;
  if (header.revision >= 0x1D) {
    bytes[132] = static_cast<char>(header.year - 1900);
    bytes[133] = static_cast<char>(header.month - 1);
    bytes[134] = static_cast<char>(header.day);
  }
  return bytes;
}
