// Layout of the monitor daemon's configuration segment: where the fields stand, how long a text may
// be, and which retention periods are valid. The archiver reads it, psltool makes and shows it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

// Offsets of the fields from the start of the segment. Integers are in host order, texts end with a
// zero byte.
inline constexpr size_t kSegRootDirectory = 240;
inline constexpr size_t kSegArchiveDirectory = 6304;
inline constexpr size_t kSegArchivingEnabled = 6569;  // u8: 0 no, 1 yes
inline constexpr size_t kSegVolumeCapacity = 6572;    // i32
inline constexpr size_t kSegRetention = 6592;         // per class two u16: count, unit
inline constexpr size_t kSegCapacityOverride = 9168;  // i32, counts when it is 1 or more
inline constexpr size_t kSegPmlDirectory = 9184;

inline constexpr size_t kSegRetentionStep = 4;
inline constexpr size_t kSegRetentionClasses = 3;  // PSL files, hour archives, day archives

// Room of the texts, their zero byte included. The root and PML directories are cut by the fields
// that they are copied to, the archive directory by the field behind it.
inline constexpr size_t kSegDirectoryRoom = 271;
inline constexpr size_t kSegArchiveRoom = kSegArchivingEnabled - kSegArchiveDirectory;

// Size of a segment that psltool makes. The daemon's may be larger.
inline constexpr size_t kSegSize = 10240;

// Retention units; the position in the table is the unit's number in the segment.
struct RetentionUnit {
  char letter;       // as people write it
  int32_t code;      // added to the count in the archiver's encoded period
  uint16_t largest;  // largest count
  bool psl_only;
};
inline constexpr RetentionUnit kRetentionUnits[] = {
    {'d', 0x10000000, 366, true},
    {'m', 0x20000000, 24, false},
    {'y', 0x40000000, 2, false},
};

// Whether files of a class (0 logs, 1 hour archives, 2 day archives) can be kept for `count` of the
// unit of that number; a count of 0 keeps them for ever.
constexpr bool IsRetention(uint16_t count, uint16_t unit, size_t retention_class) {
  if (count == 0) return true;
  if (unit >= std::size(kRetentionUnits)) return false;
  const RetentionUnit& row = kRetentionUnits[unit];
  return count <= row.largest && (retention_class == 0 || !row.psl_only);
}

// The archiver's encoded period of such a retention; 0 for ever.
constexpr int32_t RetentionCode(uint16_t count, uint16_t unit) {
  return count == 0 ? 0 : kRetentionUnits[unit].code + count;
}
