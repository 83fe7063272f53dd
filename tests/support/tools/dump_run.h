// Runs of `psltool dump`, and a log of three logical disks whose bytes are spelled out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/sample_records.h"

inline ProgramResult Dump(const std::string& path, std::vector<std::string> options,
                          const std::string& zone = "UTC") {
  options.insert(options.begin(), {"dump", path});
  return RunProgram(PSLTOOL_PATH, options, {"", {{"TZ", zone}}});
}

// Logical disk 0x0102, an hour, 36 % busy; 7200 operations in the second counter group.
inline spell::Bytes FullDisk() {
  spell::Bytes b;
  spell::U32(b, 9);           // 0: status
  spell::U32(b, 3600000);     // 4: interval length
  spell::U16(b, 0x0102);      // 8: number
  spell::U16(b, 0);           // 10: full, valid
  spell::U16(b, 0x0003);      // 12: ratio present, sticky mark
  spell::U16(b, 3600);        // 14: ratio
  spell::U32(b, 0x80000010);  // 16: first group, 4096 operations
  spell::Zero(b, 12);
  spell::U32(b, 7200);  // 32: second group
  spell::U32(b, 450);
  spell::U32(b, 9000);
  spell::U32(b, 4096);
  spell::Zero(b, 48);
  spell::U32(b, 1500);  // word of bit 31: largest rate of the first group
  spell::U32(b, 4000);  // word of bit 27: largest rate of the second group
  spell::U32(b, 8100);  // word of bit 11: largest ratio
  return b;
}

// Another one, idle.
inline spell::Bytes CompactDisk() {
  spell::Bytes b;
  spell::U32(b, 1);
  spell::U32(b, 1800000);
  spell::U16(b, 7);
  spell::U16(b, 0x0100);  // compact
  spell::U32(b, 0);       // no ratio
  return b;
}

// A third, of which nothing is known.
inline spell::Bytes InvalidDisk() {
  spell::Bytes b = FullDisk();
  spell::SetU16(b, 8, 8);
  spell::SetU8(b, 11, 1);
  return b;
}

inline spell::Bytes DiskRecord(uint32_t time) {
  return spell::StatisticsOfDisks(0x1D, time, 3, FullDisk() + CompactDisk() + InvalidDisk());
}

inline spell::Bytes DiskFile(const std::vector<uint32_t>& times = {spell::kNewYear + 3540}) {
  spell::Header header;
  header.revision = 0x1D;
  header.bitmaps = {{64, 0x88000800}};  // Ld: bits 31, 27 and 11
  spell::Bytes file = spell::HeaderRecord(header) + spell::Structure(0x1D, {.logical_disks = 3});
  for (const uint32_t time : times) file += DiskRecord(time);
  return file;
}
