// Detail codes of the pruning. They have a form of their own, not that of the archiver's messages,
// and reach the operator in trace lines only. And what calls that need an argument return without
// it.
#pragma once

#include <cstdint>

inline constexpr int kPmlNullArgument = 5;

inline constexpr uint32_t kPmlDetParam = 0x01B00002;
inline constexpr uint32_t kPmlDetMkdir = 0x01B00005;
inline constexpr uint32_t kPmlDetStatDir = 0x01B00006;
inline constexpr uint32_t kPmlDetNotDir = 0x01B00007;
inline constexpr uint32_t kPmlDetCountOpen = 0x01B00008;
inline constexpr uint32_t kPmlDetCountStat = 0x01B00009;
inline constexpr uint32_t kPmlDetCountClose = 0x01B0000A;
inline constexpr uint32_t kPmlDetFileTable = 0x01B0000B;
inline constexpr uint32_t kPmlDetDirTable = 0x01B0000C;
inline constexpr uint32_t kPmlDetScanOpen = 0x01B0000D;
inline constexpr uint32_t kPmlDetListStat = 0x01B0000E;
// A code of the count: it never reaches anybody, the clean-up puts its own in its place.
inline constexpr uint32_t kPmlDetListOpen = kPmlDetCountOpen;
inline constexpr uint32_t kPmlDetListClose = 0x01B0000F;
inline constexpr uint32_t kPmlDetRemove = 0x01B00010;
// Stored by the clean-up when it frees the file table, then the directory table: they replace the
// code of the failure itself.
inline constexpr uint32_t kPmlDetFreedFiles = 0x01B00013;
inline constexpr uint32_t kPmlDetFreedDirs = 0x01B00014;
inline constexpr uint32_t kPmlDetNullName = 0x01B00016;
inline constexpr uint32_t kPmlDetScanClose = 0x01B00017;
inline constexpr uint32_t kPmlDetVolumeBase = 0x01B0001A;
inline constexpr uint32_t kPmlDetVolumeStaging = 0x01B0001B;
inline constexpr uint32_t kPmlDetNoPath = 0x01B00020;
inline constexpr uint32_t kPmlDetStatRoot = 0x01B00022;
inline constexpr uint32_t kPmlDetStatPath = 0x01B00023;
inline constexpr uint32_t kPmlDetNoSource = 0x01B00024;
inline constexpr uint32_t kPmlDetNoTarget = 0x01B00025;
