// Texts for a terminal: see the header.
#include "tools/output/shown_text.h"

#include <fmt/format.h>

#include <cstdint>
#include <iterator>

namespace psltool {

namespace {

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

}  // namespace

std::string ShownText(std::string_view text) {
  std::string shown;
  for (size_t at = 0; at < text.size();) {
    const size_t length = CharacterAt(text, at);
    shown += text.substr(at, length);
    if (length == 0) fmt::format_to(std::back_inserter(shown), "\\x{:02X}", ByteAt(text, at));
    at += length == 0 ? 1 : length;
  }
  return shown;
}

}  // namespace psltool
