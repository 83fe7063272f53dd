// What a report page is made of: numbers that come back as they were, steps of time, and a page
// that allows nothing but what is its own. Pages in a browser: report_page.py.
#include <gtest/gtest.h>
#include <zlib.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tools/page/encode.h"
#include "tools/page/page_assets.h"
#include "tools/page/page_grid.h"
#include "tools/page/page_text.h"

using namespace psltool;

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

double PlanesAt(const PageBytes& bytes, size_t at, size_t width, size_t count, size_t place) {
  uint64_t word = 0;
  for (size_t plane = 0; plane < width; ++plane) {
    word |= uint64_t{bytes[at + plane * count + place]} << (8 * plane);
  }
  return width == 8 ? std::bit_cast<double>(word) : static_cast<double>(word);
}

double FloatAt(const PageBytes& bytes, size_t at, size_t count, size_t place) {
  uint32_t word = 0;
  for (size_t plane = 0; plane < 4; ++plane) {
    word |= uint32_t{bytes[at + plane * count + place]} << (8 * plane);
  }
  return std::bit_cast<float>(word);
}

double DoubleAt(const PageBytes& bytes, size_t at) { return PlanesAt(bytes, at, 8, 1, 0); }

// Of columns that are put as integers, doubles or floats.
std::vector<double> ReadBack(const PageBytes& bytes, size_t count) {
  std::vector<double> numbers;
  for (size_t i = 0; i < count; ++i) {
    if (bytes[0] == 3) {
      numbers.push_back(PlanesAt(bytes, 1, 8, count, i));
      continue;
    }
    if (bytes[0] == 4) {
      numbers.push_back(FloatAt(bytes, 1, count, i));
      continue;
    }
    const double scale = std::pow(10, bytes[2] == 0 ? 0 : bytes[2] + 1);
    const double word = PlanesAt(bytes, 11, bytes[1] < 8 ? bytes[1] : 7, count, i);
    numbers.push_back(word == 0 ? kNone : (word - 1 + DoubleAt(bytes, 3)) / scale);
  }
  return numbers;
}

void ExpectSame(const std::vector<double>& a, const std::vector<double>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) {
    EXPECT_TRUE((std::isnan(a[i]) && std::isnan(b[i])) || a[i] == b[i]) << i << ": " << a[i];
  }
}

TEST(PageEncode, IntegersTakeAsManyBytesAsTheirRangeNeeds) {
  PageBytes bytes;
  PutColumn(std::vector<double>{1000, kNone, 1254}, bytes);
  // Form, width, scale, least as a double; 1, 0 and 255 as one plane.
  EXPECT_EQ(bytes.size(), 3u + 8u + 3u);
  EXPECT_EQ(bytes[0], 2);
  EXPECT_EQ(bytes[1], 1);
  EXPECT_EQ(bytes[2], 0);
  EXPECT_EQ(DoubleAt(bytes, 3), 1000);
  EXPECT_EQ((std::vector<uint8_t>(bytes.begin() + 11, bytes.end())),
            (std::vector<uint8_t>{1, 0, 255}));
}

TEST(PageEncode, EveryNumberComesBackAsTheSameDouble) {
  const std::vector<std::vector<double>> columns = {
      {0, 1, 4294967295.0, kNone},
      {0.01, 99.99, 0.07, kNone},
      {0.001, 4294967.295, 0.5},
      {1.0 / 3, 2.5, kNone, 1e300},
      {281474976710655.0, 0, 0.1},
      {-5, 7, kNone},
      {-0.0, 1.0, 2.0},
      {8589934592.0, 8589934593.0},
  };
  for (const auto& column : columns) {
    PageBytes bytes;
    PutColumn(column, bytes);
    ExpectSame(ReadBack(bytes, column.size()), column);
  }
}

TEST(PageEncode, NothingAndOneNumberTakeNoPlanes) {
  PageBytes bytes;
  PutColumn(std::vector<double>{kNone, kNone, kNone}, bytes);
  EXPECT_EQ(bytes, (PageBytes{0}));
  bytes.clear();
  PutColumn(std::vector<double>{2.5, 2.5, 2.5}, bytes);
  EXPECT_EQ(bytes.size(), 9u);
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(DoubleAt(bytes, 1), 2.5);
}

TEST(PageEncode, WhatFollowsFromOtherColumnsTakesOneByteOnlyIfEachNumberDoes) {
  const std::vector<double> operations = {100, 7, kNone};
  const std::vector<double> milliseconds = {60000, 61234, 60000};
  const std::vector<double> second = {1000, 33, kNone};
  std::vector<double> rates = {100 / 60.0, 7 / 61.234, kNone};
  PageBytes bytes;
  PutDerived(rates, {operations, milliseconds, second}, bytes);
  EXPECT_EQ(bytes, (PageBytes{5}));
  rates[1] = std::nextafter(rates[1], 1);
  bytes.clear();
  PutDerived(rates, {operations, milliseconds, second}, bytes);
  ExpectSame(ReadBack(bytes, 3), rates);
}

TEST(PageEncode, RankedValuesAreWithinAPartOfTheLargest) {
  PageBytes bytes;
  const auto value = [](size_t resource, size_t step) {
    return step == 2 ? kNone
                     : static_cast<double>(resource + 1) * static_cast<double>(step * 10 + 1);
  };
  PutMatrix({2, 4, false}, value, bytes);
  // Scales 31 and 62 as a column of integers of one byte, then the codes.
  ASSERT_EQ(bytes.size(), 11u + 2u + 8u);
  const std::vector<uint8_t> codes(bytes.end() - 8, bytes.end());
  for (size_t i = 0; i < 8; ++i) {
    if (i % 4 == 2) {
      EXPECT_EQ(codes[i], 0);
      continue;
    }
    const double scale = i < 4 ? 31 : 62;
    EXPECT_NEAR((codes[i] - 1) / 254.0 * scale, value(i / 4, i % 4), scale / 254 / 2) << i;
  }
}

TEST(PageEncode, RoundedNumbersKeepSixDigits) {
  EXPECT_NEAR(Rounded(1234567.89), 1234567.89, 1.3);
  EXPECT_NEAR(Rounded(1e-5 / 3), 1e-5 / 3, 1e-11);
  EXPECT_EQ(Rounded(16.25), 16.25);
  EXPECT_EQ(Rounded(0), 0);
  EXPECT_TRUE(std::isnan(Rounded(kNone)));
  // A sixth of the bytes of a double.
  PageBytes bytes;
  PutColumn(std::vector<double>{Rounded(1.0 / 3), Rounded(2.0 / 3)}, bytes);
  EXPECT_EQ(bytes[0], 4);
}

TEST(PageEncode, PackedIsRawDeflateInBase64) {
  const std::string text(1000, 'x');
  const std::string packed = Packed({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  static const std::string digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  uint32_t word = 0;
  int bits = 0;
  for (const char c : packed) {
    if (c == '=') break;
    word = word << 6 | static_cast<uint32_t>(digits.find(c));
    bits += 6;
    if (bits >= 8) bytes += static_cast<char>(word >> (bits -= 8) & 0xFF);
  }
  z_stream stream = {};
  ASSERT_EQ(inflateInit2(&stream, -15), Z_OK);
  std::string back(2000, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(bytes.data());
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(back.data());
  stream.avail_out = static_cast<uInt>(back.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  back.resize(stream.total_out);
  inflateEnd(&stream);
  EXPECT_EQ(back, text);
}

std::vector<PageInterval> Hours(uint32_t first, size_t count) {
  std::vector<PageInterval> intervals;
  for (uint32_t i = 0; i < count; ++i) {
    intervals.push_back(
        {first + 3600 * (i + 1) - 1, first + 3600 * i, first + 3600 * (i + 1), 'H'});
  }
  return intervals;
}

TEST(PageGrid, IntervalsAreStepsWhileThereIsRoom) {
  const PageGrid grid = MakeGrid(Hours(1709769600, 48), 48, Zone::kUtc);
  EXPECT_TRUE(grid.native);
  EXPECT_EQ(grid.size(), 48u);
  EXPECT_EQ(grid.of[47], 47u);
}

TEST(PageGrid, StepsAreTheFinestThatFitAndBeginAtMidnight) {
  // 2024-03-07 05:00, for two days.
  const PageGrid grid = MakeGrid(Hours(1709769600 + 5 * 3600, 48), 12, Zone::kUtc);
  EXPECT_FALSE(grid.native);
  // Six hours: 05-06, 06-12, 12-18, 18-24 and so on to 05:00 of the 9th.
  ASSERT_EQ(grid.size(), 9u);
  EXPECT_EQ(grid.begins[0], 1709769600u + 5 * 3600);
  EXPECT_EQ(grid.ends[0], 1709769600u + 6 * 3600);
  EXPECT_EQ(grid.begins[1], 1709769600u + 6 * 3600);
  EXPECT_EQ(grid.ends[8], 1709769600u + 53 * 3600);
  EXPECT_EQ(grid.of[0], 0u);
  EXPECT_EQ(grid.of[1], 1u);
  EXPECT_EQ(grid.of[47], 8u);
}

TEST(PageGrid, WithoutRoomForTwoStepsThereIsNone) {
  EXPECT_EQ(MakeGrid(Hours(1709769600, 48), 1, Zone::kUtc).size(), 0u);
  EXPECT_EQ(MakeGrid({}, 100, Zone::kUtc).size(), 0u);
}

TEST(PageText, NothingIsAllowedButItsOwnScriptAndStyle) {
  PagePieces pieces;
  pieces.SetFirst("Zmlyc3Q=");
  const size_t number = pieces.Add("c2Vjb25k");
  EXPECT_EQ(number, 1u);
  const std::string text = PageText(pieces);
  EXPECT_NE(text.find("default-src 'none'; connect-src 'none'; script-src 'sha256-"), text.npos);
  EXPECT_EQ(text.find("unsafe"), text.npos);
  EXPECT_NE(text.find("id=\"piece-0\">Zmlyc3Q=</script>"), text.npos);
  EXPECT_NE(text.find("id=\"piece-1\">c2Vjb25k</script>"), text.npos);
  for (const char* mark : {"{{policy}}", "{{style}}", "{{pieces}}", "{{script}}"}) {
    EXPECT_EQ(text.find(mark), text.npos) << mark;
  }
  for (const char* outside : {"src=\"http", "href=\"http", "url(", "@import"}) {
    EXPECT_EQ(text.find(outside), text.npos) << outside;
  }
}

TEST(PageText, WhatIsPutIntoThePageDoesNotEndIt) {
  EXPECT_EQ(kPageScript.find("</script"), kPageScript.npos);
  EXPECT_EQ(kPageScript.find("<!--"), kPageScript.npos);
  EXPECT_EQ(kPageStyle.find("</style"), kPageStyle.npos);
}

}  // namespace
