// Offsets and sizes of the on-disk structures that all revisions share: record header, file header,
// structure record, statistics record, optional items. docs/format.md describes them in full;
// what differs by revision is in engine/layout/layout.h.
#pragma once

#include <cstddef>
#include <cstdint>

// --- record header: frames every record ----------------------------------------------------------
inline constexpr size_t kRecordHeaderSize = 12;
inline constexpr size_t kAtTag = 0;     // 3 characters
inline constexpr size_t kAtFlag = 3;    // u8: revision in "HDR", a flag byte elsewhere
inline constexpr size_t kAtTime = 4;    // u32 seconds since the epoch
inline constexpr size_t kAtLength = 8;  // u32, these 12 bytes included

inline constexpr size_t kNncSize = 80;  // record header and body of the copied record kinds
inline constexpr size_t kLdmSize = 64;

// --- file header "HDR" -----------------------------------------------------------------------------
inline constexpr size_t kLongHeader = 256;  // from revision 0x19 on
inline constexpr size_t kAtLevel = 12;      // u8 'L', 'H', 'D'
inline constexpr size_t kAtSecondLevel = 13;
inline constexpr size_t kAtConfiguration = 16;  // u32
inline constexpr size_t kAtYear = 132;          // u8 since 1900; date bytes from 0x1D on
inline constexpr size_t kAtMonth = 133;         // u8, 0 = January
inline constexpr size_t kAtDay = 134;           // u8, from 1

// --- structure record "CON" --------------------------------------------------------------------------
inline constexpr size_t kAtContinuation = 12;   // u8
inline constexpr size_t kAtIntervalValue = 14;  // two bytes carried as they stand, from 0x1D on
inline constexpr size_t kAtFirstHeader = 16;    // descriptors and section headers, 8 bytes each
inline constexpr size_t kHeaderStep = 8;

inline constexpr size_t kBasicSize = 112;  // basic information
inline constexpr size_t kBasicIncluded =
    95;                                    // u8: 0 = ranks are included, else pools (from 0x19 on)
inline constexpr size_t kBasicFlags = 97;  // u8
inline constexpr uint8_t kBasicSecondChesegKey = 0x80;
inline constexpr uint8_t kBasicWaitTimes = 0x20;
inline constexpr size_t kBasicConc = 98;  // u16 each: bit 15 present, bits 0 to 14 the count
inline constexpr size_t kBasicLdCp = 100;
inline constexpr size_t kBasicPoolCp = 102;
inline constexpr size_t kBasicCab = 104;
inline constexpr uint16_t kBasicPresent = 0x8000;

// --- entries of statistics records ---------------------------------------------------------------
inline constexpr size_t kAtStatus = 0;    // u32
inline constexpr size_t kAtInterval = 4;  // u32 milliseconds
inline constexpr size_t kQuadsetSize = 16;

// --- optional items -------------------------------------------------------------------------------
inline constexpr size_t kItemHead = 24;
inline constexpr size_t kItemOutHead = 32;  // head as written: 8 zero bytes follow it
inline constexpr size_t kItemLength = 8;    // u32, head included
inline constexpr size_t kItemType = 12;     // u8
inline constexpr size_t kItemFlag = 13;     // u8
inline constexpr uint8_t kItemTaken = 0x80;
inline constexpr size_t kItemCarried = 16;  // u16
inline constexpr size_t kItemCount = 18;    // u16 elements
inline constexpr size_t kItemFirst = 20;    // u32 offset of the first element from the item's start
