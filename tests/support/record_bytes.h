// Statistics files spelled out byte by byte, big-endian, for tests that must not trust the
// program's own tables: append helpers, file headers, framed records, and a walk over the records
// of a file. Offsets stand here as numbers. Structure and statistics records are built by
// record_builder.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace spell {

using Bytes = std::string;

// ---- appending and patching ----

inline void U8(Bytes& b, uint32_t v) { b.push_back(static_cast<char>(v & 0xFF)); }
inline void U16(Bytes& b, uint32_t v) {
  U8(b, v >> 8);
  U8(b, v);
}
inline void U32(Bytes& b, uint32_t v) {
  U16(b, v >> 16);
  U16(b, v);
}
inline void Text(Bytes& b, std::string_view text) { b += text; }
inline void Zero(Bytes& b, size_t n) { b.append(n, '\0'); }

inline void SetU8(Bytes& b, size_t at, uint32_t v) { b.at(at) = static_cast<char>(v & 0xFF); }
inline void SetU16(Bytes& b, size_t at, uint32_t v) {
  SetU8(b, at, v >> 8);
  SetU8(b, at + 1, v);
}
inline void SetU32(Bytes& b, size_t at, uint32_t v) {
  SetU16(b, at, v >> 16);
  SetU16(b, at + 2, v);
}
inline uint32_t GetU8(const Bytes& b, size_t at) { return static_cast<uint8_t>(b.at(at)); }
inline uint32_t GetU16(const Bytes& b, size_t at) { return GetU8(b, at) << 8 | GetU8(b, at + 1); }
inline uint32_t GetU32(const Bytes& b, size_t at) {
  return GetU16(b, at) << 16 | GetU16(b, at + 2);
}

// ---- records ----

inline constexpr uint32_t kNewYear = 1704067200;  // 2024-01-01 00:00:00 UTC, a Monday
inline constexpr uint32_t kDay = 86400;

struct Header {
  uint8_t revision = 0x1D;
  char level = 'L';
  uint32_t time = kNewYear;
  int year = 2024, month = 1, day = 1;  // date bytes, written from revision 0x1D on
  uint8_t second_level = 0;
  uint32_t configuration = 0;
  std::vector<std::pair<size_t, uint32_t>> bitmaps = {};  // offset, value
};

inline size_t HeaderSize(uint8_t revision) { return revision < 0x19 ? 80 : 256; }

inline Bytes HeaderRecord(const Header& h) {
  Bytes b;
  Text(b, "HDR");
  U8(b, h.revision);
  U32(b, h.time);
  U32(b, static_cast<uint32_t>(HeaderSize(h.revision)));
  U8(b, static_cast<uint8_t>(h.level));
  U8(b, h.second_level);
  U16(b, 0);
  U32(b, h.configuration);
  Zero(b, HeaderSize(h.revision) - b.size());
  for (const auto& [at, value] : h.bitmaps) SetU32(b, at, value);
  if (h.revision >= 0x1D) {
    SetU8(b, 132, static_cast<uint32_t>(h.year - 1900));
    SetU8(b, 133, static_cast<uint32_t>(h.month - 1));
    SetU8(b, 134, static_cast<uint32_t>(h.day));
  }
  return b;
}

// A record of 12 bytes and `body`.
inline Bytes Record(std::string_view tag, uint8_t flag, uint32_t time, const Bytes& body) {
  Bytes b;
  Text(b, tag);
  U8(b, flag);
  U32(b, time);
  U32(b, static_cast<uint32_t>(12 + body.size()));
  return b + body;
}

// "NNC" (80) and "LDM" (64) records, or longer ones, with a recognisable body.
inline Bytes FixedRecord(std::string_view tag, size_t size, uint32_t time = kNewYear) {
  Bytes body;
  for (size_t i = 12; i < size; ++i) U8(body, static_cast<uint32_t>(0x40 + i % 0x30));
  return Record(tag, 0x07, time, body);
}

inline Bytes FreeRecord(size_t size) { return Record("FRE", 0, kNewYear, Bytes(size - 12, 'f')); }

// Size of the structure-record header and of the statistics-record head.
inline size_t HeadSize(uint8_t revision) {
  return revision < 0x13 ? 80 : revision == 0x13 ? 96 : revision < 0x19 ? 112 : 256;
}

// ---- reading a file back ----

struct Found {
  std::string tag;
  uint8_t flag;
  uint32_t time;
  Bytes bytes;  // the whole record
};

// The records of a file, its header first. Throws when the framing is not whole.
inline std::vector<Found> Records(const Bytes& file) {
  std::vector<Found> records;
  for (size_t at = 0; at < file.size();) {
    if (file.size() - at < 12) throw std::runtime_error("torn record header");
    const uint32_t length = GetU32(file, at + 8);
    if (length < 12 || length > file.size() - at) throw std::runtime_error("torn record");
    records.push_back({file.substr(at, 3), static_cast<uint8_t>(file[at + 3]), GetU32(file, at + 4),
                       file.substr(at, length)});
    at += length;
  }
  return records;
}

inline Found Last(const std::vector<Found>& records) { return records.at(records.size() - 1); }

// The tags of a file's records, separated by blanks.
inline std::string Tags(const Bytes& file) {
  std::string tags;
  for (const Found& record : Records(file)) tags += (tags.empty() ? "" : " ") + record.tag;
  return tags;
}

}  // namespace spell
