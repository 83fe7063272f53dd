// The byte-order converters of statistics entries and their words, against the fields of each form
// spelled out.
#include "revisions/named/converters.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Converter = void (*)(void*);

struct FormCase {
  const char* name;
  size_t size;
  Converter to_host;
  Converter to_file;  // null: a reader without a twin
  std::vector<size_t> fields16;
  std::vector<size_t> fields32;
  std::vector<size_t> quadsets;
};

void PrintTo(const FormCase& form, std::ostream* stream) { *stream << form.name; }

const std::vector<FormCase> kCases = {
    {"HdSta_0x19", 32, ntoh_HdSta_0x19, hton_HdSta_0x19, {14}, {0, 4, 16, 20}, {}},
    {"RdSta_0x1A", 32, ntoh_RdSta_0x1A, hton_RdSta_0x1A, {14}, {0, 4, 16, 20}, {}},
    {"DdSta_0x1A", 32, ntoh_DdSta_0x1A, hton_DdSta_0x1A, {14}, {0, 4}, {}},
    {"HpSta_0x11", 64, ntoh_HpSta_0x11, hton_HpSta_0x11, {}, {0, 4}, {16, 32, 48}},
    {"HpSta_0x12", 112, ntoh_HpSta_0x12, hton_HpSta_0x12, {14}, {0, 4}, {16, 32, 48, 64, 80, 96}},
    {"HpSta_0x1A", 112, ntoh_HpSta_0x1A, hton_HpSta_0x1A, {14}, {0, 4}, {16, 32, 48, 64, 80, 96}},
    {"HpNodeSta_0x1A",
     112,
     ntoh_HpNodeSta_0x1A,
     hton_HpNodeSta_0x1A,
     {14},
     {0, 4},
     {16, 32, 48, 64, 80, 96}},
    {"RpSta_0x14", 112, ntoh_RpSta_0x14, hton_RpSta_0x14, {14}, {0, 4}, {16, 32, 48, 64, 80, 96}},
    {"MpSta_0x1D", 48, ntoh_MpSta_0x1D, hton_MpSta_0x1D, {14}, {0, 4}, {16, 32}},
    {"DpSta_0x10", 48, ntoh_DpSta_0x10, hton_DpSta_0x10, {14}, {0, 4}, {16, 32}},
    {"CacheSta_0x19", 32, ntoh_CacheSta_0x19, hton_CacheSta_0x19, {16, 18}, {0, 4}, {}},
    {"CacheSta_0x1F",
     96,
     ntoh_CacheSta_0x1F,
     hton_CacheSta_0x1F,
     {16, 18},
     {0, 4},
     {32, 48, 64, 80}},
    {"CacheSta_0x21",
     128,
     ntoh_CacheSta_0x21,
     nullptr,
     {16, 18, 20, 22},
     {0, 4, 24, 28},
     {32, 48, 64, 80, 96, 112}},
    {"ChesegSta_0x13",
     96,
     ntoh_ChesegSta_0x13,
     hton_ChesegSta_0x13,
     {12, 14},
     {0, 4},
     {16, 32, 48, 64, 80}},
    {"LdSta_0x10", 96, ntoh_LdSta_0x10, hton_LdSta_0x10, {8}, {0, 4}, {16, 32, 48, 64, 80}},
    {"LdSta", 96, ntoh_LdSta, hton_LdSta, {8, 14}, {0, 4}, {16, 32, 48, 64, 80}},
    {"PdSta_0x10", 48, ntoh_PdSta_0x10, hton_PdSta_0x10, {}, {0, 4}, {16, 32}},
    {"PdSta", 64, ntoh_PdSta, hton_PdSta, {20}, {0, 4, 16}, {32, 48}},
    {"RankSta_0x11", 32, ntoh_RankSta_0x11, hton_RankSta_0x11, {20}, {0, 4, 16}, {}},
    {"RankSta_0x12", 64, ntoh_RankSta_0x12, hton_RankSta_0x12, {20}, {0, 4, 16}, {32, 48}},
    {"PoolSta_0x14", 64, ntoh_PoolSta_0x14, hton_PoolSta_0x14, {8, 16}, {0, 4, 12}, {32, 48}},
    {"LD_CPSta_0x1B", 32, ntoh_LD_CPSta_0x1B, nullptr, {}, {}, {}},
    {"POOL_CPSta_0x1B", 48, ntoh_POOL_CPSta_0x1B, nullptr, {}, {}, {}},
    {"WaittmSta_0x1C", 32, ntoh_WaittmSta_0x1C, nullptr, {0}, {}, {16}},
};

class Converters : public ::testing::TestWithParam<FormCase> {};

// Bytes with bit 7 clear, all different from their neighbours.
std::string Wire(size_t size) {
  std::string bytes;
  for (size_t i = 0; i < size; ++i) bytes.push_back(static_cast<char>((i * 37 + 11) & 0x7F));
  return bytes + "guard";
}

void Reverse(std::string& bytes, size_t at, size_t width) {
  if (std::endian::native == std::endian::big) return;
  for (size_t i = 0; i < width / 2; ++i) std::swap(bytes[at + i], bytes[at + width - 1 - i]);
}

TEST_P(Converters, TurnEachFieldAndNothingElse) {
  const FormCase& form = GetParam();
  std::string expected = Wire(form.size);
  for (const size_t at : form.fields16) Reverse(expected, at, 2);
  for (const size_t at : form.fields32) Reverse(expected, at, 4);
  for (const size_t at : form.quadsets) {
    for (size_t word = 0; word < 16; word += 4) Reverse(expected, at + word, 4);
  }
  std::string bytes = Wire(form.size);
  form.to_host(bytes.data());
  EXPECT_EQ(bytes, expected);
}

TEST(ConverterPairs, BackAgainGivesTheFilesBytes) {
  for (const FormCase& form : kCases) {
    if (form.to_file == nullptr) continue;  // a reader without a twin
    std::string bytes = Wire(form.size);
    form.to_host(bytes.data());
    form.to_file(bytes.data());
    EXPECT_EQ(bytes, Wire(form.size)) << form.name;
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, Converters, ::testing::ValuesIn(kCases),
                         [](const auto& form) { return std::string(form.param.name); });

TEST(ChesegConverter, FlagBit7MakesTheSecondCounterBytes) {
  std::string bytes = Wire(96);
  bytes[11] = static_cast<char>(0x80);
  const std::string before = bytes;
  ntoh_ChesegSta_0x13(bytes.data());
  EXPECT_EQ(bytes.substr(8, 6), before.substr(8, 6));
  hton_ChesegSta_0x13(bytes.data());
  EXPECT_EQ(bytes, before);
}

constexpr unsigned char kWords[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

TEST(CounterGroupConverter, TurnsFourWords) {
  PMONquadset quadset;
  ntoh_PMONquadset(&quadset, kWords);
  EXPECT_EQ(quadset.q0, 0x01020304U);
  EXPECT_EQ(quadset.q1, 0x05060708U);
  EXPECT_EQ(quadset.q2, 0x090A0B0CU);
  EXPECT_EQ(quadset.q3, 0x0D0E0F10U);
  hton_PMONquadset(&quadset, &quadset);
  EXPECT_EQ(std::memcmp(&quadset, kWords, 16), 0);
}

TEST(ExtendedWordsConverter, TurnsSoManyWords) {
  uint32_t words[4];
  std::memcpy(words, kWords, 16);
  ntoh_ExSta(words, 0);
  ntoh_ExSta(words, -3);
  hton_ExSta(words, -1);
  EXPECT_EQ(std::memcmp(words, kWords, 16), 0);
  ntoh_ExSta(words, 3);
  EXPECT_EQ(words[0], 0x01020304U);
  EXPECT_EQ(words[2], 0x090A0B0CU);
  EXPECT_EQ(std::memcmp(words + 3, kWords + 12, 4), 0);
  hton_ExSta(words, 3);
  EXPECT_EQ(std::memcmp(words, kWords, 16), 0);
}

}  // namespace
