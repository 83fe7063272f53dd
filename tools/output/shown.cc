// Text without control characters: see the header.
#include "tools/output/shown.h"

#include <fmt/format.h>

#include <cstdint>
#include <iterator>

namespace psltool {

namespace {

struct Style {
  std::string_view allowed;  // controls that stay
  bool strays;               // bytes that are no part of UTF-8 are told, too
  bool capitals;             // "\x1B" rather than "\x1b"
};

uint8_t ByteAt(std::string_view text, size_t at) {
  return at < text.size() ? static_cast<uint8_t>(text[at]) : 0;
}

// Length of the character that begins at `at`, 0 when none does. Controls beyond ASCII (U+0080 to
// U+009F) count as none.
size_t CharacterAt(std::string_view text, size_t at) {
  const uint8_t first = ByteAt(text, at);
  if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
  const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  const uint8_t second = ByteAt(text, at + 1);
  if (first < 0xC2 || first > 0xF4 || (first == 0xC2 && second < 0xA0)) return 0;
  // Forms that are longer than needed, surrogates, and what lies behind the last code point.
  if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second >= 0xA0) ||
      (first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90)) {
    return 0;
  }
  for (size_t i = 1; i < length; ++i) {
    if ((ByteAt(text, at + i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

// Terminals also obey the control characters from 0x80 to 0x9F, in UTF-8 and, some of them, as
// single bytes.
bool IsControl(uint8_t byte, uint8_t next) {
  return byte < 0x20 || (byte >= 0x7F && byte <= 0x9F) ||
         (byte == 0xC2 && next >= 0x80 && next <= 0x9F);
}

std::string Told(std::string_view text, const Style& style) {
  std::string told;
  told.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    const size_t length = CharacterAt(text, at);
    const uint8_t byte = ByteAt(text, at);
    if (length != 0) {
      told += text.substr(at, length);
    } else if (style.allowed.find(text[at]) != std::string_view::npos ||
               !(style.strays || IsControl(byte, ByteAt(text, at + 1)))) {
      told += text[at];
    } else if (style.capitals) {
      fmt::format_to(std::back_inserter(told), "\\x{:02X}", byte);
    } else {
      fmt::format_to(std::back_inserter(told), "\\x{:02x}", byte);
    }
    at += length == 0 ? 1 : length;
  }
  return told;
}

}  // namespace

std::string Shown(std::string_view text) { return Told(text, {"", false, false}); }

std::string ShownLines(std::string_view text) { return Told(text, {"\n\t", false, false}); }

std::string ShownText(std::string_view text) { return Told(text, {"", true, true}); }

}  // namespace psltool
