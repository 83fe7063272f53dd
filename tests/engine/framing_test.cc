// What the 12 bytes of a record header and the bytes left of the file say, tag by tag and fault by
// fault.
#include "engine/framing.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string_view>

#include "engine/layout/layout.h"

namespace {

// A header spelled out: tag, flag 0x5A, stamp 0x01020304, length.
std::array<uint8_t, 12> Header(std::string_view tag, uint32_t length) {
  std::array<uint8_t, 12> bytes = {0, 0, 0, 0x5A, 1, 2, 3, 4};
  std::memcpy(bytes.data(), tag.data(), 3);
  for (int i = 0; i < 4; ++i) bytes[8 + i] = static_cast<uint8_t>(length >> (24 - 8 * i));
  return bytes;
}

Frame FrameIn(uint8_t revision, std::string_view tag, uint32_t length, uint64_t left) {
  return FrameOf(Header(tag, length), left, LayoutOf(revision).row);
}

TEST(Framing, FieldsAreThoseOfTheHeader) {
  const Frame frame = FrameIn(0x21, "STA", 300, 300);
  EXPECT_EQ(frame.fault, FrameFault::kSound);
  EXPECT_EQ(frame.tag, RecordTag::kStatistics);
  EXPECT_EQ(frame.flag, 0x5A);
  EXPECT_EQ(frame.time, 0x01020304U);
  EXPECT_EQ(frame.length, 300U);
  EXPECT_EQ(frame.step, 300U);
}

TEST(Framing, FaultsCountInTheirOrder) {
  EXPECT_EQ(FrameIn(0x21, "XYZ", 4, 2).fault, FrameFault::kUnknownTag);
  EXPECT_EQ(FrameIn(0x21, "HDR", 80, 80).fault, FrameFault::kUnknownTag);
  EXPECT_EQ(FrameIn(0x21, "CON", 11, 5).fault, FrameFault::kBelowHeader);
  EXPECT_EQ(FrameIn(0x21, "CON", 12, 11).fault, FrameFault::kPastEnd);
  EXPECT_EQ(FrameIn(0x21, "NNC", 79, 78).fault, FrameFault::kPastEnd);
  EXPECT_EQ(FrameIn(0x21, "NNC", 79, 79).fault, FrameFault::kBelowFixed);
  EXPECT_EQ(FrameIn(0x21, "LDM", 63, 90).fault, FrameFault::kBelowFixed);
  EXPECT_EQ(FrameIn(0x21, "NNC", 80, 80).fault, FrameFault::kSound);
  EXPECT_EQ(FrameIn(0x21, "LDM", 64, 64).fault, FrameFault::kSound);
  EXPECT_EQ(FrameIn(0x21, "FRE", 12, 12).fault, FrameFault::kSound);
  EXPECT_EQ(FrameIn(0x21, "STA", 0xFFFFFFFF, 0xFFFFFFFE).fault, FrameFault::kPastEnd);
  EXPECT_EQ(FrameIn(0x21, "STA", 0xFFFFFFFF, 0x100000000).fault, FrameFault::kSound);
}

// Up to 0x1A what follows the fixed size of "NNC" and "LDM" is the next record, whatever the length
// says; later such a tail is passed over.
TEST(Framing, TailsOfFixedRecordsArePassedOverFrom0x1BOn) {
  EXPECT_EQ(FrameIn(0x1A, "NNC", 100, 100).step, 80U);
  EXPECT_EQ(FrameIn(0x1A, "LDM", 100, 100).step, 64U);
  EXPECT_EQ(FrameIn(0x1B, "NNC", 100, 100).step, 100U);
  EXPECT_EQ(FrameIn(0x21, "LDM", 100, 100).step, 100U);
  EXPECT_EQ(FrameIn(0x10, "FRE", 100, 100).step, 100U);
  EXPECT_EQ(FrameIn(0x10, "CON", 100, 100).step, 100U);
}

TEST(Framing, WhatHasAMeaning) {
  EXPECT_EQ(MeaningfulSize(RecordTag::kFre, 5000), 12U);
  EXPECT_EQ(MeaningfulSize(RecordTag::kNnc, 5000), 80U);
  EXPECT_EQ(MeaningfulSize(RecordTag::kLdm, 5000), 64U);
  EXPECT_EQ(MeaningfulSize(RecordTag::kStatistics, 5000), 5000U);
  EXPECT_EQ(MeaningfulSize(RecordTag::kStructure, 5000), 5000U);
}

TEST(Framing, PiecesOfTags) {
  for (const char* piece : {"", "C", "ST", "NNC", "LD", "F"})
    EXPECT_TRUE(BeginsTag(piece)) << piece;
  for (const char* piece : {"X", "CS", "STAR", "HDR"}) EXPECT_FALSE(BeginsTag(piece)) << piece;
}

}  // namespace
